"""gnome_hands.py: a user's hands on GNOME Shell, by its interface for remote desktops; talks as tests/support/hands does."""
import sys
import time

from gi.repository import Gio, GLib

SERVICE = "org.gnome.Mutter.RemoteDesktop"
KEYS = {"ctrl": 0xFFE3, "alt": 0xFFE9, "shift": 0xFFE1, "super": 0xFFEB, "space": 0x20, "Return": 0xFF0D, "Escape": 0xFF1B, "Tab": 0xFF09,
        "End": 0xFF57, "Home": 0xFF50}
FAR = 10000.0  # beyond every screen
LEFT_BUTTON = 0x110


class Hands:
    def __init__(self, width, height):
        self.size = width, height
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.path = self.call("/org/gnome/Mutter/RemoteDesktop", SERVICE, "CreateSession").unpack()[0]
        self.ask("Start")

    def call(self, path, interface, method, arguments=None):
        return self.bus.call_sync(SERVICE, path, interface, method, arguments, None, 0, 5000, None)

    def ask(self, method, signature=None, *values):
        self.call(self.path, SERVICE + ".Session", method, GLib.Variant(signature, values) if signature else None)
        time.sleep(0.02)

    def keys(self, names, down):
        for name in names:
            self.ask("NotifyKeyboardKeysym", "(ub)", KEYS.get(name) or ord(name), down)

    def press(self, chord):
        names = chord.split("+")
        self.keys(names, True)
        self.keys(names[::-1], False)

    def type(self, text):
        for letter in text:
            self.press(letter)

    def point(self, x, y):
        # From the far corner: the near one opens the overview.
        self.ask("NotifyPointerMotionRelative", "(dd)", FAR, FAR)
        self.ask("NotifyPointerMotionRelative", "(dd)", x - self.size[0] + 1.0, y - self.size[1] + 1.0)

    def button(self, down):
        self.ask("NotifyPointerButton", "(ib)", LEFT_BUTTON, down)

    def click(self, x, y):
        self.point(x, y)
        self.button(True)
        self.button(False)

    def drag(self, x, y, to_x, to_y):
        self.point(x, y)
        self.button(True)
        for _ in range(4):
            self.ask("NotifyPointerMotionRelative", "(dd)", (to_x - x) / 4, (to_y - y) / 4)
            time.sleep(0.1)
        self.button(False)


def main(width, height):
    hands = Hands(int(width), int(height))
    print("ready", flush=True)
    for line in sys.stdin:
        what, _, rest = line.rstrip("\n").partition(" ")
        if what in ("click", "drag"):
            getattr(hands, what)(*map(int, rest.split()))
        elif what == "press":
            hands.press(rest)
        elif what == "type":
            hands.type(rest)
        print("done", flush=True)


main(*sys.argv[1:])
