#!/usr/bin/python3
"""The program outside Windows: files that only such systems have, and commands that only Windows has."""
import json
import os
import subprocess
import unittest

from tool import ROOT, ToolTest, identifiers

REPORT = (ROOT / "tests/schema/report.xml").read_text(encoding="utf-8")


class Posix(ToolTest):
    def test_links_pipes_and_devices(self):
        folder = self.folder("odd", {"a.xml": REPORT})
        os.mkfifo(folder / "pipe.xml")
        (folder / "link.xml").symlink_to(folder / "a.xml")
        (folder / "dangling.xml").symlink_to(folder / "missing")
        shown = self.varnel("show", self.path("odd"))
        self.assertEqual(("1 of 1 file all right\n", ""), self.varnel("check", self.path("odd")))
        self.assertEqual([], [line for line in shown[0].splitlines() if not line.endswith("  a.xml")])
        self.assertEqual("1 of 1 file all right\n", self.varnel("check", self.path("odd/link.xml"))[0], "a named link is followed")
        for path in (self.path("odd/pipe.xml"), "/dev/zero"):
            self.assertEqual(f"varnel: {path}: not a file on a disk\n", self.varnel("check", path, status=2)[1])

    def test_names_of_any_bytes(self):
        folder = self.folder("names", {})
        for name, shown in ((b"\\a\\b.xml", "\\a\\b.xml"), (b"\xff\xc3.xml", "\ufffd\ufffd.xml"), (b"\n\x1b[2J.xml", "\\u{a}\\u{1b}[2J.xml"),
                            ("\U0001f600\u202e.xml".encode(), "\U0001f600\\u{202e}.xml")):
            with self.subTest(name):
                path = os.fsencode(folder) + b"/" + name
                with open(path, "w", encoding="utf-8") as file:
                    file.write(REPORT)
                for named in (path, os.fsencode(folder)):
                    output, errors = self.varnel("show", named)
                    self.assertEqual(("", [shown] * 2), (errors, [line.split("  ")[-1] for line in output.splitlines()]))
                self.assertIn(f"{folder}/{shown}\n", self.varnel("show", "--tree", path)[0])
                output = self.varnel("show", "--json", path)[0]
                self.assertTrue(output.isascii(), output)
                expected = identifiers(name.decode(errors="backslashreplace").replace("\\x", "/"), REPORT.encode(), 2)
                self.assertEqual(expected, [json.loads(line)["event"]["id"] for line in output.splitlines()])
                os.unlink(path)

    def test_relative_paths_are_printed_in_full(self):
        folder = self.folder("here", {"a.xml": REPORT})
        (folder / "below").mkdir()
        self.folder("there", {}).joinpath("link").symlink_to(folder / "below")
        for start, path, full in ((folder, ".", f"{folder}/a.xml"), (folder, "./a.xml", f"{folder}/a.xml"),
                                  (self.drive / "there", "link/../a.xml", f"{self.drive}/there/link/../a.xml")):
            with self.subTest(path):
                output = self.launch("show", "--tree", path, cwd=start, stdout=subprocess.PIPE).communicate(timeout=20)[0]
                self.assertEqual(full, output.decode().splitlines()[0])

    def test_what_asks_a_windows_machine_says_so(self):
        for arguments, words in ((["doctor", "--write"], "varnel doctor asks"), (["doctor", "--repair-trace"], "varnel doctor asks"),
                                 (["send", "--json"], "varnel send asks"), (["trace", "--level", "8"], "varnel trace asks"),
                                 (["show"], "varnel show without a path asks"),
                                 (["collect", "--to", "x"], "varnel collect without a path asks"),
                                 (["bundle", "--to", "x"], "varnel bundle without a path asks"),
                                 (["explain", "--software", "A", "--event", "1", "--severity", "1"], "varnel explain without --code asks")):
            output, errors = self.varnel(*arguments, status=2)
            self.assertEqual("", output)
            self.assertRegex(errors, rf"\Avarnel: {words} this Windows machine and works on Windows only; [^\n]+\n\Z")
        commands = self.varnel("--help")[0].partition("on Windows only:\n")[2]
        self.assertEqual(["doctor", "send", "trace"], [line.split()[0] for line in commands.splitlines() if line])


if __name__ == "__main__":
    unittest.main()
