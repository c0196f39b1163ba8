#!/usr/bin/env python3
"""Level checks on the host test's exports (WAV, PCM or float), standard library only.

levels.py --frames <file.wav>   prints the number of frames
levels.py <out-dir> TONE_DB BOOST AUTO_DB AUTO_AT
Reads dry1k, saved1k, bandbyp1k, saved100 and auto (.wav) from <out-dir>; prints one
"ok"/"FAIL" line per check and exits 1 if any failed.
"""
import array
import math
import struct
import sys


def read_wav(path):
    """Returns (rate, [channel samples as floats])."""
    with open(path, "rb") as f:
        data = f.read()
    if data[:4] != b"RIFF" or data[8:12] != b"WAVE":
        raise ValueError(f"{path}: not a WAV file")
    pos, fmt, pcm = 12, None, None
    while pos + 8 <= len(data):
        cid, size = data[pos:pos + 4], struct.unpack_from("<I", data, pos + 4)[0]
        body = data[pos + 8:pos + 8 + size]
        if cid == b"fmt ":
            tag, nch, rate = struct.unpack_from("<HHI", body)
            bits = struct.unpack_from("<H", body, 14)[0]
            if tag == 0xFFFE:  # extensible: the real tag opens the sub-format GUID
                tag = struct.unpack_from("<H", body, 24)[0]
            fmt = (tag, nch, rate, bits)
        elif cid == b"data":
            pcm = body
        pos += 8 + size + (size & 1)
    if fmt is None or pcm is None:
        raise ValueError(f"{path}: no fmt or data chunk")
    tag, nch, rate, bits = fmt
    if tag == 3 and bits in (32, 64):
        samples = array.array("f" if bits == 32 else "d", pcm)
    elif tag == 1 and bits == 16:
        samples = [v / 32768.0 for v in array.array("h", pcm)]
    elif tag == 1 and bits == 24:
        samples = [int.from_bytes(pcm[i:i + 3], "little", signed=True) / 8388608.0
                   for i in range(0, len(pcm) - 2, 3)]
    else:
        raise ValueError(f"{path}: unsupported format tag {tag}, {bits} bit")
    return rate, [list(samples[c::nch]) for c in range(nch)]


def rms_db(x, rate, start, dur):
    seg = x[int(start * rate):int((start + dur) * rate)]
    ms = sum(v * v for v in seg) / max(1, len(seg))
    return 10 * math.log10(ms) if ms > 0 else -400.0


class Checks:
    def __init__(self):
        self.failed = 0

    def expect(self, label, got, want, tol):
        good = abs(got - want) <= tol
        print(f"{'ok  ' if good else 'FAIL'} {label}: {got:+.3f} dB (want {want:+.2f} +- {tol})")
        self.failed += not good


def main():
    if sys.argv[1] == "--frames":
        print(len(read_wav(sys.argv[2])[1][0]))
        return
    out, tone_db, boost, auto_db, auto_at = sys.argv[1], *map(float, sys.argv[2:6])
    wav = {n: read_wav(f"{out}/{n}.wav") for n in
           ("dry1k", "saved1k", "bandbyp1k", "saved100", "auto")}
    rate = wav["dry1k"][0]
    c = Checks()
    steady = (0.2, 0.7)          # after the tone settles, before the automation step
    late = (auto_at + 0.1, 0.7)  # after the step
    for ch in range(len(wav["dry1k"][1])):
        lvl = lambda n, w=steady: rms_db(wav[n][1][ch], rate, *w)
        tag = f"ch{ch + 1}"
        dry = lvl("dry1k")
        # the tone's RMS is 3 dB under its peak at any frequency, so the 1 kHz export is the
        # reference for the 100 Hz one too; a missing signal reads -400
        c.expect(f"{tag} dry tone level", dry, tone_db - 3.01, 0.05)
        c.expect(f"{tag} peak band at its centre", lvl("saved1k") - dry, boost, 0.2)
        c.expect(f"{tag} band bypassed is flat", lvl("bandbyp1k") - dry, 0.0, 0.05)
        # a decade below a Q 1 peak the boost is gone; a broadband gain would show here
        c.expect(f"{tag} 100 Hz a decade below the band", lvl("saved100") - dry, 0.0, 1.0)
        c.expect(f"{tag} automation: before the step", lvl("auto") - dry, boost, 0.2)
        c.expect(f"{tag} automation: after the step", lvl("auto", late) - dry, boost + auto_db, 0.2)
        # where the 5 ms level first falls below half the step: at the automation point
        x, win = wav["auto"][1][ch], int(0.005 * rate)
        mid = dry + boost + auto_db / 2
        t = next((i / rate for i in range(int(0.5 * rate), int(1.9 * rate), win)
                  if rms_db(x, rate, i / rate, 0.005) < mid), -1.0)
        good = abs(t - auto_at) <= 0.03
        print(f"{'ok  ' if good else 'FAIL'} {tag} automation step at {t:.3f} s (want {auto_at} +- 0.03)")
        c.failed += not good
    sys.exit(1 if c.failed else 0)


if __name__ == "__main__":
    main()
