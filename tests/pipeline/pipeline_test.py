#!/usr/bin/python3
"""From saved reports to Kafka on Windows' side: the real library and `varnel collect` in Wine, `ship`, and a cluster that librdkafka
simulates. Collector and shipper are each stopped and started in the middle; `varnel reconcile` finds that nothing is lost."""
import os
import signal
import unittest

from hand_over import ROOT, Brokers, HandOver
from wine import Prefix

PROGRAM = ROOT / "build/mingw-x64/bin/varnel.exe"
DLL = "Z:" + str(PROGRAM.with_suffix(".dll"))
REPORTS = 1000


class Pipeline(HandOver):
    PROGRAM = [ROOT / "scripts/wine-run", PROGRAM]

    def setUp(self):
        super().setUp()
        self.prefix = self.enterContext(Prefix("pipeline", dict(os.environ)))
        self.prefix.set_up_agent()
        self.environment = self.prefix.environment
        self.segments = self.prefix.drive / "Segments"

    @staticmethod
    def path(folder):
        return f"Z:{folder}"

    def collect(self):
        return self.start("collect.log", *self.PROGRAM, "collect", "--to", "C:\\Segments", "--every", "1s")

    def save(self, count):
        status, output, errors = self.prefix.communicate(PROGRAM, "send", "--repeat", str(count), "--event", "Piped", "--dll", DLL)
        self.assertEqual(0, status, errors)

    def test_every_event_arrives_though_both_are_stopped_in_between(self):
        brokers = Brokers(self)
        collector, shipper = self.collect(), self.ship(brokers)
        self.save(REPORTS // 4)
        self.end(collector, signal.SIGTERM)
        self.save(REPORTS // 4)
        self.collect()
        self.save(REPORTS // 4)
        self.end(shipper, signal.SIGTERM)
        self.save(REPORTS - REPORTS // 4 * 3)
        self.ship(brokers)
        saved = len(self.prefix.events())
        self.assertLessEqual(REPORTS - 2, saved)  # two files of the same name are the library's to lose
        self.wait_until_shipped(saved)
        self.check(brokers.consumer(), saved, f"{saved} reports of the library, collect in Wine")


if __name__ == "__main__":
    unittest.main()
