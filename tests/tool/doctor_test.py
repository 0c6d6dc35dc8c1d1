#!/usr/bin/python3
"""varnel doctor: each fault of doctor_faults.py is made and named, and what takes other programs, volumes or many files."""
import contextlib
import json
import os
import re
import shutil
import subprocess
import time
import unittest

from doctor_faults import BUILT, CLIENTS, DLLS, FAULTS, FILTER, FOLDER, HEALTHY, KEYS, OFF, WORKING, Fault, Typed
from tool import LIBRARY, PROGRAM, ToolTest
from wine import FACTS, ROOT

HOLD_MUTEX = BUILT / "hold_mutex.exe"
RIDDLES = re.compile("width|way is looked at|stack shows|DLL is another one|Pass every argument|Pass the full path")
DAY = 86_400


def literal(value):
    """As it stands in a registry file."""
    if value is OFF:
        return "-"
    if isinstance(value, Typed):
        return f"hex({value.kind:x}):" + ",".join(f"{byte:02x}" for byte in value.content)
    if isinstance(value, int):
        return f"dword:{value:08x}"
    return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'


def runs(faults):
    """The faults in groups that are made at once: a start of Wine for each would take minutes."""
    groups = []
    for fault in faults:
        for group in groups:
            if all(fault.fits(other) for other in group):
                group.append(fault)
                break
        else:
            groups.append([fault])
    return groups


def merged(settings):
    registry = {}
    for one in settings:
        for key, values in one.items():
            registry[key] = None if values is None else registry.get(key, {}) | values
    return registry


