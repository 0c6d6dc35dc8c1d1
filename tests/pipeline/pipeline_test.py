#!/usr/bin/python3
"""From saved reports to Kafka: the follower, rsyslog with the configuration of docs/pipeline, and a cluster that librdkafka
mocks on the loopback address. Follower and rsyslog are each stopped and started in the middle, while the brokers answer: then
every event arrives, and one that arrives twice can be recognised."""
import collections
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from wine import ROOT, Prefix  # noqa: E402 (it is in a folder of its own)

PROGRAM = ROOT / "build/mingw-x64/bin/varnel.exe"
DLL = "Z:" + str(PROGRAM.with_suffix(".dll"))
TOPIC = "varnel-events"
REPORTS = 1000


class Pipeline(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.prefix = self.enterContext(Prefix("pipeline", dict(os.environ)))
        self.prefix.set_up_agent()

    def start(self, name, *command):
        """A process whose output is appended to a file of that name; it ends with the test at the latest."""
        with open(self.folder / name, "ab") as output:
            process = subprocess.Popen([str(word) for word in command], env=self.prefix.environment, stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=subprocess.STDOUT if name.endswith(".log") else subprocess.DEVNULL)
        self.addCleanup(self.stop, process)
        return process

    def stop(self, process):
        if process.poll() is None:
            process.terminate()
            process.wait(30)

    def brokers(self):
        self.start("kafka.log", "kcat", "-b", "none:1", "-X", "test.mock.num.brokers=3", "-C", "-t", "anchor", "-q", "-d", "mock")
        for _ in range(100):
            found = re.search(r"bootstrap.servers=(\S+)", (self.folder / "kafka.log").read_text())
            if found:
                return found[1].split(",")
            time.sleep(0.1)
        self.fail("no brokers")

    def configuration(self, brokers):
        text = (ROOT / "docs/pipeline/rsyslog.conf").read_text()
        for old, new in (('"kafka-1:9092", "kafka-2:9092", "kafka-3:9092"', ", ".join(f'"{broker}"' for broker in brokers)),
                         ("/var/spool/rsyslog", str(self.folder)), ("/var/log/varnel", str(self.folder))):
            self.assertEqual(1, text.count(old), old)
            text = text.replace(old, new)
        path = self.folder / "rsyslog.conf"
        path.write_text(text)
        return path

    def follow(self):
        return self.start("events.jsonl", ROOT / "scripts/wine-run", PROGRAM, "show", "--json", "--follow")

    def save(self, count):
        status, output, errors = self.prefix.communicate(PROGRAM, "send", "--repeat", str(count), "--event", "Piped",
                                                         "--dll", DLL)
        self.assertEqual(0, status, errors)

    def arrived(self, brokers):
        """How often each event has arrived."""
        done = subprocess.run(["kcat", "-C", "-b", ",".join(brokers), "-t", TOPIC, "-o", "beginning", "-e", "-q"],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, timeout=60)
        return collections.Counter(json.loads(line)["event"]["id"].partition("/")[2] for line in done.stdout.splitlines())

    def test_every_event_arrives_though_both_are_stopped_in_between(self):
        brokers = self.brokers()
        shipping = ["rsyslogd", "-n", "-f", self.configuration(brokers), "-i", self.folder / "rsyslog.pid"]
        follower, shipper = self.follow(), self.start("rsyslog.log", *shipping)
        self.save(REPORTS // 4)
        self.stop(follower)
        self.save(REPORTS // 4)
        follower = self.follow()
        self.save(REPORTS // 4)
        self.stop(shipper)
        self.save(REPORTS - REPORTS // 4 * 3)
        self.start("rsyslog.log", *shipping)
        saved = {f"{file.name}#1-{hashlib.sha256(file.read_bytes()).hexdigest()[:16]}" for file in self.prefix.events()}
        self.assertLessEqual(REPORTS - 2, len(saved))  # two files of the same name are the library's to lose
        for _ in range(60):
            arrived = self.arrived(brokers)
            if saved <= arrived.keys():
                break
            time.sleep(1)
        self.assertEqual(0, len(saved - arrived.keys()), (self.folder / "rsyslog.log").read_text())
        self.assertEqual(0, len(arrived.keys() - saved))
        twice = sum(count > 1 for count in arrived.values())
        print(f"figures: {len(saved)} events saved, {sum(arrived.values())} messages, {twice} events more than once")


if __name__ == "__main__":
    unittest.main()
