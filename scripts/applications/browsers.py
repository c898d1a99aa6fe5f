"""Browsers, on a page that says what it holds."""
import http.server
import json
import threading
import time

from passwords import Password
from programs import TEXT, Program
from session import NotRun, until

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
    tells = False  # as it is installed, it shows nobody its fields


class FirefoxPassword(SecretInBrowser, Firefox):
    name = "firefox password"
