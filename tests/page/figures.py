#!/usr/bin/python3
"""Measures the page with 100,000 events: how long it takes to open and to filter. On a busy computer, the processor time of the page's
thread says more than the time that passes."""
import statistics
import time
import unittest

from page_tool import PageTest, fleet

FILTERS = ("severity:3", "quarantined", "File_Action=quarantined", "File=*file99*", "host:pc-00* severity:..2", "since:2026-11-05 until:2026-11-09T12:00",
           "last:1000 reverse", "nothing-like-that", "")
# From the key to the picture, in milliseconds.
FILTER = """const [text, done] = arguments, began = performance.now();
at('filter').value = text;
at('filter').dispatchEvent(new Event('input'));
requestAnimationFrame(() => setTimeout(() => done(performance.now() - began)));"""


class Figures(PageTest):
    PREFIX = "page_figures"

    def thread_time(self):
        metrics = self.browser.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
        return 1000 * next(metric["value"] for metric in metrics if metric["name"] == "TaskDuration")

    def measure(self, action):
        """Milliseconds that pass, and of the processor."""
        before, began = self.thread_time(), time.monotonic()
        passed = action() or 1000 * (time.monotonic() - began)
        return passed, self.thread_time() - before

    def print_figures(self, name, measured, more=""):
        passed, thread = ([round(value) for value in column] for column in zip(*measured))
        print(f"figures: page: {name:45} {min(passed):6} to {max(passed)} ms, processor {statistics.median(thread):.0f} ms, at most {max(thread)} ms{more}", flush=True)

    def load(self):
        self.browser.get((self.drive / "fleet.html").as_uri())
        self.assertEqual(100_000, self.run_script("return selected.length"))

    def test_figures(self):
        self.page("fleet", fleet(10_000, 10))
        self.browser.execute_cdp_cmd("Performance.enable", {"timeDomain": "threadTicks"})
        opened = []
        for _ in range(3):
            self.browser.get("about:blank")
            opened.append(self.measure(self.load))
        self.print_figures("100,000 events open", opened)
        while not self.run_script("return store.isPrepared"):
            time.sleep(0.1)
        for text in FILTERS:
            measured = [self.measure(lambda: self.browser.execute_async_script(FILTER, text)) for _ in range(5)]
            self.print_figures(text or "no filter", measured, f", {self.run_script('return selected.length')} events")


if __name__ == "__main__":
    unittest.main()
