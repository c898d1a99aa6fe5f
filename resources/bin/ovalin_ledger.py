"""The captures ledger, as it is shared with Ovalin: read, changed and replaced whole, under the lock that Ovalin takes."""

import json
import os
import random
import sys
import time
from json.encoder import encode_basestring, encode_basestring_ascii

from ovalin_files import has_writer, lock, read_whole, replace_if_unchanged, set_aside

SYSTEM = os.path.expanduser("~/CLAUDE/system")
CAPTURES = os.path.join(SYSTEM, "captures.json")
KEYS = ("text", "source_app", "source_bundle", "prompt", "kind", "source_url", "source_title", "context_mode", "ts")
LIMIT = 500  # entries, as Ovalin keeps them
TRIES = 20


class LedgerError(Exception):
    """Nothing was written; why."""


class Number:
    """A number as it stands in the file: others may write some that are larger or finer than ours."""

    def __init__(self, text):
        self.text = text


def parse_json(content):
    """ValueError; RecursionError."""
    def refuse(text):
        raise ValueError(text + " is not JSON")

    return json.loads(content.decode("utf-8-sig"), parse_int=Number, parse_float=Number, parse_constant=refuse)


def parse(content):
    """The ledger, or ValueError. A blank file is an empty one."""
    if not content.strip():
        return {"items": [], "meta": {}}
    ledger = parse_json(content)
    if not isinstance(ledger, dict):
        raise ValueError("not a JSON object")
    items = ledger.setdefault("items", [])
    if not isinstance(items, list) or not all(isinstance(item, dict) for item in items):
        raise ValueError('"items" is not an array of objects')
    return ledger


def quoted(text):
    half_a_pair = any("\ud800" <= character <= "\udfff" for character in text)
    return encode_basestring_ascii(text) if half_a_pair else encode_basestring(text)


def pretty(value, indent=""):
    """Indented, keys sorted; numbers as they were read."""
    if isinstance(value, Number):
        return value.text
    if isinstance(value, str):
        return quoted(value)
    inner = indent + "    "
    if isinstance(value, dict) and value:
        lines = (inner + quoted(key) + ": " + pretty(value[key], inner) for key in sorted(value))
        return "{\n" + ",\n".join(lines) + "\n" + indent + "}"
    if isinstance(value, list) and value:
        return "[\n" + ",\n".join(inner + pretty(item, inner) for item in value) + "\n" + indent + "]"
    return json.dumps(value, allow_nan=False)


def request_of(identifier, queue_file):
    """What the queue file says, wherever it is by now; empty when it cannot be read."""
    for place in (queue_file, os.path.join(os.path.dirname(queue_file), "processed", identifier + ".json")):
        try:
            request = parse_json(read_whole(place)[0])
            if isinstance(request, dict):
                return request
        except (OSError, ValueError, RecursionError):
            pass
    return {}


def new_entry(identifier, queue_file):
    now = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())
    request = request_of(identifier, queue_file)
    return {"id": identifier, "ts": now, "kind": "result", **{key: request[key] for key in KEYS if key in request}}


def summary_of(entry):
    result = entry.get("result")
    summary = result.get("summary") if isinstance(result, dict) else ""
    return summary if isinstance(summary, str) else ""


def is_answered(status):
    return status not in (None, "", "queued")


def record(ledger, identifier, queue_file, status, summary, unless):
    """Changes the ledger and returns None, or returns the status and summary that stay."""
    items = ledger["items"]
    entry = next((item for item in items if item.get("id") == identifier), None)
    if entry is None:
        entry = new_entry(identifier, queue_file)
        items.insert(0, entry)
        del items[LIMIT:]
        meta = ledger.get("meta")
        ledger["meta"] = {**(meta if isinstance(meta, dict) else {}), "last_update": entry["ts"]}
    elif unless(entry.get("status")):
        return str(entry["status"]), summary_of(entry)
    result = entry.pop("result", None)
    entry["status"] = status
    if summary:
        entry["result"] = {**(result if isinstance(result, dict) else {}), "summary": summary}
    return None


def try_once(path, last_try, *wanted):
    """(True, what record() returns), or (False, None) for another try. OSError, LedgerError."""
    try:
        before, status = read_whole(path)
    except FileNotFoundError:
        before, status = b"", None
    # An editor that writes in place leaves the file blank or cut off for a moment.
    being_written = status and (0 <= time.time() - status.st_mtime < 0.25 or has_writer(path))
    try:
        ledger = parse(before)
        if not before.strip() and being_written and not last_try:
            raise ValueError("blank")
    except (ValueError, RecursionError) as error:
        if being_written:
            time.sleep(0.05)
        elif aside := set_aside(path, status):
            print("%s: set aside as %s: %s" % (path, os.path.basename(aside), error), file=sys.stderr)
        return False, None
    answer = record(ledger, *wanted)
    if answer or replace_if_unchanged(path, before, status, (pretty(ledger) + "\n").encode()):
        return True, answer
    time.sleep(random.uniform(0.002, 0.02))  # two who retry in step would meet again and again
    return False, None


def change(identifier, queue_file, status, summary, unless=lambda status: False):
    """Records what became of a request; one that the ledger lacks is added, with what its queue file says. An empty
    summary takes the result away. `unless` tells from the status that is there whether it stays; then that status and
    summary are returned, else None. LedgerError."""
    summary = " ".join(summary.split())[:500]
    try:
        os.makedirs(SYSTEM, exist_ok=True)
        with lock(CAPTURES):
            for tries in range(TRIES):
                path = os.path.realpath(CAPTURES)
                done, answer = try_once(path, tries == TRIES - 1, identifier, queue_file, status, summary, unless)
                if done:
                    return answer
    except OSError as error:
        raise LedgerError("cannot change %s: %s" % (CAPTURES, (error.strerror or "error").lower())) from error
    except RecursionError as error:
        raise LedgerError("cannot change %s: it is nested too deeply" % CAPTURES) from error
    raise LedgerError(CAPTURES + " is being changed all the time")
