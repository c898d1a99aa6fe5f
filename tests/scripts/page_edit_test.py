"""Replace on local pages, own sites and the applications that render files."""

import html
import json
import os
import resource
import sys
import unittest

from support import ScriptTest

NASTY = "a 'b' \"c\" $(touch pwned) `touch pwned` <i>&amp;\\n"


class VisibleTextTest(ScriptTest):
    def edited(self, source, selection, *texts):
        sys.path.insert(0, self.path(".claude/bin"))
        from ovalin_html import VisibleText
        page = VisibleText(source)
        found = page.find(selection)
        return found and page.replaced(found, texts)

    def test_the_first_visible_occurrence_is_replaced(self):
        for source, selection, expected in [
            ("<p>Hi you, Hi you", "Hi you", "<p>N, Hi you"),
            ("<p>Hi\n\t you", "Hi you", "<p>N"),
            ("<p>Hi <b>you</b> too", "Hi you", "<p>N too"),
            ("<p>say <b>Hi</b> you", "Hi you", "<p>say <b>N</b>"),
            ("<p>Hi<!-- Hi you --> you", "Hi you", "<p>N<!-- Hi you -->"),
            ("<p>Hi <b id=x>you</b>", "Hi you", "<p>N<b id=x></b>"),
            ("<p>Hi<br/>you", "Hi\nyou", "<p>N"),
            ("<ul><li>Hi</li>\n<li>you</li></ul>", "Hi\nyou", "<ul><li>N</li>\n</ul>"),
            ("<a>Hi</a><a>you</a>", "Hi\nyou", "<a>N</a>"),
            ("<p>Hiyou <p>Hi you", "Hi you", "<p>Hiyou <p>N"),
            ("<p>caf&eacute; &amp &#66;&nbsp;C", "café & B C", "<p>N"),
            ("<p>soft&shy;hy\u00adphen", "softhyphen", "<p>N"),
            ("<title>Hi</title><head><meta><body>Hi", "Hi", "<title>Hi</title><head><meta><body>N"),
            ("<head><title>Hi</title><p>Hi", "Hi", "<head><title>Hi</title><p>N"),
            ("<script>if (a<b) 'Hi'</script>Hi", "Hi", "<script>if (a<b) 'Hi'</script>N"),
            ("<style>Hi</STYLE ><noscript>Hi</noscript>Hi", "Hi", "<style>Hi</STYLE ><noscript>Hi</noscript>N"),
            ("<template><b>Hi</b></template>Hi", "Hi", "<template><b>Hi</b></template>N"),
            ("<p title='Hi>Hi' alt=\"Hi\">Hi", "Hi", "<p title='Hi>Hi' alt=\"Hi\">N"),
            ("<div hidden><div>Hi</div>Hi</div>Hi", "Hi", "<div hidden><div>Hi</div>Hi</div>N"),
            ("<p hidden>Hi<p>Hi", "Hi", "<p hidden>Hi<p>N"),
            ("<ul><li hidden>Hi<ul><li>Hi</ul>Hi<li>Hi", "Hi", "<ul><li hidden>Hi<ul><li>Hi</ul>Hi<li>N"),
            ("<p style='color:red; display:none'>Hi</p>Hi", "Hi", "<p style='color:red; display:none'>Hi</p>N"),
            ("<?php $a->b('Hi'); ?>Hi", "Hi", "<?php $a->b('Hi'); ?>N"),
            ("<textarea>a &lt; <b></textarea>", "a < <b>", "<textarea>N</textarea>"),
            ("1 < 2 && Hi", "2 && Hi", "1 < N"),
            ("<br / / >Hi</ p></>Hi<p", "Hi", "<br / / >N</ p></>Hi<p"),
        ]:
            with self.subTest(source):
                self.assertEqual(self.edited(source, selection, "N"), expected)

    def test_what_nobody_sees_is_not_found(self):
        for source in ["<script>Hi you", "<!-- Hi you", "<p title='Hi you", "<head><title>Hi you", "",
                       "<body hidden>Hi you", "<p>Hi <script>x</script>", "<select hidden><option>Hi you</select>"]:
            with self.subTest(source):
                self.assertIsNone(self.edited(source, "Hi you", "N"))
        self.assertIsNone(self.edited("<p>notable", "no table", "N"))

    def test_lines_go_into_their_blocks(self):
        self.assertEqual(self.edited("<p>a <b>b</b></p>\n<p>c<br>d</p>", "a b\nc\nd", "1", "2", "3"),
                         "<p>1</p>\n<p>2<br>3</p>")


