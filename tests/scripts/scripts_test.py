#!/usr/bin/python3
"""The scripts: what they refuse to remove or overwrite, which compilers the build refuses, and that a test program which
shows nothing has failed."""
import os
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
RUN_GTEST = ROOT / "tests/support/run_gtest.sh"


class Scripts(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def foreign(self, path):
        """A file of a person's, below the test's folder."""
        path = self.folder / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("mine")
        return path

    def run_script(self, *command, **environment):
        done = subprocess.run([str(word) for word in command], cwd=ROOT, env=dict(os.environ, **environment), text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300)
        return done.returncode, done.stdout

    def refuse(self, words, *command, **environment):
        before = sorted((path, path.is_file() and path.read_text()) for path in self.folder.rglob("*"))
        status, output = self.run_script(*command, **environment)
        self.assertNotEqual(0, status)
        self.assertIn(words, output)
        self.assertEqual(1, len(output.splitlines()), output)
        self.assertEqual(before, sorted((path, path.is_file() and path.read_text()) for path in self.folder.rglob("*")))

    def test_prefixes_of_others_are_left_alone(self):
        remedy = "set WINEPREFIX to a new folder, or remove that one yourself"
        # A prefix, one with a file of a name that we use, a file in the place of one, and what is beside it as "base".
        for path, arguments in (("wine/system.reg", ["cmd"]), ("wine/system.reg", ["--remove"]), ("wine/.ready", ["cmd"]),
                                ("wine", ["cmd"]), ("wine", ["--remove"]), ("base/notes.txt", ["cmd"])):
            with self.subTest(path=path, arguments=arguments), tempfile.TemporaryDirectory() as folder:
                self.folder = pathlib.Path(folder)
                self.foreign(path)
                self.refuse(remedy, "scripts/wine-run", *arguments, WINEPREFIX=f"{folder}/wine")

    def test_prefixes_of_ours_are_removed_and_nothing_beside_them(self):
        beside = self.foreign("beside/file")
        ours = self.foreign("p/.made-by-wine-run").parent
        self.foreign("p/drive_c/a file/b")
        (ours / "link").symlink_to(self.folder / "beside")
        self.assertEqual((0, ""), self.run_script("scripts/wine-run", "--remove", WINEPREFIX=str(ours)))
        self.assertEqual([".made-by-wine-run"], [path.name for path in ours.iterdir()])
        self.assertEqual("mine", beside.read_text())

    def test_files_of_others_are_not_packaged_over(self):
        self.foreign("SHA256SUMS")
        self.refuse("name another folder, or remove it", "scripts/package", self.folder)

    def test_helpers_of_the_tests_keep_what_is_there(self):
        self.foreign("clients/thesis.odt")
        self.refuse("exists", "tests/machine/sign_clients.sh", self.folder / "clients", "a", "b", "c")
        self.foreign("wine/dosdevices/s:")
        self.refuse("was not made by this script", "tests/machine/small_volume.sh", self.folder / "volume", "true",
                    WINEPREFIX=str(self.folder / "wine"))

    def test_a_test_program_has_to_say_that_it_passed(self):
        passed = "echo '[  PASSED  ] 3 tests.'"
        for program, has_passed in ((passed, True), (f"echo x >&2; {passed}", True), ("exit 0", False), (f"{passed}; exit 3", False),
                                    (f"{passed}; kill -9 $$", False), ("echo '[  PASSED  ] 0 tests.'", False),
                                    ("echo '[ RUN      ] A.Test'", False)):
            with self.subTest(program):
                self.assertEqual(has_passed, self.run_script(RUN_GTEST, "sh", "-c", program)[0] == 0)

    def test_a_compiler_whose_runtime_would_end_the_host_is_refused(self):
        compile_runtime = ["-std=c++20", "-fsyntax-only", "-I", "src", "src/runtime/compiler_runtime.cpp"]
        status, output = self.run_script("x86_64-w64-mingw32-g++-posix", *compile_runtime)
        self.assertNotEqual(0, status)
        self.assertIn("needs the win32 thread model: x86_64-w64-mingw32-g++-win32", output)
        for words in (["x86_64-w64-mingw32-g++-win32"], ["x86_64-w64-mingw32-g++-posix", "-DVARNEL_CHECKED"]):
            self.assertEqual((0, ""), self.run_script(*words, *compile_runtime))


if __name__ == "__main__":
    unittest.main()
