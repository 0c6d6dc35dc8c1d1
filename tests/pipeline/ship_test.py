#!/usr/bin/python3
"""docs/pipeline/ship: the key of a message, and that only segments whose every line was acknowledged are moved."""
import json
import os
import subprocess
import unittest

from hand_over import ROOT, TOPIC, Brokers, HandOver

# What a kcat does that was started with the lines of a segment of three.
REPORT = "echo '% Message delivered to partition 0 (offset 1) on broker 1' >&2; "
ALL = "cat >/dev/null; " + REPORT * 3


def line(**event):
    return json.dumps({"@timestamp": "2024-03-07T09:05:03Z", "ecs": {"version": "8.11.0"}, "event": event, "labels": {"id": "no"}},
                      separators=(",", ":"))


class Ship(HandOver):
    def segment(self, number, lines):
        for ending, text in (("json", '{"lines":3}'), ("jsonl", "".join(each + "\n" for each in lines))):
            (self.segments / f"{number:08}.{ending}").write_text(text)

    def run_ship(self, *arguments, path=""):
        return subprocess.run([ROOT / "docs/pipeline/ship", self.segments, *arguments], env={**os.environ, "PATH": path + os.environ["PATH"]},
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60)

    def names(self, folder):
        return sorted(file.name for file in folder.iterdir() if file.is_file()) if folder.exists() else []

    def test_only_what_was_acknowledged_is_moved(self):
        both = ["00000001.json", "00000001.jsonl"]
        for name, program, moved, words in (
                ("all", ALL, True, ""), ("all, and other messages", ALL + "echo odd >&2; echo odd >&2; ", True, "odd\n"),
                ("ended by a signal, which kcat does with status 0", "head -n 1 >/dev/null; " + REPORT, False, "1 of 3 lines delivered"),
                ("killed", "kill -9 $$; ", False, "0 of 3 lines delivered"),
                ("one fails", "cat >/dev/null; " + REPORT * 2 + "exit 1; ", False, "2 of 3 lines delivered"),
                ("no program", None, False, "0 of 3 lines delivered")):
            with self.subTest(name):
                self.segments = self.folder / name
                self.segments.mkdir()
                self.segment(1, ["{}"] * 3)
                programs = self.folder / "programs"
                programs.mkdir(exist_ok=True)
                (programs / "kcat").write_text(f"#!/bin/sh\n{program}" if program else "#!/missing\n")
                (programs / "kcat").chmod(0o755)
                done = self.run_ship("none:1", TOPIC, path=f"{programs}:")
                self.assertEqual(0 if moved else 1, done.returncode, done.stderr)
                self.assertIn(words, done.stderr)
                self.assertEqual(([], both) if moved else (both, []), (self.names(self.segments), self.names(self.segments / "shipped")))
                self.assertLessEqual(done.stderr.count("odd"), 1)

    def test_an_interrupted_move_is_finished_and_no_file_is_replaced(self):
        shipped = self.segments / "shipped"
        shipped.mkdir()
        self.segment(1, [])
        (self.segments / "00000001.json").rename(shipped / "00000001.json")
        self.assertEqual(0, self.run_ship("none:1", TOPIC).returncode)
        self.assertEqual([], self.names(self.segments))
        (shipped / "00000002.json").touch()
        for number in (1, 2):
            self.segment(number, [])
            done = self.run_ship("none:1", TOPIC)
            self.assertIn(f"already has another {number:08}; move it", done.stderr)
            self.assertEqual((1, [f"{number:08}.json", f"{number:08}.jsonl"]), (done.returncode, self.names(self.segments)))
            for file in self.segments.glob("*.json*"):
                file.unlink()

    def test_the_key_is_the_identifier(self):
        lines = [line(kind="event", action='"},"id":"no', code="}", severity=-3, id='-/a"\\\u20ac#1-0'), line(kind="event", id="b"),
                 line(kind="event", action="x" * 100_000, id="c")]
        self.segment(1, lines)
        brokers = Brokers(self)
        done = self.run_ship(brokers.addresses, TOPIC)
        self.assertEqual((0, "00000001.jsonl: 3 lines\n", ""), (done.returncode, done.stdout, done.stderr))
        received = subprocess.run([*brokers.consumer(), "-f", "%k\\t%s\\n"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.assertEqual(sorted(json.dumps(json.loads(each)["event"]["id"])[1:-1] + "\t" + each for each in lines),
                         sorted(received.stdout.splitlines()))


if __name__ == "__main__":
    unittest.main()
