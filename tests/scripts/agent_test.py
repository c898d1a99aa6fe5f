"""The scripts that hand a text or a conversation to the agent CLI."""

import json
import os
import select
import signal
import subprocess
import unittest

from support import ScriptTest

SESSION = "0f8fad5b-d9cb-469f-a165-70867728950e"
MISSING = "Claude Code not found — install it from https://claude.ai/code"


def message(text):
    return json.dumps({"type": "user", "message": {"role": "user", "content": text}}) + "\n"


class FindClaudeTest(ScriptTest):
    def test_the_first_executable_candidate_or_what_the_login_shell_knows(self):
        if any(os.path.exists(folder + "/bin/claude") for folder in ("/opt/homebrew", "/usr/local", "/usr")):
            self.skipTest("an agent CLI is installed on this machine")
        run = lambda: self.run_script("ovalin-find-claude")
        self.assertEqual(run(), (127, ""))
        self.assertEqual(self.stderr, MISSING + "\n")
        there = self.write("it's here/claude", "", 0o755)
        self.write(".zprofile", "alias claude=x; path=(\"$HOME/it's here\" $path); unalias claude; print; print -n ' '")
        self.assertEqual(run(), (0, there + "\n"))
        self.assertEqual(self.run_script("ovalin-find-claude", PATH=""), (0, there + "\n"))
        self.write(".local/bin/claude", "", 0o644)
        self.assertEqual(run(), (0, there + "\n"))
        os.chmod(self.path(".local/bin/claude"), 0o755)
        self.assertEqual(run(), (0, self.path(".local/bin/claude\n")))
        os.unlink(self.path(".local/bin/claude"))
        for profile in ("alias claude='touch x'", "claude() { touch x }",
                        "print junk; path=(\"$HOME/it's here\" $path)"):
            self.write(".zprofile", profile)
            self.assertEqual(run(), (127, ""), profile)


class TransformTest(ScriptTest):
    def transform(self, selection, instruction="make it formal", **variables):
        return self.run_script("ovalin-transform.sh", stdin=selection, OVALIN_INSTRUCTION=instruction, **variables)

    def test_the_agent_gets_selection_and_instruction_as_words(self):
        self.install_agent(transform=[{"text": "Dear {user}"}])
        secret = self.write("secret", "")
        for selection, instruction in [("it's", "'; touch pwned; $(touch pwned) `touch pwned` \"$HOME\"\n--help"),
                                       ("-p --help", "-p"), ("$(touch pwned)", "ü"), ("y" * 10_000_000, "shorten it"),
                                       ("/cost of living rises", "/clear"), ("see @%s." % secret, "@" + secret)]:
            self.assertEqual(self.transform(selection, instruction), (0, "Dear " + selection + "\n"))
            argv = self.agent_log("start")[-1]["argv"]
            self.assertIn("asks: %s. Output" % instruction, argv[-1])
            self.assertEqual(argv[:-1], ["-p", "--settings", '{"permissions":{"deny":["Read"]}}', "--append-system-prompt"])
        self.assertEqual(self.transform(b"a\0b\xff")[1], "Dear a\0b\ufffd\n")
        self.assertEqual(self.agent_log("read"), [])
        self.assertFalse(os.path.exists(self.path("pwned")))

    def test_a_failure_says_why(self):
        long = "x" * (131_072 - len("OVALIN_INSTRUCTION=") - 1)
        for agent, instruction, run in [
            (None, "x", (127, MISSING + "\n")),
            ("#!/bin/sh\necho; echo Not logged in; echo; exit 1", "x", (1, "Not logged in\n")),
            ("#!/bin/sh\necho half; echo; exec >&2; echo node: not found; exit 127", "x", (1, "half\n")),
            ("#!/bin/sh\necho node: not found >&2; exit 127", "x", (1, "node: not found\n")),
            ("#!/bin/sh\nexit 3", "x", (1, "the agent failed (status 3)\n")),
            ("#!/bin/sh\nkill -9 $$", "x", (1, "the agent was ended by signal 9\n")),
            ("#!/bin/sh\necho", "x", (1, "the agent gave no text\n")),
            ("#!/bin/sh\nexec yes", "x", (1, "the agent printed too much\n")),
            ("#!/bin/sh\nexit", long, (1, "the instruction is too long\n")),
            ("#!/bin/sh\ntrap '' TERM; exec sleep 60", "x", (124, "the agent did not finish within 0.3 s\n")),
            ("", "x", (1, "the agent cannot be started: exec format error\n")),
        ]:
            with self.subTest(run[1]):
                if agent is not None:
                    self.install_agent(agent or "\0")
                self.assertEqual(self.transform("x", instruction, OVALIN_AGENT_LIMIT="0.3" if run[0] == 124 else ""), run)

    def test_it_ends_with_the_agent_whatever_that_leaves_running(self):
        self.install_agent("#!/bin/sh\nsleep 60 &\necho done\n")
        self.assertEqual(self.transform("x" * 1_000_000, PATH=""), (0, "done\n"))

    def test_ending_the_process_group_ends_the_agent(self):
        for end in (lambda script: os.killpg(script.pid, signal.SIGTERM), subprocess.Popen.terminate,
                    subprocess.Popen.kill):
            self.install_agent("#!/bin/sh\necho $$ > ~/pid; mv ~/pid ~/agent\nexec sleep 60\n")
            with subprocess.Popen([self.path(".claude/bin/ovalin-transform.sh")], env=self.environment, process_group=0,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL) as script:
                agent = int(self.wait_for("agent"))
                descriptor = os.pidfd_open(agent)
                end(script)
            self.assertTrue(select.select([descriptor], [], [], 30)[0], "the agent has ended")
            os.close(descriptor)
            os.unlink(self.path("agent"))


