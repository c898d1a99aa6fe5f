"""Where a text stands in the source of an HTML page, as a reader of the page sees it."""

import html
import re
from array import array
from collections import Counter
from html.entities import html5

VOID = set("area base br col embed hr img input link meta param source track wbr".split())
RAW = set("script style xmp iframe noembed noframes noscript title".split())  # their text is shown to nobody
HIDDEN = set("head template select datalist audio video canvas object rp".split())  # or cannot be highlighted
IN_HEAD = set("base basefont bgsound link meta title noscript script style template".split())
BLOCKS = set("""address article aside blockquote body br caption center dd details dialog dir div dl dt fieldset
    figcaption figure footer form h1 h2 h3 h4 h5 h6 header hgroup hr html legend li main menu nav ol p
    pre search section select summary table tbody td tfoot th thead tr ul""".split())

# Elements that may go without an end tag: which start tags end them, unless one of the containers was opened in them.
CELLS = set("td th tr tbody tfoot".split())
ENDED_BY = {
    "p": (BLOCKS - {"br"}, ()), "li": ({"li"}, ("ul", "ol", "menu")),
    "dt": ({"dt", "dd"}, ("dl",)), "dd": ({"dt", "dd"}, ("dl",)),
    "td": (CELLS, ("table",)), "th": (CELLS, ("table",)), "tr": (CELLS - {"td", "th"}, ("table",)),
    "tbody": ({"tbody", "tfoot"}, ("table",)), "thead": ({"tbody", "tfoot"}, ("table",)),
}

COMMENT = re.compile(r"<!--(?:-?>|.*?(?:--!?>|\Z))|<\?(?:php|=|xml).*?(?:\?>|\Z)"
                     r"|<(?:[!?]|/[^a-zA-Z])[^>]*(?:>|\Z)", re.S)
END_TAG = re.compile(r"</([a-zA-Z][^\s/>]*)[^>]*(?:>|\Z)")
START_TAG = re.compile(r"<([a-zA-Z][^\s/>]*)")
ATTRIBUTE = re.compile(r"""[\s/]*([^\s/>][^\s/>=]*)(?:\s*=\s*("[^"]*"|'[^']*'|[^\s>]+))?""")
TAG_END = re.compile(r"[\s/]*(?:>|\Z)")
NO_DISPLAY = re.compile(r"(?:^|[;\"'\s])(?:display\s*:\s*none|visibility\s*:\s*hidden)", re.I)

UNSEEN = "\u00ad\u200b\u2060\ufeff\0"  # soft hyphens and the like: not in what the user copies, or not in the source
WORD = r"[^\s&%s]+" % UNSEEN
PIECE = re.compile(r"%s(?: %s)*|\s+|[%s]+|&(?:#[0-9]+;?|#[xX][0-9a-fA-F]+;?|[a-zA-Z][a-zA-Z0-9]*;?)?"
                   % (WORD, WORD, UNSEEN))
LONGEST_NAME = max(map(len, html5))
DROPPED = str.maketrans("", "", UNSEEN)

# What may be left empty by an edit and then goes; an id or a name is there for others.
EMPTIED = re.compile(r"<(a|abbr|b|big|cite|code|del|em|font|i|ins|kbd|mark|q|s|samp|small|span|strong|sub|sup|tt|u|var"
                     r"|p|li|dt|dd|h[1-6])\b(?![^<>]*\s(?:id|name)\s*=)(?:\s[^<>]*)?>\s*</\1\s*>", re.I)
BREAK = re.compile(r"<w?br\s*/?>", re.I)
NOT_TO_TIDY = re.compile(r"<(?:!|\?|/[^a-z]|script|style|textarea|template|svg|math)", re.I)


def collapsed(text):
    """As a page shows it: runs of white space are one blank."""
    return " ".join(text.translate(DROPPED).split())


def entity(token):
    """How many characters of `token` ("&amp;", "&copy2024") are a reference, and what it means."""
    if token.startswith("&#"):
        digits = token.strip("&#;").lstrip("0")
        return len(token), html.unescape(token) if len(digits) < 10 else "\ufffd"  # int() is slow, and has a limit
    ends = range(min(len(token), LONGEST_NAME + 1), 1, -1)
    token = "&" + next((token[1:end] for end in ends if token[1:end] in html5), "")
    return len(token), html.unescape(token)


