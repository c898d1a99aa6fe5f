"""The router and the ledger that it shares with Ovalin."""

import concurrent.futures
import fcntl
import json
import os
import re
import subprocess
import sys
import unittest

from support import ScriptTest

LEDGER = "CLAUDE/system/captures.json"
QUEUE = "CLAUDE/system/capture-queue/"
REQUEST = {"id": "cap-1-00ff", "ts": "2026-11-16T19:30:00Z", "text": "it's $(touch pwned)", "prompt": "note `this`",
           "source_app": "Editor", "source_bundle": "e", "kind": "pending", "status": "queued",
           "context_mode": "screenshot"}
# An agent that does what it is told with the request that its last lines name.
OBEDIENT = """#!/bin/sh
queue_file=${2##*Queue file: }
~/.claude/bin/ovalin-ledger set "$(basename "$queue_file" .json)" ready "it's $(date +%Y | tr 0-9 d) \\"done\\""
shift 2; echo "then: $*"
"""


class RouterTest(ScriptTest):
    def setUp(self):
        super().setUp()
        request = {**REQUEST, "screenshot": "x", "screen_text": "y"}
        self.queue_file = self.write(QUEUE + "cap-1-00ff.json", json.dumps(request))
        self.write(QUEUE + "cap-1-00ff.png", "PNG")
        self.write(LEDGER, json.dumps({"items": [{"id": "other", "status": "ready"}, REQUEST], "own": 1}))
        self.write("tools/osascript", "#!/bin/sh\nprintf '%s\\n' \"$2\" >> ~/notices\n", 0o755)

    def route(self, **variables):
        return self.run_script("capture-router.sh", self.queue_file, **variables)

    def items(self):
        return json.loads(self.read(LEDGER))["items"]

    def entry(self, identifier="cap-1-00ff"):
        return next(item for item in self.items() if item["id"] == identifier)

    def test_a_request_that_the_agent_has_done(self):
        self.install_agent(OBEDIENT)
        self.assertEqual(self.route(), (0, "then: --permission-mode bypassPermissions\n"
                                          "capture-router: cap-1-00ff ready: it's dddd \"done\"\n"))
        self.assertEqual(self.entry(), {**REQUEST, "status": "ready", "result": {"summary": "it's dddd \"done\""}})
        self.assertEqual(json.loads(self.read(LEDGER))["own"], 1)
        self.assertEqual(os.listdir(self.path(QUEUE)), ["processed"])
        self.assertEqual(len(os.listdir(self.path(QUEUE + "processed"))), 2)
        self.assertEqual(self.read("notices").decode(), r'''display notification "it's dddd \"done\" — “note `this`”" '''
                         'with title "Ovalin — ready"\n')
        self.assertFalse(os.path.exists(self.path("pwned")))
        self.write(QUEUE + "cap-1-00ff.json", "{}")
        self.install_agent("#!/bin/sh\ntouch ~/again\n")
        self.assertEqual(self.route()[0], 0)
        self.assertFalse(os.path.exists(self.path("again")), "what is ready is not done again")

    def test_telling_is_left_to_the_copy_of_ovalin_that_launched_it_while_that_lives(self):
        mark = QUEUE + "started/cap-1-00ff"
        with open("/proc/self/stat") as stat:
            started = stat.read().rpartition(")")[2].split()[19]
        living = "%d:%s" % (os.getpid(), started)
        for watcher, marked, told in (("", True, True), ("x", True, True), ("%d:1" % os.getpid(), True, True),
                                      (living, False, True), (living, True, False)):
            with self.subTest(watcher=watcher, marked=marked):
                self.setUp()
                self.install_agent(OBEDIENT)
                if marked:
                    self.write(mark, "log 7\n")
                self.assertEqual(self.route(OVALIN_WATCHER=watcher)[0], 0)
                self.assertEqual(os.path.exists(self.path("notices")), told)
                if marked:
                    self.assertEqual(self.read(mark).decode(), "log 7\n" + ("" if told else "untold\n"))

    def test_no_request_is_lost_silently(self):
        for agent, reason in [
            (None, "Claude Code not found — install it from https://claude.ai/code"),
            ("#!/bin/sh\nprintf 'x\\n\\nNot \"logged\" in\\\\ \\n\\n'; exit 1",
             'the agent failed: Not "logged" in\\'),
            ("#!/bin/sh\nprintf '\\377\\0'; exit 3", "the agent failed: \ufffd"),
            ("#!/bin/sh\nexit 3", "the agent failed (status 3)"),
            ("#!/bin/sh\nkill -9 $$", "the agent was ended by signal 9"),
            ("#!/bin/sh\nexec sleep 60", "the agent did not finish within 1 s"),
            ("#!/bin/sh\necho '$(touch pwned)'", "the agent ended without saying what it did"),
        ]:
            with self.subTest(reason):
                self.setUp()
                if agent:
                    self.install_agent(agent)
                self.assertEqual(self.route(OVALIN_ROUTER_LIMIT="1")[0], 1)
                self.assertEqual(self.entry(), {**REQUEST, "status": "needs attention", "result": {"summary": reason}})
                self.assertTrue(os.path.exists(self.queue_file))
                literal = reason.replace("\\", "\\\\").replace('"', '\\"')
                self.assertEqual(self.read("notices").decode("utf-8", "replace"),
                                 'display notification "%s — “note `this`”" with title "Ovalin — needs attention"\n' % literal)
                self.assertFalse(os.path.exists(self.path("pwned")))

    def test_a_second_run_does_not_take_the_first_ones_word(self):
        self.assertEqual(self.route()[0], 1)
        self.install_agent("#!/bin/sh\n")
        self.assertEqual(self.route()[0], 1)
        self.assertEqual(self.entry()["result"]["summary"], "the agent ended without saying what it did")
        self.assertTrue(os.path.exists(self.queue_file))

    def test_an_answer_of_the_agent_stays(self):
        self.install_agent("#!/bin/sh\n~/.claude/bin/ovalin-ledger set cap-1-00ff 'needs attention' 'Which one?'\n")
        self.assertEqual(self.route()[0], 0)
        self.assertEqual(self.entry()["result"], {"summary": "Which one?"})
        self.assertFalse(os.path.exists(self.queue_file))

    def test_an_agent_that_is_done_and_then_fails(self):
        self.install_agent(OBEDIENT + "exit 1\n")
        status, output = self.route()
        self.assertEqual((status, os.listdir(self.path(QUEUE))), (0, ["processed"]))
        for said in (output, self.read("notices").decode().replace("\\", "")):
            self.assertIn('dddd "done" (the agent failed: then: --permission-mode bypassPermissions)', said)


    def test_the_log_grows_while_the_agent_works_and_is_private(self):
        self.install_agent("#!/bin/sh\necho working\ntouch ~/agent\nexec sleep 60\n")
        command = [self.path(".claude/bin/capture-router.sh"), self.queue_file]
        with open(self.write("log", "old\n"), "ab") as log:
            with subprocess.Popen(command, env=self.environment, stdout=log) as router:
                self.wait_for("agent")
                while b"working" not in self.read("log"):
                    self.assertIsNone(router.poll())
                self.assertEqual(self.mode("log"), 0o600)
                self.assertEqual(self.route(), (0, "capture-router: cap-1-00ff is in work already\n"))
                router.terminate()
        ended = "the router was ended before the agent was done"
        self.assertEqual(self.read("log").decode(), "old\nworking\ncapture-router: cap-1-00ff needs attention: " + ended
                         + "\n")
        self.assertEqual(self.entry()["result"]["summary"], ended)

    def test_an_agent_that_floods(self):
        self.install_agent("#!/bin/sh\nhead -c 20000000 /dev/zero | tr '\\0' x\necho\necho last word\nexit 1")
        output = self.route()[1]
        self.assertLess(len(output), 5_000_000)
        self.assertEqual(self.entry()["result"]["summary"], "the agent failed: last word")

    def test_a_missing_queue_file(self):
        os.unlink(self.queue_file)
        self.assertEqual(self.route()[0], 1)
        self.assertEqual(self.entry()["result"]["summary"], "the queue file cap-1-00ff.json cannot be read: no such file or directory")
        self.assertEqual(self.run_script("capture-router.sh")[0], 2)
        self.assertEqual(self.run_script("capture-router.sh", "relative.json")[0], 2)


    def test_a_request_that_the_ledger_lacks_is_added(self):
        self.write(LEDGER, "\n")
        self.route()
        self.assertEqual([item["prompt"] for item in self.items()], ["note `this`"])
        self.assertNotIn("screen_text", self.items()[0])
        os.unlink(self.path(LEDGER))
        self.route()
        self.assertEqual(self.items()[0]["status"], "needs attention")
        self.assertEqual(self.mode(LEDGER), 0o600)

    def test_a_scheduled_job_adds_its_result(self):
        for agent, status, summary in [
            ("#!/bin/sh\ncat \"${2##*Job: }\"; echo; echo 'all `done`'", "ready", "all `done`"),
            ("#!/bin/sh\necho oops; exit 1", "needs attention", "the agent failed: oops"),
        ]:
            self.setUp()
            self.install_agent(agent)
            self.write("CLAUDE/system/ovalin-jobs/cap-1-00ff/prompt.md", "-p water 'the' plants")
            code, output = self.run_script("capture-router.sh", "--job", "cap-1-00ff")
            self.assertEqual(code, status != "ready")
            self.assertIn("-p water 'the' plants" if status == "ready" else "oops", output)
            self.assertEqual((self.items()[0]["status"], self.items()[0]["result"]["summary"]), (status, summary))
            self.assertTrue(self.items()[0]["id"].startswith("cap-1-00ff-run-"))
            self.assertIn("— “note `this`”", self.read("notices").decode())
        self.run_script("capture-router.sh", "--job", "../../x")
        self.assertIn("has no prompt.md", self.items()[0]["result"]["summary"])


