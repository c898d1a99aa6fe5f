"""Editors, office programs and a mail composer."""
import json
import time

from programs import CARET, SELECTED, TEXT, Program
from session import COPIED, until


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
