#!/usr/bin/python3
"""The bindings for C++, C, Rust and Go against each other: one conversation with the library, what they take for a text and
a name, misuse, samples, leaks. The compilers are Debian's; nothing is downloaded.

VARNEL_X86_ROOT names a 32-bit Debian with Wine: the conversation is then had by 32-bit programs in there as well.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from wine import AGENT, ROOT, Prefix  # noqa: E402 (it is in a folder of its own)

HERE = ROOT / "tests/bindings"
OUT = ROOT / "build/bindings"
KEYS = r"HKLM\SOFTWARE\Wow6432Node\Kestrane"
X86_ROOT = os.environ.get("VARNEL_X86_ROOT")
REPORTS = 100_000
# Go makes threads when it finds others in a call of Windows, and keeps them; a leak would be thousands of handles.
THREADS_OF_GO = 16
# In bytes: Rust's memory is all from the process's heap. Go's own is in units of megabytes, but a lost text is more.
LEAK = {"rust": 1 << 16, "go": 1 << 21}
RUST_TARGET = "x86_64-pc-windows-gnu"
ENVIRONMENT = dict(
    os.environ, GOOS="windows", CGO_ENABLED="0", GOPROXY="off", GOFLAGS="-mod=mod -trimpath", GOTOOLCHAIN="local",
    GOCACHE=str(OUT / "go-cache"), GOPATH=str(OUT / "go-path"), CARGO_HOME=str(OUT / "cargo"), RUSTC="/usr/bin/rustc",
    RUSTFLAGS="-D warnings", CARGO_TARGET_X86_64_PC_WINDOWS_GNU_LINKER="x86_64-w64-mingw32-gcc-posix")
# What the misuse of each language answers; what both have comes first.
MISUSE = """
    save without the machine: 0x8007139F
    the machine: 0x00000000
    the machine twice: 0x800700B7
    save without an event: 0x800710D2
    a zero in a value: 0x80070459
    a zero in a name: 0x80070459
    a control character: 0x80070459
    a lone surrogate: 0x80070459
    a repaired surrogate: 0x00000000
    a zero in the software identifier: 0x80070459
    no name: 0x8007007B
    a namespace: 0x8007007B
    a colon: 0x8007007B
    a blank: 0x8007007B
    a name of 10,000 characters: 0x00000000
    a name of 10,001 characters: 0x8007007B
    a reserved child: 0x80071392
    a reserved child of an event: 0x80071392
    the same beside it: 0x00000000
    a reserved sibling: 0x80071392
    a reserved attribute: 0x80071392
    a reserved fact: 0x80071392
    a reserved element: 0x80071392
    event 0: 0x80070057
    a time in the year 50: 0x8007076D
    a time in the year 20000: 0x8007076D
    a child on level 256: 0x800700D7
    a sibling on level 255: 0x00000000
    a relative path: 0x800700A1
    a zero in the path: 0x800700A1
    a path without a file: 0x8007007E
    a file that is no DLL: 0x800700C1
    a DLL without classes: 0x8007007F
    a DLL with other classes: 0x8007007F
    a report on a thread of another apartment: 0x00000000
    a loaded report on another thread: 0x00000000
    a report back from that thread: 0x00000000
    a report that was made there: 0x00000000
    the registered class: 0x00000000
    close: 0x00000000
    the DLL by its path: loaded true, then false
    the registered DLL: loaded true, then false
"""
MISUSE_OF_GO = """
    8 goroutines at once: 0x00000000
    close twice: 0x80070006
    a closed report: 0x80070006
    an event of a closed report: 0x80070006
    a closed report's element: 0x80070006
    a child of a closed report's element: 0x80070006
    an element of no report: 0x80070006
    no report: 0x80070006
    close the library: 0x00000000
    close the library twice: 0x80040007
    a report of a closed library: 0x80040007
    an open report of a closed library: 0x00000000
    a report of no library: 0x80040007
