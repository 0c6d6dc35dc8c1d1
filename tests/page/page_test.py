#!/usr/bin/python3
"""The page of varnel show --html in a real browser: filter, plot, top lists, table, details, address, what it saves."""
import csv
import json
import tempfile
import time
import unittest
import pathlib

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

from page_tool import PageTest, document, event, fleet

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
ESCAPED = HOSTILE.replace("&", "&amp;").replace("<", "&lt;")
SMALL = {f"{i}.xml": document(event(name, identifier, severity, seconds, more), host) for i, (name, identifier, severity, seconds, more, host) in enumerate((
    ("Hostile", 9, 3, 0, f"<File>{ESCAPED}</File>" + "<a/>" * 300, "PC1"), ("Found", 7, -2, 60, '<File>=1+1, "x"</File>', "PC1"),
    ("Found", 7, 2, 3600, "<Text>two  words: Ünïcode</Text>", "PC 2"), ("Lost", 8, "high", 7200, "<Text>reverse</Text>", "@PC3")))}
# Filters that are not terms of the selection, and the places of the events that they select.
FILTERS = (("", [0, 1, 2, 3]), ("FOUND", [1, 2]), ("found ünïcode", [2]), ('"two  words:"', [2]), ('"words: Ü"', [2]), ('"reverse"', [3]),
           ("reverse found", [2, 1]), ('File="=1+1, ""x"""', [1]), ("host:\"PC 2\"", [2]), ('host:"pc 2" host:*3', [2, 3]), ('event:""', []), ("last:1 last:2", [2, 3]))
# Filters that cannot be understood, and a part of the message.
UNCLEAR = (("severty:3", 'no field "severty"'), ("http://x", "put it in quotes"), ("severity:", "a value is missing"), ("severity:high", "not a number or a range"),
           ("id:3..2", "not a number or a range"), ("id:..", "not a number or a range"), ("since:soon", "since:soon: not a time"), ("until:2026-02-30", "not a time"),
           ("=x", "a name is missing"), ("last:0", "not a number of events"), ('event:"a', "the second quote"), ("constructor:1", "no field"))


