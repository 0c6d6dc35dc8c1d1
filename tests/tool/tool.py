"""What the tests of the program varnel share: the Windows program in a Wine prefix of its own with an agent; or, if
VARNEL_NATIVE has a path, this program of the system that runs the tests, with a temporary folder."""
import hashlib
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from wine import ROOT, Prefix  # noqa: E402 (it is in a folder of its own)

NATIVE = os.environ.get("VARNEL_NATIVE")
PROGRAM = pathlib.Path(NATIVE) if NATIVE else ROOT / "build/mingw-x64/bin/varnel.exe"
LIBRARY = ROOT / "build/mingw-x64/bin/varnel.dll"
DLL = "Z:" + str(LIBRARY)  # as --dll takes it, for a prefix in which nothing is registered

# For a test or a class.
windows_only = unittest.skipIf(NATIVE, "asks Windows")
# For a test of what every system shares: there, sanitizers look, and a start of the program costs less.
natively = unittest.skipUnless(NATIVE, "tested natively")


def identifiers(name, content, events, agent="-"):
    """event.id of each event in a file of this name and these bytes, without a byte-order mark."""
    digest = hashlib.sha256(content).hexdigest()[:16]
    return [f"{agent}/{name}#{place}-{digest}" for place in range(1, events + 1)]


class ToolTest(unittest.TestCase):
    """Each class has a prefix of its own, named by PREFIX, with a managed agent and its folders."""
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        if NATIVE:
            cls.drive = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
            cls.command, cls.environment = [PROGRAM], dict(os.environ)
            return
        cls.prefix = cls.enterClassContext(Prefix(cls.PREFIX, dict(os.environ)))
        cls.prefix.set_up_agent()
        cls.drive = cls.prefix.drive
        cls.command, cls.environment = [ROOT / "scripts/wine-run", PROGRAM], cls.prefix.environment

    def path(self, name):
        """The path of a file of the drive, as the program takes and prints it."""
        return str(self.drive / name) if NATIVE else "C:\\" + name.replace("/", "\\")

    def folder(self, name, files):
        """Makes a folder of the drive with these files, the oldest first."""
        folder = self.drive / name
        folder.mkdir()
        for number, (file, content) in enumerate(files.items()):
            (folder / file).write_bytes(content if isinstance(content, bytes) else content.encode())
            os.utime(folder / file, (number, number))
        return folder

    def launch(self, *arguments, **streams):
        return subprocess.Popen([*self.command, *arguments], env=self.environment, **streams)

    def varnel(self, *arguments, status=0, text=None):
        """Standard output and standard error of the program, which has to return that status; None: any."""
        program = self.launch(*arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        output, errors = (stream.decode().replace("\r", "") for stream in program.communicate((text or "").encode(), timeout=120))
        self.assertIn(status, (None, program.returncode), output + errors)
        return output, errors