class ChatTest(ScriptTest):
    def chat(self, *messages, **variables):
        status, output = self.run_script("ask-stream.sh", stdin="".join(map(message, messages)), **variables)
        return status, [json.loads(line) for line in output.splitlines()]

    def test_a_conversation_and_its_continuation(self):
        self.install_agent()
        status, lines = self.chat("one 'a' $(touch pwned)", "two")
        self.assertEqual([line["result"] for line in lines if line["type"] == "result"],
                         ["Echo: one 'a' $(touch pwned)", "Echo: two"])
        start = self.agent_log("start")[0]
        persona = start["argv"].pop(-3)
        self.assertTrue(persona.startswith("You are the assistant behind Ovalin"))
        self.assertEqual(" ".join(start["argv"]), "-p --input-format stream-json --output-format stream-json "
                         "--include-partial-messages --verbose --effort low --tools WebFetch WebSearch Read Bash Edit "
                         "Write Grep Glob --append-system-prompt --permission-mode bypassPermissions")
        session = lines[0]["session_id"]
        self.assertEqual(self.chat("more", OVALIN_ASK_RESUME=session)[1][-1]["session_id"], session)
        self.assertEqual(self.chat("more", OVALIN_ASK_RESUME=SESSION)[0], 1, "an unknown session")

    def test_what_is_no_session_id_is_not_passed_on(self):
        self.install_agent()
        for value in ("not-a-uuid", "--help", SESSION + "'", SESSION + "\n", "", SESSION[1:], b"\xff"):
            self.assertEqual(self.chat("x", OVALIN_ASK_RESUME=value)[0], 0, value)
            self.assertNotIn("--resume", self.agent_log("start")[-1]["argv"])

    def test_the_agent_is_the_process_that_was_started(self):
        self.install_agent()
        with subprocess.Popen([self.path(".claude/bin/ask-stream.sh")], env=self.environment, cwd="/",
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE) as script:
            script.stdin.write(message("x").encode())
            script.stdin.flush()
            script.stdout.readline()
            self.assertEqual(self.agent_log("start")[-1]["pid"], script.pid)
            script.terminate()
        self.assertEqual(script.returncode, 143)

    def test_a_missing_agent_answers_the_first_question(self):
        status, lines = self.chat("x" * 1_000_000)
        self.assertEqual((status, lines[0]["type"], lines[0]["result"]),
                         (127, "result", MISSING + " and run `claude` once to sign in"))
        self.assertEqual((lines[0]["subtype"], lines[0]["is_error"]), ("success", True), "a resumed one is not given up")


class NotifyTest(ScriptTest):
    def test_whatever_there_is_shows_it_once(self):
        said = ["it's \\ \"x\" $(touch pwned)", "-n\n<i>ü"]
        tools = ["osascript", "notify-send", "busctl"]
        for works in (0, 1, 2, None):
            for number, tool in enumerate(tools):
                self.write("tools/" + tool, "#!/bin/sh\nprintf '%%s\\n' %s \"$@\" >> ~/shown\nexit %d\n"
                           % (tool, number != works), 0o755)
            status, _ = self.run_script("ovalin-notify", *said)
            lines = self.read("shown").decode().splitlines()
            self.assertEqual((status, [line for line in lines if line in tools]),
                             (int(works is None), tools[:3 if works is None else works + 1]))
            if works == 0:
                self.assertEqual(lines[2], r'''display notification "-n <i>ü" with title "it's \\ \"x\" $(touch pwned)"''')
            elif works:
                self.assertTrue(all(text in lines[-9:] for text in (said[0], "-n &lt;i&gt;ü")), lines)
            os.unlink(self.path("shown"))
        self.assertIn(said[0] + " — -n <i>ü", self.stderr)
        self.assertFalse(os.path.exists(self.path("pwned")))


if __name__ == "__main__":
    unittest.main()