class VisibleText:
    """The visible text of a page in one line. Character k stands at source[starts[k]:ends[k]]."""

    def __init__(self, source, markup=True):
        self.source = source
        self.parts, self.starts, self.ends = [], array("Q"), array("Q")
        self.seams = set()   # the characters before which, or for which as blanks, there is a tag
        self.breaks = set()  # the blanks at which a new block begins
        self.gap = None      # white space not yet put: start, end, a tag in it, a block in it
        self.hidden, self.opened = "", Counter()  # the hidden element we are in, and what was opened in it
        self.raw_ends = {}   # by name, the next end tag of an element whose content is no markup
        if markup:
            self.read_markup()
        else:
            self.put_text(0, len(source))
        self.text = "".join(self.parts)

    def put(self, text, start, end=None):
        if self.gap and self.parts:
            self.parts.append(" ")
            at = len(self.starts)
            self.starts.append(self.gap[0])
            self.ends.append(self.gap[0 if self.gap[3] else 1])  # white space between blocks is the source's layout
            if self.gap[2]:
                self.seams.add(at)
            if self.gap[3]:
                self.breaks.add(at)
        self.gap = None
        self.parts.append(text)
        if end is None:  # character for character
            self.starts.extend(range(start, start + len(text)))
            self.ends.extend(range(start + 1, start + len(text) + 1))
        else:
            self.starts.extend([start] * len(text))
            self.ends.extend([end] * len(text))

    def put_space(self, start, end, tag=False, block=False):
        gap = self.gap or (start, end, False, False)
        if gap[0] == gap[1]:  # made by tags alone so far
            gap = (start, end) + gap[2:]
        elif gap[1] == start:  # " &nbsp; "
            gap = (gap[0], end) + gap[2:]
        self.gap = (gap[0], gap[1], gap[2] or tag, gap[3] or block)

    def put_unseen(self, start, end):
        if self.ends and self.ends[-1] == start:  # it goes with the character before
            self.ends[-1] = end

    def put_text(self, at, end):
        if at < end and not self.source[at:end].isspace():
            self.end_head()
        while at < end and not self.hidden:
            match = PIECE.match(self.source, at, end)
            text, start = match[0], at
            at = match.end()
            if text[0] == "&":
                size, text = entity(text)
                at = start + size
                if text.isspace():
                    self.put_space(start, at)
                elif text.translate(DROPPED):
                    self.put(text.translate(DROPPED), start, at)
                else:
                    self.put_unseen(start, at)
            elif text.isspace():
                self.put_space(start, at)
            elif text[0] in UNSEEN:
                self.put_unseen(start, at)
            else:
                self.put(text, start)

    def end_head(self):
        if self.hidden == "head" and not any(self.opened.values()):
            self.hidden = ""

    def put_tag(self, name, at):
        if self.hidden:
            return
        if name in BLOCKS:
            self.put_space(at, at, True, True)
        elif self.gap:
            self.gap = self.gap[:2] + (True, self.gap[3])
        else:
            self.seams.add(len(self.starts))

    def read_markup(self):
        source, at = self.source, 0
        while at < len(source):
            tag = source.find("<", at)
            if tag < 0:
                tag = len(source)
            self.put_text(at, tag)
            if tag == len(source):
                return
            if match := COMMENT.match(source, tag):
                at = match.end()
            elif match := END_TAG.match(source, tag):
                self.end_tag(match[1].lower(), tag)
                at = match.end()
            elif match := START_TAG.match(source, tag):
                at = self.start_tag(match[1].lower(), tag, match.end())
            else:
                at = tag + 1
                self.put_text(tag, at)

    def end_tag(self, name, at):
        if self.hidden:
            if self.opened[name] > 0:
                self.opened[name] -= 1
            elif name == self.hidden or self.hidden != "template" and name in BLOCKS and name not in ("p", "br"):
                self.hidden = ""  # the end of what encloses a hidden element ends it too
        self.put_tag(name, at)

    def start_tag(self, name, tag, at):
        concealed = False
        while match := ATTRIBUTE.match(self.source, at):
            attribute = match[1].lower()
            concealed |= attribute == "hidden" or attribute == "style" and bool(NO_DISPLAY.search(match[2] or ""))
            at = match.end()
        match = TAG_END.match(self.source, at)
        closed = self.source[match.end() - 2:match.end()] == "/>"
        at = match.end()
        if name not in IN_HEAD:
            self.end_head()
        if self.hidden in ENDED_BY:
            enders, containers = ENDED_BY[self.hidden]
            if name in enders and not any(self.opened[container] for container in containers):
                self.hidden = ""
        self.put_tag(name, tag)
        if name in RAW or name == "textarea":
            stop = self.raw_end(name, at)
            if closed and stop == len(self.source):  # <title/> in a picture
                return at
            if name == "textarea" and not concealed:
                self.put_text(at, stop)
            return stop
        if name in VOID or closed and name not in BLOCKS:
            return at
        if self.hidden:
            self.opened[name] += 1
        elif concealed or name in HIDDEN and (name != "head" or not self.parts):  # a late head is none
            self.hidden, self.opened = name, Counter()
        return at

    def raw_end(self, name, at):
        """Where the end tag is, or the end of the page. Searched for anew only behind the last one that was found."""
        if self.raw_ends.get(name, -1) < at:
            end = re.compile(r"</%s(?=[\s/>])" % name, re.I).search(self.source, at)
            self.raw_ends[name] = end.start() if end else len(self.source)
        return self.raw_ends[name]

    def find(self, selection):
        """The first place of the selection as a range of characters, or None. White space counts as one blank; where
        a tag lies between, the page's layout decides about blanks, and the selection may have one or none."""
        wanted = collapsed(selection)
        if not wanted or len(wanted) > 2 * len(self.text):
            return None
        at = self.text.find(wanted)
        if at >= 0:
            return range(at, at + len(wanted))
        places = array("Q", (at for at, character in enumerate(self.text) if character != " "))
        text, bare = self.text.replace(" ", ""), wanted.replace(" ", "")
        blanks, count = set(), 0
        for word in wanted.split(" "):
            count += len(word)
            blanks.add(count)
        at, looked_at = text.find(bare), 0
        while at >= 0 and looked_at < 4 * len(text) + 1000:  # on the oddest pages all is nearly right everywhere
            same = self.same_but_for_layout(places, at, len(bare), blanks)
            if same == len(bare):
                return range(places[at], places[at + same - 1] + 1)
            looked_at += same
            at = text.find(bare, at + 1)
        return None

    def same_but_for_layout(self, places, at, length, blanks):
        """How many characters from `at` on have blanks between them as the selection has, but where a tag is."""
        for count in range(1, length):
            place = places[at + count]
            gap = place - places[at + count - 1] > 1
            if gap != (count in blanks) and (place - 1 if gap else place) not in self.seams:
                return count
        return length

    def blocks(self, found):
        """The found range cut where a new block (a paragraph, a line of a list) begins."""
        ends = [at for at in found if at in self.breaks] + [found.stop]
        begins = [found.start] + [at + 1 for at in ends[:-1]]
        return [range(begin, end) for begin, end in zip(begins, ends) if end > begin]

    def replaced(self, found, texts):
        """The source with the found range replaced. `texts` is source: one for the whole, or one for each block. Tags
        and all else that is not visible text stay, but for pairs that are empty now."""
        inserted = {block.start: text for block, text in zip(self.blocks(found), texts)}
        out, kept, at = [self.source[:self.starts[found.start]]], [], self.starts[found.start]
        for place in found:
            kept.append(self.source[at:self.starts[place]])
            at = max(at, self.ends[place])
            if place in inserted:
                out += [self.tidied("".join(kept), len(texts) == 1), inserted[place]]
                kept = []
        while match := END_TAG.match(self.source, at):
            kept.append(match[0])
            at = match.end()
        return "".join(out + [self.tidied("".join(kept), len(texts) == 1), self.source[at:]])

    @staticmethod
    def tidied(markup, without_breaks):
        if len(markup) > 100_000 or NOT_TO_TIDY.search(markup):
            return markup
        if without_breaks:
            markup = BREAK.sub("", markup)
        for _ in range(20):
            markup, count = EMPTIED.subn("", markup)
            if not count:
                break
        return markup
