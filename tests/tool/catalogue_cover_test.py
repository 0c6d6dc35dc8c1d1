#!/usr/bin/python3
"""varnel catalogue cover, and varnel check and show with a catalogue."""
import json
import re
import unittest

import check_test
import show_test
from catalogue_diff_test import CATALOGUE
from tool import ToolTest, natively

HEAD = '<AcmeEvents><MachineInfo/><AcmeSoftware ProductName="Acme Guard" ProductVersion="1" ProductFamily="Endpoint">'
TAIL = "</AcmeSoftware></AcmeEvents>"
FACTS = "<EventID>1024</EventID><Severity>3</Severity><GMTTime>2024-03-07T09:05:03</GMTTime>"
FOUND = f'<Found Engine="e" Score="7">{FACTS}<File Action="clean">C:\\a</File><File>C:\\b</File></Found>'
FINISHED = "<Finished>" + FACTS.replace("1024", "1025").replace(">3<", ">1<") + "</Finished>"
RIGHT = HEAD + FOUND + FINISHED + TAIL
OTHER = RIGHT.replace("Acme Guard", "Other")

# What stands in RIGHT, what takes its place, and the row of it.
DEVIATIONS = (
    ("<Finished>", "<Ended>", "undeclared", "Ended", "is not in the catalogue", ""),
    ('Engine="e"', 'Engine="e" Rule="r"', "undeclared", "Found/@Rule", "is not in the catalogue", "r"),
    ("<File>C:\\b</File>", "<Folder>x</Folder>", "undeclared", "Found/Folder", "is not in the catalogue", "x"),
    ('Action="clean"', 'action="clean"', "undeclared", "Found/File/@action", "is not in the catalogue", "clean"),
    ("<MachineInfo/>", '<MachineInfo Site="1"/>', "undeclared", "AcmeEvents/MachineInfo/@Site", "is not in the catalogue", "1"),
    (TAIL, "<More/>" + TAIL, "undeclared", "AcmeEvents/AcmeSoftware/More", "is not in the catalogue", ""),
    ("</AcmeEvents>", "<More/></AcmeEvents>", "undeclared", "AcmeEvents/More", "is not in the catalogue", ""),
    ("<File>C:\\b</File>", '<File xmlns="urn:u">C:\\b</File>', "undeclared", "Found/File", "is not in the catalogue", "C:\\b"),
    ('Engine="e" ', "", "missing", "Found/@Engine", "is required and missing", ""),
    ('"7"', '"high"', "wrong", "Found/@Score", "must be a whole number from -2^63 to 2^64-1 without leading zeros", "high"),
    ('"clean"', '"Clean"', "wrong", "Found/File/@Action", "must be one of: clean, deleted", "Clean"),
    ("<EventID>1024", "<EventID>1023", "wrong", "Found/EventID", "must be 1024", "1023"),
    ("<Severity>1", "<Severity>2", "wrong", "Finished/Severity", "must be 1", "2"),
    ('"Endpoint"', '"Server"', "wrong", "AcmeEvents/AcmeSoftware/@ProductFamily", "must be Endpoint", "Server"),
    ("AcmeEvents>", "OtherEvents>", "wrong", "AcmeEvents", "must be AcmeEvents", "OtherEvents"),
    ("<MachineInfo/>", "<MachineInfo><MachineName/></MachineInfo>", "wrong", "event file", "AgentGUID is missing at the end of MachineInfo", ""),
)


