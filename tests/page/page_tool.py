"""What the tests of the page share: the program, a browser of a laptop's size, and event files of a small fleet."""
import json
import os
import pathlib
import random
import sys
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.common.by import By

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path += [str(ROOT / "tests/tool"), str(ROOT / "tests/support")]
from tool import ToolTest  # noqa: E402 (it is in a folder of its own)

OPTIONS = ("--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
           "--disable-component-update", "--disable-sync", "--force-prefers-color-scheme=light")
# Names, identifiers and severities of events, and how frequent they are.
KINDS = (("ScanFinished", 1100, 1, 9_000), ("ConnectionBlocked", 3010, 1, 7_000), ("DeviceBlocked", 2001, 2, 3_000),
         ("MalwareDetected", 1024, 3, 521), ("UpdateFailed", 1200, 4, 80))
PRODUCTS = ("Example Antivirus", "Example Firewall", "Example Device Control")


def event(name, identifier, severity, seconds, more=""):
    at = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(1_793_491_200 + seconds))  # 2026-11-01
    return (f"<{name}><EventID>{identifier}</EventID><Severity>{severity}</Severity><GMTTime>{at}</GMTTime>{more}</{name}>")


def document(events, host="PC1", product="Example Antivirus"):
    return (f"<ProductEvents><MachineInfo><MachineName>{host}</MachineName></MachineInfo>"
            f'<Product ProductName="{product}" ProductVersion="4.2.0" ProductFamily="Endpoint">{events}</Product></ProductEvents>')


def fleet(files, events_of_file):
    """Event files of three weeks of a fleet, by their names."""
    rng = random.Random(521)
    def one(number):
        name, identifier, severity, _ = rng.choices(KINDS, [kind[3] for kind in KINDS])[0]
        file = f'<File Action="{rng.choice(("quarantined", "blocked", "reported"))}">C:\\Users\\user{number % 50}\\file{number % 997}.exe</File>'
        return event(name, identifier, severity, int(rng.betavariate(2, 1.5) * 20 * 86_400), f"{file}<Process>{rng.randrange(30_000)}</Process>")
    return {f"{number:08}.xml": document("".join(one(number) for _ in range(events_of_file)), f"PC-{rng.randrange(40):03}", rng.choice(PRODUCTS))
            for number in range(files)}


class PageTest(ToolTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for option in (*OPTIONS, f"--user-data-dir={cls.enterClassContext(tempfile.TemporaryDirectory())}"):
            options.add_argument(option)
        service = webdriver.ChromeService("/usr/bin/chromedriver") if hasattr(webdriver, "ChromeService") else None
        cls.browser = webdriver.Chrome(options=options, service=service)
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.set_script_timeout(300)
        cls.browser.set_page_load_timeout(300)
        cls.size(1366, 768)

    @classmethod
    def size(cls, width, height):
        cls.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def page(self, name, files=None, *arguments):
        """Opens the page that the program writes of these files; None: the page without events."""
        if not (self.drive / f"{name}.html").exists():
            paths = ["--empty"] if files is None else [str(self.folder(name, files))]
            self.varnel("show", "--html", self.path(f"{name}.html"), *paths, *arguments, status=None)
        self.browser.get("about:blank")  # an address that differs in its "#" only does not load the page
        self.browser.get((self.drive / f"{name}.html").as_uri())

    def run_script(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def one(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def filter(self, text):
        """Enters a filter; returns the identifiers of the events in the table's order, and the message."""
        return self.run_script("""at('filter').value = arguments[0]; at('filter').dispatchEvent(new Event('input'));
            return [shown.map(event => event.event.id), at('message').textContent];""", text)

    def events(self, script="store.events"):
        """Events of the page."""
        return json.loads(self.run_script(f"return JSON.stringify(Array.from({script}))"))

    def choose(self, files, input="files"):
        """Opens files with the page's own button, and waits until they are read."""
        self.reading(lambda: self.one(f"#{input}").send_keys("\n".join(map(str, files))))

    def reading(self, action):
        """Does what makes the page read files, and waits until it has."""
        self.run_script("const read = take; window.hasRead = false; take = async files => { take = read; await read(files); hasRead = true; };")
        action()
        self.browser.execute_async_script("const done = arguments[0]; (function look() { hasRead ? done() : setTimeout(look, 20); })()")

    def picture(self, name):
        folder = pathlib.Path(os.environ["SCREENSHOTS"])
        folder.mkdir(parents=True, exist_ok=True)
        self.browser.save_screenshot(str(folder / f"{name}.png"))
