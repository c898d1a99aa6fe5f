"""The router and the ledger that it shares with Ovalin."""

import concurrent.futures
import fcntl
import json
import os
import subprocess
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
echo "argument 3: $3"
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
        self.assertEqual(self.route(), (0, "argument 3: --permission-mode\ncapture-router: cap-1-00ff ready\n"))
        self.assertEqual(self.entry(), {**REQUEST, "status": "ready", "result": {"summary": "it's dddd \"done\""}})
        self.assertEqual(json.loads(self.read(LEDGER))["own"], 1)
        self.assertEqual(os.listdir(self.path(QUEUE)), ["processed"])
        self.assertEqual(len(os.listdir(self.path(QUEUE + "processed"))), 2)
        self.assertFalse(os.path.exists(self.path("pwned")))

    def test_no_request_is_lost_silently(self):
        for agent, reason in [
            (None, "Claude Code not found — install it from https://claude.ai/code"),
            ("#!/bin/sh\nprintf 'x\\n\\nNot \"logged\" in\\\\ \\n\\n'; exit 1",
             'the agent failed (status 1): Not "logged" in\\'),
            ("#!/bin/sh\nprintf '\\377\\0'; exit 3", "the agent failed (status 3): \ufffd"),
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
                                 'display notification "%s" with title "Ovalin — needs attention"\n' % literal)
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

    def test_a_router_that_is_ended_says_so(self):
        self.install_agent("#!/bin/sh\necho $$ > ~/agent\nexec sleep 60\n")
        with subprocess.Popen([self.path(".claude/bin/capture-router.sh"), self.queue_file], env=self.environment,
                              stdout=subprocess.DEVNULL) as router:
            while not os.path.exists(self.path("agent")):
                pass
            router.terminate()
        self.assertEqual(self.entry()["result"]["summary"], "the router was ended before the agent was done")

    def test_a_missing_queue_file(self):
        os.unlink(self.queue_file)
        self.assertEqual(self.route()[0], 1)
        self.assertEqual(self.entry()["result"]["summary"], "the queue file cap-1-00ff.json is gone")
        self.assertEqual(self.run_script("capture-router.sh")[0], 2)
        self.assertEqual(self.run_script("capture-router.sh", "relative.json")[0], 2)

    def test_a_ledger_that_is_none(self):
        for content in ["{not JSON", "[]", '{"items": [1]}', b"\xff\xfe", '{"items": [], "a": NaN}', "[" * 100_000]:
            with self.subTest(content[:9]):
                self.setUp()
                self.write(LEDGER, content)
                self.assertEqual(self.route()[0], 1)
                self.assertEqual(self.read(LEDGER), content if isinstance(content, bytes) else content.encode())
                self.assertIn("is left alone", self.stderr)
                self.assertIn(b"Claude Code not found", self.read("notices"))

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
            ("#!/bin/sh\ncat; echo; echo 'all `done`'", "ready", "all `done`"),
            ("#!/bin/sh\necho oops; exit 1", "needs attention", "the agent failed (status 1): oops"),
        ]:
            self.setUp()
            self.install_agent(agent)
            self.write("CLAUDE/system/ovalin-jobs/cap-1-00ff/prompt.md", "-p water 'the' plants")
            code, output = self.run_script("capture-router.sh", "--job", "cap-1-00ff")
            self.assertEqual(code, status != "ready")
            self.assertIn("-p water 'the' plants" if status == "ready" else "oops", output)
            self.assertEqual((self.items()[0]["status"], self.items()[0]["result"]["summary"]), (status, summary))
            self.assertTrue(self.items()[0]["id"].startswith("cap-1-00ff-run-"))
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
        self.assertEqual(recorded, {"id-%d" % n for n in range(24)})
        self.assertEqual(sorted(os.listdir(self.path("CLAUDE/system"))), ["captures.json", "captures.json.lock"])

    def test_it_waits_for_the_lock_of_others_but_not_for_ever(self):
        with open(self.write(LEDGER + ".lock", ""), "wb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.assertEqual(self.set("a", "ready", "x")[0], 0)
        self.assertTrue(os.path.exists(self.path(LEDGER)))

    def test_what_others_keep_in_the_ledger_stays(self):
        other = {"items": [{"id": "a", "big": 12345678901234567890, "half": "\ud800", "result": {"more": [1.5, None]}}]
                 + [{"id": n} for n in range(499)], "meta": {"last_update": "t", "x": "ü"}}
        self.write("elsewhere.json", "\ufeff" + json.dumps(other), 0o640)
        os.makedirs(self.path("CLAUDE/system"))
        os.symlink("../../elsewhere.json", self.path(LEDGER))
        self.set("a", "ready", "- one\n two " + "x" * 1000)
        ledger = json.loads(self.read("elsewhere.json"))
        summary = ledger["items"][0]["result"].pop("summary")
        self.assertTrue(summary.startswith("- one two xxx") and len(summary) == 500)
        self.assertEqual(ledger["items"][0].pop("status"), "ready")
        self.assertEqual(ledger, other)
        self.assertEqual((self.mode("elsewhere.json"), os.path.islink(self.path(LEDGER))), (0o640, True))
        self.set("new", "ready", b"\xff")
        items = json.loads(self.read(LEDGER))["items"]
        self.assertEqual((len(items), items[0]["id"], items[-1]["id"]), (500, "new", 497))


if __name__ == "__main__":
    unittest.main()
