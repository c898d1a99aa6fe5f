"""Programs that keep what was copied: neither what the program asks for nor what it pastes may come into their lists."""
import json

from gi.repository import GLib

from checks import HARM, OK, openings, use_button
from editors import Mousepad
from programs import CARET, SELECTED, TEXT
from session import COPIED, NotRun, until
from viewers import Evince


class History:
    """One of them; `entries()` is what it keeps, the newest first."""
    command = ()

    def __init__(self, session):
        self.s = session

    def start(self):
        others = self.s.stragglers()
        self.s.start(*self.command)
        if not until(self.keeps_copies, 20, 0):
            raise NotRun("it keeps nothing")
        self.s.spared |= self.s.stragglers() - others

    def keeps_copies(self):
        """They pass over what was copied before they were ready, also when it is copied again."""
        self.s.start("xclip", "-quiet", "-selection", "clipboard", self.s.write("other", "something else"))
        until(lambda: self.s.selection("clipboard") == "something else", 3)
        self.s.copy_before()
        return until(lambda: COPIED in self.entries(), 2, 0.2)


class CopyQ(History):
    command = ("copyq",)

    def entries(self):
        listed = self.s.output("copyq", "eval", "JSON.stringify(Array.from({length: size()}, (_, i) => str(read(i))))")
        return json.loads(listed or "[]")


class GPaste(History):
    command = ("/usr/libexec/gpaste/gpaste-daemon",)

    def entries(self):
        return self.s.output("gpaste-client", "history", "--raw", "--zero").rstrip("\0").split("\0")


class Klipper(History):
    command = ("klipper",)

    def entries(self):
        listed = self.s.output("gdbus", "call", "--session", "--dest", "org.kde.klipper", "--object-path", "/klipper",
                               "--method", "org.kde.klipper.klipper.getClipboardHistoryMenu")
        return GLib.Variant.parse(None, listed, None, None).unpack()[0] if listed else []


def beside(kind):
    def look(viewer):
        """Over a viewer, which is asked by a copy, and over an editor, which is pasted into."""
        s, history = viewer.s, kind(viewer.s)
        history.start()
        viewer.select()
        faults = [openings(viewer, 6)]
        viewer.end()
        editor = Mousepad(s)
        editor.start()
        editor.select()
        faults.append(openings(editor, 3))
        use_button(editor, "replace with 'NEW'")
        found, held = editor.text(), s.selection("clipboard")
        s.press("ctrl+Home", "ctrl+shift+Right", "ctrl+c", gap=0.1)
        if not until(lambda: "alpha" in [each.strip() for each in history.entries()], 5, 0.2):
            faults.append("what is copied by hand is not kept any more")
        kept = history.entries()
        faults += [f"it keeps {words!r}" for words in ("NEW", SELECTED, "alpha beta gamma") if words in kept]
        if found != TEXT[:CARET] + "NEW" or held != COPIED:
            faults.append(f"the text is {found!r}, the clipboard {held!r}")
        faults = [fault for fault in faults if fault]
        return (HARM, "; ".join(faults)) if faults else (OK, f"it keeps {kept}")
    return (Evince, look)


CASES = {"beside CopyQ": beside(CopyQ), "beside GPaste": beside(GPaste), "beside Klipper": beside(Klipper)}
