"""Which file a page comes from."""

import json
import os
from urllib.parse import unquote_to_bytes, urlsplit

PAGES = (".html", ".htm", ".xhtml", ".shtml")
PORTS = {"http": 80, "https": 443}


class Refused(Exception):
    """Said to the user: one short line."""


def segments(path):
    """The decoded parts of an address's path. ValueError for what leads elsewhere than it says."""
    parts = [os.fsdecode(unquote_to_bytes(part)) for part in path.split("/") if part not in ("", ".")]
    if any("/" in part or "\0" in part or part in ("", ".", "..") for part in parts):
        raise ValueError(path)
    return parts


def host_of(address):
    host = (address.hostname or "").rstrip(".")
    try:
        return host.encode("idna").decode()
    except UnicodeError:
        return host


def split_address(text):
    """(scheme, host, port), path. An address without a scheme has the empty one. ValueError."""
    address = urlsplit(text if "://" in text else "//" + text)
    return (address.scheme, host_of(address), address.port or PORTS.get(address.scheme)), address.path


def fits(site, page):
    return site == page or site == ("", page[1], None) and page[2] == PORTS[page[0]]


def inside(path, folder):
    """Where the links of `path` end, if that is a page in the folder."""
    real, root = os.path.realpath(path), os.path.realpath(folder)
    if os.path.isfile(real) and real.lower().endswith(PAGES) and os.path.commonpath([real, root]) == root:
        return real
    return None


def sites(home):
    try:
        with open(os.path.join(home, "CLAUDE/system/ovalin-sites.json"), encoding="utf-8-sig") as file:
            table = json.load(file)
    except (OSError, ValueError, RecursionError):
        return {}
    return {str(prefix): folder for prefix, folder in table.items() if isinstance(folder, str)} \
        if isinstance(table, dict) else {}


def web_file(url, home):
    """The source file of a page of the user's own sites, and the folder of that site. Refused."""
    try:
        page, path = split_address(url)
        wanted = segments(path)
        if page[0] not in PORTS or not page[1]:
            raise ValueError(url)
    except ValueError:
        raise Refused("this page is not on one of your sites")
    best, root = None, ""
    for prefix, folder in sites(home).items():
        try:
            site, start = split_address(prefix.strip())
            start = segments(start)
        except ValueError:
            continue
        if fits(site, page) and wanted[:len(start)] == start and (best is None or len(start) > len(best)):
            folder = home + folder[1:] if folder == "~" or folder.startswith("~/") else folder
            if os.path.isabs(folder):
                best, root = start, folder
    if best is None:
        raise Refused("this page is not on one of your sites")
    place = os.path.join(root, *wanted[len(best):])
    candidates = [place] + [place + ending for ending in PAGES[:2] if len(wanted) > len(best)]
    candidates = candidates if not path.endswith("/") else []
    for candidate in candidates + [os.path.join(place, "index" + ending) for ending in PAGES]:
        if found := inside(candidate, root):
            return found, root
    raise Refused("no source file of this page was found")


def local_file(url):
    """The file of a file:// address. Refused."""
    try:
        address = urlsplit(url)
    except ValueError:
        raise Refused("this page's address cannot be read") from None
    if address.scheme != "file" or address.hostname not in (None, "localhost"):
        raise Refused("this page is not a file on this machine")
    path = os.path.realpath(unquote_to_bytes(address.path).replace(b"\0", b"")).decode("utf-8", "surrogateescape")
    if not os.path.isfile(path):
        raise Refused("there is no file " + os.path.basename(path))
    return path
