"""Has the agent CLI do something: the one place where the scripts compose a command line for it and wait for it.

What it is given are words, but it would run a text that begins with one of its own commands ("/cost") as that command,
take one that begins with a dash for an option, and read any file that a text names as @path.
"""

import ctypes
import errno
import os
import selectors
import signal
import subprocess
import time

MISSING = "Claude Code not found — install it from https://claude.ai/code"
NO_READING = ("--settings", '{"permissions":{"deny":["Read"]}}')
TAIL = 4096
MOST_KEPT = 64 << 20  # bytes of an answer
MOST_SHOWN = 4 << 20  # bytes of one run in a log
CHUNK = 1 << 16
PR_SET_PDEATHSIG = 1


class Failed(Exception):
    """Why the agent did nothing, or not all: one line for the user. `status` is what a script exits with."""

    def __init__(self, reason, status=1):
        super().__init__(reason)
        self.status = status


class AgentFailed(Failed):
    """The same in the agent's own words."""


class Ended(Exception):
    """We were told to end."""


def one_line(text):
    return " ".join("".join(character if character.isprintable() else " " for character in text).split())[:200]


def last_line(output):
    lines = output[-TAIL:].decode("utf-8", "replace").replace("\0", "").splitlines()
    return one_line(next((line for line in reversed(lines) if line.strip()), ""))


def use_system_path():
    """An empty PATH would leave us without tools, and the agent without its interpreter."""
    folders = [folder for folder in os.environ.get("PATH", "").split(":") if folder]
    os.environ["PATH"] = ":".join(folders + [f for f in ("/usr/local/bin", "/usr/bin", "/bin") if f not in folders])


def seconds(name, default):
    """A limit that an environment variable may set."""
    try:
        return max(0.0, float(os.environ.get(name, "")))
    except ValueError:
        return default


def find():
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "ovalin-find-claude")
    try:
        found = subprocess.run([script], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    except OSError as error:
        raise Failed("ovalin-find-claude cannot be run: " + error.strerror.lower()) from error
    path = found.stdout.removesuffix(b"\n")
    if found.returncode != 0 or not path:
        raise Failed(MISSING, 127)
    return path


def ignore_signals():
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    signal.signal(signal.SIGINT, signal.SIG_IGN)


def end_on_signals():
    """SIGTERM and SIGINT are heard as Ended, once."""
    def on_signal(number, _frame):
        ignore_signals()
        raise Ended(128 + number)

    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGINT, on_signal)


