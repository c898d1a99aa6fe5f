"""A desktop with the built program in it, driven by keys and mouse, and everything about it that can be seen from outside."""
import contextlib
import json
import os
import subprocess
import sys
import time

from gi.repository import GLib
from Xlib import X, XK, display as xdisplay
from Xlib.error import XError
from Xlib.ext import xtest

from observers import Notices, SentKeys

ROOT = os.path.realpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
sys.path.insert(0, os.path.join(ROOT, "bench"))
from desk import Desk  # noqa: E402

MODIFIERS = {"ctrl": "Control_L", "shift": "Shift_L", "alt": "Alt_L", "super": "Super_L"}
RIGHT_MODIFIERS = {"ctrl": "Control_R", "shift": "Shift_R", "alt": "Alt_R", "super": "Super_R", "level3": "ISO_Level3_Shift"}
KEY_NAMES = {getattr(XK, "XK_" + name): name for name in ("Insert", "space", "Escape", "Delete", "BackSpace")}
COPIED = "copied before"
DEBOUNCE = 0.3  # s; the program's own is 250 ms


def until(condition, seconds=10.0, step=0.02):
    """What `condition` returns as soon as it is true, else its last answer after `seconds`."""
    end = time.monotonic() + seconds
    while not (found := condition()) and time.monotonic() < end:
        time.sleep(step)
    return found


class NotRun(Exception):
    """Why a row or a cell could not be driven: says nothing about the program."""


class Harmed(Exception):
    """What no check needs to compare: the application is gone, for instance."""


