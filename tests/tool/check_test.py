#!/usr/bin/python3
"""varnel check: the same verdict as the schema's, and what it says of files that are no documents at all."""
import ctypes
import os
import pty
import re
import subprocess
import sys
import unittest

from tool import NATIVE, ROOT, ToolTest

sys.path.append(str(ROOT / "tests/schema"))
import check_documents  # noqa: E402 (it is in a folder of its own)

MACHINE = "<MachineInfo/>"
PRODUCT = '<S ProductName="" ProductVersion="" ProductFamily=""/>'
RIGHT = f"<R>{MACHINE}{PRODUCT}</R>"
DEEP = "<R>" + MACHINE + PRODUCT + "<a>" * 300 + "</a>" * 300 + "</R>"
BILLION = '<!DOCTYPE R [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;&a;">]>' + f"<R>{MACHINE}{PRODUCT}<X>&b;</X></R>"

# Bytes of a file, and the place and the words that are said of it; nothing when it is right.
FILES = {
    "right": (RIGHT, ""),
    "mark and lines": ("\ufeff<?xml version='1.0' encoding='utf-8'?>\n" + RIGHT + "\r\n", ""),
    "only foreign text": (RIGHT.replace("</R>", "<X a='" + "漢" * 30_000 + "'>" + "漢字€😀" * 20_000 + "</X></R>"), ""),
    "large": (RIGHT.replace("</R>", "<X>" + "x" * 5_000_000 + "</X></R>"), ""),
    "own namespace": (RIGHT.replace("</R>", '<x:EventID xmlns:x="urn:u"/></R>'), ""),
    "line and column": (f"<R>\n{MACHINE}\n\n  {PRODUCT}\n<é/><MachineInfo/></R>", ":5:6: MachineInfo is a name that only the library may use here"),
    "entities": (BILLION, ":1:1: a document type; event documents have none"),
    "deep": (DEEP, "elements nested more than 256 levels deep"),
    "many": ("<R>" + "<a/>" * 2_000_001 + "</R>", "more than 2000000 elements"),
    "empty": ("", ":1:1: not finished: the end is missing"),
    "cut": (RIGHT[:-1], ":1:75: not finished"),
    "cut in a character": ("<R>é".encode()[:-1], "not finished"),
    "cut in a comment": ("<R><!-- </R>", "not finished"),
    "cut in a value": ('<R a="', "not finished"),
    "another kind": (b"\x89PNG\r\n\x1a\n", ":1:1: not XML"),
    "program": (b"MZ\x90\x00<R></R>", ":1:1: not XML"),
    "UTF-16": (RIGHT.encode("utf-16"), ":1:1: not XML"),
    "another encoding": ("<?xml version='1.0' encoding='UTF-16'?>" + RIGHT, ":1:21: an encoding other than UTF-8"),
    "broken UTF-8": (b"<R>\xc3(</R>", ":1:4: invalid UTF-8"),
    "surrogate": (b"<R>\xed\xa0\x80</R>", ":1:4: invalid UTF-8"),
    "long form": (b"<R>\xc0\xbc</R>", ":1:4: invalid UTF-8"),
    "escape": ("<R>\x1b[2J</R>", ":1:4: a control character"),
    "escape by its number": ("<R>&#27;[2J</R>", ":1:4: a reference to a character that XML does not allow"),
    "half a reference": ("<R>&amp</R>", ":1:4: '&' without a reference"),
    "no entity": ("<R>&nbsp;</R>", ":1:4: an undefined entity: &nbsp;"),
    "beyond the basic plane": ("<R>\U0001f600\x01</R>", ":1:6: a control character"),
    "glued": ('<R a="1"b="2"/>', "no blank between two attributes"),
    "digit": ("<R><1/></R>", "a name that does not begin with a letter"),
    "twice": ('<R a="1" a="2"/>', "an attribute twice"),
    "other end": ("<R><a></b></R>", ":1:7: </b> instead of </a>"),
    "junk behind": (RIGHT + "junk", "text outside of the root element"),
    "two roots": (RIGHT + RIGHT, "another element after the root element"),
    "late declaration": ("\n<?xml version='1.0'?><R/>", ":2:1: an XML declaration that is not at the start"),
    "no version": ("<?xml encoding='UTF-8'?><R/>", ":1:7: an XML declaration without a version"),
    "hyphens": ("<R><!-- -- --></R>", ":1:9: '--' in a comment"),
    "no section": ("<R><![cdata[x]]></R>", ":1:4: '<!' without a comment or CDATA section"),
    "end of a section": ("<R>]]></R>", r":1:4: '\]\]>' in a text"),
    "no quotes": ("<R a=1/>", ":1:6: a value without quotes"),
    "no value": ("<R a/>", ":1:5: a name without a value"),
    "prefix": ("<R><p:a/></R>", ":1:5: a prefix without a namespace: p"),
    "empty prefix": ('<R xmlns:p=""/>', ":1:4: a prefix without a namespace: p"),
    "XML's own namespace": ('<R xmlns:p="http://www.w3.org/XML/1998/namespace"/>', ":1:4: a namespace or prefix that is reserved for XML"),
    "inherited namespace": (RIGHT.replace("<R>", '<R xmlns="urn:u">'), "MachineInfo must be the first element"),
    # Where the square of a number would take minutes.
    "references": (RIGHT.replace("</R>", "<X>" + "&amp;" * 500_000 + "</X></R>"), ""),
    "attributes": (RIGHT.replace("</R>", "<X " + " ".join(f"{'n' * 40}{i}=''" for i in range(150_000)) + "/></R>"), ""),
    "prefixes": (RIGHT.replace("</R>", "<X " + " ".join(f"xmlns:n{i}='u'" for i in range(100_000)) + ">" + "<n7:a/>" * 100_000 + "</X></R>"), ""),
    "direction": (RIGHT.replace("</R>", "<X>\u202e<y/>x</X></R>").replace("X", "X\u00e9"), r"the text of Xé must be before its elements"),
    "name that turns": ("<R><\u202ea/></R>", ":"),
    "long name": ("<R>" + MACHINE + "<" + "n" * 100_000 + "/></R>", r"\(1000\d\d characters\)"),
}