class Run:
    """One run of the agent, waited for. Failed; Ended, after the agent has ended too.

    `limit` is in seconds; so many more, `grace`, it gets to clean up. With `show`, a descriptor, all output goes there
    as it comes, and the agent goes on when we are killed; else it is kept, and the agent ends with us, since nobody
    waits for its answer any more."""

    def __init__(self, arguments, text=b"", *, limit, grace, show=None):
        self.show, self.shown = show, 0
        self.output, self.errors = bytearray(), bytearray()  # whole, or the last of it
        self.start([find(), "-p", *arguments], bool(text))
        self.outputs = [pipe for pipe in (self.child.stdout, self.child.stderr) if pipe]
        try:
            in_time = self.attend(memoryview(text), limit, grace)
        finally:
            self.end(grace)
        if not in_time:
            raise Failed("the agent did not finish within %g s" % limit, 124)
        status = self.child.returncode
        if status < 0:
            raise Failed("the agent was ended by signal %d" % -status)
        if status > 0:
            if said := last_line(self.output) or last_line(self.errors):
                raise AgentFailed(said)
            raise Failed("the agent failed (status %d)" % status)

    def start(self, command, has_input):
        libc, us = ctypes.CDLL(None), os.getpid()

        def end_with_us():
            libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM)
            if os.getppid() != us:
                os._exit(1)

        pipe, kept = subprocess.PIPE, self.show is None
        try:
            self.child = subprocess.Popen(
                command, stdin=pipe if has_input else subprocess.DEVNULL, stdout=pipe,
                stderr=pipe if kept else subprocess.STDOUT, preexec_fn=end_with_us if kept else None)
        except OSError as error:
            reason = "the agent cannot be started: " + error.strerror.lower()
            raise Failed("the instruction is too long" if error.errno == errno.E2BIG else reason) from error

    def attend(self, text, limit, grace):
        """Feeds and reads it until it has ended: what it has left running may hold its output open for longer. False
        when it had to be ended."""
        in_time, deadline = True, time.monotonic() + limit
        ended = os.pidfd_open(self.child.pid)
        with selectors.DefaultSelector() as selector:
            selector.register(ended, selectors.EVENT_READ)
            for pipe in self.outputs:
                os.set_blocking(pipe.fileno(), False)
                selector.register(pipe, selectors.EVENT_READ)
            if self.child.stdin:
                os.set_blocking(self.child.stdin.fileno(), False)
                selector.register(self.child.stdin, selectors.EVENT_WRITE)
            while True:
                files = [key.fileobj for key, _ in selector.select(max(0.0, deadline - time.monotonic()))]
                if self.child.stdin in files:
                    text = self.feed(text)
                    if not text:
                        selector.unregister(self.child.stdin)
                        self.child.stdin.close()
                for pipe in self.outputs:
                    if pipe in files and self.read(pipe) == b"":
                        selector.unregister(pipe)
                if ended in files:
                    break
                if time.monotonic() >= deadline:
                    self.child.terminate() if in_time else self.child.kill()
                    in_time, deadline = False, time.monotonic() + grace
        os.close(ended)
        for pipe in self.outputs:
            for _ in range(64):  # no more than a pipe holds, for what it has left running may print on
                if not self.read(pipe):
                    break
        return in_time

    def feed(self, text):
        try:
            return text[os.write(self.child.stdin.fileno(), text[:CHUNK]):]
        except BlockingIOError:
            return text
        except OSError:
            return text[:0]  # it does not want any more

    def read(self, pipe):
        """What was there; empty at the end, None when there is nothing yet."""
        try:
            data = os.read(pipe.fileno(), CHUNK)
        except BlockingIOError:
            return None
        if pipe is self.child.stderr:
            self.errors = (self.errors + data)[-TAIL:]
            return data
        self.output += data
        if self.show is not None:
            self.output = self.output[-TAIL:]
            self.pass_on(data)
        elif len(self.output) > MOST_KEPT:
            raise Failed("the agent printed too much")
        return data

    def pass_on(self, data):
        left = MOST_SHOWN - self.shown
        self.shown += len(data)
        if len(data) > left:
            data = data[:left] + b"\n(it printed more)\n" if left > 0 else b""
        try:
            while data:
                data = data[os.write(self.show, data):]
        except OSError:
            pass  # a full disk, or nobody who reads

    def end(self, grace):
        """Ends what has not ended yet."""
        if self.child.poll() is None:
            self.child.terminate()
            try:
                self.child.wait(grace)
            except subprocess.TimeoutExpired:
                self.child.kill()
        self.child.wait()


def transformed(text, instruction, limit):
    """The text (bytes) as the agent has changed it. Failed."""
    prompt = ("Transform the text on stdin exactly as this instruction asks: %s. Output ONLY the transformed text - no "
              "preamble, no quotes, no commentary." % instruction)
    # A line feed before it: then it is no command.
    run = Run([*NO_READING, "--append-system-prompt", prompt], b"\n" + text, limit=limit, grace=5)
    if not run.output.strip():
        raise Failed("the agent gave no text")
    return bytes(run.output)


def do(prompt, limit, show):
    """Has it work with all permissions. `prompt` is our own; the user's words are in a file that it names. The last line
    that it printed. Failed."""
    try:
        run = Run([prompt, "--permission-mode", "bypassPermissions"], limit=limit, grace=10, show=show)
    except AgentFailed as reason:
        raise Failed("the agent failed: %s" % reason) from reason
    return last_line(run.output)