class Page(PageTest):
    PREFIX = "page"

    def places(self, identifiers):
        return [int(identifier.split(".xml")[0].split("/")[-1]) for identifier in identifiers]

    def test_filter(self):
        self.page("small", SMALL)
        for text, places in FILTERS:
            with self.subTest(text):
                identifiers, message = self.filter(text)
                self.assertEqual(places, self.places(identifiers))
                self.assertEqual(not places, "None of 4 events" in message, message)

    def test_term_that_cannot_be_understood(self):
        self.page("small", SMALL)
        for text, words in UNCLEAR:
            with self.subTest(text):
                identifiers, message = self.filter(f"found {text}")
                self.assertEqual([1, 2], self.places(identifiers))
                self.assertIn(words, message)
                self.assertEqual("true", self.one("#filter").get_attribute("aria-invalid"))

    def test_with_the_keyboard(self):
        self.page("small", SMALL)
        self.one("body").send_keys("/")
        keys = self.browser.switch_to.active_element
        self.assertEqual("filter", keys.get_attribute("id"))
        keys.send_keys("found")
        order = []
        while self.browser.switch_to.active_element.tag_name != "tr":
            self.browser.switch_to.active_element.send_keys(Keys.TAB)
            order.append(self.run_script("return document.activeElement.closest('[id]')?.id"))
            self.assertLess(len(order), 40)
        self.assertEqual(["clear", "help", "tops", "scale", "whole", "plot", "heads", "rows"],
                         [name for name in dict.fromkeys(order) if name in ("clear", "help", "tops", "scale", "whole", "plot", "heads", "rows")])
        self.browser.switch_to.active_element.send_keys(Keys.ARROW_DOWN, Keys.ENTER)
        self.assertTrue(self.one("#details").is_displayed())
        self.assertIn("PC 2", self.one("#facts").text)
        self.browser.switch_to.active_element.send_keys(Keys.ARROW_LEFT)
        self.assertIn('=1+1, "x"', self.one("#facts").text)
        self.browser.switch_to.active_element.send_keys(Keys.ESCAPE)
        self.assertFalse(self.one("#details").is_displayed())
        self.assertIn("PC1", self.browser.switch_to.active_element.text)

    def test_bars_with_the_keyboard(self):
        self.page("small", SMALL)
        self.run_script("document.querySelector('.bar').focus()")
        keys = self.browser.switch_to.active_element
        said = keys.get_attribute("aria-label")
        self.assertRegex(said, "^severity 3, 2026-11-01 00:00:00 to 2026-11-01 00:0[0-9]:00: 1 event$")
        keys.send_keys(Keys.ARROW_DOWN)
        self.browser.switch_to.active_element.send_keys(Keys.ENTER)
        self.assertRegex(self.one("#filter").get_attribute("value"), "^severity:2 since:2026-11-01T0[01]:.* until:2026-11-01T01:.*$")
        self.assertEqual([2], self.places(self.run_script("return shown.map(event => event.event.id)")))
        self.assertIn("severity 2, ", self.browser.switch_to.active_element.get_attribute("aria-label"))
        self.filter("")
        self.run_script("document.querySelector('.bar').focus()")
        self.browser.switch_to.active_element.send_keys(Keys.SHIFT, Keys.ARROW_RIGHT, Keys.NULL, Keys.ENTER)
        self.assertRegex(self.one("#filter").get_attribute("value"), "^since:2026-11-01T00:00:00 until:2026-11-01T00:10:00$")
        self.one("#whole").click()
        self.assertEqual("", self.one("#filter").get_attribute("value"))

    def test_bars_and_ranges_with_the_pointer(self):
        self.page("fleet", fleet(2_000, 10))
        self.picture("page")
        rare = self.all(".bar[data-row='0'] rect")
        self.assertLess(15, max(bar.size["height"] for bar in rare))  # a row with few events has its own scale
        bar = self.all(".bar[data-row='1']")[5]
        said = bar.get_attribute("aria-label")
        ActionChains(self.browser).move_to_element(bar).click().perform()
        self.assertEqual(int(said.split(": ")[-1].split(" ")[0]), len(self.run_script("return [...selected]")))
        self.filter("")
        first, last = (self.all(".bar[data-row='3']")[i] for i in (4, 9))
        count = self.run_script("return [...document.querySelectorAll('.bar')].filter(bar => bar.dataset.span >= arguments[0] && bar.dataset.span <= arguments[1])"
                                ".reduce((sum, bar) => sum + Number(bar.dataset.count), 0)", *(int(bar.get_attribute("data-span")) for bar in (first, last)))
        ActionChains(self.browser).move_to_element(first).click_and_hold().move_to_element(last).perform()
        self.picture("page_range")
        ActionChains(self.browser).release().perform()
        self.assertRegex(self.one("#filter").get_attribute("value"), "^since:[-0-9T:]+ until:[-0-9T:]+$")
        self.assertEqual(count, self.run_script("return selected.length"))

    def test_eighty_severities(self):
        self.page("severities", {"a.xml": document("".join(event("E", i + 1, i % 80, i * 997) for i in range(2_000)))})
        for scale in ("own", "log"):
            self.run_script("at('scale').value = arguments[0]; at('scale').onchange()", scale)
            boxes = self.run_script("return [...document.querySelectorAll('#plot .label, #plot .total')].map(text => text.getBoundingClientRect()).map(box => [box.left, box.right, box.top, box.bottom])")
            self.assertEqual(160, len(boxes))
            for i, one in enumerate(boxes):
                for other in boxes[i + 1:]:
                    self.assertTrue(one[1] <= other[0] or other[1] <= one[0] or one[3] <= other[2] + 3 or other[3] <= one[2] + 3, (one, other))
        self.assertGreater(300, self.one("#plot-box").size["height"])

    def test_rare_events_beside_many(self):
        self.page("rare", {"a.xml": document("".join(event("E", 1, 1 if i % 500 else 3, i % 3) for i in range(5_000)))})
        for scale in ("own", "log"):
            self.run_script("at('scale').value = arguments[0]; at('scale').onchange()", scale)
            self.assertLessEqual(15, min(bar.size["height"] for bar in self.all(".bar[data-row='0'] rect")), scale)

    def test_top_lists(self):
        self.page("fleet", fleet(2_000, 10))
        self.run_script("at('tops').querySelector('select').value = 'File_Action'; at('tops').querySelector('select').onchange()")
        for number, list_ in enumerate(("Event", "Product", "Machine", "Severity", "Identifier", "File_Action")):
            with self.subTest(list_):
                self.filter("")
                button = self.all("#tops section")[number].find_elements("css selector", "li button")[1]
                count = int(button.find_element("css selector", ".number").text.replace(",", ""))
                self.run_script("arguments[0].click()", button)
                self.assertEqual(count, self.run_script("return selected.length"), self.one("#filter").get_attribute("value"))

    def test_sort_and_pages(self):
        self.page("fleet", fleet(2_000, 10))
        for isDown in (False, True):
            self.all("#heads button")[2].click()
            identifiers = [int(code) for code in self.run_script("return [...document.querySelectorAll('#rows td:nth-child(3)')].map(cell => cell.textContent)")]
            self.assertEqual((200, sorted(identifiers, reverse=isDown)), (len(identifiers), identifiers))
            self.assertEqual("descending" if isDown else "ascending", self.all("#heads th")[2].get_attribute("ariaSort"))
        self.one("#on").click()
        self.assertEqual(("Page 2 of 100", True), (self.one("#place").text, self.one("#back").is_enabled()))

    def test_address_has_the_selection(self):
        self.page("small", SMALL)
        self.one("#filter").send_keys('host:"PC 2" ünïcode')
        time.sleep(0.5)
        self.assertIn("#filter=host", self.browser.current_url)
        self.all("#heads button")[3].click()
        address = self.browser.current_url
        self.browser.get("about:blank")
        self.browser.get(address)
        self.assertEqual([2], self.places(self.run_script("return shown.map(event => event.event.id)")))
        self.assertEqual("ascending", self.all("#heads th")[3].get_attribute("ariaSort"))
        self.browser.get(address.split("#")[0] + "#filter=%3Cimg+src%3Dx%3E&sort=-__proto__&label=zzz")
        self.assertIn('<img src=x>', self.one("#filter").get_attribute("value"))

    def test_save(self):
        self.page("small", SMALL)
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.browser.execute_cdp_cmd("Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": str(folder)})
        self.filter("reverse")
        for button, name in (("save-csv", "events.csv"), ("save-json", "events.jsonl")):
            self.one(f"#{button}").click()
            for _ in range(100):
                time.sleep(0.05)
                if (folder / name).exists():
                    break
        table = (folder / "events.csv").read_bytes().decode()
        self.assertEqual(5, table.count("\r\n"))
        rows = list(csv.reader(table.splitlines()))
        self.assertEqual(["time", "severity", "id", "event", "product", "version", "machine", "file"], rows[0])
        self.assertEqual(["2026-11-01T02:00:00", "high", "8", "Lost", "Example Antivirus", "4.2.0", "'@PC3"], rows[1][:7])
        self.assertEqual("'-2", rows[3][1])
        lines = (folder / "events.jsonl").read_text(encoding="ascii").splitlines()
        printed, _ = self.varnel("show", "--json", self.path("small"))
        for event_, line in zip(reversed(printed.splitlines()), lines, strict=True):
            self.assertEqual({**json.loads(event_), "event": None}, {**json.loads(line), "event": None})

    def test_details_begin_at_their_top(self):
        (self.drive / "acme.toml").write_text(CATALOGUE, encoding="utf-8")
        self.page("notes", SMALL, "--catalogue", self.path("acme.toml"))
        self.one("#rows tr").click()
        for height in (768, 600):
            self.size(1366, height)
            top, scrolled = self.run_script("return [at('name').getBoundingClientRect().top, at('details').scrollTop]")
            self.assertTrue(0 <= top < 100 and scrolled == 0, (height, top, scrolled))
            self.assertTrue(self.one("#close").is_displayed())
        self.size(1366, 768)
        facts = self.one("#facts").text
        for note in (HOSTILE, "Hostile\n</script><b>What it means\n", "9\nHostile\n", "The attacked file."):  # what the catalogue says
            self.assertIn(note, facts)
        self.assertEqual([], self.all("img, #rows b, #facts b"))
        self.assertEqual(["Events", []], [self.browser.title, [entry for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"]])

    def test_dark_and_light(self):
        self.page("fleet", fleet(2_000, 10))
        colours = set()
        for theme in ("dark", "light"):
            self.one("#theme").click()
            colours.add(self.one("body").value_of_css_property("background-color"))
            self.assertEqual(theme, self.run_script("return document.documentElement.dataset.theme"))
            if theme == "dark":
                self.filter("event:MalwareDetected since:2026-11-08")
                self.picture("page_dark")
                self.one("#rows tr").click()
                self.picture("page_details")
                self.one("#close").click()
        self.assertEqual(2, len(colours))


if __name__ == "__main__":
    unittest.main()
