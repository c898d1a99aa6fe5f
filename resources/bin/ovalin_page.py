"""A page's source file: its text in the encoding that browsers read it in, and its replacement with a backup kept."""

import codecs
import html
import mimetypes
import os
import re
import stat
import time

from ovalin_files import is_still, read_whole, replace_if_unchanged, version, write_new
from ovalin_html import VisibleText
from ovalin_sites import PAGES, Refused

LIMIT = 32 << 20
BACKUPS = 20  # for each file
META = re.compile(rb"<meta[^>]+charset\s*=\s*[\"']?\s*([\w:.-]+)", re.I)
MARKUP = PAGES + (".svg", ".xml", ".php")
MARKS = ((codecs.BOM_UTF8, "utf-8"), (codecs.BOM_UTF16_LE, "utf-16-le"), (codecs.BOM_UTF16_BE, "utf-16-be"))
WESTERN = ("ascii", "iso8859-1", "cp1252")

# Browsers read all of WESTERN as windows-1252, and the five bytes that it leaves out as control characters.
HIGH = {byte: ord(bytes([byte]).decode("cp1252", "ignore") or chr(byte)) for byte in range(0x80, 0xA0)}
LOW = {character: byte for byte, character in HIGH.items()}


PICTURES = re.compile(rb"\x89PNG|\xff\xd8\xff|GIF8[79]a|RIFF....WEBP|II\*\0|MM\0\*|\0\0[\1\2]\0|BM....\0\0\0\0"
                      rb"|....ftyp(?:avi|hei|mif)", re.S)
CONTROLS = re.compile("[\0-\x08\x0e-\x1a\x1c-\x1f]")


def kind_of(content, name):
    """What a browser shows that is no page, by its content and by its name; empty for all that may be one."""
    kind = mimetypes.guess_type(name)[0] or ""
    start = content[:1024]
    if kind == "application/pdf" or start.lstrip().startswith(b"%PDF-") or b"%PDF-" in start and b"startxref" in content:
        return "a PDF document"
    if PICTURES.match(content) or kind.startswith("image/") and kind != "image/svg+xml":
        return "a picture"
    return ""


class Encoding:
    def __init__(self, content):
        self.mark, self.name = next(((mark, name) for mark, name in MARKS if content.startswith(mark)), (b"", ""))
        if self.mark:
            return
        declared = META.search(content[:4096])
        try:
            self.name = codecs.lookup(declared[1].decode()).name if declared else ""
            "".encode(self.name or "ascii")
        except (LookupError, ValueError):
            self.name = ""
        if not self.name:
            try:
                content.decode()
                self.name = "utf-8"
            except UnicodeDecodeError:
                self.name = "cp1252"
        if self.name.startswith("utf-16"):  # it cannot be, or the declaration could not be read
            self.name = "utf-8"

    def decode(self, content):
        content = content[len(self.mark):]
        if self.name in WESTERN:
            return content.decode("latin-1").translate(HIGH)
        return content.decode(self.name, "surrogateescape")

    def encode(self, text):
        if self.name in WESTERN:
            return text.translate(LOW).encode("latin-1")
        return self.mark + text.encode(self.name, "surrogateescape")

    def fitting(self, text, markup):
        """The text with what the encoding lacks written as character references. Refused outside markup."""
        def fits(character):
            try:
                return bool(self.encode(character)) and (self.name not in WESTERN or not 0x80 <= ord(character) < 0xA0)
            except UnicodeEncodeError:
                return False

        if not all(map(fits, set(text))) and not markup:
            raise Refused("the new text cannot be written in " + self.name)
        return "".join(character if fits(character) else "&#%d;" % ord(character) for character in text)


class Page:
    """A page as read. Refused when it cannot be."""

    def __init__(self, path):
        self.path, self.name = path, shown(os.path.basename(path))
        self.markup = path.lower().endswith(MARKUP)
        try:
            self.content, self.status = read_whole(path)
        except OSError as error:
            raise Refused("cannot read %s: %s" % (self.name, (error.strerror or "error").lower()))
        if len(self.content) > LIMIT:
            raise Refused(self.name + " is too large")
        if kind := kind_of(self.content, path):
            raise Refused("%s is %s, which cannot be edited" % (self.name, kind))
        self.encoding = Encoding(self.content)
        try:
            self.source = self.encoding.decode(self.content)
            if self.encoding.encode(self.source) != self.content or not self.markup and CONTROLS.search(self.source):
                raise ValueError
        except ValueError:
            raise Refused(self.name + " is not a text file")
        self.visible = VisibleText(self.source, self.markup)

    def check_writable(self):
        if not self.status.st_mode & 0o222 or not os.access(self.path, os.W_OK):
            raise Refused(self.name + " is read-only")
        if not os.access(os.path.dirname(self.path), os.W_OK):
            raise Refused("the folder of %s is read-only" % self.name)

    def replace(self, found, texts, home):
        """Writes the page with the found part replaced by the texts (see VisibleText.replaced). False when the file has
        changed since it was read. Refused."""
        texts = [text.replace("\r\n", "\n") for text in texts]
        if b"\r\n" in self.content:
            texts = [text.replace("\n", "\r\n") for text in texts]
        texts = [self.encoding.fitting(html.escape(text, False) if self.markup else text, self.markup)
                 for text in texts]
        content = self.encoding.encode(self.visible.replaced(found, texts))
        try:
            if not is_still(self.path, self.content, self.status):
                return False
            self.keep_backup(home)
            return replace_if_unchanged(self.path, self.content, self.status, content)
        except OSError as error:
            raise Refused("cannot write %s: %s" % (self.name, (error.strerror or "error").lower()))

    def keep_backup(self, home):
        """Not beside the page: that folder may be published, or watched by a generator."""
        root = os.path.join(home, "CLAUDE/system/ovalin-backups")
        os.makedirs(root, mode=0o700, exist_ok=True)
        folder = root + self.path
        os.makedirs(folder, mode=0o700, exist_ok=True)
        moment = time.time_ns()
        stamp = time.strftime("%Y-%m-%dT%H%M%S", time.gmtime(moment // 10**9))
        write_new(os.path.join(folder, "%s.%09d" % (stamp, moment % 10**9)), self.content)
        kept = 0
        for old in sorted(os.listdir(folder), reverse=True):
            status = os.lstat(os.path.join(folder, old))
            kept += status.st_size > 0  # an empty one is left over from a full disk
            if stat.S_ISREG(status.st_mode) and (kept > BACKUPS or status.st_size == 0):
                os.unlink(os.path.join(folder, old))


def shown(name):
    """A file name fit for the short line of the panel."""
    name = "".join(character if character.isprintable() else "?" for character in name)
    return name if len(name) <= 24 else name[:10] + "…" + name[-13:]
