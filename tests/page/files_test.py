#!/usr/bin/python3
"""Event files that are dropped on the page: it shows what the program shows of them, and nothing of them runs."""
import os
import pathlib
import random
import tempfile
import time
import unittest

from page_tool import ROOT, PageTest, document, event
from show_test import FIELDS, GREEDY, HEAD, REPORT


def inside(markup):
    """A report with this in its first event."""
    return REPORT.replace("<Scan>", markup + "<Scan>", 1)


XHTML = 'xmlns="http://www.w3.org/1999/xhtml"'
# Files whose events the page has to show as the program does.
RIGHT = {
    "pieces of a text": inside("<T>a<!--x-->b<i/> <!--y--> <![CDATA[<&]]><![CDATA[]]> <i/> <![CDATA[]]>x<![CDATA[ ]]></T>"),
    "line ends": inside('<T a="x\ty\nz\r\nw&#10;&#13;">a\rb</T>').replace("\n", "\r\n"),
    "references": inside("<T>&#x41;&#65;&#13;&#x10FFFF;&lt;&apos;\x85\u2028\x7f</T>"),
    "namespaces inside": inside('<T xmlns="urn:b"><EventID>5</EventID></T><p:T xmlns:p="urn:p" p:a="1" a="2"><EventID xmlns="">8</EventID></p:T>'),
    "a form": inside(f'<form {XHTML} id="x">' + "".join(f'<input name="{name}"/>' for name in ("childNodes", "firstChild", "attributes", "nodeName", "nodeType")) + "</form>"),
    "a template": inside(f'<template {XHTML} shadowrootmode="open"><b>in</b>t</template>'),
    "names of JavaScript": inside('<__proto__ __proto__="1">x</__proto__><constructor>y</constructor><toString/>'),
    "instructions": inside('<?XSL x?><T><?xml-stylesheet href="x"?>a<?p q?></T>').replace("<Root>", '<?xml-stylesheet href="file:///etc/passwd"?><Root>'),
    "declaration": REPORT.replace('<?xml version="1.0" encoding="UTF-8"?>', "<?xml version = '1.1'\n encoding='utf-8' standalone='no' ?>"),
    "byte-order mark": "\ufeff" + REPORT,
    "a comment": REPORT.replace("<Root>", "<!-- <!DOCTYPE a> --><Root>"),
    "what cannot be seen": inside("<T>\u200b\u202e\u0301\u0301\u0301a\u0301\u0301\u0301\U000e0041</T>"),
    "other scripts": inside("<\U00010400x a='é'>\U0001f600</\U00010400x>") .replace("PC1", "Ünï"),
    "a long text": inside("<T>" + "é\U0001f600" * 9_000 + "</T>"),
    "quotes": inside('<T a=\'"\\>\'>"\\ \x7f\t&lt;</T>'),
    "names of labels": inside("<a.b.c>1</a.b.c><a_b_c>2</a_b_c><left_out>x</left_out><EventID>5</EventID>"),
    "many labels": HEAD + ">" + "".join(f"<E><EventID>{i}</EventID>" + "".join(f"<x{j}>v</x{j}>" for j in range(950)) + "</E>" for i in range(30)) + "</S></R>",
    "two machines": REPORT.replace("<Product ", "<MachineInfo><MachineName>PC2</MachineName></MachineInfo><Product ", 1),
    "depth": inside("<a>" * 253 + "</a>" * 253),
    "agent": REPORT.replace("{A}", "{6F1C0A52-3B7E-4D0A-9C44-2B7D5E1F8a90}"),
    "agent without braces": REPORT.replace("{A}", "6F1C0A52-3B7E-4D0A-9C44-2B7D5E1F8A90"),
    "agent with one brace": REPORT.replace("{A}", "{6F1C0A52-3B7E-4D0A-9C44-2B7D5E1F8A90"),
    "blanks": inside('<T xml:space="preserve"> </T>'),
} | {f"address {address}": REPORT.replace("192.0.2.7", address) for address in (
    "::ffff:1.2.3.4", "1:2:3:4:5:6:7::", "1::2::3", "192.0.2.07", "fe80::1%eth0", "::1.2.3", "12345::", "::1.2.3.04", "1:2:3:4:5:6:7::8", ":1", "::0001", "256.1.1.1")}
