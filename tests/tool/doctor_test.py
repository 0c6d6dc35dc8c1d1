#!/usr/bin/python3
"""varnel doctor: each row breaks one thing and says what is found then."""
import contextlib
import json
import re
import shutil
import subprocess
import time
import unittest

from tool import LIBRARY, PROGRAM, ToolTest
from wine import FACTS, ROOT

BUILT = ROOT / "build/mingw-x64-tests/tests"
HOLD_MUTEX = BUILT / "hold_mutex.exe"
CLIENTS = BUILT / "clients"
CLASS = next(entry.guid for entry in FACTS.classes if entry.name == "OrbaEventInf")
KEYS = {name: "HKEY_LOCAL_MACHINE\\SOFTWARE\\" + path for name, path in {
    "agent": r"Wow6432Node\Kestrane\QRN\Shared Components\Framework", "log": r"Wow6432Node\Kestrane\Orbacon",
    "parser": r"Wow6432Node\Kestrane\Orbacon\EventParser", "type": rf"Classes\TypeLib\{FACTS.guid}\1.0\0\win64",
    "64": rf"Classes\CLSID\{CLASS}\InprocServer32", "32": rf"Classes\Wow6432Node\CLSID\{CLASS}\InprocServer32"}.items()}
HEALTHY = {"agent": {"AgentMode": 1, "Data Path": "C:\\Agent\\"}, "log": {}, "parser": {"EventsPath": r"C:\Server"},
           "64": {"": r"C:\varnel\64.dll"}, "32": {"": r"C:\varnel\32.dll"}, "type": {"": r"C:\varnel\64.dll"}}
SERVER = ["--software", "ORBASRVR_3500"]
OFF = "which is not there"  # a key without that value
FILTER = "Agent/data/EvtFiltr.ini"


def path(file):
    return "Z:" + str(file).replace("/", "\\")


class Expanded:
    """A text with variables."""

    def __init__(self, text):
        self.text = text


def literal(value):
    """As it stands in a registry file; bytes are a value of 64 bits."""
    if value is OFF:
        return "-"
    if isinstance(value, Expanded):
        return "hex(2):" + ",".join(f"{byte:02x}" for byte in value.text.encode("utf-16-le") + b"\0\0")
    if isinstance(value, int):
        return f"dword:{value:08x}"
    if isinstance(value, bytes):
        return "hex(b):" + ",".join(f"{byte:02x}" for byte in value)
    return '"' + value.replace("\\", "\\\\") + '"'


def patched(library, machine=0x14C, version=None):
    """A 64-bit DLL whose header says that it is of another kind."""
    content = bytearray(library)
    header = int.from_bytes(content[0x3C:0x40], "little")
    content[header + 4:header + 6] = machine.to_bytes(2, "little")
    if version:
        at = content.index(bytes.fromhex("bd04effe")) + 8
        content[at:at + 4] = version.to_bytes(4, "little")
    return bytes(content)


