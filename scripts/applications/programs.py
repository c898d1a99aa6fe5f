"""What every application has in common: how it is started, selected in, and read back."""
import os
import time

from session import until

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
    left_alone = False  # nothing is captured over it
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
