"""What the tests of the way from event files to a distributed log share: the simulated cluster, the programs on the way, and
`varnel reconcile`, which decides."""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tests/support"))
TOPIC = "varnel-events"


class Brokers:
    """Three brokers; 128 partitions, because a simulated broker keeps 5 MB of a partition."""

    def __init__(self, test):
        self.process = test.start("brokers.log", ROOT / "tests/pipeline/brokers.py", TOPIC, "128", stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, text=True)
        self.addresses = self.process.stdout.readline().strip()

    def tell(self, *commands):
        self.process.stdin.write("".join(command + "\n" for command in commands))
        self.process.stdin.flush()

    def consumer(self):
        return ["kcat", "-C", "-b", self.addresses, "-t", TOPIC, "-o", "beginning", "-e", "-q", "-X", "fetch.wait.max.ms=10"]


class HandOver(unittest.TestCase):
    """A folder of its own for each test; the event folder, and the one for segments, are in it."""
    maxDiff = None
    PROGRAM = [os.environ.get("VARNEL_NATIVE", ROOT / "build/linux/bin/varnel")]
    environment = None
    SEGMENT = "8MB"

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.events, self.segments = self.folder / "events", self.folder / "segments"
        for folder in (self.events, self.segments):
            folder.mkdir()
        self.receipts = {}  # the lines of each receipt by its name

    def start(self, log, *command, **more):
        """A process whose messages are appended to a file. It has a process group of its own, and ends with the test at the latest."""
        with open(self.folder / log, "ab") as output:
            process = subprocess.Popen([str(word) for word in command], env=self.environment, start_new_session=True,
                                       **{"stdin": subprocess.DEVNULL, "stdout": output, "stderr": output, **more})
        self.addCleanup(self.end, process)
        return process

    def end(self, process, how=signal.SIGKILL):
        for number in (how, signal.SIGCONT):
            try:
                os.killpg(process.pid, number)
            except ProcessLookupError:
                pass
        process.wait(30)
        for stream in (process.stdin, process.stdout):
            if stream and not stream.closed:
                stream.close()

    @staticmethod
    def path(folder):
        """The path as the program takes it."""
        return str(folder)

    def collect(self):
        return self.start("collect.log", *self.PROGRAM, "collect", self.events, "--to", self.segments, "--segment", self.SEGMENT,
                          "--every", "1s")

    def ship(self, brokers):
        """Sends segments until it is ended, as a timer of the system would."""
        return self.start("ship.log", "sh", "-c", 'while :; do "$@"; sleep 0.2; done', "sh", ROOT / "docs/pipeline/ship",
                          self.segments, brokers.addresses, TOPIC, "-X", "message.timeout.ms=4000")

    def shipped(self):
        """How many lines the receipts name whose segments have been sent."""
        for receipt in (self.segments / "shipped").glob("[0-9]*.json"):
            if receipt.name not in self.receipts and receipt.with_suffix(".jsonl").exists():
                with receipt.open("rb") as file:
                    self.receipts[receipt.name] = int(re.search(rb'"lines":(\d+)', file.read(400))[1])
        return sum(self.receipts.values())

    def wait_for(self, holds, seconds=120):
        end = time.monotonic() + seconds
        while not holds():
            self.assertLess(time.monotonic(), end, self.logs())
            time.sleep(0.05)

    def logs(self):
        return "\n".join(f"{log.name}:\n{log.read_text(errors='replace')[-3000:]}" for log in sorted(self.folder.glob("*.log")))

    def check(self, received, events, name):
        """`varnel reconcile` against the output of the command `received`, which must find that all events are there."""
        with open(self.folder / "consumer.log", "ab") as log, \
                subprocess.Popen([str(word) for word in received], stdout=subprocess.PIPE, stderr=log) as consumer:
            done = subprocess.run([*self.PROGRAM, "reconcile", *map(self.path, (self.segments, self.segments / "shipped")), "--against", "-"],
                                  env=self.environment, stdin=consumer.stdout, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                  timeout=300)
        self.assertEqual("", done.stderr, self.logs())
        rows = dict(re.split(r"  +", row.strip(), maxsplit=1) for row in done.stdout.splitlines() if not row.startswith(" "))
        print(f"figures: {name}: {rows['handed over']}, {rows['arrived']}, missing {rows['missing']}, twice {rows['twice'].split(',')[0]}")
        self.assertEqual((0, "0", "0", "0", "0"), (done.returncode, *(rows[row] for row in ("missing", "foreign", "changed", "no event.id"))),
                         self.logs())
        self.assertTrue(rows["handed over"].startswith(f"{events} events "), rows)

    def wait_until_shipped(self, events):
        self.wait_for(lambda: self.shipped() == events, 600)
