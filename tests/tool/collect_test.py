#!/usr/bin/python3
"""varnel collect: each event file is in one segment, once, whatever happens to the program and to the file."""
import array
import collections
import hashlib
import json
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import threading
import time
import unittest
import uuid

from tool import NATIVE, ROOT, ToolTest, identifiers, natively, windows_only

LONG = "VARNEL_SOAK" in os.environ
REPORT = (ROOT / "tests/schema/report.xml").read_text(encoding="utf-8")
KILLS = 200 if LONG else 10
# (seconds until an agent deletes a finished file, files)
VANISHING = ((0, 200), (0.001, 200), (0.01, 100), (0.1, 20)) if LONG else ((0, 40), (0.001, 40), (0.01, 30), (0.1, 5))


def report(number):
    return REPORT.replace("on access", f"scan {number}").encode()


def name_of(number):
    return f"20240307100503{number:09}118.xml"


def names_in(ids):
    """The event files of these identifiers, and how many of their events there are."""
    return collections.Counter(re.fullmatch(r"[^/]+/(.*)#\d+-[0-9a-f]{16}", text)[1] for text in ids)


class Collect(ToolTest):
    PREFIX = "tool_collect"

    def collect(self, folder, *options, status=0):
        return self.varnel("collect", self.path(folder), "--to", self.path(folder + "-to"), "--once", *options, status=status)[1]

    def start(self, folder, *options, **streams):
        program = self.launch("collect", self.path(folder), "--to", self.path(folder + "-to"), *options, **{"stderr": subprocess.PIPE, **streams})
        if program.stderr:
            self.addCleanup(program.stderr.close)
        self.addCleanup(self.kill, program)
        return program

    def kill(self, program):
        program.kill()
        program.wait(20)

    def receipts(self, folder):
        """The receipts of all closed segments, after a comparison of each with its segment."""
        to = self.drive / (folder + "-to")
        found = []
        for segment in sorted(to.glob("*.jsonl")):
            receipt = json.loads(segment.with_suffix(".json").read_text())
            content = segment.read_bytes()
            lines = content.split(b"\n")
            self.assertEqual(b"", lines.pop(), segment)
            ids = [json.loads(line)["event"]["id"] for line in lines]
            self.assertEqual({"segment": segment.name, "lines": len(lines), "sha256": hashlib.sha256(content).hexdigest(), "ids": ids,
                              "digests": [hashlib.sha256(line).hexdigest()[:16] for line in lines],
                              "first": ids[0] if ids else None, "last": ids[-1] if ids else None},
                             {key: receipt.get(key) for key in ("segment", "lines", "sha256", "ids", "digests", "first", "last")})
            self.assertRegex(receipt["opened"] + receipt["closed"], r"^(20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z){2}$")
            self.assertLessEqual(receipt["opened"], receipt["closed"])
            found.append(receipt)
        return found

    def taken(self, folder):
        return [text for receipt in self.receipts(folder) for text in receipt["ids"]]

    def vanished(self, folder):
        return [re.split(r"[\\/]", path)[-1] for receipt in self.receipts(folder) for path in receipt["vanished"]]

    def wait(self, condition, program, what):
        end = time.monotonic() + 60
        while not condition():
            self.assertIsNone(program.poll(), what)
            self.assertLess(time.monotonic(), end, what)
            time.sleep(0.02)

    def test_each_file_once_at_every_run(self):
        folder = self.folder("once", {name_of(i): report(i) for i in range(5)})
        self.folder("other", {"b.xml": report(9)})
        expected = [text for i in range(5) for text in identifiers(name_of(i), report(i), 2)]

        def after(what, *new, segments):
            self.varnel("collect", self.path("once"), self.path("other"), "--to", self.path("once-to"), "--once")
            expected.extend(text for name, content in new for text in identifiers(name, content, 2))
            self.assertEqual(expected, self.taken("once"), what)
            self.assertEqual(segments, [receipt["files"] for receipt in self.receipts("once")], what)

        after("the first run", ("b.xml", report(9)), segments=[6])
        after("nothing new", segments=[6])
        os.utime(folder / name_of(0))
        after("touched only", segments=[6])
        (folder / name_of(1)).write_bytes(report(100))
        (folder / "new.xml").write_bytes(report(101))
        os.utime(folder / "new.xml", (1, 1))
        after("a new one, and another one of the same name", ("new.xml", report(101)), (name_of(1), report(100)), segments=[6, 2])
        (folder / name_of(2)).unlink()
        after("deleted after it was taken", segments=[6, 2])
        (folder / name_of(2)).write_bytes(report(102))
        after("its name again", (name_of(2), report(102)), segments=[6, 2, 1])
        for file in (self.drive / "once-to").glob("0*"):
            file.unlink()
        expected.clear()
        (folder / "last.xml").write_bytes(report(7))
        after("segments that a shipper has taken", ("last.xml", report(7)), segments=[1])
        self.assertTrue((self.drive / "once-to/00000004.jsonl").exists())

    @natively
    def test_segments_are_closed_by_size_between_two_files(self):
        self.folder("sized", {name_of(i): report(i) for i in range(10)})
        self.collect("sized", "--segment", "5KB")
        self.assertEqual([3, 3, 3, 1], [receipt["files"] for receipt in self.receipts("sized")])
        self.assertEqual({name_of(i): 2 for i in range(10)}, names_in(self.taken("sized")))

    def test_lines_are_those_of_show(self):
        self.folder("same", {"a.xml": report(1), "b.xml": report(2), "many.xml": report(3).replace(b"</Second>", b"</Second>" + b"<E><EventID>1</EventID></E>" * 500)})
        self.collect("same")
        shown, _ = self.varnel("show", "--json", self.path("same"))
        self.assertEqual(shown, "".join(file.read_text() for file in sorted((self.drive / "same-to").glob("*.jsonl"))))
        self.assertEqual(506, len(self.taken("same")))

    @natively
    def test_other_files_are_named_once(self):
        files = {"picture.png": b"\x89PNG\n", "settings.xml": "<Settings/>", "dtd.xml": '<!DOCTYPE Root [<!ENTITY a "b">]>' + REPORT,
                 "esc.xml": b"<a>\x1b[2J</a>", "old.xml": REPORT[:300]}
        why = ("not XML", "not an event document", "a document type; event documents have none", "a control character, which XML does not allow",
               "not finished: the end is missing")
        folder = self.folder("mixed", {**files, "right.xml": report(1)})
        (folder / "young.xml").write_text(REPORT[:500])
        errors = self.collect("mixed", status=1)
        expected = [{"file": self.path("mixed/" + name), "why": text} for name, text in zip(files, why)]
        self.assertEqual([f"varnel: {entry['file']}: {entry['why']}" for entry in expected], errors.splitlines())
        receipt, = self.receipts("mixed")
        self.assertEqual((1, 5, expected), (receipt["files"], receipt["passed_over_total"], receipt["passed_over"]))
        self.assertEqual("", self.collect("mixed"))
        for name in ("old.xml", "young.xml"):
            (folder / name).write_bytes(report(2))
        self.assertEqual("", self.collect("mixed"))
        self.assertEqual({"right.xml": 2, "old.xml": 2, "young.xml": 2}, names_in(self.taken("mixed")))

    def test_no_file_of_an_agent_is_lost_in_silence(self):
        folder = self.folder("agent", {"first.xml": report(0)})
        program = self.start("agent", "--every", "200ms")
        self.wait(lambda: self.taken("agent"), program, "watching")
        written = []
        for delay, count in VANISHING:
            for _ in range(count):
                written.append(name_of(len(written)))
                (folder / written[-1]).write_bytes(report(len(written)))
                if delay:
                    time.sleep(delay)
                (folder / written[-1]).unlink()
        (folder / "renamed.tmp").write_bytes(REPORT[:500].encode())
        (folder / "renamed.tmp").rename(folder / "half.xml")
        (folder / "half.xml").write_bytes(report(0))
        (folder / "last.xml").write_bytes(report(0))
        self.wait(lambda: {"half.xml", "last.xml"} <= names_in(self.taken("agent")).keys(), program, "the last files")
        self.kill(program)
        taken, vanished = names_in(self.taken("agent")), self.vanished("agent")
        self.assertEqual(0, sum(receipt["notices_lost"] for receipt in self.receipts("agent")))
        self.assertEqual({2}, set(taken.values()))
        self.assertEqual(collections.Counter(["first.xml", *written, "half.xml", "last.xml"]), collections.Counter(taken.keys()) + collections.Counter(vanished))
        self.assertEqual(sorted(vanished), sorted(re.findall(r"([^\\/]+): vanished", program.stderr.read().decode())))
        for delay, count in VANISHING:
            names, written = written[:count], written[count:]
            print(f"figures: deleted after {1000 * delay:g} ms: {sum(name in taken for name in names)} of {count} taken, the others named")

    @natively
    def test_lost_notices_and_another_folder_of_the_same_path(self):
        folder = self.folder("storm", {"first.xml": report(0)})
        program = self.start("storm", "--every", "100ms", stderr=subprocess.DEVNULL)
        self.wait(lambda: self.taken("storm"), program, "watching")
        program.send_signal(signal.SIGSTOP)
        for number in range(int(pathlib.Path("/proc/sys/fs/inotify/max_queued_events").read_text()) // 2 + 1):
            (folder / str(number)).touch()
            (folder / str(number)).unlink()
        folder.rename(folder.with_name("storm-before"))
        folder.mkdir()
        (folder / "a.xml").write_bytes(report(1))
        program.send_signal(signal.SIGCONT)
        self.wait(lambda: "a.xml" in names_in(self.taken("storm")), program, "the new folder")
        (folder / "b.xml").write_bytes(report(2))
        (folder / "b.xml").unlink()
        self.wait(lambda: "b.xml" in names_in(self.taken("storm")) or "b.xml" in self.vanished("storm"), program, "the new folder's second file")
        self.assertLess(0, sum(receipt["notices_lost"] for receipt in self.receipts("storm")))

    @natively
    def test_names_of_any_bytes(self):
        folder = os.fsencode(self.folder("bytes", {}))
        for name in (b"%41.xml", b"a b.xml", b"\n\".xml", b"\xff\xc3.xml", "\u00e9\U0001f600.xml".encode(), b"\\\",\"id\":\"x.xml"):
            with open(folder + b"/" + name, "wb") as file:
                file.write(report(1))
        self.collect("bytes")
        self.collect("bytes")
        self.assertEqual({2}, set(collections.Counter(text.split("#")[0] for text in self.taken("bytes")).values()))
        self.assertEqual(12, len(set(self.taken("bytes"))))

    @windows_only
    def test_another_spelling_of_the_folder(self):
        self.folder("Spelled", {"a.xml": report(1)})
        self.collect("Spelled")
        self.varnel("collect", self.path("SPELLED") + "\\.", "--to", self.path("Spelled-to"), "--once")
        self.assertEqual({"a.xml": 2}, names_in(self.taken("Spelled")))

    def test_identifiers_of_a_fleet_differ(self):
        endpoints, batch, events = (10_000, 100, 1_000) if LONG and not NATIVE else (20, 10, 20)
        event = b"<E><EventID>1</EventID><GMTTime>2024-03-07T09:05:03</GMTTime></E>"
        content = REPORT.encode().replace(b"</Second>", b"</Second>" + event * (events - 2))
        hashes = array.array("q")
        for first in range(0, endpoints, batch):
            folders = []
            for number in range(first, first + batch):
                # Every second endpoint has no GUID, and every file the same name.
                guid = f"{{{uuid.UUID(int=number)}}}" if number % 2 else ""
                folders.append(self.folder(f"fleet-{number}", {}))
                text = content.replace(b"{A}", guid.encode()).replace(b"PC1", b"PC%d" % number)
                (folders[-1] / "a.xml").write_bytes(text)
            self.varnel("collect", *(self.path(folder.name) for folder in folders), "--to", self.path("fleet-to"), "--once")
            hashes.extend(hash(text) for text in self.taken("fleet"))
            for used in (*folders, self.drive / "fleet-to"):
                shutil.rmtree(used)
        self.assertEqual(endpoints * events, len(hashes))
        ordered = sorted(hashes)
        self.assertFalse(any(one == other for one, other in zip(ordered, ordered[1:])))
        print(f"figures: {endpoints} endpoints, {len(hashes)} identifiers, no two alike")

    def test_killed_at_random_moments(self):
        folder, other = self.folder("killed", {}), self.folder("killed-new", {})
        written, done = [], threading.Event()

        def write():
            while not done.wait(0.001):
                (other / "new").write_bytes(report(len(written)))
                (other / "new").rename(folder / name_of(len(written)))
                written.append(name_of(len(written)))

        writer = threading.Thread(target=write)
        writer.start()
        try:
            position = self.drive / "killed-to/collect.position"
            for number in range(KILLS):
                before = position.stat().st_mtime_ns if position.exists() else 0
                program = self.start("killed", "--segment", "20KB", "--every", "50ms")
                if number % 5:  # else at any moment of its start
                    self.wait(lambda: position.exists() and position.stat().st_mtime_ns != before, program, "taking files")
                time.sleep(random.uniform(0, 0.2))
                self.assertIsNone(program.poll())
                self.kill(program)
        finally:
            done.set()
            writer.join()
        self.collect("killed")
        self.assertEqual(collections.Counter({name: 2 for name in written}), names_in(self.taken("killed")))
        print(f"figures: {KILLS} kills, {len(written)} event files in {len(self.receipts('killed'))} segments, each event once")

    def open_segment(self, folder, count):
        """Kills a collector that has taken that many files; its segment is open."""
        self.folder(folder, {name_of(i): report(i) for i in range(count)})
        program = self.start(folder, "--every", "1h")
        position = self.drive / (folder + "-to/collect.position")
        self.wait(lambda: position.exists() and position.read_bytes().count(b"\nt ") == count, program, "taken")
        self.kill(program)
        return position.parent

    def test_any_end_of_the_position_and_of_the_open_segment(self):
        to = self.open_segment("torn", 4)
        position, part = ((to / name).read_bytes() for name in ("collect.position", "00000001.part"))
        guarded = position.index(b"\ns ") + 1
        ends = [guarded + found.end() for found in re.finditer(b"\n", position[guarded:])]
        lines = [found.end() for found in re.finditer(b"\n", part)]
        cuts = [(end - early, line - short) for end in ends[1:] for line in [0, *lines] for early in (0, 9) for short in (0, 1) if line or not short]
        for end, length in cuts if LONG else random.sample(cuts, 20 if NATIVE else 4):
            with self.subTest(position=end, segment=length):
                shutil.rmtree(to)
                to.mkdir()
                (to / "collect.position").write_bytes(position[:end])
                (to / "00000001.part").write_bytes(part[:length])
                self.collect("torn")
                self.assertEqual({name_of(i): 2 for i in range(4)}, names_in(self.taken("torn")))

    def test_ends_between_two_steps_of_closing(self):
        to = self.open_segment("steps", 3)
        before = (to / "collect.position").read_bytes()
        self.collect("steps")
        after, expected = (to / "collect.position").read_bytes(), self.taken("steps")
        self.assertEqual({name_of(i): 2 for i in range(3)}, names_in(expected))
        for what, content in (("before the position is written", before), ("before the segment is renamed", after)):
            with self.subTest(what):
                (to / "00000001.jsonl").rename(to / "00000001.part")
                (to / "collect.position").write_bytes(content)
                (to / "collect.position.new").write_bytes(b"cut")
                self.collect("steps")
                self.assertEqual(expected, self.taken("steps"))
                self.assertFalse((to / "00000001.part").exists())

    def test_events_of_files_that_were_deleted_after_a_kill(self):
        to = self.open_segment("gone", 3)
        for i in (0, 1):
            (self.drive / "gone" / name_of(i)).unlink()
        lines = (to / "00000001.part").read_bytes().splitlines(True)
        (to / "00000001.part").write_bytes(b"".join(lines[:3]))  # the second file's record has not all of its lines
        self.collect("gone", status=1)
        self.assertEqual(({name_of(0): 2, name_of(2): 2}, [name_of(1)]), (names_in(self.taken("gone")), self.vanished("gone")))

    @natively
    def test_damage_is_refused(self):
        to = self.open_segment("damaged", 2)
        self.collect("damaged")
        position = (to / "collect.position").read_bytes()
        for what, content in (("a byte", position.replace(b"f 116", b"f 117", 1)), ("the end", position[:-1]), ("all", b""), ("the header", position[1:])):
            with self.subTest(what):
                (to / "collect.position").write_bytes(content)
                self.assertRegex(self.collect("damaged", status=2), "collect.position has been damaged; delete it to start again: ")
                self.assertEqual(content, (to / "collect.position").read_bytes())
        (to / "collect.position").unlink()
        (to / "00000009.part").write_bytes(b"mine")
        self.assertIn("collect.position beside it is missing", self.collect("damaged", status=2))
        self.assertEqual(b"mine", (to / "00000009.part").read_bytes())
        (to / "00000009.part").unlink()
        self.collect("damaged")
        self.assertEqual({name_of(i): 4 for i in range(2)}, names_in(self.taken("damaged")))

    def test_one_collector_and_a_folder_of_its_own(self):
        folder = self.folder("shared", {"a.xml": report(1)})
        program = self.start("shared", "--every", "100ms")
        self.wait((self.drive / "shared-to/00000001.jsonl").exists, program, "the first segment")
        self.assertIn("in use by another varnel collect; stop it", self.collect("shared", status=2))
        self.kill(program)
        self.assertEqual("", self.collect("shared"))
        for arguments, words in (([self.path("shared"), "--to", self.path("shared")], "--to names an event folder"),
                                 ([self.path("shared/a.xml"), "--to", self.path("x")], "is a file"),
                                 ([self.path("shared"), "--to", self.path("no/folder")], "cannot be written"),
                                 ([self.path("missing"), "--to", self.path("x"), "--once"], "missing")):
            self.assertIn(words, self.varnel("collect", *arguments, status=2)[1])
        self.assertEqual(["a.xml"], os.listdir(folder))

    @natively
    def test_segments_that_nobody_takes(self):
        folder = self.folder("kept", {name_of(i): report(i) for i in range(20)})
        program = self.start("kept", "--every", "100ms", "--segment", "4KB", "--max-disk", "20KB")
        to = self.drive / "kept-to"
        for segments in (3, 6):
            lines = [program.stderr.readline().decode() for _ in range(1 if segments == 3 else 2)]
            self.assertRegex(lines[-1], "--max-disk allows; no event file is taken until some are moved away")
            taken = names_in(self.taken("kept"))
            self.assertTrue(0 < len(taken) < 20, taken)
            self.assertLess(sum(file.stat().st_size for file in to.glob("0*")), 24_000)
            for segment in [*to.glob("0*.jsonl")]:  # a receipt without a segment may be of one that is being closed
                segment.unlink()
                segment.with_suffix(".json").unlink()
            (folder / "late.xml").write_bytes(report(99))
        self.kill(program)

    @natively
    def test_full_disk(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (9_000, 9_000))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

        self.folder("full", {name_of(i): report(i) for i in range(20)})
        program = self.start("full", "--once", preexec_fn=limit)
        self.assertRegex(program.communicate(timeout=60)[1].decode(), r"\Avarnel: .*full-to/ cannot be written: .*nothing is taken until it can be\n\Z")
        self.assertEqual(2, program.returncode)
        self.assertLess(len(names_in(self.taken("full"))), 20)
        self.collect("full")
        self.assertEqual({name_of(i): 2 for i in range(20)}, names_in(self.taken("full")))


if __name__ == "__main__":
    unittest.main()