class Doctor(ToolTest):
    PREFIX = "tool_doctor"

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        (cls.prefix.drive / "varnel").mkdir()
        shutil.copy(LIBRARY, cls.prefix.drive / "varnel/64.dll")
        (cls.prefix.drive / "varnel/32.dll").write_bytes(DLLS["32-bit"])
        cls.prefix.run("regsvr32", "/s", r"C:\varnel\64.dll")
        # The machine trusts the authority of the clients.
        if cls.prefix.run(BUILT / "trust.exe", CLIENTS / "authority.cer")[0] != 0:
            raise RuntimeError("the authority cannot be trusted")

    def set_registry(self, settings):
        """As it is when all is well, with these differences."""
        lines = ["Windows Registry Editor Version 5.00", *(f"[-{key}]" for key in KEYS.values())]
        for name in HEALTHY | settings:
            if settings.get(name, {}) is None:
                continue
            lines.append(f"[{KEYS[name]}]")
            lines += [(f'"{value}"' if value else "@") + "=" + literal(text)
                      for value, text in (HEALTHY.get(name, {}) | settings.get(name, {})).items() if text is not OFF]
        file = self.prefix.drive / "settings.reg"
        file.write_text("\r\n".join([*lines, ""]), encoding="utf-16")
        self.assertEqual(0, self.prefix.run("reg", "import", r"C:\settings.reg")[0])
        file.unlink()

    @contextlib.contextmanager
    def broken(self, settings, files=(), modes=()):
        """The machine with these differences; files and folders that were made go again."""
        self.set_registry(settings)
        drive = self.prefix.drive
        with contextlib.ExitStack() as undo:
            for name, content in dict(files).items():
                made = [folder for folder in (drive / name).parents if not folder.exists()]
                for folder in reversed(made):
                    folder.mkdir()
                    undo.callback(shutil.rmtree, folder, ignore_errors=True)
                if content is FOLDER:
                    (drive / name).mkdir()
                    undo.callback((drive / name).rmdir)
                else:
                    (drive / name).write_bytes(content)
                    undo.callback((drive / name).unlink)
            for name, mode in dict(modes).items():
                undo.callback((drive / name).chmod, (drive / name).stat().st_mode)
                (drive / name).chmod(mode)
            yield

    def examine(self, *arguments):
        """The exit status, and the rows by their names."""
        status, output, errors = self.prefix.communicate(PROGRAM, "doctor", "--json", *arguments)
        self.assertTrue(output, errors)
        self.assertNotRegex(output, RIDDLES)
        return status, {check["check"]: check for check in json.loads(output)}

    def expect(self, faults, status, rows):
        """Each fault is named in its row; every other row is ok, and the status is that of the worst."""
        known = {row: state for fault in faults for row, state in {**fault.also, fault.row: fault.state}.items()}
        for fault in faults:
            with self.subTest(fault.name):
                row = rows.get(fault.row, {"state": "no row", "found": "", "remedy": ""})
                self.assertEqual(fault.state, row["state"], row)
                self.assertIn(fault.found, row["found"])
                self.assertIn(fault.remedy, row["remedy"])
        with self.subTest("other rows", faults=[fault.name for fault in faults]):
            self.assertEqual(known, known | {name: row["state"] for name, row in rows.items() if row["state"] != "ok"})
            worst = max([0, *(["ok", "warning", "failure"].index(row["state"]) for row in rows.values())])
            self.assertEqual(worst, status)

    def seed(self, row, state, found, remedy, **more):
        """What one run says of a fault that the test itself has made."""
        self.expect([Fault(self.id().rpartition(".")[2], row, state, found, remedy)], *self.examine(*more.get("arguments", ())))

    def test_each_fault_is_named(self):
        self.assertGreater(len(FAULTS), 100)
        for group in runs(FAULTS):
            files, modes = ({name: content for fault in group for name, content in getattr(fault, kind).items()} for kind in ("files", "modes"))
            with self.broken(merged(fault.registry for fault in group), files, modes):
                events = self.prefix.events()
                self.expect(group, *self.examine(*group[0].arguments))
                self.assertEqual(events, self.prefix.events())

    def test_what_works_is_ok(self):
        for name, settings, files in WORKING:
            with self.subTest(name), self.broken(settings, files):
                self.expect([], *self.examine())

    def mount(self, *options):
        volume = self.prefix.drive / "volume"
        volume.mkdir(exist_ok=True)
        if subprocess.run(["mount", "-t", "tmpfs", *options, "tmpfs", volume], stderr=subprocess.DEVNULL).returncode:
            self.skipTest("mounting is not permitted here")
        self.addCleanup(subprocess.run, ["umount", "-l", volume], check=True)
        (volume / "AgentEvents").mkdir()
        return volume

    def test_little_room(self):
        self.mount("-o", "size=2m")
        for limit, state, remedy in ((10_000_000, "failure", "Free some space on this disk."), (100_000, "warning", "before it is full")):
            with self.broken({"agent": {"Data Path": "C:\\volume\\", "Brenn Size": limit}}):
                self.seed("agent folder room", state, "2 MB are free", remedy)

    def test_read_only_volume(self):
        subprocess.run(["mount", "-o", "remount,ro", self.mount()], check=True)
        with self.broken({"agent": {"Data Path": "C:\\volume\\"}}):
            self.seed("agent folder", "failure", "is read-only", "writable")
            explained = json.loads(self.varnel("explain", "--json", "--software", "A", "--event", "1", "--severity", "1", status=1)[0])
            self.assertEqual("folder", explained["rules"][-1]["rule"])
            self.assertIn("read-only", explained["rules"][-1]["finding"])
            self.assertIn("writable", explained["result"]["remedy"])

    def test_backlog(self):
        folder = self.prefix.drive / "Agent/AgentEvents"
        whole = b"<?xml version='1.0'?>\r\n<A><B/></A>"
        self.addCleanup(lambda: [file.unlink() for file in folder.iterdir()])
        with self.broken({}):
            def waiting(files):
                for file in folder.iterdir():
                    file.unlink()
                for name, (content, age) in files.items():
                    (folder / name).write_bytes(content)
                    os.utime(folder / name, (time.time() - age,) * 2)
            waiting({"1.xml": (whole, 600), "2.xml": (b"", 1)})
            self.seed("agent folder backlog", "ok", "2 files, the oldest 10 minutes old", "")
            self.seed("agent folder backlog", "warning", "not collected", "agent's service runs", arguments=("--backlog-files", "2"))
            self.seed("agent folder backlog", "warning", "not collected", "agent's service runs", arguments=("--backlog-minutes", "10"))
            waiting({"1.xml": (whole, 9 * DAY), "2.xml": (whole, 5)})
            self.seed("agent folder backlog", "warning", "2 files, the oldest 9 days old", "agent's service runs")
            waiting({"1.xml": (whole, 120), "2.xml": (b"", 120), "3.xml": (whole[:-4], 120), "4.xml": (b"<A/>", 120), "5.xml": (b"<A><B></B>", 90)})
            self.seed("agent folder backlog", "warning", "3 not finished, for example ", "Move unfinished files away")
            waiting({f"{number}.xml": (whole if number else b"", 600) for number in range(1500)})
            self.seed("agent folder backlog", "warning", "1500 files, the oldest 10 minutes old: they are not collected, or too slowly; 1 not "
                      "finished", "Move unfinished")

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
            status, rows = self.examine()
            self.expect([], status, rows)
            for row, found in (("64-bit class", f"C:\\varnel\\64.dll, version {FACTS.version}.0"), ("server folder", "C:\\Server; it does not exist"),
                               ("agent folder", "C:\\Agent\\AgentEvents, for this product's reports"), ("agent folder backlog", "1 file, the oldest 0 minutes old"),
                               ("event filter", "C:\\Agent\\data\\EvtFiltr.ini disables 1, 2, -3")):
                self.assertIn(found, rows[row]["found"])
            self.assertEqual(changed, folder.stat().st_mtime_ns)
            self.assertNotIn("\x1b", lines)
            lines, _ = self.varnel("doctor", "--write")  # with an event that is not disabled
            self.assertIn("  written to C:\\Agent\\AgentEvents\\2", lines)
            self.assertEqual(before, self.snapshot())

    def test_trial_report_is_made_with_what_products_get(self):
        with self.broken({"64": None, "32": None}):
            found = self.examine("--write")[1]["trial report"]
            self.assertEqual("failure", found["state"])
            self.assertIn("0x80040154 REGDB_E_CLASSNOTREG", found["found"])
            found = self.examine("--write", "--dll", "Z:" + str(LIBRARY))[1]["trial report"]
            self.assertEqual("ok", found["state"])
            self.assertRegex(found["found"], r"written to C:\\Agent\\AgentEvents\\\d+\w+\.xml by Z:.*varnel\.dll, chosen by --dll, and removed")
            self.assertEqual([], self.prefix.events())
        with self.broken({}):
            self.assertEqual("ok", self.examine("--write", "--software", 'a" b\\')[1]["trial report"]["state"])
        with self.broken({}, {FILTER: b"DisabledEvent=" + b"".join(b"%d;" % number for number in range(1, 300_000))}):
            self.assertEqual("ok", self.examine("--write")[1]["trial report"]["state"])
        with self.broken({}, {"hang.dll": DLLS["hostile"]}):
            self.assertIn("not saved within 1 second,", self.examine("--write", "--dll", r"C:\hang.dll", "--timeout", "1")[1]["trial report"]["found"])

    def test_lines_say_what_json_says(self):
        with self.broken({"agent": {"AgentMode": 0}, "type": None}):
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
        holders = {}
        for way in ("abandon", "event", "hold"):
            holders[way] = self.start(HOLD_MUTEX, way)
            holders[way].stdout.readline()
            if way == "abandon":
                self.seed("save mutex", "warning", "free, but a program has ended", "has crashed")
                self.expect([], *self.examine())  # it was given back
            elif way == "event":
                self.seed("save mutex", "warning", "uses the name ORBAEVTINFMUTEX for another object", "End that program")
            else:
                self.expect([Fault("held", "save mutex", "failure", "has held it for two seconds", "End the program that hangs", also={
                    "trial report": "failure"})], *self.examine("--write"))
                explained = json.loads(self.varnel("explain", "--json", "--software", "A", "--event", "1", "--severity", "1", status=1)[0])
                self.assertTrue(explained["waits"])
                self.assertIn("held by another program", explained["rules"][-3]["finding"])
                self.assertIn("End the program", explained["result"]["remedy"])
            holders[way].communicate()


if __name__ == "__main__":
    unittest.main()