# Files that neither shows.
WRONG = {
    "document type": '<!DOCTYPE Root [<!ENTITY a "b">]>' + REPORT.split("?>", 1)[1],
    "document type behind others": '<?xml version="1.0"?><!--x--><?y z?>\n<!DOCTYPE Root SYSTEM "http://192.0.2.1/">' + REPORT.split("?>", 1)[1],
    "entities": "<!DOCTYPE a [" + "".join(f'<!ENTITY e{i} "{f"&e{i - 1};" * 10 if i else "x" * 100}">' for i in range(20)) + "]><a>&e19;</a>",
    "entity": inside("<T>&nbsp;</T>"), "version": REPORT.replace('"1.0"', '"2.0"'), "encoding": REPORT.replace("UTF-8", "ISO-8859-1"), "UTF-16": REPORT.encode("utf-16"),
    "two marks": "\ufeff\ufeff" + REPORT, "zero": REPORT.replace("First", "Fi\0rst"), "control": inside("<T>\x01</T>"), "control reference": inside("<T>&#1;</T>"),
    "no character": inside("<T>\ufffe</T>"), "surrogate": inside("<T>&#xD800;</T>"), "no UTF-8": REPORT.encode()[:400] + b"\xff" + REPORT.encode()[400:],
    "end of CDATA": inside("<T>]]></T>"), "comment": inside("<!-- a -- b -->"), "attribute twice": inside('<T a="1" a="2"/>'), "prefix": inside("<p:T/>"),
    "depth": inside("<a>" * 254 + "</a>" * 254), "much depth": "<a>" * 100_000, "empty": "", "text": "hello", "web page": "<html><script>document.title='owned'</script></html>",
    "picture": b"\x89PNG\r\n", "cut": REPORT[:600], "two roots": REPORT + "<a/>", "settings": "<Settings/>",
}
# What would run, load or change the page if any of it became part of it.
LIVE = ("<script>document.title='owned'</script>", f"<script {XHTML}>document.title='owned'</script>", f"<img {XHTML} src='http://192.0.2.1/x' onerror=\"document.title='owned'\"/>",
        f"<iframe {XHTML} srcdoc=\"&lt;script>parent.document.title='owned'&lt;/script>\"/>", f"<object {XHTML} data='http://192.0.2.1/x'/>", f"<meta {XHTML} http-equiv='refresh' content='0;url=http://192.0.2.1/'/>",
        "<svg xmlns='http://www.w3.org/2000/svg' onload=\"document.title='owned'\"><script>document.title='owned'</script></svg>", f"<link {XHTML} rel='stylesheet' href='http://192.0.2.1/x'/>",
        f"<base {XHTML} href='http://192.0.2.1/'/>", f"<form {XHTML} id='x' action='javascript:document.title=1'><input name='firstChild'/></form>", "&lt;img src=x onerror=document.title='owned'>")


def hostile(rng, number):
    """A file that is not to be shown, or an event document with a fault in it."""
    text = inside("".join(rng.choices(LIVE, k=3)))
    if number % 4 == 0:
        return random.Random(number).choice(list(WRONG.values()))
    if number % 4 == 1:
        return "<!DOCTYPE Root SYSTEM 'http://192.0.2.1/x.dtd'>" + text.split("?>", 1)[1]
    at = rng.randrange(100, len(text) - 100)
    return text[:at] if number % 4 == 2 else text[:at] + rng.choice(("<", "&", "\x01", "]]><", "</x>")) + text[at:]


