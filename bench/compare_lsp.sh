#!/usr/bin/env bash
# Tessarine with 32 peak bands (IIR) against LSP Para Equalizer x32 with 32 bells, both timed in
# this run the same way (48 kHz stereo pink noise, audio-thread CPU ns per frame, median of the
# passes), at blocks of 256 and 64. Prints Tessarine's figure over LSP's; 1 or less is the goal.
# usage: bench/compare_lsp.sh [BUILD_DIR]   (default build/release; SECONDS_PER_PASS=10, PASSES=7)
# Needs lsp-plugins-lv2, liblilv-dev, lv2-dev and the peer host sources in PEERBENCH.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
bench=$build/bench/bench_vst3
peerbench=${PEERBENCH:-/work/shared/peerbench}
secs=${SECONDS_PER_PASS:-10}
passes=${PASSES:-7}
[ -x "$bench" ] || { echo "compare_lsp: $bench is missing; build the bench_vst3 target" >&2; exit 1; }
[ -d "$peerbench" ] || { echo "compare_lsp: no peer host sources at $peerbench" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$peerbench/." "$work/"
make -s -C "$work" >/dev/null
export LV2_PATH=$work/lv2:/usr/lib/lv2

field() { sed -n "s/.*$1=\([0-9.]*\).*/\1/p" | head -1; }
lsp_config=$(cd "$work" && python3 configs.py lsp_iir_32)

printf '%-6s %14s %14s %10s %14s %14s\n' block "Tessarine ns" "LSP ns" ratio "memcpy (ours)" "memcpy (LSP)"
for block in 256 64; do
  # shellcheck disable=SC2086  # the configuration is a list of words
  lsp_out=$(cd "$work" && ./peerhost -b $block -s "$secs" -r "$passes" $lsp_config)
  lsp=$(echo "$lsp_out" | grep '^RESULT' | field cpu_med)
  lsp_mem=$(cd "$work" && ./peerhost --memcpy -b $block -s "$secs" -r "$passes" | grep '^RESULT' | field cpu_med)
  ours_out=$("$bench" -b $block -s "$secs" -r "$passes" --only iir32)
  ours=$(echo "$ours_out" | grep '^RESULT config=iir32 ' | field cpu_med)
  ours_mem=$(echo "$ours_out" | grep '^RESULT config=memcpy ' | field cpu_med)
  ratio=$(python3 -c "print('%.3f' % ($ours / $lsp))")
  printf '%-6s %14.2f %14.2f %10s %14.3f %14.3f\n' $block "$ours" "$lsp" "$ratio" "$ours_mem" "$lsp_mem"
  echo "RESULT block=$block tessarine=$ours lsp=$lsp ratio=$ratio"
done
