# SPDX-License-Identifier: GPL-3.0-or-later
"""The person in front of the viewer: eyes on its picture, hands on its pointer and keys."""
import os
import struct
import subprocess
import time
from pathlib import Path

from ViewerDay.world import wait_until

TOLERANCE = 40  # of 255 in each channel: video is lossy


class Seat:
    def __init__(self, world, desk):
        self.world, self.desk, self.display = world, desk, world.here.display
        self.target = None  # the window that is watched; the whole display if there is none
        self.window = None
        self.controls = 0  # the height of the bar above the picture

    def find_window(self):
        pid = str(self.world.viewer.pid)
        found = self.display.xdotool("search", "--onlyvisible", "--pid", pid).splitlines()
        sizes = {window: self.display.geometry(window) for window in found}
        sizes = {window: size for window, size in sizes.items() if size[2] > 200}
        self.window = max(sizes, key=lambda window: sizes[window][2], default=None)
        return self.window

    def find_controls(self):
        """The bar is bright, and the host's display below it black."""
        left, top, _, height = self.display.geometry(self.window)
        rows = (row for row in range(height) if sum(self.display.pixel(left + 3, top + row)) < 200)
        self.controls = next(rows, 0)

    def title(self):
        return self.display.xdotool("getwindowname", self.window)

    def place(self, name, across, down):
        """Where the viewer shows a point of a window of the host, on the viewer's display."""
        left, top, width, height = self.display.geometry(self.window)
        if (width, height) != self.display.size:
            top, height = top + self.controls, height - self.controls
        if self.target:
            *_, w, h = self.desk.display.geometry(self.desk.windows[self.target])
            x, y = across * w, down * h
        else:
            (w, h), (x, y) = self.desk.display.size, self.desk.place(name, across, down)
        scale = min(width / w, height / h)
        return left + (width - w * scale) / 2 + x * scale, top + (height - h * scale) / 2 + y * scale

    def sees(self, colour):
        shown = self.display.pixel(*self.place("clock", 0.8, 0.5))
        return all(abs(is_value - value) <= TOLERANCE for is_value, value in zip(shown, colour))

    def sees_new_colour(self, seconds):
        """Seconds until a new background of the clock is shown; nothing if it is not."""
        colour, begin = self.desk.paint(), time.monotonic()
        return time.monotonic() - begin if wait_until(lambda: self.sees(colour), seconds) else None

    def point(self, name, across=0.5, down=0.5):
        x, y = self.place(name, across, down)
        self.display.xdotool("mousemove", str(round(x)), str(round(y)))

    def click(self, name, across=0.5, down=0.5):
        self.point(name, across, down)
        time.sleep(0.05)
        self.display.xdotool("click", "1")

    def press(self, *keys):
        self.display.xdotool("key", *keys)

    def type(self, text):
        self.display.xdotool("type", "--delay", "30", text)

    def loudness(self):
        """The greatest sample of a quarter of a second of what the viewer's computer plays, of 32767."""
        recorder = subprocess.Popen(["parec", "-d", "out.monitor", "--raw", "--format=s16ne", "--rate=48000",
                                     "--channels=1", "--latency-msec=20"], env=self.world.here.environment,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        data = recorder.stdout.read(24_000)
        recorder.kill()
        recorder.wait()
        recorder.stdout.close()
        return max((abs(sample) for (sample,) in struct.iter_unpack("=h", data[:len(data) // 2 * 2])), default=0)

    def memory(self):
        """The viewer's resident memory in MiB."""
        status = Path(f"/proc/{self.world.viewer.pid}/status").read_text(encoding="ascii")
        return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmRSS")) / 1024

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.world.viewer.pid}/fd"))

    def is_sanitized(self):
        """Whether the viewer keeps freed memory for a while, as a program of build/asan does."""
        status = Path(f"/proc/{self.world.viewer.pid}/status").read_text(encoding="ascii")
        return any(int(line.split()[1]) > 1 << 33 for line in status.splitlines() if line.startswith("VmPeak"))  # 8 TiB
