"""What the tests of varnel.exe share: the program, in a Wine prefix of its own with an agent."""
import os
import pathlib
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from wine import ROOT, Prefix  # noqa: E402 (it is in a folder of its own)

PROGRAM = ROOT / "build/mingw-x64/bin/varnel.exe"
LIBRARY = ROOT / "build/mingw-x64/bin/varnel.dll"
DLL = "Z:" + str(LIBRARY)  # as --dll takes it, for a prefix in which nothing is registered


class ToolTest(unittest.TestCase):
    """Each class has a prefix of its own, named by PREFIX, with a managed agent and its folders."""
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.prefix = cls.enterClassContext(Prefix(cls.PREFIX, dict(os.environ)))
        cls.prefix.set_up_agent()

    def varnel(self, *arguments, status=0, text=None):
        """Standard output and standard error of the program, which has to return that status; None: any."""
        found, output, errors = self.prefix.communicate(PROGRAM, *arguments, text=text)
        self.assertIn(status, (None, found), output + errors)
        return output, errors
