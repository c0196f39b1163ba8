#!/usr/bin/env bash
# Renders a short demo through the installed plug-in: 6 s of pink noise under a slow sine
# sweep, through a factory program, plus a plot of that program's response.
# usage: scripts/demo.sh [PROGRAM]   (default "Telephone"; output in build/demo/)
set -euo pipefail
cd "$(dirname "$0")/.."
program=${1:-Telephone}
build=${TESS_BUILD_DIR:-build/release}
tool=$build/tools/tessarine-render
plugin=$HOME/.vst3/Tessarine.vst3
out=build/demo

[ -x "$tool" ] || { echo "demo: $tool is missing; run scripts/setup.sh first" >&2; exit 1; }
[ -d "$plugin" ] || { echo "demo: $plugin is missing; install it with: cmake --install $build" >&2; exit 1; }
command -v sox >/dev/null || { echo "demo: sox is missing; run scripts/deps.sh" >&2; exit 1; }
mkdir -p "$out"

sox -V1 -n -r 48000 -c 2 -b 32 -e floating-point "$out/noise.wav" synth 6 pinknoise vol 0.25
sox -V1 -n -r 48000 -c 2 -b 32 -e floating-point "$out/sweep.wav" synth 6 sine 20:20000 vol 0.25
sox -V1 -m "$out/noise.wav" "$out/sweep.wav" "$out/demo-in.wav"
rm -f "$out/noise.wav" "$out/sweep.wav"

"$tool" --plugin "$plugin" --program "$program" --trim-latency \
  --measure-response "$out/response.png" "$out/demo-in.wav" "$out/demo-out.wav"

echo "Program \"$program\" of $plugin:"
echo "  input     $out/demo-in.wav"
echo "  output    $out/demo-out.wav"
echo "  response  $out/response.png"
