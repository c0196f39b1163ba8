#!/usr/bin/env python3
"""Drives tessarine-gallery in a private Xvfb with xdotool (XTEST input, as a user would) and
checks what reaches the controls' listener. Every wait is for a line the gallery prints."""

import os
import queue
import re
import subprocess
import sys
import tempfile
import threading

TIMEOUT = 10.0


class Gallery:
    def __init__(self, program, display):
        self.env = dict(os.environ, DISPLAY=display)
        self.proc = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     env=self.env, text=True, bufsize=1)
        self.lines = queue.Queue()
        self.seen = []
        threading.Thread(target=self._read, daemon=True).start()
        self.controls = {}
        ready = self.wait(r"READY window=(0x[0-9a-f]+)")
        self.window = ready.group(1)
        for line in self.seen:
            m = re.match(r"CONTROL tag=(\d+) kind=\S+ rect=(-?\d+),(-?\d+),(-?\d+),(-?\d+)", line)
            if m:
                self.controls[int(m.group(1))] = tuple(int(v) for v in m.groups()[1:])

    def _read(self):
        for line in self.proc.stdout:
            self.lines.put(line.rstrip("\n"))

    def wait(self, pattern):
        """The next line matching `pattern`; lines before it stay in `seen`."""
        rx = re.compile(pattern)
        while True:
            try:
                line = self.lines.get(timeout=TIMEOUT)
            except queue.Empty:
                raise AssertionError(f"timed out waiting for {pattern!r}; last lines: {self.seen[-8:]}")
            self.seen.append(line)
            m = rx.search(line)
            if m:
                return m

    def send(self, command):
        self.proc.stdin.write(command + "\n")
        self.proc.stdin.flush()

    def value(self, tag):
        self.send(f"get {tag}")
        return float(self.wait(rf"VALUE tag={tag} value=(\S+)").group(1))

    def xdo(self, *args):
        subprocess.run(["xdotool", *args], env=self.env, check=True)

    def centre(self, tag, dx=0, dy=0):
        l, t, r, b = self.controls[tag]
        return str((l + r) // 2 + dx), str((t + b) // 2 + dy)

    def move(self, x, y):
        self.xdo("mousemove", "--window", self.window, str(x), str(y))

    def count(self, pattern):
        return sum(1 for line in self.seen if re.search(pattern, line))

    def close(self):
        try:
            self.send("quit")
            self.proc.wait(timeout=5)
        except Exception:
            self.proc.kill()


def start_xvfb():
    read_fd, write_fd = os.pipe()
    xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(write_fd), "-screen", "0", "1280x800x24",
                             "-nolisten", "tcp", "-noreset"], pass_fds=(write_fd,),
                            stderr=subprocess.DEVNULL)
    os.close(write_fd)
    with os.fdopen(read_fd) as f:
        number = f.readline().strip()
    if not number:
        xvfb.kill()
        raise RuntimeError("Xvfb did not start")
    return xvfb, ":" + number


def check_button_once(g):
    g.move(*g.centre(1))
    g.xdo("click", "1")
    g.wait(r"valueChanged tag=1 value=1\.0000")
    # A second control's answer shows the first click's release has been handled too.
    g.move(*g.centre(3))
    g.xdo("click", "1")
    g.wait(r"valueChanged tag=3 ")
    assert g.count(r"valueChanged tag=1 ") == 1, "one click, one listener call"
    assert g.count(r"beginEdit tag=1$") == 1 and g.count(r"endEdit tag=1$") == 1


def drag(g, x0, y0, x1, y1, fine):
    if fine:
        g.xdo("keydown", "shift")
    g.move(x0, y0)
    g.xdo("mousedown", "1")
    g.move(x1, y1)
    g.xdo("mouseup", "1")
    if fine:
        g.xdo("keyup", "shift")


def check_drag_coarse_and_fine(g, tag, handle_y):
    x = int(g.centre(tag)[0])
    before = g.value(tag)
    drag(g, x, handle_y, x, handle_y - 40, False)
    g.wait(rf"endEdit tag={tag}$")
    coarse = g.value(tag) - before
    y = handle_y - 40 if tag == 9 else handle_y  # the slider's handle followed the pointer
    mid = g.value(tag)
    drag(g, x, y, x, y - 40, True)
    g.wait(rf"endEdit tag={tag}$")
    fine = g.value(tag) - mid
    assert coarse > 0.1, f"tag {tag}: a 40 pixel drag up moved {coarse}"
    assert 0 < fine < coarse, f"tag {tag}: fine {fine} against coarse {coarse}"
    assert 8 < coarse / fine < 12, f"tag {tag}: Shift should be ten times finer ({coarse} / {fine})"


