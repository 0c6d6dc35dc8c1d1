#!/usr/bin/python3
"""varnel.exe runs nothing that lies beside it under a name of the system's: it is started as administrator, from a download."""
import shutil
import unittest

from tool import PROGRAM, ROOT, ToolTest

PLANTED = ROOT / "build/mingw-x64-tests/tests/libplanted_library.dll"
# WINE: its user32.dll and others import version.dll, crypt32.dll and bcrypt.dll from the program's folder too, so of these the
# list of imports in tests/golden/binary.txt has to tell.
NAMES = ("cryptbase", "cryptsp", "iphlpapi", "mswsock", "profapi", "rsaenh", "secur32", "userenv", "wintrust", "xmllite")


class Planted(ToolTest):
    PREFIX = "tool_planted"

    def test_no_command_runs_what_lies_beside_the_program(self):
        folder = self.prefix.drive / "download"
        folder.mkdir()
        program = shutil.copy(PROGRAM, folder)
        for name in NAMES:
            shutil.copy(PLANTED, folder / f"{name}.dll")
        (folder / "varnel.spdx.json").write_text('{"spdxVersion": "SPDX-2.3", "name": "", "files": []}')
        # WINE: prefers its own libraries; Windows the program's folder.
        self.prefix.environment["WINEDLLOVERRIDES"] = "mscoree,mshtml=;" + ",".join(NAMES) + "=n,b"
        for arguments in (["doctor", "--write"], ["explain"], ["show"], ["trace", "--seconds", "1"], ["verify", "C:\\download"]):
            self.assertIn(self.prefix.run(program, *arguments)[0], (0, 1, 2))
        self.assertEqual([], [file.name for file in folder.glob("*.ran")])
        self.prefix.run("regsvr32", "/s", "C:\\download\\wintrust.dll")
        self.assertTrue((folder / "wintrust.dll.ran").exists(), "it does run")


if __name__ == "__main__":
    unittest.main()
