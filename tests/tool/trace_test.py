#!/usr/bin/python3
"""varnel trace: what it prints, what it leaves, and who may read."""
import json
import os
import pty
import re
import subprocess
import time
import unittest

from tool import DLL, LIBRARY, PROGRAM, ROOT, ToolTest

LOG = r"HKLM\SOFTWARE\Wow6432Node\Kestrane\Orbacon"
SEND_TRACE = ROOT / "build/mingw-x64-tests/tests/send_trace.exe"


class Trace(ToolTest):
    PREFIX = "tool_trace"

    def start(self, *arguments, stdout=subprocess.PIPE, stdin=subprocess.DEVNULL):
        process = subprocess.Popen([ROOT / "scripts/wine-run", PROGRAM, "trace", *arguments], env=self.prefix.environment,
                                   stdin=stdin, stdout=stdout, stderr=subprocess.STDOUT, start_new_session=True)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def wait_for_level(self, level):
        for _ in range(100):
            if self.log_level() == level:
                return
            time.sleep(0.1)
        self.fail(f"the level has not become {level}")

    def log_level(self):
        found = re.search(r"REG_DWORD +0x(\w+)", self.prefix.run("reg", "query", LOG, "/v", "LogLevel")[1])
        return found and int(found[1], 16)

    def test_lines_are_printed_while_the_level_is_changed_and_put_back(self):
        self.prefix.run("reg", "delete", LOG, "/f")
        reader = self.start("--json", "--level", "8", "--facility", "Quorvel", "--seconds", "10")  # far longer than what follows
        self.wait_for_level(8)
        _, errors = self.varnel("trace", "--seconds", "1", status=2)
        self.assertIn("another program already reads the trace", errors)
        self.varnel("send", "--event", "Traced", "--dll", DLL)
        records = [json.loads(line) for line in reader.communicate(timeout=60)[0].decode().splitlines()]
        self.assertEqual(0, reader.returncode)
        sequences = [record["sequence"] for record in records]
        self.assertEqual(sorted(set(sequences)), sequences)
        self.assertEqual({0}, {record["missing"] for record in records})
        texts = [record["text"].split(" ", 1)[-1] for record in records]
        self.assertIn("CreateEventElement Traced|1|1", texts)
        self.assertEqual({("X", "Evt", "Quorvel"), ("I", "Evt", "Quorvel")},
                         {(record["level"], record["tag"], record["facility"]) for record in records})
        self.assertNotEqual(0, self.prefix.run("reg", "query", LOG)[0], "the key was not there before")

    def test_ctrl_c_puts_the_level_back_too(self):
        long = "3" + " " * 300
        self.prefix.run("reg", "add", LOG, "/v", "LogLevel", "/t", "REG_SZ", "/d", long + "x", "/f")
        ours, theirs = pty.openpty()
        reader = self.start("--level", "6", stdout=theirs, stdin=theirs)
        os.close(theirs)
        self.wait_for_level(6)
        os.killpg(reader.pid, 2)
        reader.wait(30)
        os.close(ours)
        self.assertIn("    REG_SZ    " + long + "x", self.prefix.run("reg", "query", LOG, "/v", "LogLevel")[1])
        self.prefix.run("reg", "delete", LOG, "/v", "LogLevel", "/f")

    def test_level_that_a_killed_trace_has_left_is_put_back(self):
        left = "    LogLevelBeforeTrace    "
        # What was there before: its type, its data, how doctor calls it, and what puts it back.
        for kind, data, words, repair in (("REG_DWORD", "0x3", "the old level was 3", ["doctor", "--repair-trace"]),
                                          ("REG_SZ", "3x", "the old level was not a number", ["trace", "--seconds", "1"]),
                                          (None, None, "the old level was not set", ["trace", "--level", "5", "--seconds", "1"])):
            with self.subTest(kind):
                self.prefix.run("reg", "delete", LOG, "/v", "LogLevel", "/f")
                if kind:
                    self.prefix.run("reg", "add", LOG, "/v", "LogLevel", "/t", kind, "/d", data, "/f")
                before = self.prefix.run("reg", "query", LOG)
                reader = self.start("--level", "8")
                self.wait_for_level(8)
                self.assertNotIn("--repair-trace", self.varnel("doctor", status=None)[0], "it is read")
                self.assertIn("another program already reads the trace", self.varnel("doctor", "--repair-trace", status=2)[1])
                reader.kill()
                reader.wait()
                self.assertIn(left, self.prefix.run("reg", "query", LOG)[1])
                self.assertRegex(self.varnel("doctor", status=None)[0], rf"warning  trace .*{words}.* Run varnel doctor --repair-trace")
                output, errors = self.varnel(*repair)
                self.assertIn("restored the log level" if repair[0] == "trace" else "Restored the log level", output + errors)
                self.assertEqual(before, self.prefix.run("reg", "query", LOG))
                self.assertEqual("Nothing to restore: no killed trace has left a log level.\n", self.varnel("doctor", "--repair-trace")[0])

    def test_messages_of_others(self):
        reader = self.start("--json", "--seconds", "60")
        self.addCleanup(reader.stdout.close)
        while self.prefix.run(SEND_TRACE, "1")[0] == 0:  # until it reads
            self.assertIsNone(reader.poll())
        self.prefix.run(SEND_TRACE, "4096", "5000", "2")  # Windows refuses the third one to its sender
        found = []
        while not found or found[-1][0] != 2:
            record = json.loads(reader.stdout.readline())
            found.append((len(record["text"]), record["cut"]))
        self.assertEqual([(1, 0), (4096, 0), (4096, 904), (2, 0)], sorted(set(found), key=found.index))

    def test_bad_arguments(self):
        for arguments in (["--level", "9"], ["--up-to", "0"], ["--seconds", "-1"], ["--level", "x"]):
            self.varnel("trace", *arguments, status=2)


if __name__ == "__main__":
    unittest.main()