"""


def run(*command, folder=ROOT, **environment):
    """The exit status, and all that was printed."""
    done = subprocess.run([str(word) for word in command], cwd=folder, env=ENVIRONMENT | environment, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout


def must(*command, **more):
    status, output = run(*command, **more)
    if status != 0:
        raise AssertionError(f"{command}: status {status}\n{output}")
    return output


def rustc(*arguments):
    return run("/usr/bin/rustc", "--edition", "2021", "--target", RUST_TARGET, "-D", "warnings", *arguments)


class Width:
    """The programs of one width, where they run, and what they load."""

    def __init__(self, bits, tools, goarch, prefix):
        self.prefix = prefix
        self.folder = OUT / f"win{bits}"
        self.folder.mkdir(parents=True, exist_ok=True)
        self.tools, self.goarch = tools, goarch
        self.build = ROOT / f"build/mingw-x{'64' if bits == 64 else '86'}"
        self.library = "Z:" + str(self.build / "bin/varnel.dll").replace("/", "\\")

    def compile(self):
        include = ["-I", ROOT / "include", "-I", self.build / "contract", "-Wall", "-Wextra", "-Werror", "-O1", "-static"]
        libraries = ["-lole32", "-loleaut32", "-luuid"]
        must(f"{self.tools}-g++-posix", "-std=c++17", *include, HERE / "talk.cpp", "-o", self.folder / "cpp.exe", *libraries)
        must(f"{self.tools}-gcc-posix", "-std=c99", *include, HERE / "talk.c", "-o", self.folder / "c.exe", *libraries)
        self.go(HERE / "go", ".", "go.exe")
        programs = ["cpp", "c", "go"]
        if self.goarch == "amd64": # Debian has the standard library of Rust for 64-bit Windows only
            self.cargo("tests/bindings/rust", "talk.exe", "rust.exe", "--release")
            programs.append("rust")
        self.programs = {name: self.folder / f"{name}.exe" for name in programs}

    def go(self, folder, source, name):
        must("/usr/bin/go", "build", "-o", self.folder / name, source, folder=folder, GOARCH=self.goarch)

    def cargo(self, package, made, name, *arguments):
        """In a copy: Cargo writes beside what it builds."""
        tree = OUT / "tree"
        shutil.rmtree(tree, ignore_errors=True)
        for part in ("interop/rust", "samples", "tests/bindings/rust"):
            shutil.copytree(ROOT / part, tree / part)
        must("/usr/bin/cargo", "build", "--offline", "--target", RUST_TARGET, "--target-dir", OUT / "rust", *arguments,
             folder=tree / package)
        profile = OUT / "rust" / RUST_TARGET / ("release" if "--release" in arguments else "debug")
        shutil.copy2(profile / made, self.folder / name)

    def run(self, *command):
        status, output = self.prefix.run(*map(str, command))
        if status != 0:
            raise AssertionError(f"{command}: status {status}\n{output}")
        return output

    def set_value(self, key, name, value, kind="REG_SZ"):
        if value is None:
            self.prefix.run("reg", "delete", key, "/v", name, "/f")
        else:
            self.run("reg", "add", key, "/v", name, "/t", kind, "/d", value, "/f")

    def set_up(self, part):
        """The settings of a part of the conversation, and no events."""
        self.set_value(AGENT, "AgentMode", "0" if part == "unmanaged" else "1", "REG_DWORD")
        self.set_value(AGENT, "Brenn Size", "600" if part == "small" else None, "REG_DWORD")
        self.set_value(AGENT, "Data Path", None if part == "folderless" else "C:\\Agent\\")
        self.set_value(KEYS + r"\Orbacon\EventParser", "EventsPath", "C:\\no\\Server" if part == "folderless" else "C:\\Server")
        for file in self.prefix.events():
            file.unlink()

    def saved(self):
        """Where each event file is and how its name ends, and its bytes; the names' beginnings are made up."""
        return sorted((file.parent.name, file.suffix, file.read_bytes()) for file in self.prefix.events())


