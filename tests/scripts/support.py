"""A HOME of its own for each test, with the runtime scripts installed as Ovalin installs them."""

import json
import os
import shutil
import stat
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

sys.dont_write_bytecode = True
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SCRIPTS = os.path.join(ROOT, "resources/bin")
FAKE_CLAUDE = os.path.join(ROOT, "tests/agent/fake-claude")


class ScriptTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = os.path.realpath(folder.name)
        for name in os.listdir(SCRIPTS):
            shutil.copy(os.path.join(SCRIPTS, name), self.write(".claude/bin/" + name, ""))
            os.chmod(self.path(".claude/bin/" + name), 0o755)
        # No desktop: osascript, notify-send and busctl are what a test puts into ~/tools.
        self.environment = {"HOME": self.home, "PATH": self.path("tools") + ":/usr/bin:/bin", "TMPDIR": self.home,
                            "LC_ALL": "C.UTF-8", "DBUS_SESSION_BUS_ADDRESS": "unix:path=" + self.path("no-bus")}

    def path(self, relative):
        return os.path.join(self.home, relative)

    def write(self, relative, content, mode=0o644):
        path = self.path(relative)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        os.chmod(path, mode)
        return path

    def read(self, relative):
        with open(self.path(relative), "rb") as file:
            return file.read()

    def wait_for(self, relative):
        """What a file holds that another process will make."""
        while not os.path.exists(self.path(relative)):
            time.sleep(0.01)
        return self.read(relative)

    def install_agent(self, script=None, **scenario):
        """The stand-in with this scenario, or a script of the test's own."""
        if script is None:
            shutil.copy(FAKE_CLAUDE, self.write(".local/bin/claude", ""))
            self.write(".fake-claude/scenario.json", json.dumps(scenario))
        self.write(".local/bin/claude", script or self.read(".local/bin/claude"), 0o755)

    def agent_log(self, event):
        lines = self.read(".fake-claude/log.jsonl").decode("utf-8", "surrogateescape").splitlines()
        return [entry for entry in map(json.loads, lines) if entry["event"] == event]

    def run_script(self, name, *arguments, stdin=b"", preexec_fn=None, **variables):
        """Exit status and output. Variables and arguments may be bytes."""
        environment = {os.fsencode(key): os.fsencode(value) for key, value in {**self.environment, **variables}.items()}
        run = subprocess.run([self.path(".claude/bin/" + name), *arguments], env=environment, cwd=self.home,
                             input=stdin.encode() if isinstance(stdin, str) else stdin, capture_output=True, timeout=60,
                             preexec_fn=preexec_fn)
        self.stderr = run.stderr.decode("utf-8", "replace")
        return run.returncode, run.stdout.decode("utf-8", "replace")

    def mode(self, relative):
        return stat.S_IMODE(os.stat(self.path(relative)).st_mode)


def serve(test, answer):
    """A web server for the test; `answer(path)` gives (type, body) or does something worse with the handler. Its
    address."""
    class Handler(BaseHTTPRequestHandler):
        def do_GET(self):
            found = answer(self.path, self)
            if found:
                self.send_response(200)
                self.send_header("Content-Type", found[0])
                self.end_headers()
                self.wfile.write(found[1].encode())

        def log_message(self, *_):
            pass

    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, args=[0.02], daemon=True).start()
    test.addCleanup(server.server_close)
    test.addCleanup(server.shutdown)
    return "http://127.0.0.1:%d" % server.server_address[1]