class Session(Desk):
    """A Desk with accessibility switched on, as after the program's offer, unless told otherwise."""

    held = 0.05  # s: a quick finger on the hotkey

    def __init__(self, build, window_manager="openbox", accessibility=True, screen="1280x900x24", **environment):
        super().__init__(screen)
        self.build = build
        self.environment.update(LIBGL_ALWAYS_SOFTWARE="1", GDK_BACKEND="x11", QT_QPA_PLATFORM="xcb", IS_SANDBOX="1",
                                GSK_RENDERER="cairo", XDG_CURRENT_DESKTOP="X-Generic", NO_AT_BRIDGE="0",
                                DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent/bus", **environment)
        # Klipper comes with Plasma's launcher, whose Alt+Space any program of KDE's would take for it.
        self.write(".config/kglobalshortcutsrc", "[org.kde.krunner.desktop]\n_launch=none,none,KRunner\n")
        self.start_session(window_manager)
        self.x = xdisplay.Display(self.environment["DISPLAY"])
        self.root = self.x.screen().root
        self.notices = Notices(self.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.sent = SentKeys(self.environment["DISPLAY"], {self.x.display.info.resource_id_base})
        if accessibility:
            self.switch_accessibility_on()
        self.last_hotkey = 0.0
        self.run_agent("tr a-z A-Z")

    def switch_accessibility_on(self):
        self.notices.bus.call_sync(
            "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Set",
            GLib.Variant("(ssv)", ("org.a11y.Status", "IsEnabled", GLib.Variant("b", True))), None, 0, 10000, None)

    def run_agent(self, transform):
        """`transform`: what a shell does to the highlighted text; the agent itself is the stand-in of the tests."""
        self.script(".claude/bin/capture-router.sh", "#!/bin/sh\n")  # the requests stay where they can be read
        self.script(".claude/bin/ovalin-transform.sh", "#!/bin/sh\n" + transform + "\n")
        with open(os.path.join(ROOT, "tests/agent/fake-claude")) as file:
            self.script(".local/bin/claude", file.read())

    def script(self, relative, text):
        os.chmod(self.write(relative, text), 0o755)

    # Keys and mouse

    def key_code(self, name):
        return self.x.keysym_to_keycode(XK.string_to_keysym(name))

    def fake(self, kind, code):
        xtest.fake_input(self.x, kind, code)

    def press(self, *chords, gap=0.02, held=0.0):
        """Each like "ctrl+shift+End", its last key down for `held` seconds; "Right*6" is pressed six times."""
        for chord in chords:
            chord, _, times = chord.partition("*")
            keys = [self.key_code(MODIFIERS.get(part, part)) for part in chord.split("+")]
            for _ in range(int(times or 1)):
                for key in keys:
                    self.fake(X.KeyPress, key)
                self.x.sync()
                time.sleep(held)
                for key in reversed(keys):
                    self.fake(X.KeyRelease, key)
                self.x.sync()
                time.sleep(gap)

    def type(self, text, gap=0.012):
        shift = self.key_code("Shift_L")
        for letter in text:
            keysym = XK.string_to_keysym({"\n": "Return", "\t": "Tab"}.get(letter, letter)) or ord(letter)
            code = self.x.keysym_to_keycode(keysym)
            shifted = self.x.keycode_to_keysym(code, 0) != keysym
            steps = [(X.KeyPress, shift)] * shifted + [(X.KeyPress, code), (X.KeyRelease, code)] + [(X.KeyRelease, shift)] * shifted
            for kind, key in steps:
                self.fake(kind, key)
            self.x.sync()
            time.sleep(gap)

    def move(self, x, y):
        xtest.fake_input(self.x, X.MotionNotify, x=int(x), y=int(y))
        self.x.sync()

    def click(self, x, y, times=1):
        self.move(x, y)
        time.sleep(0.05)
        for _ in range(times):
            self.fake(X.ButtonPress, 1)
            self.fake(X.ButtonRelease, 1)
        self.x.sync()

    def drag(self, x1, y1, x2, y2):
        self.move(x1, y1)
        time.sleep(0.1)
        self.fake(X.ButtonPress, 1)
        for step in range(1, 11):
            self.move(x1 + (x2 - x1) * step / 10, y1 + (y2 - y1) * step / 10)
            time.sleep(0.02)
        self.fake(X.ButtonRelease, 1)
        self.x.sync()

    # Windows

    def windows(self, parent=None):
        """All mapped windows that have a class or a name, below `parent`."""
        for child in (parent or self.root).query_tree().children:
            try:
                if child.get_attributes().map_state == X.IsViewable:
                    yield child
                    yield from self.windows(child)
            except XError:  # it has gone meanwhile
                pass

    def find(self, pattern, seconds=40.0):
        """The first mapped window whose class or title contains `pattern`, in any case."""
        def look():
            for window in self.windows():
                try:
                    names = list(window.get_wm_class() or ()) + [self.title(window)]
                except XError:
                    continue
                if any(pattern.lower() in name.lower() for name in names):
                    return window
            return None
        if not (window := until(look, seconds, 0.1)):
            raise NotRun(f"no window {pattern}")
        return window

    def title(self, window):
        for name in ("_NET_WM_NAME", "WM_NAME"):
            try:
                found = window.get_full_property(self.x.intern_atom(name), X.AnyPropertyType)
            except XError:
                return "the window is gone"
            if found and found.value:
                value = found.value
                return value.decode("utf-8", "replace") if isinstance(value, bytes) else str(value)
        return ""

    def frame(self, window):
        """Left, top, width, height on the screen."""
        size, place = window.get_geometry(), window.translate_coords(self.root, 0, 0)
        return -place.x, -place.y, size.width, size.height

    def activate(self, window):
        self.output("xdotool", "windowactivate", str(window.id))
        time.sleep(0.2)
        if self.active() != window.id:
            window.set_input_focus(X.RevertToParent, X.CurrentTime)
            self.x.sync()
            time.sleep(0.2)

    def active(self):
        found = self.root.get_full_property(self.x.intern_atom("_NET_ACTIVE_WINDOW"), X.AnyPropertyType)
        return found.value[0] if found and len(found.value) else 0

    def window_of(self, number):
        return self.x.create_resource_object("window", number)

    def picture(self, name, folder):
        if folder:
            self.output("import", "-window", "root", os.path.join(folder, name + ".png"))

    # Selections

    def selection(self, name):
        """Its text; None when nobody owns it or its owner does not answer."""
        try:
            done = subprocess.run(["xclip", "-o", "-selection", name, "-t", "UTF8_STRING"], env=self.environment,
                                  capture_output=True, timeout=2)
        except subprocess.TimeoutExpired:
            return None
        return done.stdout.decode("utf-8", "replace") if done.returncode == 0 else None

    def owner(self, name):
        window = self.x.get_selection_owner(self.x.intern_atom(name.upper()))
        return window.id if window else 0

    def copy_before(self):
        """Puts COPIED on the clipboard, with an owner that stays."""
        self.start("xclip", "-quiet", "-selection", "clipboard", self.write("copied", COPIED))
        until(lambda: self.selection("clipboard") == COPIED, 3)

    # The program

    def begin(self):
        self.program = self.start_ovalin(self.build)

    def log(self):
        with open(self.path("ovalin.log")) as file:
            return file.read()

    def panel(self):
        for window in self.root.query_tree().children:
            try:
                if window.get_attributes().map_state == X.IsViewable and self.title(window) == "Ovalin":
                    return window
            except XError:
                pass
        return None

    def open(self):
        """Presses the hotkey, once the last press is long enough ago; True when the panel came."""
        time.sleep(max(0.0, self.last_hotkey + DEBOUNCE - time.monotonic()))
        self.last_hotkey = time.monotonic()
        self.toggle()
        return bool(until(self.panel, 5, 0.01))

    def toggle(self):
        """What opens the panel: the hotkey, or else what a row puts in its place."""
        self.press("alt+space", held=self.held)

    @contextlib.contextmanager
    def hotkey_down(self):
        """Alt+Space is pressed, and released afterwards."""
        keys = [self.key_code(name) for name in ("Alt_L", "space")]
        for key in keys:
            self.fake(X.KeyPress, key)
        self.x.sync()
        yield
        for key in reversed(keys):
            self.fake(X.KeyRelease, key)
        self.x.sync()
        self.last_hotkey = time.monotonic()

    def open_or_fail(self):
        if not self.open():
            raise NotRun("the panel did not open")

    def dismiss(self, chord="Escape"):
        """Closes the panel; True when it went."""
        self.press(chord)
        return bool(until(lambda: not self.panel(), 3, 0.01))

    def panel_words(self):
        """What the panel shows: role, name, text, description and frame of each part."""
        script = os.path.join(ROOT, "scripts/applications/panel_words.py")
        return [json.loads(line) for line in self.output("/usr/bin/python3", script).splitlines()]

    def press_replace(self):
        """A click on the button that reads Replace or Insert; False when there is none."""
        for role, name, _, _, *frame in self.panel_words():
            if role == "push button" and name in ("Replace", "Insert"):
                self.click(frame[0] + frame[2] / 2, frame[1] + frame[3] / 2)
                return True
        return False

    def status(self):
        return next((part[2] or part[3] for part in self.panel_words() if part[1] == "Status"), "")

    def requests(self):
        found = []
        for folder in ("", "/processed"):
            folder = self.path("CLAUDE/system/capture-queue") + folder
            for name in sorted(os.listdir(folder)) if os.path.isdir(folder) else []:
                if name.endswith(".json"):
                    with open(os.path.join(folder, name)) as file:
                        found.append(json.load(file))
        return found

    def request(self, prompt, seconds=20):
        """The queue file with this instruction, once it is there."""
        def look():
            try:
                return next((each for each in self.requests() if each.get("prompt") == prompt), None)
            except (OSError, ValueError):
                return None  # on its way from one folder to the other
        return until(look, seconds)

    def chords(self):
        """What the program has sent since the last call, like "ctrl+Insert"; modifiers alone are none."""
        seen, self.sent.seen = self.sent.seen, []
        names = {self.key_code(name): short for short, name in MODIFIERS.items()}
        names.update({self.key_code(name): short for short, name in RIGHT_MODIFIERS.items()})
        down, chords = [], []
        for kind, key in seen:
            if key in names and kind == X.KeyPress:
                down.append(names[key])
            elif key in names:
                down = [name for name in down if name != names[key]]
            elif kind == X.KeyPress:
                keysym = self.x.keycode_to_keysym(key, 0)
                chords.append("+".join(down + [XK.keysym_to_string(keysym) or KEY_NAMES.get(keysym, hex(keysym))]))
        return chords
