"""The applications: how each is started, how something is selected in it, and how its text and state are read back."""
import http.server
import json
import os
import re
import socket
import threading
import time

from Xlib import X, display as xdisplay

from session import COPIED, Harmed, NotRun, until

TEXT = "alpha beta gamma\nsecond line here"
CARET = len("alpha ")
SELECTED = TEXT[CARET:]


class Program:
    """One application with TEXT in it. The keys are those of most editors; what differs is said by each."""
    name = ""
    command = ()  # {file} is the document
    window_class = ""
    extension = "txt"
    environment = {}
    save, undo = "ctrl+s", "ctrl+z"
    initial = TEXT
    enter = ""  # what ends typing
    editable = True
    password = False
    settle = 1.0

    def __init__(self, session):
        self.s = session

    def start(self):
        self.s.environment.update(self.environment)
        # Editors that see to the last line end would make that a step of its own to undo.
        self.file = self.s.write("document." + self.extension, TEXT + "\n")
        self.prepare()
        self.process = self.s.start(*(part.format(file=self.file, home=self.s.home) for part in self.command))
        self.appear()
        self.ready()

    def appear(self):
        self.s.find(self.window_class)
        time.sleep(self.settle)
        self.window = self.s.find(self.window_class)  # some replace their first one
        self.place()

    def prepare(self):
        """Before the start: its settings."""

    def ready(self):
        """After the start: what has to be pressed until the document has the keyboard."""

    def place(self):
        self.s.output("xdotool", "windowmove", str(self.window.id), "60", "60")
        self.s.activate(self.window)
        left, top, width, height = self.s.frame(self.window)
        self.s.move(left + width / 2, top + height / 2)

    def again(self):
        """A fresh copy with a fresh document."""
        self.end()
        self.start()

    def end(self):
        self.s.end(self.process)
        self.s.end_stragglers(self.s.spared)

    # What the checks ask for

    def caret(self):
        """Puts the caret before the second word, with nothing selected."""
        self.s.press("Escape", "ctrl+Home", f"Right*{CARET}")

    def select(self):
        """Selects from there to the end; returns the text."""
        self.caret()
        self.s.press("shift+Down", "shift+End")
        time.sleep(0.3)
        return SELECTED

    def text(self):
        """The document as it stands now."""
        before = os.stat(self.file)
        self.s.press(self.save)
        until(lambda: os.stat(self.file).st_mtime_ns != before.st_mtime_ns, 1.5)
        time.sleep(0.1)
        with open(self.file, encoding="utf-8") as file:
            return file.read().rstrip("\n").removeprefix("\ufeff")

    def undo_once(self):
        self.s.press(self.undo)

    def state(self):
        """What else must not change: a dictionary."""
        return {}

    def probe(self, what):
        """The next letter shows where caret and selection are; returns what is wrong."""
        if not self.editable:
            return []
        self.s.type("X" + self.enter)
        time.sleep(0.2)
        found, wanted = self.text(), self.typed(what)
        self.undo_once()
        if self.text() != self.initial:  # some need several steps to undo a letter over a selection
            self.again()
        return [] if found == wanted else [f"{what}: a letter typed afterwards gave {found!r}"]

    def typed(self, what):
        """The document after the letter X."""
        return self.put("X", what)

    def put(self, words, where):
        """The document with these words where select() or caret() has been."""
        return TEXT[:CARET] + words + ("" if where == "select" else TEXT[CARET:])


class Mousepad(Program):
    name, window_class = "mousepad", "mousepad"
    command = ("mousepad", "--disable-server", "{file}")


class Gedit(Program):
    name, window_class = "gedit", "gedit"
    command = ("gedit", "--standalone", "{file}")


class GnomeTextEditor(Program):
    name, window_class = "gnome-text-editor", "gnome-text-editor"
    command = ("gnome-text-editor", "--standalone", "{file}")
    settle = 2.0


class Geany(Program):
    name, window_class = "geany", "geany"
    command = ("geany", "--new-instance", "--no-session", "{file}")


class Kate(Program):
    name, window_class = "kate", "kate"
    command = ("kate", "--new", "--startanon", "{file}")
    settle = 2.0


class FeatherPad(Program):
    name, window_class = "featherpad", "featherpad"
    command = ("featherpad", "--standalone", "{file}")


class FocusWriter(Program):
    name, window_class = "focuswriter", "focuswriter"
    command = ("focuswriter", "{file}")
    settle = 2.0


