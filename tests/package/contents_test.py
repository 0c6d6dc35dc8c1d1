#!/usr/bin/python3
"""What is in the packages: files, notices, SBOM, properties, symbols; declarations and headers that compile."""
import hashlib
import json
import pathlib
import re
import tempfile
import unittest
import xml.etree.ElementTree as xml

import jsonschema
import pefile

from packaged import CROSS, FOR_LINUX, NAME, ROOT, VERSION, PackageTest, run

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Wsign-conversion", "-Werror"]
COCLASS = "5"
# What a parameter's type is in the type library.
CSHARP = {
    "[MarshalAs(UnmanagedType.BStr)] string": "BSTR",
    "int": "long",
    "DateTime": "DATE",
    "IntPtr": "void*",
    "[MarshalAs(UnmanagedType.IUnknown)] out object": "out IUnknown**",
    "[MarshalAs(UnmanagedType.Interface)] out IEventElement": "out IEventElement**",
}


class Contents(PackageTest):
    def test_contents_are_those_that_are_listed(self):
        files = "".join(f"{path.relative_to(kit).as_posix()}\n" for kit in [self.kit["64"]]
                        for path in sorted(kit.rglob("*")) if path.is_file())
        self.assertEqual((ROOT / "tests/golden/package.txt").read_text(), files)
        kits = [{file.relative_to(kit).as_posix() for file in kit.rglob("*")} for kit in self.kit.values()]
        self.assertEqual(set(), kits[0] ^ kits[1])
        self.assertEqual({f"{NAME}-win64.zip", f"{NAME}-win32.zip", f"{NAME}-symbols.zip", f"{NAME}.msi",
                          f"varnel.{VERSION}.nupkg", "SHA256SUMS", *([f"{NAME}-linux-x86_64.tar.gz"] if FOR_LINUX else [])},
                         {file.name for file in self.dist.iterdir()})
        self.succeed("sha256sum", "--check", "--strict", "SHA256SUMS", folder=self.dist)

    def test_pages_lead_to_what_is_there(self):
        pages = list(self.folder.rglob("*.md"))
        self.assertLess(3 * 5, len(pages))
        for page in pages:
            for link in re.findall(r"\]\((?!https:)([^)#]+)[^)]*\)", page.read_text(encoding="utf-8")):
                self.assertTrue((page.parent / link).exists(), f"{page.name}: {link}")

    def packages(self):
        """Each folder with an SBOM, by a name for messages."""
        msi = self.folder / "msi"
        self.succeed("msiextract", "--directory", msi, self.dist / f"{NAME}.msi")
        yield from ((path.parent.name, path.parent) for path in sorted(self.folder.rglob("varnel.spdx.json")))

    def test_every_package_has_an_sbom_that_names_every_file(self):
        schema = jsonschema.Draft7Validator(json.loads((ROOT / "tests/package/spdx-2.3.schema.json").read_text()))
        packages = list(self.packages())
        self.assertEqual(7 if FOR_LINUX else 6, len(packages), packages)
        for name, folder in packages:
            with self.subTest(name):
                sbom = json.loads((folder / "varnel.spdx.json").read_text())
                self.assertEqual([], [error.message for error in schema.iter_errors(sbom)])
                stated = {entry["fileName"]: entry["checksums"][1]["checksumValue"] for entry in sbom["files"]}
                found = {f"./{file.relative_to(folder).as_posix()}": hashlib.sha256(file.read_bytes()).hexdigest()
                         for file in folder.rglob("*") if file.is_file() and file.name != "varnel.spdx.json"}
                self.assertEqual(found, stated)
                identifiers = [entry["SPDXID"] for entry in [sbom, *sbom["packages"], *sbom["files"]]]
                self.assertEqual(len(identifiers), len(set(identifiers)))
                for relation in sbom["relationships"]:
                    self.assertLessEqual({relation["spdxElementId"], relation["relatedSpdxElement"]}, set(identifiers))

    def test_notices_and_sbom_are_for_what_is_linked(self):
        runtime = {"GCC runtime libraries", "mingw-w64 runtime"}
        libraries = {"CLI11", "JSON for Modern C++", "toml++", "zlib"}
        linked = {"varnel.dll": runtime, "report_event.exe": runtime, "report_event_c.exe": runtime,
                  "varnel.exe": runtime | libraries,
                  "varnel": libraries | {"GCC runtime libraries", "GNU C Library", "Linux headers"}}
        for name, folder in self.packages():
            sbom = json.loads((folder / "varnel.spdx.json").read_text())
            names = {entry["SPDXID"]: pathlib.PurePath(entry.get("fileName", entry.get("name"))).name
                     for entry in sbom["files"] + sbom["packages"]}
            for file in (file for file in folder.rglob("*") if file.is_file() and file.name.removesuffix(".debug") in linked):
                relations = {names[relation["relatedSpdxElement"]] for relation in sbom["relationships"]
                             if names.get(relation["spdxElementId"]) == file.name}
                self.assertEqual(linked[file.name.removesuffix(".debug")], relations, f"{name}: {file.name}")
            headings = re.findall(r"^={120}\n(.*) \S+ \(.*\)\n", (folder / "NOTICES.txt").read_text(), re.M)
            self.assertEqual({entry["name"] for entry in sbom["packages"][1:]}, set(headings), name)
        for text in ("University of Cincinnati", "Niels Lohmann", "Jean-loup Gailly", "Mark Gillard", "GCC RUNTIME LIBRARY EXCEPTION", "the mingw-w64 project"):
            self.assertIn(text, (self.kit["64"] / "NOTICES.txt").read_text())

    def test_library_without_a_notice_fails_the_package(self):
        """A program is linked with an archive, or compiled with a header, of which no notice is known."""
        (self.folder / "own").mkdir()
        (self.folder / "own/odd.c").write_text("int odd(void) { return 3; }")
        (self.folder / "own/odd.h").write_text("int odd(void);")
        compiler = f"{CROSS['64']}-gcc-win32"
        self.succeed(compiler, "-c", "odd.c", folder=self.folder / "own")
        self.succeed(f"{CROSS['64']}-ar", "rc", "libodd.a", "odd.o", folder=self.folder / "own")
        for row, include, library, fault in (
                ("archive", "", "libodd.a", "libodd.a"), ("header", self.folder / "own/odd.h", "odd.o", "odd.h"),
                ("unknown licence", "/usr/src/googletest/googletest/include/gtest/gtest_prod.h", "", "googletest"), ("none", "", "", None)):
            with self.subTest(row), tempfile.TemporaryDirectory(dir=ROOT / "build") as place:
                build = pathlib.Path(place)
                (build / "main.c").write_text((f'#include "{include}"\n' if include else "int odd(void);\n") +
                                              f"int main(void) {{ return {'odd()' if library else 0}; }}")
                archive = self.folder / "own" / library if library else ""
                (build / "build.ninja").write_text(
                    f"rule cc\n command = {compiler} -MD -MF $out.d -c $in -o $out\n depfile = $out.d\n deps = gcc\n"
                    f"rule ld\n command = {compiler} -o $out $in {archive} -static -Wl,-Map=$out.map\n"
                    "build main.obj: cc main.c\nbuild bin/a.exe: ld main.obj\n")
                self.succeed("ninja", folder=build)
                status, output = run("./tools/linked_components.py", build)
                self.assertEqual(fault is None, status == 0, output)
                self.assertIn(fault or "mingw-w64 runtime", output)

    def test_nuget_package_is_laid_out_for_native_projects(self):
        root, spaces = self.folder / "nuget", {"n": "http://schemas.microsoft.com/developer/msbuild/2003"}
        nuspec = xml.parse(root / "varnel.nuspec").getroot()
        stated = {element.tag.rpartition("}")[2]: element.text for element in nuspec[0]}
        self.assertEqual(("varnel", VERSION), (stated["id"], stated["version"]))
        self.assertLessEqual({"authors", "description"}, set(stated))
        # What names the package's identifier is imported; each path in it exists for each platform.
        for name in ("props", "targets"):
            self.assertEqual("Project", xml.parse(root / f"build/native/varnel.{name}").getroot().tag.rpartition("}")[2])
        targets = xml.parse(root / "build/native/varnel.targets").getroot()
        folders = [element.text for element in targets.iterfind(".//n:VarnelFolder", spaces)]
        self.assertEqual(2, len(folders))
        text = (root / "build/native/varnel.targets").read_text()
        for folder in folders:
            place = root / "build/native" / folder.replace("$(MSBuildThisFileDirectory)", "").replace("\\", "/")
            for path in re.findall(r"\$\(VarnelFolder\)([\w.\\]+)", text):
                self.assertTrue((place / path.replace("\\", "/")).exists(), path)
            for path in ("include/varnel/varnel_contract.h", "lib/varnel.tlb", "lib/cmake/varnel/varnel-config.cmake"):
                self.assertTrue((place / path).is_file(), path)
        types = xml.parse(root / "[Content_Types].xml").getroot()
        known = {element.get("Extension") or element.get("PartName") for element in types}
        parts = [file for file in root.rglob("*") if file.is_file()]
        kinds = {file.name.rpartition(".")[2] if "." in file.name else f"/{file.relative_to(root).as_posix()}" for file in parts}
        self.assertLessEqual(kinds - {"xml"}, known)
        relation = xml.parse(root / "_rels/.rels").getroot()[0]
        self.assertTrue((root / relation.get("Target").lstrip("/")).is_file())

    @unittest.skipUnless(FOR_LINUX, "only the long form makes it")
    def test_program_for_linux_verifies_itself(self):
        folder = self.folder / f"{NAME}-linux-x86_64"
        self.assertIn(": all as packaged", self.succeed(folder / "bin/varnel", "verify", folder).replace(" files, all", ": all"))

    def test_properties_say_whose_files_these_are(self):
        cache = dict(re.findall(r"^(VARNEL_\w+):STRING=(.*)$", (ROOT / "build/mingw-x64/CMakeCache.txt").read_text(), re.M))
        for file in (file for kit in self.kit.values() for file in (kit / "bin").iterdir() if file.suffix in (".dll", ".exe")):
            texts = {name.decode(): value.decode() for table in pefile.PE(file).FileInfo[0] for entry in getattr(table, "StringTable", [])
                     for name, value in entry.entries.items()}
            self.assertEqual((cache["VARNEL_COMPANY"], cache["VARNEL_COPYRIGHT"], file.name, VERSION, VERSION),
                             tuple(texts[name] for name in ("CompanyName", "LegalCopyright", "OriginalFilename", "FileVersion", "ProductVersion")))
        properties = dict(line.split("\t") for line in self.succeed("msiinfo", "export", self.dist / f"{NAME}.msi", "Property").splitlines()[3:])
        self.assertEqual([cache["VARNEL_COMPANY"], cache["VARNEL_CONTACT"], cache["VARNEL_URL"]],
                         [properties[name].strip() for name in ("Manufacturer", "ARPCONTACT", "ARPHELPLINK")])

    def test_symbols_bear_the_build_identifier_of_their_program(self):
        def identifier(file):
            return re.search(r"RSDS signature (\w{32})", self.succeed("objdump", "-p", file)).group(1)
        builds = set()
        for symbols in (self.folder / f"{NAME}-symbols").rglob("*.debug"):
            program = self.kit[symbols.parent.name.removeprefix("win")] / "bin" / symbols.stem
            self.assertEqual(identifier(program), identifier(symbols), program)
            builds.add(identifier(symbols))
        self.assertEqual(3, len(builds))
        status, output = run("./scripts/symbolize", self.dist / f"{NAME}-symbols.zip", self.kit["64"] / "bin/report_event.exe", "10")
        self.assertNotEqual(0, status)
        self.assertIn("take the symbols of the same package", output)

    def test_symbols_are_those_of_the_library(self):
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
        test = self.folder / "Test.cs"
        test.write_text("using Varnel.Testing;\nclass Test {\nstatic void Run(string dll) {\n" + re.search(
            "```csharp\n(.*?)```", (self.kit["64"] / "docs/testing.md").read_text(), re.S).group(1) +
            "}\nstatic void ReportDetection(Varnel.OrbaEventInf report) {}\n}\n")
        self.succeed("mcs", "-warnaserror", "-warn:4", f"-out:{self.folder / 'report.exe'}", source, test,
                     self.kit["64"] / "samples/report_event.cs", self.kit["64"] / "interop/testing/VarnelAgent.cs")
        self.assertEqual(type_library_facts(), csharp_facts(source.read_text()))

    def test_csharp_agent_calls_what_the_header_declares(self):
        declared, called = (parameter_counts((self.kit["64"] / "interop/testing" / name).read_text())
                            for name in ("varnel_agent.h", "VarnelAgent.cs"))
        del declared["VarnelAgentLibraryPath"]  # for the other languages
        self.assertEqual(declared, called)


def parameter_counts(text):
    """The number of parameters of each function of varnel_agent.dll, from its declaration."""
    text = re.sub(r"\[MarshalAs\(.*?\)\] ", "", text.split("class Native")[-1])
    return {name: 0 if parameters in ("", "void") else parameters.count(",") + 1
            for name, parameters in re.findall(r"(VarnelAgent\w+)\(([^()]*)\);", text)}


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
