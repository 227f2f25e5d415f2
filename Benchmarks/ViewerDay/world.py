# SPDX-License-Identifier: GPL-3.0-or-later
"""A host and a viewer, each with a display and a sound server of its own, and a link between them that can be cut."""
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

from ViewerDay.display import QUIET, Display

PIN = "123456"
FAULT_EXIT = 99  # the exit status of a program with a sanitizer's report
HOST_SIZE = (1280, 800)
VIEWER_SIZE = (1600, 1000)


def wait_until(condition, seconds):
    """The condition's first true value, or a false one at the deadline."""
    deadline = time.monotonic() + seconds
    while not (result := condition()) and time.monotonic() < deadline:
        time.sleep(0.05)
    return result


def free_port():
    with socket.socket() as listener:
        listener.bind(("0.0.0.0", 0))
        return listener.getsockname()[1]


class Link:
    """The network namespace of the viewer. Needs root."""

    def __init__(self):
        number = os.getpid()
        self.namespace, self.device = f"viewer-day-{number}", f"vd{number}"
        network = f"10.{200 + number % 55}.77"
        self.address = f"{network}.1"
        inside = ("ip", "-n", self.namespace)
        for command in (("ip", "netns", "add", self.namespace),
                        ("ip", "link", "add", self.device, "type", "veth", "peer", "name", "far", "netns",
                         self.namespace),
                        ("ip", "addr", "add", f"{self.address}/24", "dev", self.device),
                        ("ip", "link", "set", self.device, "up"),
                        (*inside, "addr", "add", f"{network}.2/24", "dev", "far"),
                        (*inside, "link", "set", "far", "up"), (*inside, "link", "set", "lo", "up")):
            subprocess.run(command, check=True)

    def words(self, *words):
        return "ip", "netns", "exec", self.namespace, *words

    def set(self, state):
        subprocess.run(["ip", "link", "set", self.device, state], check=True)

    def end(self):
        subprocess.run(["ip", "netns", "del", self.namespace], check=False, **QUIET)
        subprocess.run(["ip", "link", "del", self.device], check=False, **QUIET)


class Side:
    """The environment of a computer: a folder, a sound server, a display."""

    def __init__(self, root, name, size, reports):
        self.folder = root / name
        self.folder.mkdir(mode=0o700)
        common = f"log_path={reports}/report:log_exe_name=1:exitcode={FAULT_EXIT}"
        suppressions = Path(__file__).resolve().parents[2] / "cmake" / "sanitizers"
        self.environment = {
            **os.environ, "HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder / "config"),
            "XDG_DATA_HOME": str(self.folder / "data"), "XDG_RUNTIME_DIR": str(self.folder),
            "PULSE_SERVER": f"unix:{self.folder}/sound", "QT_QPA_PLATFORM": "xcb", "LC_ALL": "C.UTF-8",
            "SHELL": "/bin/sh", "DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.folder}/bus", "ASAN_OPTIONS": common,
            "UBSAN_OPTIONS": f"{common}:print_stacktrace=1", "TSAN_OPTIONS": common,
            "LSAN_OPTIONS": f"suppressions={suppressions}/leaks.supp:print_suppressions=0"}
        for variable in ("DISPLAY", "WAYLAND_DISPLAY"):
            self.environment.pop(variable, None)
        tone = ["-L", "module-sine sink=out frequency=440 rate=48000"] if name == "host" else []
        self.server = subprocess.Popen(
            ["pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1", "-L",
             "module-null-sink sink_name=out rate=48000 channels=2 norewinds=1", *tone, "-L",
             f"module-native-protocol-unix socket={self.folder}/sound auth-anonymous=1"], env=self.environment, **QUIET)
        self.display = Display(self.environment, size)
        if not wait_until((self.folder / "sound").exists, 30):
            raise RuntimeError("no sound server")

    def end(self):
        self.display.end()
        self.server.kill()
        self.server.wait()


class World:
    def __init__(self, host, reports):
        self.host_program, self.reports = host.resolve(), reports
        self.root = Path(tempfile.mkdtemp(prefix="viewer-day-"))
        self.link, self.port = Link(), free_port()
        self.host = self.viewer = None
        self.there = Side(self.root, "host", HOST_SIZE, reports)
        self.here = Side(self.root, "viewer", VIEWER_SIZE, reports)

    @property
    def address(self):
        return f"{self.link.address}:{self.port}"

    def accepts(self):
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0

    def start_host(self):
        with open(self.reports / "host.log", "ab") as log:
            self.host = subprocess.Popen(
                [self.host_program, "--pin", PIN], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                env=dict(self.there.display.environment, QUORL_HOST_PORT=str(self.port), QUORL_HOST_MENU="",
                         QUORL_RELAY_PORT=str(free_port())))
        if not wait_until(self.accepts, 60):
            raise RuntimeError("the host does not listen")

    def stop_host(self):
        self.host.send_signal(signal.SIGTERM)
        return self.host.wait(60)

    def start_viewer(self):
        programs = self.host_program.parent
        subprocess.run(self.link.words(programs / "quorl_client", "pair", self.address, "--pin", PIN), check=True,
                       env=self.here.display.environment, **QUIET)
        with open(self.reports / "viewer.log", "wb") as log:
            self.viewer = subprocess.Popen(self.link.words(programs / "quorl_viewer", "--host", self.address),
                                           env=self.here.display.environment, stdin=subprocess.DEVNULL, stdout=log,
                                           stderr=log)

    def end(self):
        for program in (self.viewer, self.host):
            if program and program.poll() is None:
                program.kill()
                program.wait()
        self.here.end()
        self.there.end()
        self.link.end()
        shutil.rmtree(self.root, ignore_errors=True)
