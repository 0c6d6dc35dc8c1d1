#!/usr/bin/python3
"""What the tests of the packages share: the packages, unpacked. packaged.py FOLDER makes them there, once for all tests.

The prefix beside which the tests make their own stands in WINEPREFIX, the folder with the packages in VARNEL_DIST; without
that each test file makes them itself.
"""
import os
import pathlib
import re
import subprocess
import sys
import tarfile
import tempfile
import unittest
import zipfile

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from wine import ROOT, Prefix  # noqa: E402 (it is in a folder of its own)

VERSION = re.search(r"project\(varnel VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
NAME = f"varnel-{VERSION}"
CROSS = {"64": "x86_64-w64-mingw32", "32": "i686-w64-mingw32"}
ENVIRONMENT = dict(os.environ)
ENVIRONMENT.setdefault("SOURCE_DATE_EPOCH", subprocess.run(["git", "log", "-1", "--format=%ct"], cwd=ROOT, text=True,
                                                           capture_output=True).stdout.strip() or "1")


# Building for Linux takes long, so only the long form does.
FOR_LINUX = bool(os.environ.get("VARNEL_SOAK"))
PACKAGE = ["./scripts/package", *([] if FOR_LINUX else ["--windows"])]


def run(*command, folder=ROOT, **more):
    """The exit status, and all that was printed."""
    done = subprocess.run([str(word) for word in command], cwd=folder, env=dict(ENVIRONMENT, **more), text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout


class PackageTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        cls.dist = pathlib.Path(os.environ.get("VARNEL_DIST", cls.folder / "dist"))
        if "VARNEL_DIST" not in os.environ:
            status, output = run(*PACKAGE, cls.dist)
            if status != 0:
                raise AssertionError(output)
        cls.kit = {width: cls.folder / f"{NAME}-win{width}" for width in CROSS}
        for package in [*cls.dist.glob("*.zip"), *cls.dist.glob("*.nupkg")]:
            with zipfile.ZipFile(package) as content:
                content.extractall(cls.folder if package.suffix == ".zip" else cls.folder / "nuget")
        for package in cls.dist.glob("*.tar.gz"):
            with tarfile.open(package) as content:
                content.extractall(cls.folder)

    def succeed(self, *command, **more):
        status, output = run(*command, **more)
        self.assertEqual(0, status, output)
        return output

    def expect_reports(self, count, prefix):
        events = prefix.events()
        self.assertEqual(count, len(events))
        self.succeed("xmllint", "--noout", "--relaxng", self.kit["64"] / "schema/event-document.rng", *events)

    def prefix(self, name):
        return self.enterContext(Prefix(f"package_{name}", ENVIRONMENT))


if __name__ == "__main__":
    made, text = run(*PACKAGE, sys.argv[1])
    print(text)
    sys.exit(made)