class Check(ToolTest):
    PREFIX = "tool_check"

    @classmethod
    def setUpClass(cls):
        # Where the tests run as root: permissions count for programs that are started from here on.
        for ability in (1, 2):  # CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH
            ctypes.CDLL(None).prctl(24, ability, 0, 0, 0)  # PR_CAPBSET_DROP
        super().setUpClass()

    def said(self, folder, output):
        """For each file of a folder, what was said of it."""
        lines = output.splitlines()[:-1]
        return {file.name: "".join(line[len(start) - 1:] for line in lines if line.startswith(start))
                for file in folder.iterdir() for start in [self.path(f"{folder.name}/{file.name}:")]}

    def test_the_verdict_of_the_schema(self):
        report = "".join(map(str.strip, (ROOT / "tests/schema/report.xml").read_text(encoding="utf-8").splitlines()))
        rows = check_documents.rows("rows.txt")
        folder = self.folder("rows", {name: check_documents.document(report, fields) for _, name, *fields in rows})
        output, _ = self.varnel("check", self.path("rows"), status=1)
        said = self.said(folder, output)
        self.assertEqual({name: verdict for verdict, name, *_ in rows},
                         {name: "wrong" if said[name] else "right" for name in said})

    def test_every_file_gets_its_answer(self):
        folder = self.folder("Dossier é", {name: content for name, (content, _) in FILES.items()})
        output, errors = self.varnel("check", self.path("Dossier é/"), status=1)
        said = self.said(folder, output)
        for name, (_, words) in FILES.items():
            with self.subTest(name):
                self.assertRegex(said[name], words or "^$")
                self.assertLess(len(said[name]), 1000)
        right = sum(not words for _, words in FILES.values())
        self.assertEqual(f"{right} of {len(FILES)} files all right", output.splitlines()[-1])
        self.assertNotRegex(output + errors, "[\x00-\x09\x0b-\x1f\u202e]")

    def test_the_first_faults_say_enough(self):
        self.folder("faults", {"many.xml": RIGHT.replace("</R>", "<EventID/>" * 300_000 + "</R>")})
        lines = self.varnel("check", self.path("faults"), status=1)[0].splitlines()
        self.assertEqual(21, len(lines))
        self.assertIn(f"many.xml:1:{len(RIGHT) - 4 + 2 + 19 * len('<EventID/>')}: EventID is a name that only the library may use", lines[19])

    def test_progress_is_for_consoles(self):
        count = 20_000 if NATIVE else 8_000  # takes longer than the first report of progress
        right = f"{count} of {count} files all right\n"
        self.folder("many", {f"{i}.xml": RIGHT for i in range(count)})
        ours, theirs = pty.openpty()
        program = self.launch("check", self.path("many"), stdin=theirs, stdout=subprocess.PIPE, stderr=theirs)
        os.close(theirs)
        self.assertEqual(right, program.communicate(timeout=60)[0].decode().replace("\r", ""))
        self.assertIn(f" of {count}".encode(), os.read(ours, 4096))
        os.close(ours)
        self.assertEqual((right, ""), self.varnel("check", self.path("many")))

    def test_what_cannot_be_read(self):
        closed = self.folder("closed", {"a.xml": RIGHT})
        folder = self.folder("some", {"right.xml": RIGHT, "closed.xml": RIGHT, "huge.xml": ""})
        os.truncate(folder / "huge.xml", 300_000_000)
        (folder / "closed.xml").chmod(0)
        (folder / "folder").mkdir()
        closed.chmod(0)
        self.addCleanup(closed.chmod, 0o700)
        output, errors = self.varnel("check", *map(self.path, ("missing", "closed", "some", "some/right.xml")), status=2)
        self.assertEqual("2 of 4 files all right\n", output)
        self.assertEqual(4, len(errors.splitlines()), errors)
        denied = r"\(13\)" if NATIVE else r"\(5\)"
        for name, words in (("missing", r"\(2\)"), ("closed", denied), ("some/closed.xml", denied), ("some/huge.xml", "larger than 256 MB")):
            self.assertRegex(errors, "varnel: " + re.escape(self.path(name)) + f": .*{words}\n")
        self.varnel("check", status=2)


if __name__ == "__main__":
    unittest.main()
