#!/bin/bash
# Host test in Ardour 7 (headless, no X): scan the bundle, build a session with a sine into the
# plug-in, check exported levels against the band's response and the automation, save, reload and
# check that the state came back.
#   run.sh <path/to/Tessarine.vst3> [parent folder for the work folder, default $TMPDIR or /tmp]
# Exit 0 all good, 1 a check failed, 77 Ardour is not installed (CTest reports a skip).
# KEEP=1 keeps the work folder after a pass (it is always kept after a failure).
set -uo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
[ $# -ge 1 ] && [ -d "$1" ] || { echo "usage: $0 <bundle.vst3> [parent-folder]"; exit 2; }
BUNDLE=$(realpath "$1")
PLUGIN=${PLUGIN:-Tessarine}
TRIES=5 # a first try and 4 retries: Ardour 7.3's export corrupts its own heap in about 1 run of 4

for tool in ardour7-lua python3; do
	command -v $tool >/dev/null || { echo "SKIP $tool not installed"; exit 77; }
done
SCANNER=/usr/lib/ardour7/ardour-vst3-scanner
[ -x $SCANNER ] || { echo "SKIP $SCANNER not installed"; exit 77; }

PARENT=${2:-${TMPDIR:-/tmp}}
mkdir -p "$PARENT" && WORK=$(realpath "$(mktemp -d "$PARENT/tess-ardour.XXXXXX")") || exit 1
# Absolute fresh folders: a relative XDG_CONFIG_HOME aborts Ardour, and a user's own plug-in
# cache or presets must not leak in.
export HOME=$WORK/home XDG_CONFIG_HOME=$WORK/config XDG_CACHE_HOME=$WORK/cache XDG_DATA_HOME=$WORK/data
export VST3_PATH=$WORK/vst3
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$HOME" "$XDG_CONFIG_HOME/ardour7/export" "$XDG_CACHE_HOME" "$XDG_DATA_HOME" "$VST3_PATH" "$WORK/out"
cp "$HERE/export-float.preset" "$XDG_CONFIG_HOME/ardour7/export/"

SETTINGS=$WORK/settings
cat > "$SETTINGS" <<END
PLUGIN=$PLUGIN
TONE_DB=-18
FREQ=1000
BOOST=12
Q=1
AUTO_AT=1.0
AUTO_DB=-6
EDIT_PROGRAM=2
EXPORT_PRESET=5c1e0f3a-2b7d-4e58-9a61-7d0c3e8b4f12
END
setting() { sed -n "s/^$1=//p" "$SETTINGS"; }

START=$(date +%s)
FAILED=0
RETRIES=0 # failed export tries
CRASHES=0 # other Ardour runs repeated after a crash
finish() {
	echo "time $(( $(date +%s) - START )) s, export retries $RETRIES, other runs repeated after a crash $CRASHES"
	if [ $FAILED = 0 ] && [ "${KEEP:-0}" != 1 ]; then rm -rf "$WORK"; else echo "work folder: $WORK"; fi
	[ $FAILED = 0 ] && echo "PASS" || echo "FAIL"
	exit $FAILED
}
die() { echo "FAIL $*"; FAILED=1; finish; }

# lua NAME ARGS...: one ardour7-lua run, its log kept; repeated only when Ardour itself crashed
# (killed by a signal), never when a check failed.
lua() {
	local n=$1 i rc; shift
	for i in 1 2 3 4; do
		(ardour7-lua "$HERE/session.lua" "$@"; exit $?) > "$WORK/$n.log" 2>&1; rc=$?
		[ $rc -lt 128 ] && break
		echo "note $n: Ardour crashed (rc=$rc), run $i"
		CRASHES=$((CRASHES + 1))
		[ "$1" = make ] && rm -rf "$WORK/session"
	done
	grep -E '^(ok|FAIL) ' "$WORK/$n.log"
	[ $rc = 0 ] || { tail -n 5 "$WORK/$n.log" | grep -v '^FAIL ' | sed 's/^/    /'; return 1; }
}

frames_ok() { # the file holds the whole 2 s range
	[ -s "$1" ] && [ "$(python3 "$HERE/levels.py" --frames "$1" 2>/dev/null)" = 96000 ]
}

export_one() { # FILE TONE VARIANT: accepted only with exit 0 and the full length
	local i rc
	for i in $(seq 1 $TRIES); do
		rm -f "$WORK/out/$1.wav"
		# in a subshell, so that the shell's note on a crash goes to the log too
		(ardour7-lua "$HERE/session.lua" export "$WORK/session" tess "$SETTINGS" "$WORK/out" "$1" "$2" "$3"
			exit $?) > "$WORK/export-$1-$i.log" 2>&1; rc=$?
		if [ $rc = 0 ] && frames_ok "$WORK/out/$1.wav"; then return 0; fi
		grep -q '^FAIL ' "$WORK/export-$1-$i.log" && { grep '^FAIL ' "$WORK/export-$1-$i.log"; return 1; }
		echo "note export $1: try $i failed (rc=$rc)"
		RETRIES=$((RETRIES + 1))
	done
	echo "FAIL export $1: $TRIES tries"
	return 1
}

# 1. The bundle as a host finds it. The scan cache only counts when the module is older than
#    the cache entry, in whole seconds: date the module back, then scan.
cp -r "$BUNDLE" "$VST3_PATH/" || die "copy $BUNDLE"
SO=$(find "$VST3_PATH" -path '*/Contents/x86_64-linux/*.so' | head -n 1)
[ -n "$SO" ] || die "no Contents/x86_64-linux/*.so in $BUNDLE"
touch -d "@$(( $(date +%s) - 5 ))" "$SO"
LD_LIBRARY_PATH=/usr/lib/ardour7 $SCANNER "$VST3_PATH/$(basename "$BUNDLE")" > "$WORK/scan.log" 2>&1
grep -q "Found Plugin: $PLUGIN\$" "$WORK/scan.log" || { cat "$WORK/scan.log"; die "scanner did not find $PLUGIN"; }
CACHE=$(grep -l "name=\"$PLUGIN\"" "$XDG_CACHE_HOME"/ardour7/vst/*.v3i 2>/dev/null | head -n 1)
[ -n "$CACHE" ] || die "no scan cache entry for $PLUGIN"
grep -q 'vendor="Ondelane"' "$CACHE" && grep -q 'category="Fx|EQ"' "$CACHE" ||
	{ grep VST3Info "$CACHE"; die "cache entry has the wrong vendor or category"; }
echo "ok   scanned: $PLUGIN by Ondelane, Fx|EQ"

# 2.-4. Session: SinGen -> plug-in, Band1 peak, output gain automation; saved.
lua make make "$WORK/session" tess "$SETTINGS" "$WORK/programs-made" || die "making the session"

# Exports from the saved session: the levels check the reloaded state too.
export_one dry1k 1000 dry && export_one saved1k 1000 saved && export_one bandbyp1k 1000 band-bypassed &&
	export_one saved100 100 saved && export_one auto 1000 auto || die "exports"
python3 "$HERE/levels.py" "$WORK/out" "$(setting TONE_DB)" "$(setting BOOST)" "$(setting AUTO_DB)" "$(setting AUTO_AT)" ||
	FAILED=1

# Reload and read the state back, once as saved and once from the plug-in's own state alone:
# without Ardour's copies of the parameter values, only the chunk can bring the band back.
lua check check "$WORK/session" tess "$SETTINGS" "$WORK/programs-reloaded" "reloaded" || FAILED=1
cp -r "$WORK/session" "$WORK/chunk-only"
python3 - "$WORK/chunk-only/tess.ardour" "$PLUGIN" <<'PY' || FAILED=1
import sys, xml.etree.ElementTree as ET
path, plugin = sys.argv[1:]
tree = ET.parse(path)
n = 0
for proc in tree.iter("Processor"):
    if proc.get("name") != plugin:
        continue
    for vst in proc.iter("vst3"):
        for port in vst.findall("Port"):
            vst.remove(port)
            n += 1
    for ctl in proc.iter("Controllable"):
        ctl.attrib.pop("value", None)
    if not any(c.tag == "chunk" for v in proc.iter("vst3") for c in v):
        sys.exit(f"FAIL no chunk saved for {plugin}")
if n == 0:
    sys.exit(f"FAIL no parameter values of {plugin} in the session file")
tree.write(path, encoding="UTF-8", xml_declaration=True)
PY
lua check-chunk check "$WORK/chunk-only" tess "$SETTINGS" "$WORK/programs-chunk" "reloaded from the plug-in state alone" || FAILED=1

if [ -s "$WORK/programs-made" ]; then
	n=$(wc -l < "$WORK/programs-made")
	dup=$(cut -f2 "$WORK/programs-made" | sort | uniq -d | head -n 3 | tr '\n' ' ')
	if [ "$n" = 20 ] && [ -z "$dup" ]; then
		echo "ok   20 programs with distinct names, from '$(head -n 1 "$WORK/programs-made" | cut -f2)' on"
	else
		echo "FAIL the host lists $n programs, want 20 with distinct names${dup:+ (repeated: $dup)}"; FAILED=1
	fi
	if cmp -s "$WORK/programs-made" "$WORK/programs-reloaded" && cmp -s "$WORK/programs-made" "$WORK/programs-chunk"; then
		echo "ok   $(wc -l < "$WORK/programs-made") program names the same after reload"
	else
		echo "FAIL program names changed after reload"; FAILED=1
		diff "$WORK/programs-made" "$WORK/programs-reloaded"; diff "$WORK/programs-made" "$WORK/programs-chunk"
	fi
else
	echo "FAIL the host lists no programs (program list and program change parameter)"; FAILED=1
fi

# 5. A host without the plug-in must make the checks fail, not pass on unprocessed audio.
mkdir -p "$WORK/cache-empty" "$WORK/vst3-empty"
for i in 1 2 3 4; do
	(XDG_CACHE_HOME=$WORK/cache-empty VST3_PATH=$WORK/vst3-empty \
		ardour7-lua "$HERE/session.lua" check "$WORK/session" tess "$SETTINGS" /dev/null; exit $?) > "$WORK/missing.log" 2>&1
	rc=$?
	[ $rc -lt 128 ] && break
	CRASHES=$((CRASHES + 1))
done
if [ $rc = 1 ] && grep -q '^FAIL session lost its plug-in' "$WORK/missing.log"; then
	echo "ok   a host without $PLUGIN fails the check"
else
	echo "FAIL a host without $PLUGIN went unnoticed (rc=$rc)"; FAILED=1
fi
finish