# What is set in the registry (None: the key is missing), files that are there, what is found, and other arguments. Faults
# that have nothing to do with each other share a row.
ROWS = (
    ({"64": None, "type": None}, {}, {"64-bit class": "warning: not registered", "type library": "warning: not registered"}, []),
    ({"64": {"": 1}}, {}, {"64-bit class": "failure: the key names no file"}, []),
    ({"64": {"": "varnel.dll"}}, {}, {"64-bit class": "failure: varnel.dll: the path is not a full one"}, []),
    ({"64": {"": r"C:\gone.dll"}}, {}, {"64-bit class": "failure: C:\\gone.dll: the file is not there"}, []),
    ({"64": {"": r"C:\varnel\32.dll"}}, {}, {"64-bit class": "failure: C:\\varnel\\32.dll: a DLL for programs of another width"}, []),
    ({"64": {"": Expanded("C:\\" + "x" * 1500)}}, {}, {"64-bit class": "failure: the key names no file"}, []),
    ({"64": {"": Expanded("C:\\" + "%windir%" * 120)}}, {}, {"64-bit class": "failure: the key names no file"}, []),
    ({"64": {"": Expanded(r"%SystemDrive%\varnel\64.dll")}}, {}, {}, []),
    ({"64": {"": r"C:\text.dll"}}, {"text.dll": b"MZ"}, {"64-bit class": "failure: C:\\text.dll: not a DLL"}, []),
    ({"64": {"": r"C:\windows\system32\msimg32.dll"}}, {}, {"64-bit class": "failure: C:\\windows\\system32\\msimg32.dll: "
                                                            "the DLL is another one"}, []),
    ({"32": None, "type": {"": r"C:\gone.dll"}}, {}, {"32-bit class": "warning: not registered",
                                                     "type library": "warning: C:\\gone.dll: not there"}, []),
    ({"32": {"": r"C:\varnel\64.dll"}}, {}, {"32-bit class": "failure: C:\\varnel\\64.dll: a DLL for programs of another width"}, []),
    ({"32": {"": r"C:\other.dll"}}, {"other.dll": patched(LIBRARY.read_bytes(), version=0x20003)},
     {"versions": "warning: 64-bit products get version "
                  f"{FACTS.version}.0, 32-bit products 2.3.0.0"}, []),
    ({"64": None, "32": None}, {}, {"registration": "warning: there is none, and "}, []),
    ({"agent": None}, {}, {"agent": "failure: no agent has set anything", "agent folder": 'failure: "Data Path" is not set'}, []),
    ({"agent": {"AgentMode": 0}}, {}, {"managed": "failure: no server manages the agent",
                                       "trial report": "failure: Save succeeded, and no file"}, ["--write"]),
    ({"agent": {"Data Path": OFF}}, {}, {"agent folder": 'failure: "Data Path" is not set'}, []),
    ({"agent": {"Data Path": "C:\\" + "x" * 257, "SelfProtectionClient": "client.dll"}}, {},
     {"agent folder": 'failure: "Data Path" is not set, or longer',
      "self-protection": "failure: client.dll is refused, and no exception asked for: its path is not a full one"}, []),
    ({"agent": {"Data Path": OFF}}, {}, {"agent folder": "ok: \"Data Path\" is not set, and this"}, SERVER),
    ({"agent": {"Data Path": r"C:\Agent"}}, {}, {"agent folder": "failure: reports go to C:\\AgentAgentEvents: "
                                                 '"Data Path" does not end in a backslash'}, []),
    ({"agent": {"Data Path": "Agent\\"}}, {}, {"agent folder": "failure: Agent\\AgentEvents: not a full path"}, []),
    ({"agent": {"Data Path": "C:\\gone\\"}}, {}, {"agent folder": "failure: C:\\gone\\AgentEvents: not there",
                                                  "trial report": "failure: not saved: the event file could not"}, ["--write"]),
    ({"agent": {"Data Path": "C:\\gone\\"}}, {}, {"agent folder": "warning: C:\\gone\\AgentEvents: not there"}, SERVER),
    ({"agent": {"Data Path": "C:\\taken\\"}}, {"taken/AgentEvents": b""},
     {"agent folder": "failure: C:\\taken\\AgentEvents: not a folder"}, []),
    ({"agent": {"Data Path": "C:\\\x1b[31mred\\"}}, {}, {"agent folder": "failure: C:\\\\u{1b}[31mred\\AgentEvents"}, []),
    ({"parser": {"EventsPath": OFF}}, {}, {"server folder": 'ok: "EventsPath" is not set'}, []),
    ({"parser": {"EventsPath": OFF}}, {}, {"server folder": 'failure: "EventsPath" is not set'}, SERVER),
    ({"parser": {"EventsPath": r"C:\a\b"}, "agent": {"SelfProtectionClient": r"C:\gone.dll"}}, {},
     {"server folder": "warning: C:\\a\\b: not there", "self-protection": "warning: C:\\gone.dll is not there"}, []),
    ({"parser": {"EventsPath": "C:\\Server\\"}}, {}, {}, SERVER),
    ({"parser": {"EventsPath": r"C:\a\b"}}, {}, {"server folder": "failure: C:\\a\\b: not there"}, SERVER),
    ({}, {FILTER: b"DisabledEvent=1001;0;"}, {"event filter": "failure: C:\\Agent\\data\\EvtFiltr.ini disables 1001, 0, with 0 "}, []),
    ({}, {FILTER: b"DisabledEvent=" + b"".join(b"%d;" % number for number in range(1, 300_000))},
     {"trial report": "ok: written to .*"}, ["--write"]),
    ({}, {FILTER: b"DisabledEvent=1;\r\n2;" + b"7;" * 21 + b"\r\n"},
     {"event filter": "warning: C:\\Agent\\data\\EvtFiltr.ini disables 1" + ", 7" * 19 +
                      ' and 2 more; matches no event: "\\u{d}\\u{a}2"'}, []),
    ({"agent": {"Data Path": "C:\\\u65e5\\"}}, {"\u65e5/data/EvtFiltr.ini": b"x", "\u65e5/AgentEvents/x": b""},
     {"event filter": "warning: C:\\\u65e5\\data\\EvtFiltr.ini cannot be read"}, []),
    ({"agent": {"Brenn Size": 5000}, "log": {"LogLevel": 9, "LogDetailList": "a;" * 15 + "b"}}, {},
     {"size limit": "warning: reports stay below 5000 bytes",
      "log settings": "warning: level 8, files of 10 MB; cannot be used as they are: LogLevel, LogDetailList"}, []),
    ({"agent": {"Brenn Size": bytes(8), "AgPlcyEnableEventTrigger": "yes"},
      "log": {"LogLevel": "7", "LogSize": 0, "LogHiRes": bytes(8), "LogFlags": "x" * 40, "LogDetailList": "x;" * 200}}, {},
     {"size limit": "warning: reports stay below 8912896 bytes; no number, so it does not count: Brenn Size",
      "trigger policy": "warning: off",
      "log settings": "warning: level 7, files of 1 MB; cannot be used as they are: LogLevel, LogSize, LogHiRes, LogFlags, "
                      "LogDetailList"}, []),
    ({"agent": {"AgPlcyEnableEventTrigger": "1", "AgPlcyEventTriggerThreshold": "3"},
      "log": {"LogLevel": 8, "LogSize": 20, "LogHiRes": 1, "LogFlags": "U", "LogDetailList": "Quorvel;netif_w"}}, {},
     {"trigger policy": "ok: files with an event of severity 3 ",
      "log settings": "ok: level 8, files of 20 MB, milliseconds, account names"}, []),
    ({"agent": {"SelfProtectionClient": path(CLIENTS / "of_other_publisher.dll")}}, {}, {"self-protection": "ok: .* is trusted"}, []),
    ({"agent": {"SelfProtectionClient": path(CLIENTS / "of_other_publisher.dll")}, "64": {"": path(CLIENTS / "varnel_signed.dll")}},
     {}, {"self-protection": "failure: .*: its publisher is not this library's"}, []),
)