class PageEditTest(ScriptTest):
    def edit(self, instruction, selection, page="site/index.html", **variables):
        return self.run_script("ovalin-replace-file.sh", stdin=selection, OVALIN_INSTRUCTION=instruction,
                               OVALIN_FILE="file://" + self.path(page), **variables)

    def test_bare_words_need_no_agent_and_are_escaped(self):
        for instruction, expected in [("Acme & <Sons>", "Acme &amp; &lt;Sons&gt;"), ("replace with 'Acme'", "Acme"),
                                      ("Change IT to 42", "42"), ("-p --help", "-p --help"), ("“Acme”", "Acme"),
                                      (NASTY, html.escape(NASTY, quote=False))]:
            with self.subTest(instruction):
                self.write("site/index.html", "<p>Old Name</p>")
                self.assertEqual(self.edit(instruction, "Old Name"),
                                 (0, "edited index.html — reload the page\n"))
                self.assertEqual(self.read("site/index.html").decode(), "<p>%s</p>" % expected)
        self.assertFalse(os.path.exists(self.path("pwned")))

    def test_all_else_is_for_the_agent(self):
        self.install_agent(transform=[{"text": "Neu <b>\nzwei"}])
        for instruction in ["make it 'formal'; $(touch pwned)", "one two three four five six seven eight nine"]:
            self.write("site/index.html", "<p>Old</p><p>two</p>")
            self.assertEqual(self.edit(instruction, "Old\n\ntwo")[0], 0)
            self.assertEqual(self.read("site/index.html"), b"<p>Neu &lt;b&gt;</p><p>zwei</p>")
            self.assertIn(instruction, self.agent_log("start")[-1]["argv"][-1])
            self.assertEqual(self.agent_log("stdin")[-1]["text"], "\nOld\n\ntwo")
        self.assertFalse(os.path.exists(self.path("pwned")))

    def test_failures_leave_the_page_and_say_why(self):
        page = self.write("site/index.html", "<p>Old</p>")
        hang = "#!/bin/sh\nexec sleep 60\n"
        for agent, instruction, selection, line in [
            (None, "new", "Older", "the text was not found in index.html"),
            (None, "new", "x" * 10_000_000, "the text was not found in index.html"),
            (None, "new", b"\xff\xfe\0", "the text was not found in index.html"),
            (None, "new", " \0\n", "select the text to replace first"),
            (None, " ", "Old", "type how to transform it first"),
            (None, "make it new", "Old", "Claude Code not found — install it from https://claude.ai/code"),
            ("#!/bin/sh\necho API Error; exit 1", "make it new", "Old", "API Error"),
            ("#!/bin/sh\nkill -9 $$", "make it new", "Old", "the agent was ended by signal 9"),
            ("#!/bin/sh\nprintf ' \\n\\0'", "make it new", "Old", "the agent gave no text"),
            (hang, "make it new", "Old", "the agent did not finish within 0.3 s"),
        ]:
            with self.subTest(line):
                if agent:
                    self.install_agent(agent)
                self.assertEqual(self.edit(instruction, selection, OVALIN_AGENT_LIMIT="0.3"), (1, line + "\n"))
                self.assertEqual(self.read("site/index.html"), b"<p>Old</p>")
        os.chmod(page, 0o444)
        self.assertEqual(self.edit("new", "Old"), (1, "index.html is read-only\n"))
        self.assertEqual(self.edit("new", "Old", "gone.html")[1], "there is no file gone.html\n")
        self.assertEqual(sorted(os.listdir(self.path("site"))), ["index.html"])

    def test_what_is_no_page_is_refused(self):
        pdf = b"%PDF-1.4\n1 0 obj (Old) Tj endobj\nstartxref\n9\n%%EOF\n"
        for name, content, kind in [("a.pdf", pdf, "a PDF document"), ("b.html", pdf, "a PDF document"),
                                    ("c", b"junk " + pdf, "a PDF document"), ("d.pdf", b"<p>Old", "a PDF document"),
                                    ("e.png", b"Old", "a picture"), ("f.html", b"\x89PNG Old", "a picture"),
                                    ("g.txt", b"GIF89a Old", "a picture"), ("h", b"\xff\xd8\xff Old", "a picture")]:
            self.write("site/" + name, content)
            self.assertEqual(self.edit("New", "Old", "site/" + name),
                             (1, "%s is %s, which cannot be edited\n" % (name, kind)))
            self.assertEqual(self.read("site/" + name), content)
        self.write("site/i", b"Old \x01")
        self.assertEqual(self.edit("New", "Old", "site/i")[1], "i is not a text file\n")
        for name, content in [("j.svg", b"<svg>Old"), ("k.html", b"<p>%PDF- Old"), ("l.txt", b"Old\x1b[0m\f")]:
            self.write("site/" + name, content)
            self.assertEqual(self.edit("New", "Old", "site/" + name)[0], 0, name)

    def test_odd_pages_cost_time_in_line_with_their_size(self):
        """Minutes otherwise, which run_script() does not wait."""
        for odd in ("<title/>" * 250_000, "&" + "a" * 2_000_000, "&#" + "9" * 2_000_000 + ";"):
            self.write("site/index.html", "<p>Old</p>" + odd)
            self.assertEqual(self.edit("New", "Old")[0], 0, odd[:9])

    def test_a_full_disk_leaves_page_and_backups(self):
        self.write("site/index.html", "<p>Old")
        self.assertEqual(self.edit("New", "Old")[0], 0)
        backups = self.path("CLAUDE/system/ovalin-backups") + self.path("site/index.html")
        self.write(backups + "/2000", "")
        self.write("site/index.html", "<p>Old" + "x" * 100_000)
        fsize = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (50_000, 50_000))
        self.assertEqual(self.edit("New", "Old", preexec_fn=fsize)[1], "cannot write index.html: file too large\n")
        self.assertEqual(self.read("site/index.html"), b"<p>Old" + b"x" * 100_000)
        self.assertEqual(self.edit("New", "Old")[0], 0)
        self.assertEqual(sorted(os.path.getsize(os.path.join(backups, name)) for name in os.listdir(backups)), [6, 100_006])
        self.assertEqual(self.mode("CLAUDE/system/ovalin-backups"), 0o700)

    def test_the_file_keeps_its_encoding(self):
        meta = b"<meta charset=%s><p>"
        for content, expected in [
            ("<p>Old é</p>\xff".encode(), "<p>Néw → é</p>\xff".encode()),
            (b"\xef\xbb\xbf<p>Old", "\ufeff<p>Néw →".encode()),
            (b"<p>Old \xc3", b"<p>N\xe9w &#8594; \xc3"),
            (meta % b"'latin1'" + b"\x93Old\x81", meta % b"'latin1'" + b"\x93N\xe9w &#8594;\x81"),
            (meta % b"utf-8" + b"Old\xe9", meta % b"utf-8" + "Néw →".encode() + b"\xe9"),
            ("\ufeff<p>Old".encode("utf-16-le"), "\ufeff<p>Néw →".encode("utf-16-le")),
            (b"<p>\r\nOld\r\n", "<p>\r\nNéw →\r\n".encode()),
        ]:
            with self.subTest(content):
                self.write("site/index.html", content)
                self.assertEqual(self.edit("Néw →", "Old")[0], 0)
                self.assertEqual(self.read("site/index.html"), expected)

    def test_mode_and_links_stay_and_a_backup_is_kept(self):
        self.write("real/page.html", "<p>Old", 0o664)
        os.makedirs(self.path("site"))
        os.symlink("../real/page.html", self.path("site/index.html"))
        if os.geteuid() == 0:
            os.chown(self.path("real/page.html"), 12345, 54321)
        owner = os.stat(self.path("real/page.html"))[4:6]
        for _ in range(11):
            self.assertEqual(self.edit("New", "Old")[0], 0)
            self.assertEqual(self.edit("Old", "New")[0], 0)
        self.assertTrue(os.path.islink(self.path("site/index.html")))
        self.assertEqual((self.mode("real/page.html"), os.stat(self.path("real/page.html"))[4:6]), (0o664, owner))
        self.assertEqual(os.listdir(self.path("real")), ["page.html"])
        backups = self.path("CLAUDE/system/ovalin-backups") + self.path("real/page.html")
        kept = sorted(os.listdir(backups))
        self.assertEqual(len(kept), 20)
        self.assertEqual(self.read(os.path.join(backups, kept[-1])), b"<p>New")

    def test_an_edit_by_somebody_else_meanwhile_is_not_lost(self):
        self.install_agent("#!/bin/sh\necho '<p>Title</p><p>Old</p>' > ~/site/index.html\necho New text\n")
        self.write("site/index.html", "<p>Old</p>")
        self.assertEqual(self.edit("make it new", "Old")[0], 0)
        self.assertEqual(self.read("site/index.html"), b"<p>Title</p><p>New text</p>\n")

    def test_plain_text_files_are_edited_as_they_are(self):
        self.write("site/notes.txt", "a <b>\nOld  line\n")
        self.assertEqual(self.edit("x < y", "<b> Old line", "site/notes.txt")[0], 0)
        self.assertEqual(self.read("site/notes.txt"), b"a x < y\n")

    def test_addresses_of_files(self):
        self.write("site/a b%20'c.html", "<p>Old")
        page = self.home + "/site/a%20b%2520'c.html"
        for address, status in [("file://" + page + "#part", 0), ("file://localhost" + page + "?q", 0),
                                ("file://elsewhere" + page, 1), ("file://[x" + page, 1), ("http://" + page, 1), (page, 1), ("", 1)]:
            run = self.run_script("ovalin-replace-file.sh", stdin="Old", OVALIN_INSTRUCTION="Old", OVALIN_FILE=address)
            self.assertEqual(run[0], status, address)

    def test_applications_that_render_files(self):
        for script, folder in [("quarn", "Quarn"), ("torvi", "Torvi")]:
            self.write(folder + "/public/a.html", "<script>Old</script>")
            self.write(folder + "/public/b/c.html", "<p>Old <i>Name</i>")
            os.symlink("/etc", self.path(folder + "/public/0"))
            outside = self.write("elsewhere/page.html", "<p>Old <i>Name</i>")
            os.symlink(outside, self.path(folder + "/public/1.html"))
            os.symlink("b/c.html", self.path(folder + "/public/2.html"))
            run = self.run_script("ovalin-replace-%s.sh" % script, stdin="Old Name", OVALIN_INSTRUCTION="New")
            self.assertEqual(run, (0, "edited c.html — press Ctrl+R in %s\n" % folder))
            self.assertEqual(self.read(folder + "/public/b/c.html"), b"<p>New")
            self.assertTrue(os.path.islink(self.path(folder + "/public/2.html")))
            self.assertEqual(self.read(outside), b"<p>Old <i>Name</i>")
            run = self.run_script("ovalin-replace-%s.sh" % script, stdin="Other", OVALIN_INSTRUCTION="New")
            self.assertEqual(run, (1, "the text was not found under ~/%s/public\n" % folder))