class LedgerTest(ScriptTest):
    def set(self, *values):
        return self.run_script("ovalin-ledger", "set", *values)

    def test_many_writers_lose_nothing(self):
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            runs = list(pool.map(lambda n: self.set("id-%d" % n, "ready", "n"), range(24)))
        self.assertEqual(set(runs), {(0, "")})
        recorded = {item["id"] for item in json.loads(self.read(LEDGER))["items"]}
        self.assertTrue(self.read(LEDGER).startswith(b'{\n    "items": [\n        {\n            "id": '), "people read it")
        self.assertEqual(recorded, {"id-%d" % n for n in range(24)})
        self.assertEqual(sorted(os.listdir(self.path("CLAUDE/system"))), ["captures.json", "captures.json.lock"])

    def test_it_waits_for_the_lock_of_others_but_not_for_ever(self):
        with open(self.write(LEDGER + ".lock", ""), "wb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.assertEqual(self.set("a", "ready", "x")[0], 0)
        self.assertTrue(os.path.exists(self.path(LEDGER)))

    def test_what_others_keep_in_the_ledger_stays(self):
        other = {"items": [{"id": "a", "half": "\ud800", "result": {"more": [1.5, None, True, [], {}]}}]
                 + [{"id": n} for n in range(499)], "meta": {"last_update": "t", "x": "ü"}}
        numbers = "[12345678901234567890, 1e999, 1.10, -0, 1E+2, %s]" % ("9" * 5000)
        self.write("elsewhere.json", "\ufeff" + json.dumps(other)[:-1] + ', "numbers": ' + numbers + "}", 0o640)
        os.makedirs(self.path("CLAUDE/system"))
        os.symlink("../../elsewhere.json", self.path(LEDGER))
        self.set("a", "ready", "- one\n two " + "x" * 1000)
        self.assertIn(re.sub(r"[\[\], ]+", "", numbers), re.sub(r"[\[\],\s]+", "", self.read("elsewhere.json").decode()))
        ledger = json.loads(self.read("elsewhere.json"), parse_int=lambda text: int(text[:20]))
        del ledger["numbers"]
        summary = ledger["items"][0]["result"].pop("summary")
        self.assertTrue(summary.startswith("- one two xxx") and len(summary) == 500)
        self.assertEqual(ledger["items"][0].pop("status"), "ready")
        self.assertEqual(ledger, other)
        self.assertEqual((self.mode("elsewhere.json"), os.path.islink(self.path(LEDGER))), (0o640, True))
        self.set("new", "ready", b"\xff")
        items = json.loads(self.read(LEDGER), parse_int=lambda text: int(text[:20]))["items"]
        self.assertEqual((len(items), items[0]["id"], items[-1]["id"]), (500, "new", 497))

    def unreadable(self):
        return [name for name in os.listdir(self.path("CLAUDE/system")) if "-unreadable-" in name]

    def test_a_ledger_that_cannot_be_parsed_is_kept_beside_it(self):
        for content in ["{not JSON", "[]", '{"items": [1]}', b"\xff\xfe", '{"items": [], "a": NaN}', "[" * 100_000]:
            with self.subTest(content[:9]):
                self.setUp()
                os.utime(self.write(LEDGER, content), (1, 1))
                self.assertEqual(self.set("new", "ready", "x"), (0, ""))
                self.assertEqual([item["id"] for item in json.loads(self.read(LEDGER))["items"]], ["new"])
                aside, = self.unreadable()
                self.assertEqual(self.read("CLAUDE/system/" + aside),
                                 content if isinstance(content, bytes) else content.encode())
                self.assertIn(aside, self.stderr)

    def test_a_ledger_that_cannot_be_read_is_left_where_it_is(self):
        os.utime(self.write(LEDGER, "{half"), (1, 1))
        with open(self.path(LEDGER), "ab"):  # somebody writes into it
            self.assertEqual(self.set("new", "ready", "x"), (1, ""))
        self.assertIn("is being changed all the time", self.stderr)
        self.assertEqual(self.read(LEDGER), b"{half")
        os.unlink(self.path(LEDGER))
        os.symlink("captures.json", self.path(LEDGER))
        self.assertEqual(self.set("new", "ready", "x"), (1, ""))
        self.assertIn("too many levels of symbolic links", self.stderr)
        os.unlink(self.path(LEDGER))
        os.mkdir(self.path(LEDGER))
        self.assertEqual(self.set("new", "ready", "x"), (1, ""))
        self.assertIn("is a directory", self.stderr)
        self.assertEqual(self.unreadable(), [])

    def test_writers_without_a_lock_are_not_overwritten(self):
        """One who replaces the file at any moment, and one who writes into it."""
        sys.path.insert(0, self.path(".claude/bin"))
        import ovalin_files
        self.addCleanup(sys.path.remove, sys.path[0])
        path = self.write("ledger", "read")
        theirs = self.path("theirs")

        def replaced():
            self.write("theirs", "theirs")
            os.replace(theirs, path)

        def written():
            self.write("ledger", "theirs")

        whole_read, exchange = ovalin_files.is_still, ovalin_files.rename
        for write in (replaced, written):
            for moment in ("read", "looked at", "exchanged"):
                with self.subTest("%s %s" % (write.__name__, moment)):
                    self.write("ledger", "read")
                    before, status = ovalin_files.read_whole(path)
                    calls = []

                    def looked(*arguments):
                        calls.append("looked at")
                        still = whole_read(*arguments)
                        if calls == ["looked at"] and moment == "looked at":
                            write()
                        return still

                    def renamed(*arguments):
                        calls.append("exchanged")
                        exchange(*arguments)
                        if calls == ["looked at", "exchanged"] and moment == "exchanged":
                            write()

                    if moment == "read":
                        write()
                    ovalin_files.is_still, ovalin_files.rename = looked, renamed
                    try:
                        done = ovalin_files.replace_if_unchanged(path, before, status, b"ours")
                    finally:
                        ovalin_files.is_still, ovalin_files.rename = whole_read, exchange
                    self.assertEqual((done, self.read("ledger")), (moment == "exchanged", b"theirs"))
                    self.assertEqual([name for name in os.listdir(self.home) if name.startswith((".ovalin", "ledger-"))], [])


if __name__ == "__main__":
    unittest.main()
