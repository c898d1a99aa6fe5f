"""pages.py SECONDS FOLDER: pages made by chance, read and edited by ovalin_html; a page that breaks it goes into FOLDER."""
import os
import random
import sys
import time
import traceback

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../resources/bin"))
sys.dont_write_bytecode = True
from ovalin_html import VisibleText, collapsed

PIECES = """<p> </p> <b> </b> <i class="x"> </i> <br> <br/> <!-- --> <!-- > --!> <script> </script> <style> </style>
    <textarea> </textarea> <title> </title> <table> <tr> <td> </td> </table> <ul> <li> </ul> <pre> </pre> <select> <svg>
    </svg> <template> </template> <?php ?> <! <!DOCTYPE html> </ < > & &amp; &lt &copy2024; &#65; &#x1f600; &#99999999999;
    &nbsp; " ' = <a href="x>y"> </a> <div hidden> <div style="display:none"> </div> one two three ä \u00ad \u200b \ufffc
    \0 \r\n \t \u2028 \ufeff <p <plaintext> <xmp> </xmp> <body> <head> </head> </html>""".split(" ") + [" ", "\n"]
SLOWEST = 2.0  # seconds a page; those of a few hundred kilobytes are common


def page(chance):
    pieces = [chance.choice(PIECES) for _ in range(chance.randrange(60))]
    if chance.random() < 0.05:
        pieces *= 500
    text = "".join(pieces)
    for _ in range(chance.randrange(3)):
        at = chance.randrange(len(text) + 1)
        text = text[:at] + chr(chance.randrange(0x20, 0x250)) + text[at + chance.randrange(3):]
    return text


def look(source, chance):
    page = VisibleText(source)
    assert len(page.text) == len(page.starts) == len(page.ends)
    at = 0
    for start, end in zip(page.starts, page.ends):
        assert at <= start <= end <= len(source), (at, start, end)
        at = start
    begin = chance.randrange(len(page.text) + 1)
    wanted = page.text[begin:begin + chance.randrange(1, 40)]
    found = page.find(wanted)
    assert (found is None) == (collapsed(wanted) == ""), wanted
    if found:
        edited = page.replaced(found, ["new words"])
        assert "new words" in edited and source[:page.starts[found.start]] == edited[:page.starts[found.start]]


def main():
    seconds, folder = float(sys.argv[1]), sys.argv[2]
    seed, end, count = random.randrange(1 << 60), time.monotonic() + seconds, 0
    while time.monotonic() < end:
        chance = random.Random(seed + count)
        source = page(chance)
        count += 1
        start = time.process_time()
        try:
            look(source, chance)
            assert time.process_time() - start < SLOWEST + len(source) / 100_000, "slow"
        except Exception:
            traceback.print_exc()
            with open(os.path.join(folder, "pages-%d" % seed), "w", encoding="utf-8", newline="") as file:
                file.write(source)
            sys.exit(1)
    print("number_of_executed_units: %d" % count)


main()
