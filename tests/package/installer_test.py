#!/usr/bin/python3
"""Installs, updates and removes the MSI."""
import re
import shutil
import subprocess
import unittest

from packaged import CROSS, NAME, ROOT, VERSION, PackageTest

# The prefix shows these in both views already when a 64-bit library writes them.
WIDE_ONLY = re.compile(r"wow6432node|\\interface\\")
HOLD = """#include <stdio.h>
#include <windows.h>
int main(int count, char** words) {
  HANDLE file = CreateFileA(words[1], GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING, 0, NULL);
  puts(file != INVALID_HANDLE_VALUE && count == 2 ? "held" : "not held");
  fflush(stdout);
  getchar();
  return 0;
}
"""
NEWER = b"newer"  # at the end of the files of a newer version


class Installer(PackageTest):
    def test_installer_writes_what_the_library_writes_and_leaves_nothing(self):
        msi, dll = self.dist / f"{NAME}.msi", self.kit["64"] / "bin/varnel.dll"
        prefix = self.prefix("installed")
        prefix.set_up_agent()
        files = prefix.files()
        self.assertEqual({}, prefix.classes())
        self.assertEqual((0, ""), prefix.run("regsvr32", "/s", dll))
        own = without_places(prefix.classes())
        self.assertEqual((0, ""), prefix.run("regsvr32", "/s", "/u", dll))
        self.assertEqual({}, prefix.classes())

        self.assertEqual((0, ""), prefix.run("msiexec", "/i", msi, "/qn"))
        installed = without_places(prefix.classes())
        self.assertEqual(own, {key: installed.get(key) for key in own})
        for key, values in own.items():
            if not WIDE_ONLY.search(key):
                narrow = key.replace("classes\\", "classes\\wow6432node\\").replace("win64", "win32")
                self.assertEqual(values, installed.get(narrow), narrow)
        for folder, width in (("Program Files", "64"), ("Program Files (x86)", "32")):
            self.assertEqual((self.kit[width] / "bin/varnel.dll").read_bytes(),
                             (prefix.drive / folder / "varnel/varnel.dll").read_bytes())
        for program in ("report_event.exe", "report_event_c.exe"):
            self.assertEqual(0, prefix.run(self.kit["64"] / "bin" / program)[0])
        self.expect_reports(3, prefix)

        self.assertEqual((0, ""), prefix.run("msiexec", "/x", msi, "/qn"))
        self.assertEqual({}, prefix.classes())
        self.assertEqual(files, prefix.files())

    def make_newer(self):
        """Returns an MSI of a newer version, whose files tell it from the shipped one."""
        newer, tree = self.folder / "newer.msi", self.folder / "next"
        if newer.exists():
            return newer
        for name in ("tools", "src/com", "include"):
            shutil.copytree(ROOT / name, tree / name)
        (tree / "CMakeLists.txt").write_text((ROOT / "CMakeLists.txt").read_text().replace(VERSION, "99.0.0", 1))
        for width in CROSS:
            folder = tree / "files" / f"win{width}"
            folder.mkdir(parents=True)
            for name in ("bin/varnel.dll", *(["bin/varnel.exe"] if width == "64" else []), "NOTICES.txt", "varnel.spdx.json"):
                file = self.kit[width] / name
                (folder / file.name).write_bytes(file.read_bytes() + NEWER)
        self.succeed(tree / "tools/make_installer.py", newer, tree / "files", "Newer", "nobody", "https://varnel.example/")
        return newer

    def installed_dlls(self, prefix):
        return [prefix.drive / folder / "varnel/varnel.dll" for folder in ("Program Files", "Program Files (x86)")]

    def test_newer_version_replaces_the_older_and_not_the_other_way_round(self):
        newer, older = self.make_newer(), self.dist / f"{NAME}.msi"
        prefix = self.prefix("upgraded")
        files = prefix.files()
        for msi, installed in ((older, True), (newer, True), (older, False)):
            self.assertEqual(installed, prefix.run("msiexec", "/i", msi, "/qn")[0] == 0)
        self.assertEqual(2, sum(file.name == "varnel.dll" for file in prefix.files() - files))
        self.assertEqual((0, ""), prefix.run("msiexec", "/x", newer, "/qn"))
        self.assertEqual({}, prefix.classes())
        self.assertEqual(files, prefix.files())

    def test_newer_version_over_a_dll_in_use_agrees_after_a_restart(self):
        prefix, newer = self.prefix("in_use"), self.make_newer()
        self.assertEqual((0, ""), prefix.run("msiexec", "/i", self.dist / f"{NAME}.msi", "/qn", "/norestart"))
        # WINE: replaces a loaded DLL at once, but like Windows no file that is open without the right to delete it.
        (self.folder / "hold.c").write_text(HOLD)
        self.succeed(f"{CROSS['64']}-gcc-win32", "-o", "hold.exe", "hold.c", folder=self.folder)
        held, other = self.installed_dlls(prefix)
        holder = subprocess.Popen([ROOT / "scripts/wine-run", self.folder / "hold.exe", f"Z:{held}"], env=prefix.environment, text=True,
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(holder.communicate)
        self.assertEqual("held", holder.stdout.readline().strip())
        self.assertEqual(3010 & 0xFF, prefix.run("msiexec", "/i", newer, "/qn", "/norestart")[0])  # a shell sees eight bits
        self.assertEqual([False, True], [dll.read_bytes().endswith(NEWER) for dll in (held, other)])
        holder.communicate("end")
        prefix.run("wineboot", "--restart")
        self.assertEqual([True, True], [dll.read_bytes().endswith(NEWER) for dll in (held, other)])
        self.assertEqual(4, len(list(held.parent.iterdir())))

    def test_program_can_be_left_out(self):
        prefix = self.prefix("without_program")
        self.assertEqual((0, ""), prefix.run("msiexec", "/i", self.dist / f"{NAME}.msi", "/qn", "/norestart", "ADDLOCAL=varnel"))
        self.assertEqual([True, True], [dll.is_file() for dll in self.installed_dlls(prefix)])
        self.assertFalse((prefix.drive / "Program Files/varnel/varnel.exe").exists())

    def test_installation_that_fails_leaves_nothing(self):
        prefix = self.prefix("refused")
        # Where the second DLL's folder would be there is a file.
        (prefix.drive / "Program Files (x86)/varnel").write_text("in the way")
        files = prefix.files()
        self.assertNotEqual(0, prefix.run("msiexec", "/i", self.dist / f"{NAME}.msi", "/qn")[0])
        self.assertEqual({}, prefix.classes())
        self.assertEqual(files, prefix.files())


def without_places(keys):
    """Paths differ, and the type library's flags are what each system makes of them."""
    return {key: [re.sub(r'"[^"]*\\\\[^"]*"', '"..."', value) for value in values]
            for key, values in keys.items() if not key.endswith("flags")}


if __name__ == "__main__":
    unittest.main()
