#!/usr/bin/python3
"""Each part of the way from event files to Kafka, stopped, killed, hung or with a full disk, while events pass: `varnel reconcile`
must find that nothing is lost. The cluster is one that librdkafka simulates; the other parts are real."""
import os
import random
import shutil
import signal
import subprocess
import threading
import time
import unittest

from hand_over import Brokers, HandOver
import endpoints

SOAK = bool(os.environ.get("VARNEL_SOAK"))
EVENTS = 100_000 if SOAK else 2_000
EVENTS_A_FILE = 5
ROUNDS = 4 if SOAK else 1
PAUSE = 6 if SOAK else 0.5  # seconds for which a part is away; in the soak run longer than a message may wait


class Faults(HandOver):
    SEGMENT = "8MB" if SOAK else "500KB"

    def setUp(self):
        super().setUp()
        if SOAK:  # a full disk needs a small one
            self.mount(self.segments, "size=400m,nr_inodes=1000")
            self.mount(self.events, "size=1g")
        self.brokers = Brokers(self)
        self.parts = {"collect": self.collect(), "shipper": self.ship(self.brokers)}
        self.saver, self.goes_on = threading.Thread(target=self.save), threading.Semaphore(0)

    def mount(self, folder, options):
        subprocess.run(["mount", "-t", "tmpfs", "-o", options, "fault_test", str(folder)], check=True)
        self.addCleanup(subprocess.run, ["umount", "-l", str(folder)])

    def save(self):
        machines = [endpoints.Endpoint(number) for number in range(100)]
        for number in range(0, EVENTS, EVENTS_A_FILE):
            if number > 0 and number % (EVENTS // (ROUNDS + 1)) == 0:  # more of them for each fault
                self.goes_on.acquire()
            size = (500, 500, 1000, 1000, 1000, 5000)[number // EVENTS_A_FILE % 6]
            endpoints.save(self.events, machines[number % 100].document(number, size * EVENTS_A_FILE, EVENTS_A_FILE))

    def end_part(self, part, how):
        self.end(self.parts[part], how)
        time.sleep(PAUSE)
        self.parts[part] = self.collect() if part == "collect" else self.ship(self.brokers)

    def stopped(self, part):
        self.end_part(part, signal.SIGTERM)

    def killed(self, part):
        self.end_part(part, signal.SIGKILL)

    def hung(self, part):
        group = self.brokers.process.pid if part == "brokers" else self.parts[part].pid
        os.killpg(group, signal.SIGSTOP)
        time.sleep(PAUSE)
        os.killpg(group, signal.SIGCONT)

    def disk_full(self, part):
        """No byte more for the collector, no name more for the shipper."""
        ballast = self.segments / "ballast"
        ballast.mkdir()
        try:
            if part == "collect":
                with open(ballast / "0", "wb", buffering=0) as file:
                    while True:
                        file.write(bytes(65_536))
            for number in range(1000):
                (ballast / str(number)).touch()
        except OSError:
            pass
        time.sleep(PAUSE)
        shutil.rmtree(ballast)

    def brokers_stopped(self, _):
        for broker in (1, 2, 3):
            self.brokers.tell(f"lead {broker % 3 + 1}", f"down {broker}")
            time.sleep(PAUSE / 3)
            self.brokers.tell(f"up {broker}")

    def brokers_killed(self, _):
        self.brokers.tell("down 0")
        time.sleep(PAUSE)
        self.brokers.tell("up 0")

    def brokers_disk_full(self, _):
        self.brokers.tell("full 100000")
        time.sleep(PAUSE)
        self.brokers.tell("well")

    def shipper_stopped_while_brokers_hang(self, part):
        """A shipper that moves its position before the brokers have answered loses here what it has in memory."""
        os.killpg(self.brokers.process.pid, signal.SIGSTOP)
        time.sleep(PAUSE / 4)
        self.end_part(part, signal.SIGTERM)
        os.killpg(self.brokers.process.pid, signal.SIGCONT)

    def run_through(self, part, how):
        fault = getattr(self, f"{part}_{how}", None) or getattr(self, how)
        chance = random.Random(part + how)
        self.saver.start()
        self.wait_for(lambda: any((self.segments / "shipped").glob("*.json")))
        for _ in range(ROUNDS):
            self.goes_on.release()
            time.sleep(chance.uniform(0, PAUSE / 4))
            fault(part)
        self.saver.join()
        self.wait_until_shipped(EVENTS)
        self.check(self.brokers.consumer(), EVENTS, f"{part} {how.replace('_', ' ')}")


ALL = [(part, how) for part in ("collect", "shipper", "brokers") for how in ("stopped", "killed", "hung", "disk_full")]
ALL.append(("shipper", "stopped_while_brokers_hang"))
for each in ALL if SOAK else [("collect", "killed"), ("shipper", "stopped"), ("brokers", "killed")]:
    setattr(Faults, "test_" + "_".join(each), lambda self, each=each: self.run_through(*each))


if __name__ == "__main__":
    unittest.main()
