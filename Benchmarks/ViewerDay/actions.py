# SPDX-License-Identifier: GPL-3.0-or-later
"""What a person does in a day. Each action checks what it has done and raises Failure if it is wrong."""
import time

from ViewerDay.world import wait_until

WHEEL = {"4": 64, "5": 65}  # X buttons, and the codes in a terminal's reports
PATIENCE = 20               # seconds, for a loaded machine
LONGEST_PAUSE = 30          # seconds between two attempts to connect
CUTS = (3, 10, 40)


class Failure(Exception):
    """What an action found wrong."""


class Actions:
    def __init__(self, world, desk, seat, dice):
        self.world, self.desk, self.seat, self.dice = world, desk, seat, dice
        self.shots = set()
        self.names = [name.removeprefix("do_") for name in dir(self) if name.startswith("do_")]

    def do(self, name):
        getattr(self, f"do_{name}")()

    def line(self):
        return "".join(self.dice.choices("abcdefghijklmnopqrstuvwxyz 0123456789", k=24)).strip()

    def do_typing(self):
        self.seat.click("paper")
        text = f"x{self.line()}"
        self.seat.type(text)
        self.seat.press("Return")
        if not wait_until(lambda: text in self.desk.typed(), PATIENCE):
            raise Failure(f"typed {text!r}, at the host {self.desk.typed()[-2:]}")
        if self.desk.typed().count(text) != 1 or self.desk.typed()[-1] != text:
            raise Failure(f"typed {text!r} once, at the host {self.desk.typed()[-3:]}")

    def do_clicks(self):
        before = len(self.desk.reports())
        for _ in range(5):
            self.seat.click("mouse")
        wanted = [(0, True), (0, False)] * 5
        if not wait_until(lambda: self.desk.reports()[before:] == wanted, PATIENCE):
            raise Failure(f"5 clicks, at the host {self.desk.reports()[before:]}")
        window = self.desk.display.xdotool("getactivewindow")
        if self.desk.display.xdotool("getwindowname", window) != "mouse":
            raise Failure("the clicks did not land in their window")

    def do_wheel(self):
        self.seat.point("mouse")
        for button, code in WHEEL.items():
            before = len(self.desk.reports())
            self.seat.display.xdotool("click", "--repeat", "7", "--delay", "30", button)
            if not wait_until(lambda: self.desk.reports()[before:] == [(code, True)] * 7, PATIENCE):
                raise Failure(f"7 notches, at the host {self.desk.reports()[before:]}")

    def do_clipboard(self):
        for source, target in ((self.seat.display, self.desk.display), (self.desk.display, self.seat.display)):
            text = self.line() * self.dice.choice((1, 50, 5_000))
            owner = source.open("xclip", "-selection", "clipboard", "-quiet", "-i", "-loops", "0", stdin=-1, text=True)
            owner.stdin.write(text)
            owner.stdin.close()
            try:
                if not wait_until(lambda: target.run("xclip", "-selection", "clipboard", "-o") == text, PATIENCE):
                    raise Failure("the clipboard did not arrive at the "
                                  + ("host" if target is self.desk.display else "viewer"))
            finally:
                owner.kill()
                owner.wait()
                source.children.remove(owner)

    def do_sound(self):
        if not wait_until(lambda: self.seat.loudness() > 500, PATIENCE):
            raise Failure("no sound")

    def do_resize(self):
        width, height = self.dice.randint(640, 1400), self.dice.randint(400, 850)
        self.seat.display.xdotool("windowsize", self.seat.window, str(width), str(height))
        if not wait_until(lambda: self.seat.display.geometry(self.seat.window)[2:] == (width, height), PATIENCE):
            raise Failure("the window does not have its new size")

    def do_full_screen(self):
        for wanted in (True, False):
            self.seat.press("ctrl+alt+shift+f")
            if not wait_until(lambda: (self.seat.display.geometry(self.seat.window)[2:] == self.seat.display.size)
                              == wanted, PATIENCE):
                raise Failure("no full screen" if wanted else "full screen stays")
            self.moves()

    def do_targets(self):
        for filter_text, target, title in (("clock", "clock", "clock"), ("main", None, None)):
            self.seat.press("ctrl+alt+shift+t")
            time.sleep(0.5)  # the list takes the keyboard
            self.seat.type(filter_text)
            time.sleep(0.2)
            self.seat.press("Return")
            self.seat.target = target
            if not wait_until(lambda: self.seat.title().startswith("clock") == (title is not None), PATIENCE):
                raise Failure(f"the picker did not choose {filter_text}; the title is {self.seat.title()!r}")
            self.moves()
        self.desk.put_back("clock")

    def do_cut_short(self):
        self.cut(CUTS[0])

    def do_cut(self):
        self.cut(CUTS[1])

    def do_cut_long(self):
        self.cut(CUTS[2])

    def do_cut_with_a_key_held(self):
        self.seat.click("mouse")
        self.seat.display.xdotool("keydown", "Shift_L")
        if not wait_until(lambda: self.desk.display.held()[0], PATIENCE):
            raise Failure("a key that is held is not held at the host")
        self.cut(CUTS[1], lambda: self.seat.display.xdotool("keyup", "Shift_L"))

    def do_host_restarts(self):
        status = self.world.stop_host()
        time.sleep(3)
        self.world.start_host()
        self.moves(LONGEST_PAUSE + PATIENCE)
        if status:
            raise Failure(f"the host ended with {status}")

    def cut(self, seconds, meanwhile=lambda: None):
        self.world.link.set("down")
        time.sleep(seconds * 0.8)
        self.shot(f"cut-{seconds}")
        meanwhile()
        time.sleep(seconds * 0.2)
        self.world.link.set("up")
        self.moves(LONGEST_PAUSE + PATIENCE)
        self.shot(f"cut-{seconds}-after")

    def moves(self, seconds=PATIENCE):
        """The picture at the viewer shows a change of the host's display."""
        if self.seat.sees_new_colour(seconds) is None:
            self.shot("still")
            raise Failure(f"the picture does not move within {seconds} s")

    def shot(self, name):
        if name not in self.shots:
            self.seat.display.shot(self.world.reports / f"{name}.png")
            self.shots.add(name)
