"""The window managers, each as it comes, and a shortcut program: does the panel come, in front, with the keyboard?"""
import os
import time

from Xlib import X

from checks import CANNOT, HARM, NOT_RUN, OK, told
from editors import Mousepad
from programs import CARET, TEXT
from session import NotRun, until

COLUMNS = ("hotkey", "in front", "keyboard", "given back", "other workspace")
COMMANDS = {"openbox": ("openbox",), "xfwm4": ("xfwm4", "--compositor=off"), "mutter": ("mutter", "--x11"),
            "marco": ("marco", "--no-composite"), "kwin": ("kwin_x11",), "i3": ("i3", "-c", "/etc/i3/config"),
            "awesome": ("awesome",), "metacity": ("metacity",), "none": None, "xbindkeys": ("openbox",)}
CLASH_TOLD = 90  # s: the program tries again for a minute before it says so


class Manager:
    """A row: the manager runs before the program starts, and its own shortcuts are as it has them."""

    def __init__(self, name, session):
        self.name, self.s = name, session

    def start(self):
        s = self.s
        if COMMANDS[self.name]:
            s.start(*COMMANDS[self.name])
            check = s.x.intern_atom("_NET_SUPPORTING_WM_CHECK")
            if not until(lambda: s.root.get_full_property(check, X.AnyPropertyType), 20):
                raise NotRun("the window manager did not start")
            time.sleep(2)
        s.begin()
        s.spared = s.stragglers()
        self.editor = Mousepad(s)
        self.editor.start()
        s.copy_before()

    def by_command(self):
        self.s.output(os.path.join(self.s.build, "ovalin"), "toggle")
        self.s.last_hotkey = time.monotonic()  # it may have taken a while to arrive

    def check_hotkey(self):
        s = self.s
        if self.name == "xbindkeys":
            s.start("xbindkeys", "-n", "-f", s.write("xbindkeys", f'"{s.build}/ovalin toggle"\n  Mod4 + space\n'))
            time.sleep(1)
            s.toggle = lambda: s.press("super+space", held=0.3)
            return (OK, "its own chord, held for 0.3 s") if s.open() and s.dismiss() else (HARM, "no panel")
        if s.open():
            s.dismiss()
            return (OK, "")
        until(lambda: s.notices.shown, CLASH_TOLD)
        clash = told(s, 0)
        s.press("Escape")  # what the other program opened by it
        s.toggle = self.by_command
        if not s.open():
            return (HARM, f"neither the hotkey nor `ovalin toggle` opens the panel; told: {clash}")
        s.dismiss()
        return (CANNOT, "told: " + clash) if clash else (HARM, "no panel, and nothing told")

    def above_panel(self):
        """The titles of the windows that hide some of the panel."""
        s = self.s
        panel, found, passed = s.panel(), [], False
        left, top, width, height = s.frame(panel)
        for window in s.root.query_tree().children:
            if window.id == panel.id:
                passed = True
            elif passed:
                seen = window.get_attributes()
                x, y, w, h = s.frame(window)
                if (seen.map_state == X.IsViewable and seen.win_class == X.InputOutput
                        and x < left + width and left < x + w and y < top + height and top < y + h):
                    found.append(s.title(window) or hex(window.id))
        return found

    def check_front(self):
        """Over the editor, and over a window that comes afterwards."""
        s = self.s
        s.open_or_fail()
        time.sleep(0.3)
        first = self.above_panel()
        later = s.start("xterm", "-geometry", "150x50+0+0")
        s.find("xterm")
        time.sleep(1)
        second = self.above_panel()
        s.picture(self.name + "-front", s.pictures)
        s.end(later)
        s.dismiss()
        time.sleep(0.5)
        s.activate(self.editor.window)
        if first or second:
            return (HARM, f"hidden by {first or second}")
        return (OK, "")

    def check_keyboard(self):
        s, prompt = self.s, f"note this under {self.name} for the diary"
        s.open_or_fail()
        s.type(prompt)
        s.press("Return")
        if s.request(prompt):
            return (OK, "")
        return (HARM, f"came: {[each.get('prompt') for each in s.requests()]}")

    def check_given_back(self):
        s = self.s
        self.editor.caret()
        before = s.active()
        s.open_or_fail()
        time.sleep(0.3)
        s.dismiss()
        time.sleep(0.2)
        faults = self.editor.probe("caret")
        if s.active() != before:
            faults.append(f"the active window was {before:x}, is {s.active():x}")
        return (HARM, "; ".join(faults)) if faults else (OK, "")

    def switch(self, number):
        if self.name == "i3":
            self.s.output("i3-msg", f"workspace {number + 1}")
        else:
            self.s.output("wmctrl", "-s", str(number))
        time.sleep(0.7)

    def check_workspace(self):
        """The user goes to another workspace with the panel open, and presses Replace there."""
        s, target = self.s, self.editor
        if self.name == "none":
            return (NOT_RUN, "there is none")
        s.output("wmctrl", "-n", "2")
        target.again()
        target.select()
        since = len(s.notices.shown)
        s.open_or_fail()
        s.type("replace with 'NEW'")
        self.switch(1)
        s.picture(self.name + "-other", s.pictures)
        if s.panel() and not s.press_replace():
            raise NotRun("no button")
        until(lambda: not s.panel(), 5)
        until(lambda: len(s.notices.shown) > since, 2)
        notice = told(s, since)
        self.switch(0)
        s.activate(target.window)
        found = target.text()
        if found == TEXT[:CARET] + "NEW":
            return (OK, notice)
        return (CANNOT, "told: " + notice) if found == TEXT and notice else (HARM, f"{found!r}, told: {notice or 'nothing'}")

    def check(self, _count):
        checks = (self.check_hotkey, self.check_front, self.check_keyboard, self.check_given_back, self.check_workspace)
        cells = {}
        for column, look in zip(COLUMNS, checks):
            try:
                cells[column] = look()
            except NotRun as why:
                cells[column] = (NOT_RUN, str(why))
                self.s.picture(f"{self.name}-{column}", self.s.pictures)
                self.s.press("Escape")
        return cells
