#!/usr/bin/env bash
# tessarine-render against the built bundle: levels through a known band, a bank file that
# changes the sound, latency trimming, and the argument errors a user will meet.
# usage: render_test.sh tessarine-render Tessarine.vst3 factory-bank.json make-factory-bank
set -u
tool=$1 bundle=$2 bank_source=$3 make_bank=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
render() { "$tool" --plugin "$bundle" "$@"; }

# RMS level in dB of channel 1 from second $2 on, and the index and value of its largest sample.
analyse() {
  sox -V1 "$1" -t f32 -c 1 "$work/a.raw" remix 1
  python3 - "$work/a.raw" "${2:-0}" <<'EOF'
import math, struct, sys
d = open(sys.argv[1], 'rb').read()
x = struct.unpack('<%df' % (len(d) // 4), d)
s = x[int(float(sys.argv[2]) * 48000):]
rms = math.sqrt(sum(v * v for v in s) / max(len(s), 1))
peak = max(range(len(x)), key=lambda k: abs(x[k]))
print('%.4f %d %d' % (20 * math.log10(max(rms, 1e-30)), peak, len(x)))
EOF
}
level() { analyse "$@" | cut -d' ' -f1; }
# True when |$1 - $2| <= $3.
near() { python3 -c "import sys; sys.exit(0 if abs($1 - ($2)) <= $3 else 1)"; }

for f in 1000 40; do
  sox -V1 -n -r 48000 -c 2 -b 32 -e floating-point "$work/sine$f.wav" synth 2 sine $f vol 0.1
done
sox -V1 -n -r 48000 -c 2 -b 24 "$work/sine1000.flac" synth 2 sine 1000 vol 0.1
bell=(--set "Band1 State=On" --set "Band1 Type=1" --set "Band1 Frequency=1k" --set "Band1 Gain=+12" --set "Band1 Q=1")

# A +12 dB bell at 1 kHz: +12 dB there, nothing 25 times lower; FLAC in, AIFF out works too.
for f in 1000 40; do
  render "${bell[@]}" "$work/sine$f.wav" "$work/out$f.wav" || fail "render of the $f Hz sine"
  gain=$(python3 -c "print($(level "$work/out$f.wav" 0.5) - ($(level "$work/sine$f.wav" 0.5)))")
  want=$([ $f = 1000 ] && echo 12 || echo 0)
  near "$gain" $want 0.1 || fail "$f Hz through the bell: $gain dB, expected $want"
done
render "${bell[@]}" "$work/sine1000.flac" "$work/out.aiff" || fail "flac to aiff"
gain=$(python3 -c "print($(level "$work/out.aiff" 0.5) - ($(level "$work/sine1000.flac" 0.5)))")
near "$gain" 12 0.1 || fail "flac to aiff: $gain dB, expected 12"

# Programs by name from the factory bank, and a bank file whose first program is a low-pass.
render --program "telephone" "$work/sine40.wav" "$work/tel.wav" || fail "program by name"
gain=$(python3 -c "print($(level "$work/tel.wav" 0.5) - ($(level "$work/sine40.wav" 0.5)))")
near "$gain" -60 40 || fail "Telephone passes 40 Hz at $gain dB"
python3 - "$bank_source" "$work/bank.json" <<'EOF'
import json, sys
bank = json.load(open(sys.argv[1]))
bank['programs'][0] = {'name': 'Test Low Pass', 'bands': [{'type': 'LPF', 'frequency': 250, 'slope': 24}]}
json.dump(bank, open(sys.argv[2], 'w'))
EOF
"$make_bank" "$work/bank.json" "$work/bank.tsi" >/dev/null || fail "make-factory-bank"
render --preset "$work/bank.tsi" --list-programs | grep -q "Test Low Pass" || fail "bank file's program names"
render --preset "$work/bank.tsi" "$work/sine1000.wav" "$work/lp.wav" || fail "render with a bank file"
gain=$(python3 -c "print($(level "$work/lp.wav" 0.5) - ($(level "$work/sine1000.wav" 0.5)))")
near "$gain" -30 20 || fail "bank file with a 250 Hz low-pass: 1 kHz at $gain dB"

# A click through linear-phase FIR: late by the latency, in place with --trim-latency, and the
# file keeps its length either way.
python3 -c "
import struct; x = [0.0] * 96000; x[2 * 10000] = x[2 * 10000 + 1] = 0.5
open('$work/click.raw', 'wb').write(struct.pack('<96000f', *x))"
sox -V1 -t f32 -r 48000 -c 2 "$work/click.raw" -e floating-point -b 32 "$work/click.wav"
fir=(--set "Mode=1" --set "IRPhase=0" --set "Band1 State=2" --set "Band1 Frequency=1k" --set "Band1 Gain=6")
render "${fir[@]}" "$work/click.wav" "$work/late.wav" || fail "FIR render"
render "${fir[@]}" --trim-latency "$work/click.wav" "$work/trimmed.wav" || fail "FIR render, trimmed"
read -r _ late len_late < <(analyse "$work/late.wav")
read -r _ trimmed len_trimmed < <(analyse "$work/trimmed.wav")
[ "$len_late" = 48000 ] && [ "$len_trimmed" = 48000 ] || fail "lengths $len_late, $len_trimmed, expected 48000"
[ "$trimmed" = 10000 ] || fail "trimmed click at $trimmed, expected 10000"
[ "$late" -gt 10000 ] || fail "untrimmed click at $late: no latency to trim"
# The response plot works without audio files.
render "${bell[@]}" --measure-response "$work/r.png" 2>/dev/null || fail "--measure-response"
[ "$(head -c 4 "$work/r.png" | tail -c 3)" = PNG ] || fail "response plot is no PNG"

# Errors: non-zero exit and a message that names the culprit.
expect_error() {
  local what=$1 pattern=$2
  shift 2
  if out=$(render "$@" 2>&1); then fail "$what: exit 0"; fi
  echo "$out" | grep -qi -- "$pattern" || fail "$what: message \"$out\" lacks \"$pattern\""
}
input_sum=$(md5sum < "$work/sine40.wav")
expect_error "missing input" "nothing.wav" "$work/nothing.wav" "$work/x.wav"
expect_error "unknown parameter" "Band99 Gain" --set "Band99 Gain=3" "$work/sine40.wav" "$work/x.wav"
expect_error "value above range" "Band1 Frequency" --set "Band1 Frequency=30k" "$work/sine40.wav" "$work/x.wav"
expect_error "value below range" "Band1 Gain" --set "Band1 Gain=-40" "$work/sine40.wav" "$work/x.wav"
expect_error "not a number" "Band1 Q" --set "Band1 Q=wide" "$work/sine40.wav" "$work/x.wav"
expect_error "unknown program" "No Such Program" --program "No Such Program" "$work/sine40.wav" "$work/x.wav"
expect_error "output is the input" "must not be the input" "$work/sine40.wav" "$work/sine40.wav"
ln -s "$work/sine40.wav" "$work/link.wav"
expect_error "output is a link to the input" "must not be the input" "$work/sine40.wav" "$work/link.wav"
expect_error "unknown output type" ".mp3" "$work/sine40.wav" "$work/x.mp3"
expect_error "missing plug-in" "nowhere.vst3" --plugin "$work/nowhere.vst3" "$work/sine40.wav" "$work/x.wav"
[ "$(md5sum < "$work/sine40.wav")" = "$input_sum" ] || fail "the input file was changed"
[ -e "$work/x.wav" ] && fail "a failed run left an output file"

echo "$failures failure(s)"
[ $failures = 0 ]