class Doctor(ToolTest):
    PREFIX = "tool_doctor"

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        (cls.prefix.drive / "varnel").mkdir()
        shutil.copy(LIBRARY, cls.prefix.drive / "varnel/64.dll")
        (cls.prefix.drive / "varnel/32.dll").write_bytes(patched(LIBRARY.read_bytes()))
        cls.prefix.run("regsvr32", "/s", r"C:\varnel\64.dll")
        cls.prefix.run("reg", "add", rf"HKLM\SOFTWARE\Classes\CLSID\{CLASS}\InprocServer32", "/ve", "/d", r"C:\varnel\32.dll", "/f",
                       "/reg:32")
        # The machine trusts the authority of the clients.
        if cls.prefix.run(BUILT / "trust.exe", CLIENTS / "authority.cer")[0] != 0:
            raise RuntimeError("the authority cannot be trusted")

    def set_registry(self, settings):
        """As it is when all is well, with these differences."""
        lines = ["Windows Registry Editor Version 5.00", *(f"[-{key}]" for key in KEYS.values())]
        for name, values in HEALTHY.items():
            if settings.get(name, {}) is None:
                continue
            lines.append(f"[{KEYS[name]}]")
            lines += [(f'"{value}"' if value else "@") + "=" + literal(text)
                      for value, text in (values | settings.get(name, {})).items() if text is not OFF]
        file = self.prefix.drive / "settings.reg"
        file.write_text("\r\n".join([*lines, ""]), encoding="utf-16")
        self.assertEqual(0, self.prefix.run("reg", "import", r"C:\settings.reg")[0])
        file.unlink()

    @contextlib.contextmanager
    def broken(self, settings, files):
        self.set_registry(settings)
        for name, content in files.items():
            (self.prefix.drive / name).parent.mkdir(parents=True, exist_ok=True)
            (self.prefix.drive / name).write_bytes(content)
        try:
            yield
        finally:
            for name in files:
                (self.prefix.drive / name).unlink()

    def examine(self, *arguments, program=PROGRAM):
        """The exit status, and "state: what was found" of each check."""
        status, output, errors = self.prefix.communicate(program, "doctor", "--json", *arguments)
        return status, {check["check"]: f"{check['state']}: {check['found']}" for check in json.loads(output)}

    def expect(self, expected, status, found):
        """These checks say that; every other is ok, and the status is that of the worst."""
        for name, text in expected.items():
            self.assertIn(name, found)
            self.assertRegex(found[name], "^" + (text if ".*" in text else re.escape(text)))
        self.assertEqual({}, {name: text for name, text in found.items() if name not in expected and text[:4] != "ok: "})
        states = {text.partition(":")[0] for text in found.values()}
        self.assertEqual(2 if "failure" in states else 1 if "warning" in states else 0, status)

    def test_each_fault_is_found(self):
        for settings, files, expected, arguments in ROWS:
            with self.subTest(settings=settings, files=list(files), arguments=arguments), self.broken(settings, files):
                events = self.prefix.events()
                self.expect(expected, *self.examine(*arguments))
                self.assertEqual(events, self.prefix.events())

    def test_without_a_library_beside_it(self):
        shutil.copy(PROGRAM, self.prefix.drive / "alone.exe")
        with self.broken({"64": None, "32": None, "type": None}, {}):
            self.expect({"registration": "failure: there is none"}, *self.examine(program=r"C:\alone.exe"))

    def test_little_room(self):
        volume = self.prefix.drive / "small"
        volume.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m", "tmpfs", volume], stderr=subprocess.DEVNULL).returncode:
            self.skipTest("mounting is not permitted here")
        self.addCleanup(subprocess.run, ["umount", "-l", volume], check=True)
        (volume / "AgentEvents").mkdir()
        for limit, state in ((10_000_000, "failure"), (100_000, "warning")):
            with self.broken({"agent": {"Data Path": "C:\\small\\", "Brenn Size": limit}}, {}):
                self.expect({"agent folder room": f"{state}: 2 MB are free"}, *self.examine())

    def snapshot(self):
        """The keys that a program of ours might write to, and all files outside of the system's folder."""
        keys = [self.prefix.run("reg", "query", key, "/s") for key in (r"HKLM\Software\Wow6432Node\Kestrane", r"HKCU\Software")]
        tops = [top for top in self.prefix.drive.iterdir() if top.name != "windows"]
        return keys, {file: file.is_file() and file.read_bytes() for top in tops for file in [top, *top.rglob("*")]}

    def test_healthy_and_nothing_is_written(self):
        with self.broken({}, {"Agent/AgentEvents/of_others.xml": b"<a/>", FILTER: b"DisabledEvent=1;2;-3;"}):
            before = self.snapshot()
            folder = self.prefix.drive / "Agent/AgentEvents"
            changed = folder.stat().st_mtime_ns
            lines, _ = self.varnel("doctor")
            self.expect({"64-bit class": f"ok: C:\\varnel\\64.dll, version {FACTS.version}.0",
                         "server folder": "ok: C:\\Server; it is not there",
                         "agent folder": "ok: C:\\Agent\\AgentEvents, where", "save mutex": "ok: ",
                         "event filter": "ok: C:\\Agent\\data\\EvtFiltr.ini disables 1, 2, -3"}, *self.examine())
            self.assertEqual(changed, folder.stat().st_mtime_ns)
            self.assertNotIn("\x1b", lines)
            lines, _ = self.varnel("doctor", "--write")  # with an event that is not disabled
            self.assertIn("  written to C:\\Agent\\AgentEvents\\2", lines)
            self.assertEqual(before, self.snapshot())

    def test_lines_say_what_json_says(self):
        with self.broken({"agent": {"AgentMode": 0}, "type": None}, {}):
            lines, listed = (re.sub(r"\d+ MB", "1 MB", self.varnel("doctor", *arguments, status=2)[0])  # other programs take room, too
                             for arguments in ([], ["--json"]))
        checks = json.loads(listed)
        width = max(len(check["check"]) for check in checks)
        said = [". ".join(filter(None, (check["found"], check["remedy"]))) for check in checks]
        self.assertEqual([f"{check['state']:7}  {check['check']:{width}}  {words}" for check, words in zip(checks, said)],
                         lines.splitlines())
        self.assertEqual({"ok": False, "warning": True, "failure": True},
                         {check["state"]: bool(check["remedy"]) for check in checks})

    def start(self, *command):
        process = subprocess.Popen([ROOT / "scripts/wine-run", *command], env=self.prefix.environment, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(process.communicate)
        return process

    def test_save_mutex(self):
        self.set_registry({})
        abandoned = self.start(HOLD_MUTEX, "abandon")
        abandoned.stdout.readline()
        self.expect({"save mutex": "warning: free, but a program has ended"}, *self.examine())
        start = time.monotonic()
        self.expect({}, *self.examine())  # it was given back
        usual = time.monotonic() - start
        abandoned.communicate()
        holder = self.start(HOLD_MUTEX)
        holder.stdout.readline()
        self.expect({"save mutex": "failure: somebody has held it", "trial report": "failure: not tried"}, *self.examine("--write"))
        # Both save when the mutex comes free: the trial is told from what others save meanwhile.
        doctor = self.start(PROGRAM, "doctor", "--json", "--write")
        other = self.start(PROGRAM, "send")
        time.sleep(3 + usual)  # longer than the first look at the mutex, and not so long as both
        holder.communicate()
        output, _ = doctor.communicate()
        other.communicate()
        found = {check["check"]: f"{check['state']}: {check['found']}" for check in json.loads(output)}
        self.expect({"save mutex": "failure: somebody has held it"}, doctor.returncode, found)
        (event,) = self.prefix.events()
        self.assertIn("<Tried>", event.read_text())
        event.unlink()


if __name__ == "__main__":
    unittest.main()
