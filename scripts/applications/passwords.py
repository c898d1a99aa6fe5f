"""Fields for passwords."""
import os
import time

from programs import Program
from session import until


# Passwords

class Password(Program):
    """A field with SECRET in it; `given` is what the application got at the end."""
    password = True
    tells = True  # what kind of field it is
    SECRET = "hunterTwo7"

    def caret(self):
        self.s.press("End")

    def select(self):
        self.s.press("ctrl+a")
        time.sleep(0.3)
        return ""

    def ready(self):
        self.s.type(self.SECRET)

    def text(self):
        return self.SECRET

    def probe(self, what):
        """A letter typed into the field: it stands alone where everything was selected."""
        if what == "select":
            return []
        given = self.text()
        return [] if given == self.SECRET else [f"the application got {given!r}"]


class Zenity(Password):
    name, window_class = "zenity --password", "zenity"
    command = ("zenity", "--password")

    def text(self):
        self.s.press("Return")
        until(lambda: self.process.poll() is not None, 5)
        with open(self.s.path("zenity.log")) as file:
            lines = [line for line in file.read().splitlines() if "WARNING" not in line and line]
        self.again()
        return lines[-1] if lines else ""


class KeePassXC(Password):
    name, window_class = "keepassxc", "keepassxc"
    left_alone = True
    command = ("keepassxc", "{home}/secrets.kdbx")
    settle = 3.0

    def prepare(self):
        self.s.write(".config/keepassxc/keepassxc.ini", "[General]\nUpdateCheckMessageShown=true\n[GUI]\nCheckForUpdates=false\n")
        if not os.path.exists(self.s.path("secrets.kdbx")):
            self.s.output("sh", "-c", f"printf '{self.SECRET}\\n{self.SECRET}\\n' | keepassxc-cli db-create -p {self.s.path('secrets.kdbx')}")

    def text(self):
        self.s.press("Return")
        unlocked = until(lambda: "[Locked]" not in self.s.title(self.window) and "secrets" in self.s.title(self.window), 8)
        self.again()
        return self.SECRET if unlocked else "not unlocked"
