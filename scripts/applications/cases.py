"""Bad input, and what happens at the wrong moment: each case on a desktop of its own, in an editor unless it says otherwise."""
import os
import signal
import subprocess
import threading
import time

from gi.repository import Gio, GLib
from Xlib import X, display as xdisplay

from checks import CANNOT, HARM, OK, openings, told, use_button
from editors import Mousepad
from histories import CASES as HISTORIES
from programs import CARET, SELECTED, TEXT
from session import COPIED, NotRun, until
from terminals import Xterm

COLUMNS = ("outcome",)
SLOW = "sleep 2; tr a-z A-Z"
CHANGED = TEXT[:CARET] + SELECTED.upper()


def verdict(good, why=""):
    return (OK if good else HARM, why)


def carried(target, prompt="note this for the diary"):
    """What the request of an opening holds."""
    target.s.open_or_fail()
    target.s.type(prompt)
    time.sleep(0.7)
    target.s.press("Return")
    entry = target.s.request(prompt)
    if not entry or not until(lambda: not target.s.panel(), 5):
        raise NotRun("no request")
    return entry.get("text") or ""


def begin_slow(target):
    """Presses Replace with a transform that takes two seconds; returns the number of notices so far."""
    s = target.s
    s.run_agent(SLOW)
    target.select()
    since = len(s.notices.shown)
    s.open_or_fail()
    s.type("make it loud")
    if not s.press_replace():
        raise NotRun("no button")
    time.sleep(0.5)
    return since


def left_on_clipboard(target, since, result, text=TEXT):
    """Nothing pasted, said so, the result on the clipboard, and the old one back at the press of the button."""
    s = target.s
    notice = until(lambda: told(s, since), 8)
    if not notice:
        return (HARM, f"nothing told, the text is {target.text()!r}")
    found, held = target.text(), s.selection("clipboard")
    if found != text or held != result:
        return (HARM, f"the text is {found!r}, the clipboard {held!r}, told: {notice}")
    actions = s.notices.shown[-1][3]
    if not actions:
        return (HARM, f"no button puts the old clipboard back, told: {notice}")
    s.notices.press(len(s.notices.shown), actions[0])
    back = until(lambda: s.selection("clipboard") == COPIED, 3)
    return verdict(back, "told: " + notice if back else f"after the button the clipboard is {s.selection('clipboard')!r}")


class Two(Mousepad):
    """Two documents of one process, in windows or tabs; SELECTED is selected in the first."""
    how = "window"

    def start(self):
        super().start()
        self.select()
        self.other = self.s.write("other.txt", "the other document\n")
        self.s.start("mousepad", "--opening-mode=" + self.how, self.other)
        time.sleep(2)
        until(lambda: "other.txt" in self.s.title(self.s.window_of(self.s.active())), 5)

    command = ("mousepad", "{file}")


class TwoTabs(Two):
    how = "tab"


def other_document_has_no_excerpt(target):
    text = carried(target)
    return verdict(not text, f"excerpt {text!r}" if text else "")


def second_window_in_front(target):
    """The selection is taken from one window, then the other comes to the front: only the right document may change."""
    s = target.s
    s.activate(target.window)
    target.select()
    s.run_agent(SLOW)
    since = len(s.notices.shown)
    s.open_or_fail()
    s.type("make it loud")
    s.press_replace()
    time.sleep(0.3)
    s.activate(s.find("other.txt"))
    front = s.active()
    notice = until(lambda: told(s, since), 8)
    time.sleep(0.5)
    raised = s.active() != front
    s.press("ctrl+s")
    time.sleep(0.7)
    with open(target.other) as file:
        other = file.read()
    s.activate(target.window)
    found = target.text()
    if other.strip() != "the other document" or found not in (TEXT, CHANGED) or raised:
        return (HARM, f"documents {found!r} and {other!r}, another window raised: {raised}")
    return verdict(notice or found == CHANGED, f"told: {notice}")


def stopped_at_opening(target):
    """The application hangs when the panel comes, and goes on later."""
    target.select()
    target.process.send_signal(signal.SIGSTOP)
    try:
        fault = openings(target, 4)
    finally:
        target.process.send_signal(signal.SIGCONT)
    time.sleep(1)
    faults = ([fault] if fault else []) + target.probe("select")
    return verdict(not faults, "; ".join(faults))


def stopped_at_paste(target):
    s = target.s
    target.select()
    s.open_or_fail()
    s.type("replace with 'NEW'")
    since = len(s.notices.shown)
    s.press_replace()
    until(lambda: not s.panel(), 3, 0.001)
    target.process.send_signal(signal.SIGSTOP)
    time.sleep(2)
    target.process.send_signal(signal.SIGCONT)
    time.sleep(3)
    found, held, notice = target.text(), s.selection("clipboard"), told(s, since)
    good = found == TEXT[:CARET] + "NEW" and held == COPIED or found == TEXT and notice
    return verdict(good, f"told: {notice}" if good and notice else "" if good else f"{found!r}, clipboard {held!r}, told: {notice}")


