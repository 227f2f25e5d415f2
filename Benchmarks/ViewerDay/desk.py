# SPDX-License-Identifier: GPL-3.0-or-later
"""The programs on the host's display. Each shows what has arrived from the viewer, or what the viewer has to show."""
import random
import re

from ViewerDay.world import wait_until

PLACES = {"paper": "60x12+20+40", "clock": "40x12+700+40", "mouse": "60x14+20+400"}
# Far apart, so that an old picture is not taken for a new one, and that of a lossy codec for none.
COLOURS = ((200, 40, 60), (40, 160, 70), (60, 60, 210), (190, 180, 50), (120, 30, 140))


class Desk:
    """Three terminals: "paper" keeps each line that is typed, "mouse" each report of the pointer, and "clock" shows the
    time on a background that is set from here."""

    def __init__(self, display, folder):
        self.display, self.folder, self.colour = display, folder, COLOURS[0]
        commands = {"paper": f"stty -echoctl; cat >>{folder}/paper",
                    "mouse": f"stty raw -echo; printf '\\033[?1000h\\033[?1006h'; cat >>{folder}/mouse",
                    "clock": f"tty >{folder}/clock; while :; do date +%T.%N; sleep 0.25; done"}
        for name, command in commands.items():
            display.open("xterm", "-geometry", PLACES[name], "-title", name, "-xrm", "*allowTitleOps: false", "-e", "sh",
                         "-c", command)
            if not wait_until((folder / name).exists, 30):
                raise RuntimeError(f"no terminal for {name}")
        wait_until((folder / "clock").read_text, 30)
        self.windows = {name: wait_until(lambda: self.find(name), 30) for name in commands}
        self.places = {name: display.geometry(window) for name, window in self.windows.items()}

    def find(self, name):
        return (self.display.xdotool("search", "--onlyvisible", "--name", f"^{name}$").splitlines() or [None])[-1]

    def put_back(self, name):
        """A window that was watched has the size that its viewer asked for."""
        x, y, width, height = map(str, self.places[name])
        self.display.xdotool("windowsize", self.windows[name], width, height, "windowmove", self.windows[name], x, y)

    def paint(self, dice=random):
        """Gives the clock another background; returns its colour."""
        self.colour = dice.choice([colour for colour in COLOURS if colour != self.colour])
        with open((self.folder / "clock").read_text().strip(), "w", encoding="ascii") as terminal:
            terminal.write("\033]11;#%02x%02x%02x\007" % self.colour)
        return self.colour

    def place(self, name, across, down):
        """A point of a window's inside, as shares of its size, in pixels of the display."""
        x, y, width, height = self.display.geometry(self.windows[name])
        return x + across * width, y + down * height

    def typed(self):
        return (self.folder / "paper").read_text(errors="replace").splitlines()

    def reports(self):
        """The pointer's reports so far: button, and whether it went down."""
        text = (self.folder / "mouse").read_text(errors="replace")
        return [(int(button), kind == "M") for button, kind in re.findall(r"\x1b\[<(\d+);\d+;\d+([Mm])", text)]
