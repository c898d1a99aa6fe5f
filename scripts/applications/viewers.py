"""What cannot be typed into."""
import json
import socket
import time

from Xlib import X, display as xdisplay

from programs import Program
from session import Harmed, until


# The rest

class Mpv(Program):
    name, window_class = "mpv", "mpv"
    command = ("mpv", "--no-audio", "--vo=x11", "--no-config", "--input-ipc-server={home}/mpv.socket", "--osc=no",
               "av://lavfi:testsrc=size=640x360:rate=10")
    editable = False

    def ask(self, *command):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(2)
            connection.connect(self.s.path("mpv.socket"))
            connection.sendall(json.dumps({"command": command}).encode() + b"\n")
            return json.loads(connection.recv(65536).split(b"\n")[0]).get("data")

    def caret(self):
        pass

    def select(self):
        return ""

    def text(self):
        return ""

    def state(self):
        try:
            before = self.ask("get_property", "time-pos")
            plays = bool(until(lambda: self.ask("get_property", "time-pos") != before, 3))
            return {"plays": plays, "speed": self.ask("get_property", "speed"), "volume": self.ask("get_property", "volume")}
        except OSError:
            raise Harmed("it has ended") from None


PDF = """%PDF-1.4
1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj
2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj
3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 400 300]/Contents 4 0 R/Resources<</Font<</F1 5 0 R>>>>>>endobj
4 0 obj<</Length 56>>stream
BT /F1 24 Tf 40 200 Td (alpha beta gamma) Tj ET
endstream endobj
5 0 obj<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>endobj
trailer<</Root 1 0 R>>
"""


class Evince(Program):
    name, window_class = "evince", "evince"
    command = ("evince", "{home}/paper.pdf")
    editable = False
    settle = 2.5

    def prepare(self):
        self.s.write("paper.pdf", PDF)

    def caret(self):
        left, top, width, height = self.s.frame(self.window)
        self.s.click(left + width / 2, top + height - 60)

    def select(self):
        self.s.press("ctrl+a")
        time.sleep(0.5)
        return "alpha beta gamma"

    def text(self):
        return ""


class UnknownWindow(Program):
    """A bare window that nobody knows, without accessibility: what keys does it get?"""
    name = "unknown window"
    editable = False

    def start(self):
        self.display = xdisplay.Display(self.s.environment["DISPLAY"])
        self.bare = self.display.screen().root.create_window(60, 60, 500, 300, 0, X.CopyFromParent, event_mask=X.KeyPressMask)
        self.bare.set_wm_class("nobody", "Nobody")
        self.bare.set_wm_name("nobody knows")
        self.bare.map()
        self.display.sync()
        self.window = self.s.find("nobody")
        self.place()
        self.strays = []

    def caret(self):
        pass

    def select(self):
        return ""

    def text(self):
        return ""

    def state(self):
        """The keys that came, but for the hotkey's own modifier, Ctrl+Insert and Shift+Insert."""
        allowed = {self.s.key_code(name) for name in ("Alt_L", "Control_L", "Shift_L", "Insert")}
        keys = [self.display.next_event() for _ in range(self.display.pending_events())]
        self.strays += [event.detail for event in keys if event.type == X.KeyPress and event.detail not in allowed]
        return {"stray keys": list(self.strays)}