def dies_before_paste(target):
    since = begin_slow(target)
    target.s.end(target.process)
    target.text = lambda: TEXT  # it is gone
    return left_on_clipboard(target, since, SELECTED.upper())


def closed_before_result(target):
    since = begin_slow(target)
    target.s.dismiss()
    return left_on_clipboard(target, since, SELECTED.upper())


def other_window_before_result(target):
    since = begin_slow(target)
    s = target.s
    s.start("xterm")
    front = s.find("xterm")
    s.activate(front)
    until(lambda: told(s, since), 8)
    time.sleep(0.5)
    if s.active() != front.id:
        return (HARM, "another window was raised")
    target.text = lambda: (s.activate(target.window), Mousepad.text(target))[1]
    return left_on_clipboard(target, since, SELECTED.upper())


def other_selection_before_result(target):
    """The user selects something else while the agent works, by the mouse: the panel has the keyboard."""
    since = begin_slow(target)
    s = target.s
    left, top, _, _ = s.frame(target.window)
    s.click(left + 40, top + 60, times=2)  # "alpha" or so
    return left_on_clipboard(target, since, SELECTED.upper())


def typing_before_result(target):
    """The user gives the keyboard back by a click into the document, and types."""
    since = begin_slow(target)
    s = target.s
    left, top, width, _ = s.frame(target.window)
    s.click(left + width / 2, top + 150)  # below the text, above the panel
    time.sleep(0.3)
    s.type("Q")
    return left_on_clipboard(target, since, SELECTED.upper(), text=TEXT + "\nQ")


def big_selection(target):
    s = target.s
    target.end()
    with open(target.file, "w") as file:
        file.write("a line of fifty bytes, again and again and again.\n" * 100_000)
    target.process = s.start("mousepad", "--disable-server", target.file)
    target.appear()
    time.sleep(3)
    s.press("ctrl+a")
    time.sleep(2)
    begun = time.monotonic()
    s.open_or_fail()
    opened = time.monotonic() - begun
    s.dismiss()
    text = carried(target)
    good = text.startswith("a line of fifty") and opened < 1
    return verdict(good, f"the panel after {opened * 1000:.0f} ms, {len(text)} characters carried")


def right_to_left(target):
    text = "שלום עולם\nمرحبا بالعالم"
    target.end()
    with open(target.file, "w") as file:
        file.write(text + "\n")
    target.process = target.s.start("mousepad", "--disable-server", target.file)
    target.appear()
    target.s.press("ctrl+a")
    time.sleep(0.3)
    carried_text = carried(target).strip()
    target.s.press("ctrl+a")
    use_button(target, "replace with 'NEW'")
    found = target.text()
    return verdict(carried_text == text and found == "NEW", f"carried {carried_text!r}, then {found!r}")


def same_text_twice(target):
    target.end()
    with open(target.file, "w") as file:
        file.write("again and again and again\n")
    target.process = target.s.start("mousepad", "--disable-server", target.file)
    target.appear()
    target.s.press("ctrl+Home", "Right*10", "shift+Right*5")
    use_button(target, "replace with 'NEW'")
    found = target.text()
    return verdict(found == "again and NEW and again", repr(found))


def read_only(target):
    """A text view that cannot be edited: said within a second."""
    s = target.s
    target.end()
    target.process = s.start("zenity", "--text-info", "--filename=" + target.file)
    target.window = s.find("zenity")
    time.sleep(1)
    target.place()
    s.press("ctrl+a")
    time.sleep(0.3)
    since = len(s.notices.shown)
    s.open_or_fail()
    s.type("replace with 'NEW'")
    time.sleep(0.7)
    s.press_replace()
    begun = time.monotonic()
    notice = until(lambda: told(s, since) or s.panel() and s.status(), 6)
    took = time.monotonic() - begun
    return verdict(notice and took < 1.2, f"told after {took:.1f} s: {notice}")


def without_accessibility(target):
    target.end()
    target.s.environment["NO_AT_BRIDGE"] = "1"
    target.start()
    target.select()
    text = carried(target)
    target.select()
    use_button(target, "replace with 'NEW'")
    found = target.text()
    return verdict(text.strip() == SELECTED and found == TEXT[:CARET] + "NEW", f"carried {text!r}, then {found!r}")


def silent_clipboard(target):
    """The owner of CLIPBOARD never answers."""
    s = target.s
    display = xdisplay.Display(s.environment["DISPLAY"])
    window = display.screen().root.create_window(0, 0, 1, 1, 0, X.CopyFromParent)
    window.set_selection_owner(display.intern_atom("CLIPBOARD"), X.CurrentTime)
    display.sync()
    target.caret()
    faults = [fault for fault in [openings(target, 4)] if fault] + target.probe("caret")
    target.select()
    since = use_button(target, "replace with 'NEW'")
    found = target.text()
    display.close()
    if faults or found not in (TEXT, TEXT[:CARET] + "NEW"):
        return (HARM, f"{faults} {found!r}")
    notice = told(s, since) or target.status
    return (OK, f"told: {notice}") if found != TEXT else ((CANNOT if notice else HARM), f"told: {notice or 'nothing'}")


