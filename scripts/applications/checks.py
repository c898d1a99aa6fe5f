"""What is looked at in each application. Each check gives a cell: ok, twice, harm, cannot or not-run, and why."""
import statistics
import time
from collections import Counter

from Xlib import X

from passwords import Password
from session import COPIED, Harmed, until
from terminals import Terminal

OK, HARM, CANNOT, NOT_RUN, TWICE = "ok", "harm", "cannot", "not-run", "twice"
COLUMNS = ("opening", "excerpt", "replace", "undo", "clipboard", "insert", "request", "excerpt ms")
PASTED = 1.5  # s: what has not arrived by then is looked at as it is


def told(session, since):
    """The titles of the notifications that came after `since` of them."""
    return "; ".join(title for _, title, _, _ in session.notices.shown[since:])


def said(target, wanted, since):
    """The cell of a change that was asked for: made, refused in words, or wrong."""
    s, found = target.s, target.text()
    if found != wanted and not until(lambda: len(s.notices.shown) > since, 0.5):
        until(lambda: len(s.notices.shown) > since, 4)
        found = target.text()
    notice = told(target.s, since) or target.status
    if found == wanted:
        return (OK, notice)
    if found == target.before and notice:
        return (CANNOT, "told: " + notice)
    words = [line for line in s.log().splitlines() if "replace" in line or "paste" in line or "insert" in line]
    return (HARM, f"the text is {found!r}, {'told: ' + notice if notice else 'nothing told'} ({words[-1] if words else ''})")


def snapshot(target):
    s = target.s
    return {"title": s.title(target.window), "clipboard": s.selection("clipboard"), "primary": s.selection("primary"),
            "owner of primary": s.owner("primary"), "active window": s.active(), **target.state()}


def openings(target, count):
    """Opens and closes; some openings are typed into, some are closed at once."""
    for number in range(count):
        target.s.open_or_fail()
        if number % 3 == 1:
            target.s.type("some words")
        time.sleep((0.0, 0.1, 0.5)[number % 3])
        if not target.s.dismiss("Escape"):
            return "the panel does not close"
    return ""


def check_opening(target, count):
    """Openings with and without a selection: what they change, and what they send."""
    faults, sent = [], Counter()
    for what in ("select", "caret"):
        getattr(target, what)()
        time.sleep(0.3)
        target.s.chords()
        before = snapshot(target)
        if fault := openings(target, count):
            faults.append(fault)
        time.sleep(0.5)
        after = snapshot(target)
        sent.update(target.s.chords())
        faults += [f"{what}: {name} was {before[name]!r}, is {after[name]!r}" for name in before
                   if before[name] != after[name]]
        faults += target.probe(what)
        if hasattr(target, "process") and target.process.poll() is not None:
            faults.append(f"{what}: the application has ended")
    note = ", ".join(f"{times}×{key}" for key, times in sent.items())
    note = f"sent {note} in {2 * count}" if note else "nothing sent"
    return (HARM, "; ".join(faults) + f" ({note})") if faults else (OK, note)


def check_request(target):
    """An instruction typed at once after the hotkey; returns the cells of the excerpt and of the request."""
    excerpts, request = [], (OK, "")
    for what in ("select", "caret"):
        wanted = target.select() if what == "select" else (target.caret(), "")[1]
        time.sleep(0.3)
        prompt = f"note the {what} of {target.name} for the diary"
        target.s.open_or_fail()
        target.s.type(prompt)
        time.sleep(1)
        target.s.picture(f"{target.name}-{what}", target.s.pictures)
        target.s.press("Return")
        entry = target.s.request(prompt)
        if not entry:
            came = [each.get("prompt") for each in target.s.requests()]
            return (NOT_RUN, "no request"), (HARM, f"typed {prompt!r}, came {came}")
        known = (entry.get("source_app") or "Unknown") != "Unknown"
        if known == target.left_alone:
            request = (HARM, f"the application is {entry.get('source_app')}")
        elif target.left_alone:
            request = (OK, "nothing is told of it")
        else:
            request = (OK, entry["source_app"])
        text = (entry.get("text") or "").replace("\r\n", "\n")
        if text.strip() != wanted.strip():
            excerpts.append((HARM if text else CANNOT, f"{what}: {text[:60]!r} instead of {wanted[:60]!r}"))
        if target.password and any(target.SECRET in str(part) for part in (entry, target.s.log())):
            excerpts.append((HARM, "the password is in the request or the log"))
        until(lambda: not target.s.panel(), 5)
    return (excerpts or [(OK, "")])[0], request


def excerpt_times(target, count):
    """How long, in ms, from the key press until the excerpt stands on the screen as it will stay, each time."""
    s = target.s
    wanted = target.select()
    s.open_or_fail()
    time.sleep(1)
    frame = next((part[4:] for part in s.panel_words() if part[1] == "Excerpt"), None)
    if not wanted or not frame:
        s.dismiss()
        return []
    left, top, width, height = frame
    look = lambda: s.root.get_image(left, top, width, height, X.ZPixmap, 0xFFFFFFFF).data  # noqa: E731
    final, times = look(), []
    s.dismiss()
    for _ in range(count):
        time.sleep(0.4)
        begun = time.monotonic()
        with s.hotkey_down():
            if until(lambda: look() == final, 2, 0):
                times.append((time.monotonic() - begun) * 1000)
        time.sleep(0.05)
        s.dismiss()
    return times