class Files(PageTest):
    PREFIX = "page_files"

    def make(self, files):
        """A folder with these files, the oldest first, and its paths."""
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        for number, (name, content) in enumerate(files.items()):
            (folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())
            os.utime(folder / name, (1000 + number, 1000 + number))
        return folder, [folder / name for name in files]

    def passed_over(self):
        return dict(self.run_script("return reading.passedOver.map(file => [file.path, file.why])"))

    def test_the_same_as_the_program(self):
        files = {f"{name}.xml": content for name, content in RIGHT.items()} | {f"wrong {name}.xml": content for name, content in WRONG.items()}
        files |= {f"greedy {name}.xml": text for name, (text, _) in GREEDY.items()}
        files |= {f"field {number}.xml": REPORT.replace(old, new, 1) if old else REPORT for number, (old, new, _) in enumerate(FIELDS)}
        files |= {f"corpus {path.name}.xml": path.read_bytes() for path in (ROOT / "fuzz/corpus/event_file").iterdir()}
        folder, paths = self.make(files)
        output = str(folder.with_suffix(".html"))
        self.addCleanup(os.unlink, output)
        self.varnel("show", "--html", output, str(folder), status=1)
        self.browser.get(pathlib.Path(output).as_uri())
        expected = {}
        for event_ in self.events():
            expected.setdefault(self.file_of(event_), []).append(event_)
        self.page("empty")
        # Paths decide about lengths, so the page gets those of the program.
        self.run_script("const folder = arguments[0]; at('files').onchange = () => take([...at('files').files].map(file => ({file, path: folder + '/' + file.name})))", str(folder))
        self.choose(paths)
        found = {}
        for event_ in self.events():
            found.setdefault(self.file_of(event_), []).append(event_)
        self.assertEqual(set(), {f"{name}.xml" for name in RIGHT} - set(expected))
        for name in files:
            with self.subTest(name):
                self.assertEqual(expected.get(name), found.get(name))
                self.assertNotEqual(name in found, str(folder / name) in self.passed_over())

    def file_of(self, event_):
        return event_["event"]["id"].split("#")[0].split("/")[-1]

    def test_thousand_hostile_files(self):
        rng = random.Random(1000)
        files = {f"{number:04} <b>&.xml": hostile(rng, number) for number in range(1000)}
        _, paths = self.make(files)
        self.page("empty")
        began = time.monotonic()
        self.choose(paths)
        print(f"figures: page: 1,000 hostile files in {time.monotonic() - began:.1f} s")
        passed = self.passed_over()
        self.assertLess(950, len(passed))  # a fault in a comment or a text is none
        self.assertEqual(set(files), set(passed) | {self.file_of(event_) for event_ in self.events()})
        self.run_script("at('passed-over').open = true")
        self.assertIn("0001 <b>&.xml: a document type; event documents have none", self.one("#passed-over").text)
        for row in self.run_script("return shown.map((event, place) => place)"):
            self.run_script("details.show(shown, arguments[0])", row)
        time.sleep(0.5)
        self.assertEqual(["Events", [], 0], [self.browser.title, *self.run_script(
            "return [performance.getEntriesByType('resource'), document.querySelectorAll('img, iframe, object, base, dialog script').length]")])

    def drop(self, paths):
        for kind in ("dragEnter", "dragOver", "drop"):
            self.browser.execute_cdp_cmd("Input.dispatchDragEvent", {"type": kind, "x": 300, "y": 300, "data": {
                "items": [], "files": [str(path) for path in paths], "dragOperationsMask": 1}})

    def test_files_and_folders_are_dropped(self):
        folder, _ = self.make({"a.xml": document(event("A", 1, 1, 0)), "b.xml": "x"})
        (folder / "inner").mkdir()
        (folder / "inner" / "c.xml").write_text(document(event("C", 2, 1, 60)))
        self.page("empty")
        self.assertTrue(self.one("#welcome").is_displayed())
        self.picture("page_empty")
        for _ in range(2):  # the second time, the files are known
            self.reading(lambda: self.drop([folder, folder / "a.xml"]))
            paths = [event_["log"]["file"]["path"] for event_ in self.events()]
            self.assertEqual(sorted(["a.xml", f"{folder.name}/a.xml", f"{folder.name}/inner/c.xml"]), sorted(paths))
        self.assertEqual([f"{folder.name}/b.xml"], list(self.passed_over()))
        self.page("empty")
        self.choose([folder], "folder")
        self.assertEqual([f"{folder.name}/a.xml", f"{folder.name}/inner/c.xml"], [event_["log"]["file"]["path"] for event_ in self.events("shown")])
        self.assertIn("None of 2 events", self.filter("event:B")[1])


if __name__ == "__main__":
    unittest.main()