class Writer(Program):
    name, window_class = "writer", "document"
    command = ("soffice", "--writer", "--norestore", "--nologo", "{file}")
    settle = 4.0

    def prepare(self):
        item = '<item oor:path="/org.openoffice.Office.{}"><prop oor:name="{}" oor:op="fuse"><value>{}</value></prop></item>'
        settings = [("Common/Save/Document", "WarnAlienFormat", "false"), ("Common/Misc", "ShowTipOfTheDay", "false"),
                    ("Common/AutoCorrect", "TwoCapitalsAtStart", "false"), ("Common/AutoCorrect", "CapitalAtSentenceStart", "false"),
                    ("Setup/Office", "ooSetupInstCompleted", "true"), ("Common/AutoSave", "WordCompletion", "false")]
        self.s.write(".config/libreoffice/4/user/registrymodifications.xcu",
                     '<?xml version="1.0"?><oor:items xmlns:oor="http://openoffice.org/2001/registry">'
                     + "".join(item.format(*each) for each in settings) + "</oor:items>")


class Calc(Writer):
    name = "calc"
    command = ("soffice", "--calc", "--norestore", "--nologo", "--infilter=CSV:44,34,76,1", "{file}")
    extension = "csv"

    enter = "\n"

    def caret(self):
        self.s.press("ctrl+Home", "Right*3")  # an empty cell

    def select(self):
        self.s.press("ctrl+Home")
        time.sleep(0.3)
        return TEXT.split("\n")[0]

    def text(self):
        return super().text().replace('"', "").replace(",", "")

    def put(self, words, where):
        first, second = TEXT.split("\n")
        return (words if where == "select" else first + words) + "\n" + second


class Emacs(Program):
    name, window_class = "emacs", "emacs"
    command = ("emacs", "-Q", "--eval", "(progn (server-start) (setq inhibit-startup-screen t))", "{file}")
    undo = "ctrl+slash"

    def ask(self, expression):
        return self.s.output("emacsclient", "-e", expression)

    def ready(self):
        until(lambda: self.ask("(buffer-name)"), 20)
        self.s.press("Escape*3", gap=0.1)

    def caret(self):
        self.s.press("ctrl+g", "ctrl+Home", f"Right*{CARET}")

    def typed(self, what):
        return TEXT + "X" if what == "select" else super().typed(what)  # a letter does not replace the region

    def text(self):
        return json.loads(self.ask('(with-current-buffer "document.txt" (buffer-substring-no-properties 1 (point-max)))')).rstrip("\n")

    def state(self):
        return {"caret, region, prefix": self.ask(
            '(with-current-buffer "document.txt" (list (point) mark-active (and mark-active (mark)) (this-command-keys)'
            ' (key-description (this-single-command-keys)) prefix-arg (active-minibuffer-window)))')}


class Gvim(Program):
    """In insert mode, where a stray Ctrl+C does the most."""
    name, window_class = "gvim", "gvim"
    command = ("gvim", "-f", "--servername", "OVALIN", "-u", "NONE", "-U", "NONE", "-N", "{file}")

    def ask(self, expression):
        return self.s.output("vim", "--servername", "OVALIN", "--remote-expr", expression)

    def caret(self):
        self.s.press("Escape", gap=0.1)
        self.s.type(f"gg0{CARET}li")

    def select(self):
        self.s.press("Escape", gap=0.1)
        self.s.type(f"gg0{CARET}lvj$h")
        time.sleep(0.3)
        return SELECTED

    def typed(self, what):
        return "" if what == "select" else super().typed(what)  # in visual mode X takes the lines away

    def text(self):
        return self.ask('join(getline(1, "$"), "\\n")')

    def undo_once(self):
        self.s.press("Escape", gap=0.1)
        self.s.press("u")

    def state(self):
        return {"mode and caret": self.ask("mode() . getpos('.')[1] . ',' . getpos('.')[2] . 'v' . getpos('v')[2]")}


# Terminals

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


# Passwords

class Password(Program):
    """A field with SECRET in it; `given` is what the application got at the end."""
    password = True
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


# Browsers

PAGE = """<!doctype html><meta charset=utf-8><title>The page</title>
<textarea id=t style="width:600px;height:200px"></textarea><br><input type=password id=p><p>Running text of the page.</p>
<script>
const t = document.getElementById('t'), p = document.getElementById('p'); 
t.value = TEXT; p.value = location.hash == '#p' ? 'hunterTwo7' : '';
const tell = () => fetch('/state', {method: 'POST', body: JSON.stringify({text: t.value, secret: p.value, start: t.selectionStart,
  end: t.selectionEnd, focus: document.activeElement.id})});
document.addEventListener('selectionchange', tell); t.oninput = p.oninput = tell; window.onblur = window.onfocus = tell;
(location.hash == '#p' ? p : t).focus(); tell();
</script>"""


