#!/usr/bin/python3
"""Makes the packages and uses them as those do who get them: unpacks, builds against them, installs, registers nothing.

The prefix beside which the tests make their own stands in WINEPREFIX.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

import pefile

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from wine import ROOT, Prefix

VERSION = re.search(r"project\(varnel VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
NAME = f"varnel-{VERSION}"
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Wsign-conversion", "-Werror"]
CROSS = {"64": "x86_64-w64-mingw32", "32": "i686-w64-mingw32"}
COCLASS = "5"
# The prefix shows these in both views already when a 64-bit library writes them.
WIDE_ONLY = re.compile(r"wow6432node|\\interface\\")
# What a parameter's type is in the type library.
CSHARP = {
    "[MarshalAs(UnmanagedType.BStr)] string": "BSTR",
    "int": "long",
    "DateTime": "DATE",
    "IntPtr": "void*",
    "[MarshalAs(UnmanagedType.IUnknown)] out object": "out IUnknown**",
    "[MarshalAs(UnmanagedType.Interface)] out IEventElement": "out IEventElement**",
}
ENVIRONMENT = dict(os.environ)
ENVIRONMENT.setdefault("SOURCE_DATE_EPOCH", subprocess.run(["git", "log", "-1", "--format=%ct"], cwd=ROOT, text=True,
                                                           capture_output=True).stdout.strip() or "1")


def run(*command, folder=ROOT, **more):
    """The exit status, and all that was printed."""
    done = subprocess.run([str(word) for word in command], cwd=folder, env=dict(ENVIRONMENT, **more), text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout


class Packages(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        cls.dist = cls.folder / "dist"
        status, output = run("./scripts/package", cls.dist)
        if status != 0:
            raise AssertionError(output)
        cls.kit = {}
        for width in CROSS:
            cls.kit[width] = cls.folder / f"{NAME}-win{width}"
            with zipfile.ZipFile(cls.dist / f"{NAME}-win{width}.zip") as package:
                package.extractall(cls.folder)

    def copy_sources(self):
        """Returns a copy of the sources in another folder."""
        copy = self.folder / "elsewhere"
        listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT, text=True, check=True,
                                capture_output=True).stdout.splitlines()
        for name in listed:
            if (ROOT / name).is_file():
                (copy / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(ROOT / name, copy / name)
        return copy

    def succeed(self, *command, **more):
        status, output = run(*command, **more)
        self.assertEqual(0, status, output)
        return output

    def prefix(self, name):
        return self.enterContext(Prefix(f"package_{name}", ENVIRONMENT))

    def expect_reports(self, count, prefix):
        events = prefix.events()
        self.assertEqual(count, len(events))
        self.succeed("xmllint", "--noout", "--relaxng", self.kit["64"] / "schema/event-document.rng", *events)

    def build_samples(self, width="64", package="64"):
        """With an older C++, which the package's target has to raise."""
        build = self.folder / f"samples-{width}-{package}"
        return build, run("cmake", "-G", "Ninja", "-S", self.kit[package] / "samples", "-B", build, "-DCMAKE_CXX_STANDARD=14",
                          "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_C_COMPILER={CROSS[width]}-gcc-posix",
                          f"-DCMAKE_CXX_COMPILER={CROSS[width]}-g++-posix", f"-DCMAKE_PREFIX_PATH={self.kit[package]}")

    def test_contents_are_those_that_are_listed(self):
        files = "".join(f"{path.relative_to(kit).as_posix()}\n" for kit in [self.kit["64"]]
                        for path in sorted(kit.rglob("*")) if path.is_file())
        self.assertEqual((ROOT / "tests/golden/package.txt").read_text(), files)
        kits = [{file.relative_to(kit).as_posix() for file in kit.rglob("*")} for kit in self.kit.values()]
        self.assertEqual({"bin/varnel.exe"}, kits[0] ^ kits[1])
        self.assertEqual({f"{NAME}-win64.zip", f"{NAME}-win32.zip", f"{NAME}-symbols.zip", f"{NAME}.msi", "SHA256SUMS"},
                         {file.name for file in self.dist.iterdir()})
        self.succeed("sha256sum", "--check", "--strict", "SHA256SUMS", folder=self.dist)

    def test_pages_lead_to_what_is_there(self):
        for page in self.kit["64"].rglob("*.md"):
            for link in re.findall(r"\]\((?!https:)([^)#]+)[^)]*\)", page.read_text(encoding="utf-8")):
                self.assertTrue((page.parent / link).exists(), f"{page.name}: {link}")

    @unittest.skipUnless("VARNEL_SOAK" in ENVIRONMENT, "builds everything a second time: part of scripts/soak")
    def test_same_sources_in_another_folder_give_the_same_bytes(self):
        copy = self.copy_sources()
        self.succeed("./scripts/package", "there", folder=copy)
        self.assertEqual((self.dist / "SHA256SUMS").read_text(), (copy / "there/SHA256SUMS").read_text())

    def test_symbols_are_those_of_the_library(self):
        with zipfile.ZipFile(self.dist / f"{NAME}-symbols.zip") as package:
            package.extractall(self.folder)
        for width, tools in CROSS.items():
            library = pefile.PE(self.kit[width] / "bin/varnel.dll")
            symbols = self.succeed(f"{tools}-nm", self.folder / f"{NAME}-symbols/win{width}/varnel.dll.debug")
            for export in library.DIRECTORY_ENTRY_EXPORT.symbols:
                address = library.OPTIONAL_HEADER.ImageBase + export.address
                self.assertRegex(symbols, rf"(?m)^0*{address:x} T _?{export.name.decode()}(@\d+)?$")

    def test_headers_compile_without_a_warning(self):
        for width, tools in CROSS.items():
            include = ["-I", self.kit[width] / "include", "-fsyntax-only", *WARNINGS]
            samples = self.kit[width] / "samples"
            for standard in ("c++17", "c++20"):
                self.succeed(f"{tools}-g++-posix", f"-std={standard}", *include, samples / "report_event.cpp")
            for standard in ("c99", "c11"):
                self.succeed(f"{tools}-gcc-posix", f"-std={standard}", *include, samples / "report_event.c")

    def test_csharp_declarations_compile_and_say_what_the_type_library_says(self):
        source = self.kit["64"] / "interop/Varnel.cs"
        self.succeed("mcs", "-warnaserror", "-warn:4", f"-out:{self.folder / 'report.exe'}", source,
                     self.kit["64"] / "samples/report_event.cs")
        self.assertEqual(type_library_facts(), csharp_facts(source.read_text()))

    def test_every_command_of_the_quick_start(self):
        place, prefix = self.folder / "quick", self.prefix("quick")
        place.mkdir()
        for name in (f"{NAME}-win64.zip", f"{NAME}.msi"):
            shutil.copy(self.dist / name, place)
        commands = [(language, command) for language, block in re.findall(
                        r"^```(\w+)\n(.*?)^```", (ROOT / "docs/quickstart.md").read_text(), re.M | re.S)
                    for command in block.splitlines()]
        self.assertLess(10, len(commands))
        for language, command in commands:
            if command.startswith("cd "):
                place = place / command.removeprefix("cd ")
            elif language == "sh":
                self.succeed("sh", "-c", command, folder=place)
            else:
                (place / "step.bat").write_text(f"@{command}\r\n")
                status, output = prefix.run("cmd", "/c", "step.bat", folder=place)
                self.assertEqual(0, status, command + output)
        self.assertEqual(6, len([*(prefix.drive / "Agent/AgentEvents").iterdir(), *(prefix.drive / "ServerEvents").iterdir()]))

    def test_product_with_the_dll_in_its_own_folder(self):
        build, (status, output) = self.build_samples()
        self.assertEqual(0, status, output)
        self.succeed("cmake", "--build", build)
        prefix = self.prefix("bare")
        prefix.set_up_agent()
        status, output = prefix.run(build / "bin/report_event.exe")
        self.assertEqual(1, status)
        self.assertIn("run regsvr32 on the 64-bit varnel.dll for 64-bit programs", output)
        self.assertEqual(0, prefix.run(build / "bin/report_event_side_by_side.exe")[0])
        self.expect_reports(2, prefix)

    def test_package_of_the_other_width_is_refused(self):
        _, (status, output) = self.build_samples("64", "32")
        self.assertNotEqual(0, status)
        self.assertIn(f"{VERSION} (32bit)", output)

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

    def test_newer_version_replaces_the_older_and_not_the_other_way_round(self):
        newer, older = self.folder / "newer.msi", self.dist / f"{NAME}.msi"
        tree = self.folder / "next"
        for name in ("tools", "src/com", "include"):
            shutil.copytree(ROOT / name, tree / name)
        (tree / "CMakeLists.txt").write_text((ROOT / "CMakeLists.txt").read_text().replace(VERSION, "99.0.0", 1))
        self.succeed(tree / "tools/make_installer.py", newer, *(self.kit[width] / "bin/varnel.dll" for width in CROSS))
        prefix = self.prefix("upgraded")
        files = prefix.files()
        for msi, installed in ((older, True), (newer, True), (older, False)):
            self.assertEqual(installed, prefix.run("msiexec", "/i", msi, "/qn")[0] == 0)
        self.assertEqual(2, sum(file.name == "varnel.dll" for file in prefix.files() - files))
        self.assertEqual((0, ""), prefix.run("msiexec", "/x", newer, "/qn"))
        self.assertEqual({}, prefix.classes())
        self.assertEqual(files, prefix.files())

    def test_installation_that_fails_leaves_nothing(self):
        prefix = self.prefix("refused")
        # Where the second DLL's folder would be there is a file.
        (prefix.drive / "Program Files (x86)/varnel").write_text("in the way")
        files = prefix.files()
        self.assertNotEqual(0, prefix.run("msiexec", "/i", self.dist / f"{NAME}.msi", "/qn")[0])
        self.assertEqual({}, prefix.classes())
        self.assertEqual(files, prefix.files())

    def test_everything_that_runs_is_signed(self):
        certificate, key, signed = self.folder / "signer.pem", self.folder / "signer.key", self.folder / "signed"
        self.succeed("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Throw-away",
                     "-addext", "extendedKeyUsage=codeSigning", "-keyout", key, "-out", certificate)
        self.succeed("./scripts/package", "--sign", certificate, key, signed)
        for width in CROSS:
            with zipfile.ZipFile(signed / f"{NAME}-win{width}.zip") as package:
                package.extractall(signed)
        self.succeed("msiextract", "--directory", signed, signed / f"{NAME}.msi")
        programs = [file for file in signed.rglob("*") if file.suffix in (".dll", ".exe", ".msi")]
        self.assertEqual(4 + 3 + 2 + 1, len(programs))
        for file in programs:
            self.succeed("osslsigncode", "verify", "-CAfile", certificate, "-in", file)
        status, _ = run("osslsigncode", "verify", "-CAfile", certificate, "-in", self.dist / f"{NAME}.msi")
        self.assertNotEqual(0, status, "this one is not signed")
        # A key of another certificate: a clear word, and what was there stays.
        self.succeed("openssl", "genrsa", "-out", key, "2048")
        sums = (signed / "SHA256SUMS").read_bytes()
        status, output = run("./scripts/package", "--sign", certificate, key, signed)
        self.assertNotEqual(0, status)
        self.assertIn("a certificate and its key, in PEM?", output)
        self.assertEqual(sums, (signed / "SHA256SUMS").read_bytes())
        self.assertEqual([], [*signed.glob(".*")])

    def test_bad_arguments_get_a_remedy(self):
        occupied = self.folder / "occupied"
        occupied.write_text("no folder")
        for arguments, remedy in ((["--sign"], "--sign CERTIFICATE KEY"), (["--sign", "none.pem", "none.key"], "wants two PEM files"),
                                  (["--sgin", "x"], "is not known"), (["x", "y"], "one folder only"), ([occupied], "name another folder"),
                                  ([occupied, "--sign", "none.pem", "none.key"], "wants two PEM files")):
            status, output = run("./scripts/package", *arguments)
            self.assertNotEqual(0, status)
            self.assertIn(remedy, output)


