"""Terminals, in windows of their own, inside editors, and on another screen."""
import os
import time

from editors import Geany, Kate
from programs import TEXT, Program
from session import NotRun, until

JOB = """#!/bin/sh
trap 'echo INT >> {home}/interrupted' INT
for i in 1 2 3 4 5 6 7 8 9 10 11 12; do echo 'alpha beta gamma alpha beta gamma alpha beta gamma'; done
while :; do date +%s%N > {home}/tick; sleep 0.1; done
"""
KEYS = "#!/bin/sh\nstty raw -echo -isig\nexec cat > {home}/keys\n"
CAT = "#!/bin/sh\nfor i in 1 2 3 4 5 6 7 8; do echo 'alpha beta gamma alpha beta gamma alpha beta gamma'; done\nexec cat > {home}/typed\n"


class Terminal(Program):
    """Runs one script at a time: a job that says when it is interrupted, a recorder of raw keys, or a plain `cat`."""
    terminal = True

    def start(self, script="job"):
        for name, text in (("job", JOB), ("keys", KEYS), ("cat", CAT)):
            self.s.script(name + ".sh", text.format(home=self.s.home))
        for left in ("interrupted", "tick", "keys", "typed"):
            if os.path.exists(self.s.path(left)):
                os.remove(self.s.path(left))
        self.script = script
        self.run(self.s.path(script + ".sh"))
        self.appear()
        self.ready()
        mark = {"job": "tick", "keys": "keys", "cat": "typed"}[script]
        if not until(lambda: os.path.exists(self.s.path(mark)), 15):
            raise NotRun(f"{script}.sh did not start in {self.name}")

    def run(self, script):
        self.process = self.s.start(*(part.format(script=script, home=self.s.home) for part in self.command))

    def caret(self):
        left, top, width, height = self.spot()
        self.s.click(left + width - 40, top + height - 20)

    def spot(self):
        """The part of the window that is the terminal."""
        return self.s.frame(self.window)

    def select(self):
        left, top, _width, _height = self.spot()
        self.s.click(left + 75, top + 60 + self.head, times=2)
        time.sleep(0.4)
        return self.s.selection("primary") or ""

    head = 0

    def text(self):
        """What `cat` was given, its line ended."""
        self.s.type("\n")
        until(lambda: self.read("typed"), 1)
        return self.read("typed").rstrip("\n")

    def probe(self, _what):
        return []

    def read(self, name):
        try:
            with open(self.s.path(name), encoding="utf-8", errors="replace") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def state(self):
        before = self.read("tick")
        runs = self.script != "job" or bool(until(lambda: self.read("tick") != before, 3))
        return {"the job runs": runs, "interrupts": self.read("interrupted"), "stray keys": self.read("keys")}


class Xterm(Terminal):
    name, window_class, command = "xterm", "xterm", ("xterm", "-e", "{script}")


class Konsole(Terminal):
    name, window_class = "konsole", "konsole"
    command = ("konsole", "--separate", "--nofork", "-e", "{script}")
    settle, head = 2.0, 60


class Kitty(Terminal):
    name, window_class, command = "kitty", "kitty", ("kitty", "{script}")
    settle = 3.0


class Panel(Terminal):
    """A terminal inside an editor: the script is typed into its shell."""

    def run(self, script):
        self.file = self.s.write("document.txt", TEXT + "\n")
        for left in ("kate", "geany"):  # else they open as they were closed
            self.s.output("sh", "-c", f"rm -rf {self.s.home}/.config/{left}* {self.s.home}/.local/share/{left}*")
        self.wanted = script
        self.process = self.s.start(*(part.format(file=self.file, home=self.s.home) for part in self.command))

    def ready(self):
        self.s.press("F4")
        time.sleep(3)
        self.s.type("exec sh " + self.wanted + "\n")

    def spot(self):
        left, top, width, height = self.s.frame(self.window)
        return left + self.left, top + height * 0.7, width - self.left, height * 0.28

    left = 30


class KateTerminal(Panel):
    name, window_class, command = "kate-terminal", "kate", Kate.command
    settle = 2.5


class GeanyTerminal(Panel):
    name, window_class, command = "geany-terminal", "geany", Geany.command
    left = 100


class Xephyr(Terminal):
    """A window onto another screen, with an xterm on it."""
    name, window_class = "xephyr", "xephyr"

    def run(self, script):
        self.process = self.s.start("sh", "-c", f"exec Xephyr -displayfd 3 -screen 700x500 -title Xephyr 3>{self.s.path('inner')}")
        number = until(lambda: self.read("inner").strip(), 15)
        outer = self.s.environment["DISPLAY"]
        self.s.environment["DISPLAY"] = ":" + number
        self.inner = self.s.start("xterm", "-geometry", "100x30", "-e", script)
        self.s.environment["DISPLAY"] = outer

    def end(self):
        os.remove(self.s.path("inner"))
        super().end()