class Browser(Program):
    settle = 3.0
    anchor = ""

    def prepare(self):
        self.told = {}
        told = self.told

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.send_header("Content-Type", "text/html")
                self.end_headers()
                self.wfile.write(PAGE.replace("TEXT", json.dumps(TEXT)).encode() if self.path == "/" else b"")

            def do_POST(self):
                told.update(json.loads(self.rfile.read(int(self.headers["Content-Length"]))))
                self.send_response(204)
                self.end_headers()

            def log_message(self, *_):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.command = self.browser + (f"http://127.0.0.1:{server.server_port}/{self.anchor}",)

    def ready(self):
        if not until(lambda: self.told.get("text"), 40):
            raise NotRun("the page did not load")
        time.sleep(2)
        until(lambda: self.told.get("focus") == ("p" if self.anchor else "t"), 10)

    def text(self):
        time.sleep(0.3)
        return self.told["text"]

    def state(self):
        return {name: self.told[name] for name in ("start", "end", "focus", "text", "secret")}


class Chromium(Browser):
    name, window_class = "chromium", "chromium"
    browser = ("chromium", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
               "--disable-component-update", "--disable-sync", "--password-store=basic", "--user-data-dir={home}/chromium")


class Firefox(Browser):
    name, window_class = "firefox", "firefox"
    browser = ("firefox-esr", "--no-remote", "--profile", "{home}/firefox")
    settle = 5.0

    def prepare(self):
        super().prepare()
        self.s.write("firefox/user.js", "".join(f'user_pref("{name}", {value});\n' for name, value in (
            ("browser.aboutwelcome.enabled", "false"), ("datareporting.policy.dataSubmissionEnabled", "false"),
            ("browser.shell.checkDefaultBrowser", "false"), ("app.update.auto", "false"),
            ("browser.sessionstore.resume_from_crash", "false"), ("toolkit.cosmeticAnimations.enabled", "false"), ("termsofuse.bypassNotification", "true"))))


class SecretInBrowser(Password):
    anchor = "#p"

    def caret(self):
        self.s.press("End")

    def ready(self):
        Browser.ready(self)

    def text(self):
        time.sleep(0.3)
        return self.told["secret"]


class ChromiumPassword(SecretInBrowser, Chromium):
    name = "chromium password"


class FirefoxPassword(SecretInBrowser, Firefox):
    name = "firefox password"


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


class Thunderbird(Program):
    """Its composer; the text is read back by a copy, after everything else has been looked at."""
    name, window_class = "thunderbird", "thunderbird"
    command = ("thunderbird", "--no-remote", "--profile", "{home}/thunderbird")
    settle = 6.0

    def prepare(self):
        server, identity, account = "mail.server.server1.", "mail.identity.id1.", "mail.account.account1."
        values = {"mail.accountmanager.accounts": "account1", "mail.accountmanager.defaultaccount": "account1",
                  account + "identities": "id1", account + "server": "server1", identity + "fullName": "Someone",
                  identity + "useremail": "me@example.com", identity + "compose_html": False, identity + "valid": True,
                  server + "type": "none", server + "hostname": "Local Folders", server + "name": "Local Folders",
                  server + "userName": "nobody", "mailnews.start_page.enabled": False, "mail.shell.checkDefaultClient": False,
                  "mail.spellcheck.inline": False, "datareporting.policy.dataSubmissionEnabled": False,
                  "mail.compose.autosave": False, "mail.warn_on_send_accel_key": True, "app.donation.eoy.version.viewed": 999,
                  "mail.provider.suppress_dialog_on_startup": True, "mail.rights.version": 1}
        self.s.write("thunderbird/user.js", "".join(
            f'user_pref("{name}", {json.dumps(value)});\n' for name, value in values.items()))

    def ready(self):
        self.s.press("ctrl+n")
        self.window = self.s.find("Write:")
        time.sleep(3)
        self.place()
        left, top, width, height = self.s.frame(self.window)
        self.s.click(left + width / 2, top + height * 0.75)
        time.sleep(0.5)
        self.s.type(TEXT)

    def text(self):
        self.s.press("ctrl+a", "ctrl+c", gap=0.1)
        copied = until(lambda: (found := self.s.selection("clipboard")) != COPIED and found, 3)
        self.s.press("ctrl+Home")
        self.s.copy_before()
        return (copied or "").rstrip("\n")


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

    def caret(self):
        pass

    def select(self):
        return ""

    def text(self):
        return ""

    def state(self):
        """The keys that came, but for the hotkey's own modifier and Ctrl+Insert."""
        allowed = {self.s.key_code(name) for name in ("Alt_L", "Control_L", "Insert")}
        keys = [self.display.next_event() for _ in range(self.display.pending_events())]
        return {"stray keys": [event.detail for event in keys if event.type == X.KeyPress and event.detail not in allowed]}


ALL = (Mousepad, Gedit, GnomeTextEditor, Geany, GeanyTerminal, Kate, KateTerminal, FeatherPad, FocusWriter, Writer, Calc,
       Emacs, Gvim, Xterm, Konsole, Kitty, Mpv, Xephyr, UnknownWindow, Thunderbird, Evince, Zenity, KeePassXC, Chromium, ChromiumPassword,
       Firefox, FirefoxPassword)