class Cover(ToolTest):
    PREFIX = "tool_catalogue_cover"

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        (cls.drive / "acme.toml").write_text(CATALOGUE, encoding="utf-8")

    def made(self, files):
        """Makes a folder with these files and returns its path."""
        name = f"files{len(list(self.drive.iterdir()))}"
        self.folder(name, files)
        return self.path(name)

    def cover(self, folder, *options, status=0):
        return self.varnel("catalogue", "cover", self.path("acme.toml"), folder, *options, status=status)

    def check(self, folder, status=0):
        return self.varnel("check", "--catalogue", self.path("acme.toml"), folder, status=status)[0]

    def test_each_deviation(self):
        for old, new, kind, path, text, value in DEVIATIONS:
            with self.subTest(new):
                self.assertIn(old, RIGHT)
                wrong = RIGHT.replace(old, new).replace("</Finished>", "</Ended>" if new == "<Ended>" else "</Finished>")
                folder = self.made({"right.xml": RIGHT, "wrong.xml": wrong, "again.xml": wrong})
                answer = json.loads(self.cover(folder, "--json", status=1)[0])
                self.assertEqual([{"kind": kind, "path": path, "text": text, "count": 2, "value": value, "file": "wrong.xml"}],
                                 answer["deviations"])
                self.assertEqual((3, 6, 0), (answer["files"], answer["events"], answer["otherProducts"]))
                said = self.check(folder, status=1)
                self.assertIn(f" {text}\n" if path == "event file" else f" {path} {text}\n", said)
                self.assertIn("\n1 of 3 files all right\n", said)

    def test_rows_and_status(self):
        output, _ = self.cover(self.made({"a.xml": HEAD + FOUND.replace(' Score="7"', "") + TAIL, "other.xml": OTHER}))
        self.assertEqual("never       Found/@Score\nnever       Finished\n1 event of Acme Guard in 1 file, 1 file of other products; "
                         "2 never seen, 0 deviations\n", output)
        self.cover(self.made({"a.xml": HEAD + FOUND + TAIL}), "--all", status=1)
        self.cover(self.made({"a.xml": RIGHT}), "--all")
        output, _ = self.cover(self.made({"a.xml": RIGHT.replace('"7"', '"\u202e7"'), "unfinished.xml": RIGHT[:-1]}), status=1)
        self.assertIn('wrong       Found/@Score: must be a whole number from -2^63 to 2^64-1 without leading zeros; '
                      '1 time, for example "\\u{202e}7" in a.xml\n', output)

    def test_nothing_seen_is_not_green(self):
        for files in ({}, {"other.xml": OTHER}, {"empty.xml": HEAD + TAIL}, {"cut.xml": RIGHT[:-1]}):
            with self.subTest(files):
                self.assertIn("no event of Acme Guard in", self.cover(self.made(files), status=2)[1])
        self.assertIn("other.xml:1:28: of another product than Acme Guard\n", self.check(self.made({"other.xml": OTHER}), status=1))
        self.cover(self.path("missing"), status=2)
        self.varnel("catalogue", "cover", self.path("missing.toml"), self.made({"a.xml": RIGHT}), status=2)

    @natively
    def test_hostile_files(self):
        hostile = {f"{i}.xml": content for i, (content, _) in enumerate([*check_test.FILES.values(), *show_test.GREEDY.values()])}
        for name, content in hostile.items():
            if isinstance(content, str):
                hostile[name] = content.replace('ProductName=""', 'ProductName="Acme Guard"').replace("<E>", "<Found>").replace("</E>", "</Found>")
        hostile["names.xml"] = HEAD + FOUND + "".join(f'<Found a{i}="">{FACTS}</Found>' for i in range(20_000)) + TAIL
        hostile["long.xml"] = HEAD + f"<{'n' * 1_000_000}>{FACTS}<x/></{'n' * 1_000_000}>" + TAIL
        hostile["deep.xml"] = HEAD + "<Found>" + FACTS + "<File>" * 200 + "</File>" * 200 + "</Found>" + TAIL
        folder = self.made(hostile)
        for options in ([], ["--json"]):
            output, errors = self.cover(folder, *options, status=1)
            self.assertNotRegex(output + errors, "[\x00-\x09\x0b-\x1f\u202e]")
            self.assertLess(len(output), 2_000_000)
        rows = self.cover(folder, status=1)[0].splitlines()
        self.assertLess(len(rows), 1100)
        self.assertTrue(any(re.fullmatch("\\.\\.\\. +[0-9]+ deviations at other places", row) for row in rows), rows[-3:])
        self.check(folder, status=1)
        self.varnel("show", "--tree", "--catalogue", self.path("acme.toml"), folder, status=1)

    def test_show_explains(self):
        folder = self.made({"a.xml": HEAD + FOUND + FOUND.replace("Found", "Lost") + TAIL})
        tree = self.varnel("show", "--tree", "--catalogue", self.path("acme.toml"), folder)[0]
        self.assertIn("""
      Found Engine="e" Score="7"
        # Found.
        # Engine: Engine.
        # Score: Score.
        EventID: 1024  # Found
        Severity: 3
        GMTTime: 2024-03-07T09:05:03
        File Action="clean": C:\\a
          # File.
          # Action: Action.
        File: C:\\b
      Lost Engine="e" Score="7"
        EventID: 1024  # Found
""", tree)
        self.assertIn("  Lost (Found)  ", self.varnel("show", "--catalogue", self.path("acme.toml"), folder)[0])
        plain, explained = (self.varnel("show", "--json", *options, folder)[0] for options in ([], ["--catalogue", self.path("acme.toml")]))
        self.assertEqual(plain, explained)
        self.varnel("show", "--html", self.path("page.html"), "--catalogue", self.path("acme.toml"), folder)
        page = (self.drive / "page.html").read_text(encoding="utf-8")
        notes, events = (json.loads(re.search(f'id="{name}">(.*?)</script>', page, re.DOTALL).group(1)) for name in ("notes", "data"))
        self.assertEqual(({"1024": "Found", "1025": "Finished"}, {"Engine": "Engine.", "Score": "Score.", "File": "File.", "File_Action": "Action."}),
                         (notes["names"], notes["events"]["Found"]["labels"]))
        self.assertEqual(["Found", "Lost"], [event["event"]["action"] for event in events])


if __name__ == "__main__":
    unittest.main()
