#!/usr/bin/python3
"""Uses the packages as those do who get them: builds against them, starts its programs, reads a crash, signs."""
import re
import shutil
import subprocess
import unittest
import zipfile

from packaged import CROSS, ENVIRONMENT, NAME, PACKAGE, ROOT, VERSION, PackageTest, run


class Packages(PackageTest):
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

    def build_samples(self, width="64", package="64"):
        """With an older C++, which the package's target has to raise."""
        build = self.folder / f"samples-{width}-{package}"
        return build, run("cmake", "-G", "Ninja", "-S", self.kit[package] / "samples", "-B", build, "-DCMAKE_CXX_STANDARD=14",
                          "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_C_COMPILER={CROSS[width]}-gcc-posix",
                          f"-DCMAKE_CXX_COMPILER={CROSS[width]}-g++-posix", f"-DCMAKE_PREFIX_PATH={self.kit[package]}")

    @unittest.skipUnless("VARNEL_SOAK" in ENVIRONMENT, "builds everything a second time: part of scripts/soak")
    def test_same_sources_in_another_folder_give_the_same_bytes(self):
        copy = self.copy_sources()
        self.succeed("./scripts/package", "there", folder=copy)
        self.assertEqual((self.dist / "SHA256SUMS").read_text(), (copy / "there/SHA256SUMS").read_text())

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
        self.succeed("cmake", "--build", build, "--target", "all", "varnel_agent")
        prefix = self.prefix("bare")
        prefix.set_up_agent()
        status, output = prefix.run(build / "bin/report_event.exe")
        self.assertEqual(1, status)
        self.assertIn("run regsvr32 on the 64-bit varnel.dll for 64-bit programs", output)
        self.assertEqual(0, prefix.run(build / "bin/report_event_side_by_side.exe")[0])
        self.expect_reports(2, prefix)
        status, output = prefix.run(build / "bin/scanner_reports_test.exe", f"Z:{self.kit['64']}/bin/varnel.dll")
        self.assertEqual(0, status, output)
        self.expect_reports(2, prefix)

    def test_product_starts_where_no_compiler_is(self):
        """A product's own CMake project, and its program alone in an empty folder."""
        product, place = self.folder / "product", self.folder / "empty"
        product.mkdir()
        place.mkdir()
        (product / "CMakeLists.txt").write_text("cmake_minimum_required(VERSION 3.16)\nproject(product LANGUAGES CXX)\n"
                                                "find_package(varnel CONFIG REQUIRED)\nadd_executable(product main.cpp)\n"
                                                "target_link_libraries(product PRIVATE varnel::varnel)\n")
        shutil.copy(self.kit["64"] / "samples/report_event.cpp", product / "main.cpp")
        prefix = self.prefix("product")
        prefix.set_up_agent()
        self.assertEqual((0, ""), prefix.run("regsvr32", "/s", self.kit["64"] / "bin/varnel.dll"))
        self.succeed("cmake", "-G", "Ninja", "-S", product, "-B", product / "build", "-DCMAKE_SYSTEM_NAME=Windows",
                     f"-DCMAKE_CXX_COMPILER={CROSS['64']}-g++-posix", f"-DCMAKE_PREFIX_PATH={self.kit['64']}")
        self.succeed("cmake", "--build", product / "build")
        shutil.copy(product / "build/product.exe", place)
        status, output = prefix.run(place / "product.exe", folder=place)
        self.assertEqual(0, status, output)
        self.expect_reports(2, prefix)

    def test_side_by_side_wants_its_exact_version(self):
        build, (status, output) = self.build_samples()
        self.assertEqual(0, status, output)
        self.succeed("cmake", "--build", build, "--target", "report_event_side_by_side")
        manifest = build / "bin/varnel.sxs.manifest"
        manifest.write_text(manifest.read_text().replace(f'version="{VERSION}.0"', 'version="99.0.0.0"'))
        status, output = self.prefix("exact").run(build / "bin/report_event_side_by_side.exe")
        self.assertNotEqual(0, status, output)

    def test_packages_are_as_packaged(self):
        prefix, program = self.prefix("verified"), self.kit["64"] / "bin/varnel.exe"
        for name in ("win64", "win32", "symbols"):
            status, output = prefix.run(program, "verify", f"Z:{self.dist}/{NAME}-{name}.zip")
            self.assertEqual(0, status, output)
            self.assertIn(f"{NAME}-{name}.zip: ", output)
        status, output = prefix.run(program, "verify", f"Z:{self.kit['32']}")
        self.assertEqual(0, status, output)
        self.assertIn("bin/varnel.dll: is not signed", output)

    def test_crash_address_becomes_function_and_line(self):
        """rundll32 calls DllGetClassObject with a window handle, which is no class identifier."""
        prefix, library = self.prefix("crash"), self.kit["64"] / "bin/varnel.dll"
        prefix.environment["WINEDEBUG"] = "-all,trace+seh,trace+loaddll"
        _, output = prefix.run("rundll32", f"Z:{library},DllGetClassObject")
        start = int(re.search(r"varnel\.dll\\?\"* at ([0-9A-Fa-f]+)", output).group(1), 16)
        address = int(re.search(r"code=c0000005 .*addr=(?:0x)?([0-9A-Fa-f]+)", output).group(1), 16)
        symbolize = ["python3", self.folder / f"{NAME}-symbols/symbolize", self.dist / f"{NAME}-symbols.zip"]
        self.assertRegex(self.succeed(*symbolize, library, hex(address - start)),
                         r"(?m)^0x\w+  varnel::GetClassObject\(.*  src/com/class_table\.cpp:\d+$")
        build = re.search(r"build (\w{32})", prefix.run(self.kit["64"] / "bin/varnel.exe", "--version")[1]).group(1)
        self.assertIn("1000  ", self.succeed(*symbolize, build, "1000"))

    def test_package_of_the_other_width_is_refused(self):
        _, (status, output) = self.build_samples("64", "32")
        self.assertNotEqual(0, status)
        self.assertIn(f"{VERSION} (32bit)", output)

    def test_everything_that_runs_is_signed(self):
        certificate, key, signed = self.folder / "signer.pem", self.folder / "signer.key", self.folder / "signed"
        self.succeed("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Throw-away",
                     "-addext", "extendedKeyUsage=codeSigning", "-keyout", key, "-out", certificate)
        self.succeed(*PACKAGE, "--sign", certificate, key, signed)
        for width in CROSS:
            with zipfile.ZipFile(signed / f"{NAME}-win{width}.zip") as package:
                package.extractall(signed)
        self.succeed("msiextract", "--directory", signed, signed / f"{NAME}.msi")
        programs = [file for file in signed.rglob("*") if file.suffix in (".dll", ".exe", ".msi")]
        self.assertEqual(4 + 4 + 3 + 1, len(programs))
        for file in programs:
            self.succeed("osslsigncode", "verify", "-CAfile", certificate, "-in", file)
        status, _ = run("osslsigncode", "verify", "-CAfile", certificate, "-in", self.dist / f"{NAME}.msi")
        self.assertNotEqual(0, status, "this one is not signed")
        # A key of another certificate: a clear word, and what was there stays.
        self.succeed("openssl", "genrsa", "-out", key, "2048")
        sums = (signed / "SHA256SUMS").read_bytes()
        status, output = run(*PACKAGE, "--sign", certificate, key, signed)
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


if __name__ == "__main__":
    unittest.main()