def median_and_worst(times, at_least):
    return f"{statistics.median(times):.0f} / {max(times):.0f}" if times and len(times) >= at_least else "–"


def check_excerpt_time(target):
    return (median_and_worst(excerpt_times(target, 15), 8), "")


def use_button(target, prompt):
    """Types an instruction and presses Replace or Insert; `status` says why that led to nothing, where the panel does."""
    s = target.s
    since = len(s.notices.shown)
    s.open_or_fail()
    s.type(prompt)
    time.sleep(0.7)
    s.picture(f"{target.name}-button", s.pictures)
    target.status = "" if s.press_replace() else "the panel has no such button here"
    if target.status or not until(lambda: not s.panel(), 6):
        target.status = target.status or s.status() or "the panel stays open"
        s.dismiss()
    until(lambda: len(s.notices.shown) > since, PASTED)
    return since


def check_replace(target):
    """Returns the cells of Replace, of one undo and of the clipboard."""
    target.select()
    target.before = target.initial
    since = use_button(target, "replace with 'NEW'")
    cell = said(target, target.put("NEW", "select"), since)
    clipboard = target.s.selection("clipboard")
    left = (OK, "") if clipboard == COPIED or cell[0] == CANNOT and clipboard == "NEW" else (HARM, f"it holds {clipboard!r}")
    if cell[0] != OK:
        return cell, (NOT_RUN, "nothing to undo"), left
    found = []
    for outcome in (OK, TWICE):
        target.undo_once()
        time.sleep(0.2)
        found.append(target.text())
        if found[-1] == target.initial:
            return cell, (outcome, f"after the first the text is {found[0]!r}" if outcome == TWICE else ""), left
    return cell, (HARM, f"after one the text is {found[0]!r}, after two {found[1]!r}"), left


def check_insert(target):
    target.caret()
    target.before = target.initial
    since = use_button(target, "'and more '")
    return said(target, target.put("and more ", "caret"), since)


# The other kinds

def check_password(target, count, cells):
    cells["opening"] = check_opening(target, count)
    cells["excerpt"], cells["request"] = check_request(target)
    cells["excerpt ms"] = check_excerpt_time(target)
    for name, prompt in (("replace", "replace with 'NEW'"), ("insert", "'and more '")):
        target.select() if name == "replace" else target.caret()
        target.before, wanted = target.SECRET, None
        target.s.chords()
        since = use_button(target, prompt)
        sent = target.s.chords()
        cell = said(target, wanted, since)
        if sent:
            cell = (HARM if target.tells else CANNOT, f"sent {', '.join(sent)}")
        cells[name] = cell


def check_terminal(target, count, cells):
    """The job and the raw keys for the opening, a plain `cat` for what is put in."""
    job = check_opening(target, count)
    cells["excerpt"], cells["request"] = check_request(target)
    cells["excerpt ms"] = check_excerpt_time(target)
    target.end()
    target.start("keys")
    keys = check_opening(target, count)
    cells["opening"] = max(job, keys, key=lambda cell: cell[0] == HARM)
    for name, prompt, wanted in (("replace", "replace with 'NEW'", "NEW"), ("insert", "'and more'", "and more")):
        target.end()
        target.start("cat")
        target.s.copy_before()
        target.select() if name == "replace" else target.caret()
        since = use_button(target, prompt)
        target.before = ""
        cells[name] = said(target, wanted, since)
        clipboard = target.s.selection("clipboard")
        if name == "replace":
            good = clipboard == COPIED or cells[name][0] == CANNOT and clipboard == wanted
            cells["clipboard"] = (OK, "") if good else (HARM, f"it holds {clipboard!r}")


def check_viewer(target, count, cells):
    """Nothing can be put in: that has to be said, within a second where the application can tell."""
    cells["opening"] = check_opening(target, count)
    cells["excerpt"], cells["request"] = check_request(target)
    cells["excerpt ms"] = check_excerpt_time(target)
    for name, prompt in (("replace", "replace with 'NEW'"), ("insert", "'and more '")):
        target.select() if name == "replace" else target.caret()
        target.before = ""
        target.s.chords()
        before = target.state()
        since = use_button(target, prompt)
        cells[name] = said(target, None, since)
        if target.state() != before:
            cells[name] = (HARM, f"{before} became {target.state()}")


def check_editor(target, count, cells):
    cells["opening"] = check_opening(target, count)
    cells["excerpt"], cells["request"] = check_request(target)
    cells["excerpt ms"] = check_excerpt_time(target)
    cells["replace"], cells["undo"], cells["clipboard"] = check_replace(target)
    if cells["undo"][0] != OK:
        target.again()
        target.s.copy_before()
    cells["insert"] = check_insert(target)


def check_openings_only(target, count, cells):
    cells["opening"] = check_opening(target, count)


def check(target, count, only_openings=False):
    """The cells of one row, by column."""
    target.s.copy_before()
    kind = (check_openings_only if only_openings else check_password if isinstance(target, Password) else check_terminal if isinstance(target, Terminal)
            else check_editor if target.editable else check_viewer)
    cells = {}
    try:
        kind(target, count, cells)
    except Harmed as harm:
        cells[next(column for column in COLUMNS if column not in cells)] = (HARM, str(harm))
    return cells