class OwnSitesTest(ScriptTest):
    def setUp(self):
        super().setUp()
        for page in ("index.html", "about.html", "x/index.html", "x/a b.html", "x/deep/page.htm", "x/notes.txt"):
            self.write("sites/a/" + page, "<p>Old</p>")
        self.write("outside/secret.html", "<p>Old</p>")
        os.symlink(self.path("outside/secret.html"), self.path("sites/a/leads-out.html"))
        os.symlink(self.path("outside"), self.path("sites/a/folder-out"))
        os.symlink("about.html", self.path("sites/a/inside.html"))
        self.write("sites/b/index.html", "<p>B")
        self.write("CLAUDE/system/ovalin-sites.json", json.dumps({
            "https://A.com": self.path("sites/a"), "https://a.com/x/b/": "~/sites/b", "https://d.com": "relative",
            "http://localhost:8080/": "~/sites/b", "c.com/blog": "~/sites/b", "https://e.com": 5,
            "https://f.com/..": "~/sites/b"}))

    def test_a_page_is_the_users_own_only_when_its_source_is_there(self):
        for address, owned in [
            ("https://a.com", True), ("https://a.com/", True), ("HTTPS://A.COM:443/index.html", True),
            ("https://a.com/?q=1#top", True), ("https://a.com/about", True), ("https://a.com/about.html#x", True),
            ("https://a.com/x", True), ("https://a.com/x/", True), ("https://a.com//x/./", True),
            ("https://a.com/x/a%20b", True), ("https://a.com/%78/a%20b.html", True), ("https://a.com/x/b/", True),
            ("https://a.com/x/deep/page", True), ("https://a.com/inside", True), ("https://a.com./", True),
            ("http://localhost:8080/", True), ("http://c.com/blog/", True), ("https://c.com/blog", True),
            ("http://a.com/", False), ("https://a.com:8443/", False), ("https://b.a.com/", False),
            ("https://a.com@evil.com/", False), ("https://a.com.evil.com/", False), ("https://a.com/about/", False),
            ("https://a.com/x/bb", False), ("https://a.com/xy", False), ("https://a.com/x/b/about", False),
            ("https://a.com/X/", False), ("https://a.com/x/notes.txt", False), ("https://a.com/missing", False),
            ("https://a.com/x/../index.html", False), ("https://a.com/x/%2e%2e/index.html", False),
            ("https://a.com/x%2Findex.html", False), ("https://a.com/index.html%00", False),
            ("https://a.com/leads-out", False), ("https://a.com/folder-out/secret", False),
            ("http://localhost/", False), ("https://c.com/blogs", False), ("https://d.com/", False),
            ("https://e.com/", False), ("https://f.com/", False), ("https://[bad/", False),
            ("https://a.com:x/", False), ("", False), ("file:///etc/passwd", False),
            ("$(touch pwned)", False), ("--check", False),
        ]:
            with self.subTest(address):
                self.assertEqual(self.run_script("ovalin-replace-web.sh", "--check", address), (0 if owned else 1, ""))
        self.assertFalse(os.path.exists(self.path("pwned")))

    def test_a_sites_file_that_is_none(self):
        for content in ["", "[]", "{", b"\xff", '{"https://a.com": null}', "[" * 100000]:
            self.write("CLAUDE/system/ovalin-sites.json", content)
            self.assertEqual(self.run_script("ovalin-replace-web.sh", "--check", "https://a.com/")[0], 1)
        os.unlink(self.path("CLAUDE/system/ovalin-sites.json"))
        self.assertEqual(self.run_script("ovalin-replace-web.sh", stdin="Old", OVALIN_INSTRUCTION="New",
                                         OVALIN_URL="https://a.com/"), (1, "this page is not on one of your sites\n"))

    def test_the_source_of_the_page_is_edited(self):
        run = self.run_script("ovalin-replace-web.sh", stdin="Old", OVALIN_INSTRUCTION="New",
                              OVALIN_URL="https://a.com/x/a%20b?q#f")
        self.assertEqual(run, (0, "edited a b.html — reload the page\n"))
        self.assertEqual(self.read("sites/a/x/a b.html"), b"<p>New</p>")


if __name__ == "__main__":
    unittest.main()