def without_places(keys):
    """Paths differ, and the type library's flags are what each system makes of them."""
    return {key: [re.sub(r'"[^"]*\\\\[^"]*"', '"..."', value) for value in values]
            for key, values in keys.items() if not key.endswith("flags")}


def types(parameters):
    return [word.rsplit(" ", 1)[0] for word in parameters.split(", ") if word]


def type_library_facts():
    """Identifier and methods, those of the bases first, of each interface in the type library."""
    found = {}
    for block in (ROOT / "tests/golden/type_library.txt").read_text().split("\n\n")[1:]:
        name, guid, kind, base = re.match(r"(\w+) '[^']*' \{([^}]*)\} kind (\d) \S+ \S+\n  ([^\n]*)", block).groups()
        if kind != COCLASS:
            methods = [(number, method, types(parameters))
                       for number, method, parameters in re.findall(r"id (\d+) HRESULT (\w+) '[^']*'\((.*)\)", block)]
            found[name] = (guid, found.get(base, ("", []))[1] + methods)
    return found


def csharp_facts(text):
    """The same of the declarations for C#."""
    found = {}
    for guid, name, body in re.findall(r'Guid\("([^"]+)"\), Interface.*\n    public interface (\w+).*\n    {\n((?:     .*\n)*)', text):
        methods = re.findall(r"DispId\((\d+)\)\] (?:new )?void (\w+)\((.*)\);", body)
        found[name] = (guid.upper(), [(number, method, [CSHARP[kind] for kind in types(parameters)])
                                      for number, method, parameters in methods])
    return found


if __name__ == "__main__":
    unittest.main()
