"""The web search, against results pages of our own making."""

import json
import time
import unittest

from support import ScriptTest, serve

# Two shapes of the engine's page, and those of others whose results are in plain HTML.
WRAPPED = """<html><head><title>q</title><script>"<a href='https://bad.example'><h3>no</h3></a>";</script></head>
<body><form><a href="/login"><h3>Sign in</h3></a></form>
<div><a href="/url?q=https://one.example/a%3Fb%3D1%26c%3D2&amp;sa=U&amp;ved=2ah">
<h3 class="zB"><div>First &amp; <b>best</b></div></h3>
<div>one.example &rsaquo; a</div></a></div><div><div class="x s3v9rd">A snippet
 about <b>one</b>.</div></div>
<div><a href="/search?q=images"><h3>Images</h3></a></div>
<div><a href="/url?q=https://one.example/a%3Fb%3D1%26c%3D2"><h3>First again</h3></a></div>
<div><a href="javascript:alert(1)"><h3>Bad</h3></a></div><div><a><h3>No address</h3></a></div>
<div class="g"><a href="https://two.example/s p\u00e4ce?u=https://three.example/"><br><h3>Second</h3></a>
<span>short</span>
<div>This text has no name that tells, but it is long enough to be the snippet.</div></div></body></html>"""
HEADED = """<article class="result"><h3><a href="https://one.example/">First</a></h3>
<p class="content">Says one.</p></article>
<h2 class="result__title"><a href="//wrap.example/l/?uddg=https%3A%2F%2Ftwo.example%2F&rut=1">Second</a></h2>
<div><a class="result__snippet" href="x">Says two.</a></div>"""
JSON = json.dumps({"query": "q", "results": [
    {"url": "https://one.example/", "title": "First\n\x1b[1m", "content": "Says \ud800 one."}, 5,
    {"url": None, "title": "no"}, {"url": "ftp://x.example/", "title": "no"},
    {"url": "http://two.example", "title": None, "content": None}]})


class WebSearchTest(ScriptTest):
    def search(self, address, *arguments):
        status, output = self.run_script("websearch-google", *arguments, OVALIN_SEARCH_URL=address)
        self.assertEqual((status, output.count("\n")), (0, 1))
        return json.loads(output)

    def answering(self, content, kind="text/html; charset=utf-8"):
        self.asked = []
        return serve(self, lambda path, _: (self.asked.append(path), (kind, content))[1])

    def test_results_of_every_kind_of_page(self):
        for content, expected in [
            (WRAPPED, [("First & best", "https://one.example/a?b=1&c=2", "A snippet about one."),
                       ("Second", "https://two.example/s%20p%C3%A4ce?u=https://three.example/",
                        "This text has no name that tells, but it is long enough to be the snippet.")]),
            (HEADED, [("First", "https://one.example/", "Says one."), ("Second", "https://two.example/", "Says two.")]),
            (JSON, [("First [1m", "https://one.example/", "Says one."),
                    ("http://two.example", "http://two.example", "")]),
        ]:
            found = self.search(self.answering(content) + "/search", "q", "5")
            self.assertEqual([(item["title"], item["url"], item["snippet"]) for item in found], expected)

    def test_the_question_goes_out_as_it_is(self):
        address = self.answering(HEADED)
        for question in ["--help", "a b&c=d #e", "it's \"$(touch pwned)\" `x`\n", "ü世", b"\xff"]:
            self.assertEqual(len(self.search(address + "/search?format=json", question, "1")), 1)
        self.assertEqual([path.removeprefix("/search?format=json&q=") for path in self.asked], [
            "--help", "a%20b%26c%3Dd%20%23e", "it%27s%20%22%24%28touch%20pwned%29%22%20%60x%60%0A",
            "%C3%BC%E4%B8%96", "%EF%BF%BD"])

    def test_any_failure_is_no_results(self):
        refused = serve(self, lambda _, handler: handler.send_error(429))
        pages = ["", "<h3><a href=", '{"results": 5}', "[1, [" * 9999, "<p>Enable JavaScript"]
        for address in [refused, "http://127.0.0.1:1/", "file:///etc/passwd", "nonsense",
                        self.answering("x", "text/html; charset=nonsense")] + list(map(self.answering, pages)):
            self.assertEqual(self.search(address, "q", "5"), [], address)
        self.assertEqual(self.search(refused), [])
        self.assertEqual(self.search(self.answering(HEADED), " ", "5"), [])
        self.assertEqual(len(self.search(self.answering(HEADED), "q", "many")), 2)

    def test_a_dripping_answer_does_not_hold_it(self):
        def drip(_, handler):
            try:
                while True:
                    handler.wfile.write(b"x" * 10)
                    time.sleep(0.2)
            except OSError:
                return None

        self.assertEqual(self.search(serve(self, drip), "q", "5"), [])


if __name__ == "__main__":
    unittest.main()