def check_wheel(g):
    before = g.value(10)
    g.move(*g.centre(10))
    g.xdo("click", "4")  # wheel up
    g.wait(r"valueChanged tag=10 ")
    up = g.value(10)
    g.xdo("click", "5")
    g.wait(r"valueChanged tag=10 ")
    assert abs((up - before) - 0.1) < 1e-3, f"wheel up: {before} -> {up}"
    assert abs(g.value(10) - before) < 1e-3


def item_rects(g, level):
    rects = {}
    for line in reversed(g.seen):
        m = re.match(rf"ITEM level={level} index=(\d+) rect=(-?\d+),(-?\d+),(-?\d+),(-?\d+)", line)
        if m:
            rects.setdefault(int(m.group(1)), tuple(int(v) for v in m.groups()[1:]))
        elif line.startswith(f"POPUP level={level} "):
            break
    return rects


def centre_of(rect):
    return str((rect[0] + rect[2]) // 2), str((rect[1] + rect[3]) // 2)


def check_menu(g):
    # By mouse: open, hover "More" to open its sub menu, click "Groups".
    g.move(*g.centre(11))
    g.xdo("click", "1")
    g.wait(r"POPUP level=0 ")
    g.wait(r"ITEM level=0 index=4 ")
    g.xdo("mousemove", *centre_of(item_rects(g, 0)[4]))
    g.wait(r"POPUP level=1 ")
    g.wait(r"ITEM level=1 index=1 ")
    groups = centre_of(item_rects(g, 1)[1])
    g.xdo("mousemove", groups[0], str(int(groups[1]) - 3))
    g.xdo("mousemove", *groups)
    g.xdo("click", "1")
    g.wait(r"valueChanged tag=11 value=\S+ item=Groups")
    g.wait(r"endEdit tag=11$")
    # By keyboard: Down twice reaches "Side", Return chooses it.
    g.move(*g.centre(11))
    g.xdo("click", "1")
    g.wait(r"ITEM level=0 index=4 ")
    g.xdo("key", "Down", "Down", "Return")
    g.wait(r"valueChanged tag=11 value=1\.0000 item=Side")
    # Escape closes without a choice.
    g.xdo("click", "1")
    g.wait(r"ITEM level=0 index=4 ")
    g.xdo("key", "Escape")
    g.wait(r"endEdit tag=11$")
    assert g.value(11) == 1.0


def check_text_edit(g):
    g.move(*g.centre(12))
    g.xdo("click", "1")
    g.xdo("type", "--delay", "50", "12.5")
    g.xdo("key", "Return")
    g.wait(r"valueChanged tag=12 value=\S+ text=12\.5$")
    # Escape leaves the committed text alone.
    g.xdo("click", "1")
    g.xdo("type", "--delay", "50", "9")
    g.xdo("key", "Escape")
    g.move(*g.centre(1))
    g.xdo("click", "1")
    g.wait(r"valueChanged tag=1 ")
    assert g.count(r"valueChanged tag=12 ") == 1, "Escape must not commit"


def check_screenshot(g, folder):
    g.send("freeze")
    g.wait(r"FROZEN")
    dump = os.path.join(folder, "backbuffer.png")
    shot = os.path.join(folder, "window.png")
    g.send(f"dump {dump}")
    g.wait(r"DUMPED ")
    subprocess.run(["import", "-window", g.window, shot], env=g.env, check=True)
    r = subprocess.run(["compare", "-metric", "AE", "-alpha", "off", dump, shot, "null:"],
                       env=g.env, capture_output=True, text=True)
    differing = r.stderr.strip().split()[0] if r.stderr.strip() else "?"
    assert differing == "0", f"{differing} pixels differ between the window and its back buffer"


def main():
    program = sys.argv[1]
    xvfb, display = start_xvfb()
    g = None
    failures = 0
    try:
        g = Gallery(program, display)
        checks = [
            ("a click reaches the listener once", lambda: check_button_once(g)),
            # The slider's handle starts in the middle, at value 0.5.
            ("slider drag, finer with Shift", lambda: check_drag_coarse_and_fine(g, 9, int(g.centre(9)[1]))),
            ("knob drag, finer with Shift", lambda: check_drag_coarse_and_fine(g, 7, int(g.centre(7)[1]))),
            ("wheel steps a slider", lambda: check_wheel(g)),
            ("option menu by mouse and keyboard", lambda: check_menu(g)),
            ("text edit commits on Return", lambda: check_text_edit(g)),
        ]
        with tempfile.TemporaryDirectory() as folder:
            checks.append(("window equals back buffer", lambda: check_screenshot(g, folder)))
            for name, check in checks:
                try:
                    check()
                    print(f"ok   {name}")
                except (AssertionError, subprocess.CalledProcessError) as e:
                    failures += 1
                    print(f"FAIL {name}: {e}")
    finally:
        if g:
            g.close()
        xvfb.terminate()
        xvfb.wait()
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