def image_on_clipboard(target):
    """A picture that was copied before is the same afterwards."""
    s = target.s
    s.output("convert", "-size", "400x300", "plasma:", s.path("picture.png"))
    with open(s.path("picture.png"), "rb") as file:
        picture = file.read()
    s.start("xclip", "-quiet", "-selection", "clipboard", "-t", "image/png", s.path("picture.png"))
    time.sleep(0.5)
    target.select()
    openings(target, 3)
    use_button(target, "replace with 'NEW'")
    found = target.text()
    time.sleep(1)
    held = subprocess.run(["xclip", "-o", "-selection", "clipboard", "-t", "image/png"], env=s.environment,
                          capture_output=True, timeout=5).stdout
    return verdict(found == TEXT[:CARET] + "NEW" and held == picture, f"{found!r}, {len(held)} of {len(picture)} bytes")


def focus_storm(target):
    """1,000 focus events a second: what they cost the program, and whether an opening is right in the midst of them."""
    s = target.s
    address = s.notices.bus.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None, None, 0, 5000,
                                      None).unpack()[0]
    flags = Gio.DBusConnectionFlags
    bus = Gio.DBusConnection.new_for_address_sync(address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
    event = GLib.Variant("(siiva{sv})", ("focused", 1, 0, GLib.Variant("i", 0), {}))
    stop = threading.Event()

    def storm():
        begun, number = time.monotonic(), 0
        while not stop.is_set():
            bus.emit_signal(None, f"/org/a11y/atspi/accessible/{number % 1000}", "org.a11y.atspi.Event.Object", "StateChanged", event)
            number += 1
            time.sleep(max(0.0, begun + number / 1000 - time.monotonic()))

    def used():
        with open(f"/proc/{s.program.pid}/stat") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    target.select()
    threading.Thread(target=storm, daemon=True).start()
    time.sleep(1)
    before, begun = used(), time.monotonic()
    time.sleep(10)
    share = (used() - before) / (time.monotonic() - begun)
    text = carried(target)
    stop.set()
    return verdict(share < 0.05 and text.strip() == SELECTED, f"{share:.1%} of a core, carried {text!r}")


def many_lines_into_terminal(target):
    """A result with a line end is never pasted into a shell."""
    s = target.s
    target.end()
    terminal = Xterm(s)
    terminal.command = ("xterm", "-e", "dash")
    terminal.process = s.start(*terminal.command)
    terminal.appear()
    s.run_agent(f"printf 'touch {s.home}/ran\\ntouch {s.home}/ran\\n'")
    s.script(".local/bin/claude", f"#!/bin/sh\nprintf 'touch {s.home}/ran\\ntouch {s.home}/ran\\n'\n")
    terminal.caret()
    since = use_button(terminal, "please generate two shell commands that create a file for me")
    notice = until(lambda: told(s, since), 8) or terminal.status
    time.sleep(1)
    s.picture("lines", s.pictures)
    ran = os.path.exists(s.path("ran"))
    return (HARM, "it was executed") if ran else verdict(notice, f"told: {notice}")


CASES = {
    "two windows, excerpt": (Two, other_document_has_no_excerpt),
    "two tabs, excerpt": (TwoTabs, other_document_has_no_excerpt),
    "two windows, the other in front": (Two, second_window_in_front),
    "stopped at the opening": (Mousepad, stopped_at_opening),
    "stopped at the paste": (Mousepad, stopped_at_paste),
    "dies before the paste": (Mousepad, dies_before_paste),
    "panel closed before the result": (Mousepad, closed_before_result),
    "another window before the result": (Mousepad, other_window_before_result),
    "another selection before the result": (Mousepad, other_selection_before_result),
    "typing before the result": (Mousepad, typing_before_result),
    "a selection of 5 MB": (Mousepad, big_selection),
    "right to left": (Mousepad, right_to_left),
    "the same text twice": (Mousepad, same_text_twice),
    "a read-only view": (Mousepad, read_only),
    "no accessibility": (Mousepad, without_accessibility),
    "a clipboard that never answers": (Mousepad, silent_clipboard),
    "a picture on the clipboard": (Mousepad, image_on_clipboard),
    "a storm of focus events": (Mousepad, focus_storm),
    "several lines into a terminal": (Mousepad, many_lines_into_terminal),
    **HISTORIES,
}


def check(name, session):
    kind, look = CASES[name]
    target = kind(session)
    target.start()
    session.copy_before()
    return {"outcome": look(target)}
