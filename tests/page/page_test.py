#!/usr/bin/python3
"""The page of varnel show --html, in a real browser. SCREENSHOTS names a folder for pictures of it."""
import json
import os
import pathlib
import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from wine import ROOT, Prefix  # noqa: E402 (it is in a folder of its own)

PROGRAM = ROOT / "build/mingw-x64/bin/varnel.exe"
DLL = "Z:" + str(PROGRAM.with_suffix(".dll"))
CATALOGUE = """catalogue = 1
product = {software_id = "EXAMPLE__1000", root = "R", element = "E", name = "Example", family = ""}
[[event]]
name = "Hostile"
id = 9
severity = 3
text = "</script><b>What it means"
child = [{name = "File", type = "path", text = "The attacked file."}]
"""
HOSTILE = "</script><img src=x onerror=document.title='owned'><b>&\"'"


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        prefix = cls.enterClassContext(Prefix("page", dict(os.environ)))
        prefix.set_up_agent()
        events = [{"name": f"Event{i}", "id": 1000 + i * 7 % 500, "severity": i % 4, "time": f"2026-11-{1 + i % 20:02}T{i % 24:02}:05:03Z"}
                  for i in range(249)]
        events.append({"name": "Hostile", "id": 9, "severity": 3, "children": [{"name": "File", "text": HOSTILE}]})
        (prefix.drive / "acme.toml").write_text(CATALOGUE, encoding="utf-8")
        for command, text in (("send", json.dumps({"events": events})), ("show", None)):
            options = ["--json", "--dll", DLL] if text else ["--html", "C:\\page.html", "--catalogue", "C:\\acme.toml"]
            status, _, errors = prefix.communicate(PROGRAM, command, *options, text=text)
            if status != 0:
                raise AssertionError(errors)
        cls.page = prefix.drive / "page.html"
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        profile = cls.enterClassContext(tempfile.TemporaryDirectory())
        for option in ("--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
                       "--disable-component-update", "--disable-sync", "--window-size=1200,900", f"--user-data-dir={profile}"):
            options.add_argument(option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(options=options, service=webdriver.ChromeService("/usr/bin/chromedriver")
                                       if hasattr(webdriver, "ChromeService") else None)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        self.browser.get(self.page.as_uri())

    def one(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def rows(self):
        """The cells' texts, row by row."""
        return self.browser.execute_script(
            "return [...document.querySelectorAll('#rows tr')].map(row => [...row.children].map(cell => cell.textContent))")

    def picture(self, name):
        folder = pathlib.Path(os.environ["SCREENSHOTS"])
        folder.mkdir(parents=True, exist_ok=True)
        self.browser.save_screenshot(str(folder / f"{name}.png"))

    def test_filter(self):
        self.assertEqual(200, len(self.rows()))
        self.assertEqual("250 of 250", self.one("#count").text)
        self.one("#filter").send_keys("severity:3")
        self.assertEqual({"3"}, {row[1] for row in self.rows()})
        self.one("#filter").send_keys(" EVENT17")
        self.assertTrue(all(row[3].startswith("Event17") for row in self.rows()) and self.rows())
        self.picture("filter")
        self.one("#filter").send_keys(" nothing-like-that")
        self.assertEqual([], self.rows())

    def test_sort_and_pages(self):
        identifiers = []
        for _ in range(2):
            self.browser.find_elements(By.CSS_SELECTOR, "#heads button")[2].click()
            identifiers.append([int(row[2]) for row in self.rows()])
        self.assertEqual(sorted(identifiers[0]), identifiers[0], "numbers, not texts")
        self.assertEqual(sorted(identifiers[1], reverse=True), identifiers[1])
        self.assertEqual("descending", self.browser.find_elements(By.CSS_SELECTOR, "#heads th")[2].get_attribute("ariaSort"))
        self.one("#on").click()
        self.assertEqual((50, "Page 2 of 2", False), (len(self.rows()), self.one("#place").text, self.one("#on").is_enabled()))

    def test_details_with_the_keyboard(self):
        self.one("body").send_keys("/")
        self.browser.switch_to.active_element.send_keys("hostile")
        first = self.one("#rows tr")
        first.send_keys(Keys.ARROW_DOWN)
        first.send_keys(Keys.ENTER)
        facts = self.one("#facts").text
        self.assertIn("labels", facts)
        self.assertIn(HOSTILE, facts)
        for note in ("Hostile\n</script><b>What it means\n", "9\nHostile\n", "The attacked file."):  # what the catalogue says
            self.assertIn(note, facts)
        self.picture("details")
        self.browser.switch_to.active_element.send_keys(Keys.ESCAPE)
        self.assertFalse(self.one("#details").is_displayed())

    def test_hostile_texts_stay_texts(self):
        self.one("#filter").send_keys("hostile")
        self.one("#rows tr").click()
        self.assertEqual("Events", self.browser.title)
        self.assertEqual([], self.browser.find_elements(By.CSS_SELECTOR, "img, #rows b, #facts b"))
        self.assertEqual([], [entry for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"])

    def test_dark_and_light(self):
        colours = set()
        for theme in ("first", "second"):
            self.one("#theme").click()
            colours.add(self.one("body").value_of_css_property("background-color"))
            self.picture(theme)
        self.assertEqual(2, len(colours))

    def test_plot_has_a_row_for_each_severity(self):
        severities = {row[1] for row in self.rows()}
        labels = [text.text for text in self.browser.find_elements(By.CSS_SELECTOR, "#plot text") if "severity" in text.text]
        self.assertEqual({f"severity {severity}" for severity in severities}, set(labels))
        self.assertLess(10, len(self.browser.find_elements(By.CSS_SELECTOR, "#plot .bar")))


if __name__ == "__main__":
    unittest.main()
