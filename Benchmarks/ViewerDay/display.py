# SPDX-License-Identifier: GPL-3.0-or-later
"""An X display: its server, its windows, its pixels, and which keys and buttons it believes to be held."""
import ctypes
import os
import subprocess

QUIET = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
ALL_BUTTONS = 0x1F00
Z_PIXMAP = 2
ALL_PLANES = ctypes.c_ulong(-1)

x11 = ctypes.CDLL("libX11.so.6")
x11.XOpenDisplay.restype = ctypes.c_void_p
x11.XDefaultRootWindow.restype = ctypes.c_ulong
x11.XGetImage.restype = ctypes.c_void_p
x11.XGetPixel.restype = ctypes.c_ulong

# A window may have gone when it is asked for: the answer is zeros, not the end of this program.
IGNORE = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)(lambda *_: 0)
x11.XSetErrorHandler(IGNORE)


class Display:
    """A virtual display with a window manager."""

    def __init__(self, environment, size):
        self.size = size
        reader, writer = os.pipe()
        self.children = [subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-screen", "0", f"{size[0]}x{size[1]}x24",
                                           "-nolisten", "tcp", "-noreset"], pass_fds=[writer], **QUIET)]
        os.close(writer)
        with open(reader, encoding="ascii") as answer:
            number = answer.readline().strip()
        if not number:
            raise RuntimeError("no X server")
        self.environment = dict(environment, DISPLAY=f":{number}")
        self.connection = ctypes.c_void_p(x11.XOpenDisplay(f":{number}".encode()))
        self.root = ctypes.c_ulong(x11.XDefaultRootWindow(self.connection))
        self.open("openbox")

    def open(self, *command, **streams):
        self.children.append(subprocess.Popen(command, env=self.environment, **(QUIET | streams)))
        return self.children[-1]

    def run(self, *command, feed=None):
        return subprocess.run(command, env=self.environment, capture_output=True, input=feed, text=True, timeout=60,
                              check=False).stdout

    def xdotool(self, *words):
        return self.run("xdotool", *words).strip()

    def geometry(self, window):
        """x, y, width and height of a window's inside on the screen."""
        window = ctypes.c_ulong(int(window))
        root, child = ctypes.c_ulong(), ctypes.c_ulong()
        x, y, width, height, border, depth = (ctypes.c_int() for _ in range(6))
        x11.XGetGeometry(self.connection, window, *map(ctypes.byref, (root, x, y, width, height, border, depth)))
        x11.XTranslateCoordinates(self.connection, window, self.root, 0, 0, *map(ctypes.byref, (x, y, child)))
        return x.value, y.value, width.value, height.value

    def pixel(self, x, y):
        image = ctypes.c_void_p(x11.XGetImage(self.connection, self.root, int(x), int(y), 1, 1, ALL_PLANES, Z_PIXMAP))
        value = x11.XGetPixel(image, 0, 0)
        x11.XDestroyImage(image)
        return value >> 16 & 255, value >> 8 & 255, value & 255

    def held(self):
        """The codes of the keys and the mask of the buttons that are down."""
        bits = ctypes.create_string_buffer(32)
        x11.XQueryKeymap(self.connection, bits)
        keys = [code for code in range(256) if bits.raw[code // 8] >> code % 8 & 1]
        windows, places, mask = [ctypes.c_ulong() for _ in range(2)], [ctypes.c_int() for _ in range(4)], ctypes.c_uint()
        x11.XQueryPointer(self.connection, self.root, *map(ctypes.byref, windows), *map(ctypes.byref, places),
                          ctypes.byref(mask))
        return keys, mask.value & ALL_BUTTONS

    def shot(self, path):
        self.run("import", "-window", "root", str(path))

    def end(self):
        for child in reversed(self.children):
            child.kill()
            child.wait()