class ChrootPrefix(Prefix):
    """In the 32-bit system, which this process has mounted what it needs."""

    def __init__(self, root, name):
        self.root = pathlib.Path(root)
        self.folder = self.root / "wine" / name
        for command in (["--remove"], ["cmd", "/c", "exit"]):
            status, output = self.run(*command)
            if status != 0:
                raise RuntimeError(f"{self.folder}: {output}")

    def __exit__(self, *_):
        self.run("--stop")

    def run(self, *command, folder=ROOT):
        script = f"cd '{folder}' && exec ./scripts/wine-run \"$@\""
        environment = {"WINEPREFIX": f"/wine/{self.folder.name}", "PATH": "/usr/bin:/bin", "HOME": "/root", "TZ": "EST5"}
        done = subprocess.run(["/usr/sbin/chroot", self.root, "/bin/sh", "-c", script, "sh", *command], env=environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
        return done.returncode, done.stdout.decode(errors="replace").replace("\r", "")


class Bindings(unittest.TestCase):
    maxDiff = 2000

    @classmethod
    def setUpClass(cls):
        environment = dict(os.environ, TZ="EST5")
        prefix = cls.enterClassContext(Prefix("bindings", environment))
        cls.wide = Width(64, "x86_64-w64-mingw32", "amd64", prefix)
        cls.widths = [cls.wide]
        if X86_ROOT:
            narrow = cls.enterClassContext(ChrootPrefix(X86_ROOT, "bindings"))
            cls.widths.append(Width(32, "i686-w64-mingw32", "386", narrow))
        for width in cls.widths:
            width.compile()
            width.prefix.set_up_agent()
            (width.prefix.drive / "Agent/data").mkdir()
            (width.prefix.drive / "Agent/data/EvtFiltr.ini").write_text("DisabledEvent=1001;-7;")
            width.set_value(KEYS + r"\Orbacon", "LogLevel", "1", "REG_DWORD") # no line on standard output
            width.run("regsvr32", "/s", width.library)

    def test_conversation_has_the_same_results_and_bytes_in_each_language(self):
        lines = (HERE / "conversation.txt").read_text(encoding="utf-8").split("\n")
        parts, expected = [], {}
        for number, line in enumerate(lines, 1):
            if line.startswith("["):
                parts.append(line[1:-1])
                expected[parts[-1]] = {}
            elif line.startswith("= "):
                expected[parts[-1]][number - 1] = line[2:]
            elif line and not line.startswith("#"):
                expected[parts[-1]][number] = "0x00000000"
        self.assertLessEqual(300, sum(map(len, expected.values())))
        had = 0
        for width in self.widths:
            for part in parts:
                answers = "".join(f"{number} {result}\n" for number, result in expected[part].items())
                files = None
                for name, program in width.programs.items():
                    for origin in ("registered", width.library):
                        with self.subTest(language=name, part=part, origin=origin):
                            width.set_up(part)
                            output = width.run(program, "talk", HERE / "conversation.txt", part, origin)
                            self.assertEqual(answers, output)
                            saved = width.saved()
                            files = files or saved
                            self.assertEqual(files, saved)
                            had += 1
                self.assertEqual({"managed": 19, "small": 1, "unmanaged": 1, "folderless": 0}[part], len(files))
                for file in width.prefix.events():
                    self.assertEqual(0, run("xmllint", "--noout", "--relaxng", ROOT / "schema/event-document.rng", file)[0])
        print(f"figures: {sum(map(len, expected.values()))} calls, {had} conversations in parts:",
              ", ".join(f"{width.folder.name} {' '.join(width.programs)}" for width in self.widths))

    def test_each_character_is_the_same_to_texts_and_names(self):
        classes = self.wide.run(self.wide.programs["cpp"], "characters")
        self.assertIn("61-7A s", classes)
        for name in ("rust", "go"):
            self.assertEqual(classes, self.wide.run(self.wide.programs[name], "characters"), name)

    def test_misuse_is_answered(self):
        self.wide.set_up("managed")
        for name, cases in (("rust", MISUSE), ("go", MISUSE + MISUSE_OF_GO)):
            answers = self.wide.run(self.wide.programs[name], "misuse", self.wide.library)
            self.assertEqual(sorted(line.strip() for line in cases.split("\n") if line), sorted(answers.splitlines()), name)

    def test_what_the_rust_compiler_refuses(self):
        source = HERE / "rust/refused.rs"
        crate = self.wide.folder / "libvarnel.rlib"
        status, output = rustc("--crate-type", "rlib", "--crate-name", "varnel", "-o", crate, ROOT / "interop/rust/src/lib.rs")
        self.assertEqual(0, status, output)
        cases = re.findall(r"#\[cfg\((\w+)\)\] // (E\d+)", source.read_text())
        self.assertEqual(5, len(cases))
        compiled = ["--emit", "metadata", "--extern", f"varnel={crate}", "-o", self.wide.folder / "refused.rmeta", source]
        self.assertEqual((0, ""), rustc(*compiled))
        for case, error in cases:
            status, output = rustc("--cfg", case, *compiled)
            self.assertEqual((1, {error}), (status, set(re.findall(r"^error\[(E\d+)\]", output, re.M))), f"{case}\n{output}")

    def test_samples_report_what_the_sample_for_cpp_reports(self):
        must("./scripts/build", "mingw-x64", "report_event")
        self.wide.cargo("interop/rust", "examples/report_event.exe", "sample_rust.exe", "--example", "report_event")
        self.wide.go(ROOT / "samples", "report_event.go", "sample_go.exe")
        reported = []
        for sample in (self.wide.build / "bin/report_event.exe", self.wide.folder / "sample_rust.exe", self.wide.folder / "sample_go.exe"):
            self.wide.set_up("managed")
            self.assertEqual("", self.wide.run(sample))
            reported.append([(folder, re.sub(rb"<GMTTime>[-0-9T:]{19}<", b"<GMTTime><", text)) for folder, _, text in self.wide.saved()])
        self.assertEqual(["AgentEvents", "Server"], [folder for folder, _ in reported[0]])
        self.assertEqual(reported[0], reported[1])
        self.assertEqual(reported[0], reported[2])
        # A sample that cannot report says why.
        self.wide.set_up("folderless")
        for sample in ("sample_rust.exe", "sample_go.exe"):
            status, output = self.wide.prefix.run(str(self.wide.folder / sample))
            self.assertEqual(1, status)
            self.assertRegex(output, r"^[Ss]ave: the event file could not be created or written \(0xFFFFFFD7\)\. Make sure that")

    def test_nothing_leaks(self):
        self.wide.set_up("unmanaged")
        for name, threads in (("rust", 0), ("go", THREADS_OF_GO)):
            for origin, reports in ((self.wide.library, REPORTS), ("registered", REPORTS // 10)):
                output = must(ROOT / "scripts/wine-run", self.wide.programs[name], "leaks", reports, origin,
                              WINEPREFIX=str(self.wide.prefix.folder))
                print(f"figures: {name}, {reports} reports, {origin[-10:]}: {output.strip()}")
                handles, handles_after, private, private_after = map(int, re.findall(r"\d+", output))
                self.assertTrue(0 < handles < 1000 and private > 0, "no figures")
                self.assertLessEqual(handles_after - handles, threads, name)
                self.assertLess(private_after - private, LEAK[name], name)

    def test_sources_are_laid_out_and_vetted(self):
        rust = [path for folder in ("interop/rust/src", "tests/bindings/rust", "samples") for path in (ROOT / folder).glob("*.rs")]
        self.assertEqual((0, ""), run("/usr/bin/rustfmt", "--edition", "2021", "--check", *rust))
        folders = ["interop/go", "tests/bindings/go", "samples"]
        self.assertEqual((0, ""), run("/usr/bin/gofmt", "-l", "-d", *folders))
        for folder in folders:
            for goarch in ("amd64", "386"):
                self.assertEqual((0, ""), run("/usr/bin/go", "vet", ".", folder=ROOT / folder, GOARCH=goarch))


if __name__ == "__main__":
    unittest.main(verbosity=2)
