#!/usr/bin/python3
"""The sample product's own tests, and what they report compared with the product's catalogue."""
import os
import pathlib
import re
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from wine import ROOT, Prefix  # noqa: E402 (it is in a folder of its own)

BIN = ROOT / "build/mingw-x64/bin"
LIBRARY = f"Z:{BIN}/varnel.dll"
CATALOGUE = ROOT / "samples/catalogues/scanner.toml"


class Sample(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.prefix = cls.enterClassContext(Prefix("sample_product", dict(os.environ)))

    def run_tests(self, library, folder):
        return self.prefix.run(BIN / "scanner_reports_test.exe", library, folder)

    def varnel(self, *arguments):
        return self.prefix.run(BIN / "varnel.exe", "catalogue", *arguments)

    def test_tests_pass_and_report_the_whole_catalogue(self):
        reports = self.prefix.drive / "reports"
        reports.mkdir()
        status, output = self.run_tests(LIBRARY, "C:\\reports")
        self.assertEqual(0, status, output)
        cover = ("cover", "--all", f"Z:{CATALOGUE}", "C:\\reports")
        status, output = self.varnel(*cover)
        self.assertEqual(0, status, output)
        for file in reports.iterdir():
            if b"<SignaturesUpdated>" in file.read_bytes():
                file.unlink()
        status, output = self.varnel(*cover)
        self.assertEqual(1, status, output)
        self.assertIn("never       SignaturesUpdated\n", output)

    def test_tests_fail_with_a_reason(self):
        for library, reason in ((LIBRARY, "cannot be written (Windows error 3)"), ("C:\\none.dll", "cannot be copied")):
            status, output = self.run_tests(library, "C:\\none")
            self.assertEqual(1, status, output)
            self.assertIn(reason, output)

    def test_page_quotes_the_tests(self):
        page, source = ((ROOT / name).read_text() for name in ("docs/testing.md", "samples/scanner_reports_test.cpp"))
        section = page[page.index("## A product's tests"):page.index("## What is captured")]
        quotations = re.findall("```cpp\n(.*?)```", section, re.S)
        self.assertEqual(2, len(quotations))
        for quotation in quotations:
            self.assertIn(" ".join(quotation.split()), " ".join(source.split()))

    def test_header_is_that_of_the_catalogue(self):
        self.assertEqual(0, self.varnel("generate", f"Z:{CATALOGUE}", "--to", "C:\\generated")[0])
        self.assertEqual((ROOT / "samples/catalogues/generated/scanner_events.hpp").read_bytes(),
                         (self.prefix.drive / "generated/scanner_events.hpp").read_bytes())


if __name__ == "__main__":
    unittest.main()
