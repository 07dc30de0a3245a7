"""The report as a browser shows it, from a file. Screenshots and what is printed stay in the build folder."""
import base64
import json
import os
import re
import sqlite3
import subprocess
import sys
import unittest
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

PROGRAM, EXAMPLES, FOLDER = os.environ["ORV_PROGRAM"], Path(os.environ["ORV_EXAMPLES"]), Path(os.environ["ORV_FOLDER"])
AXE_VERSION = "4.10.3"
HOSTILE = "<img src=x onerror=window.harmed=1></script><script>window.harmed=1</script>\"'&amp;${1}\u2028"
HEADINGS = ["Verdict", "Latencies and course of the test", "Objects", "What was configured", "How it was measured"]


def call(*arguments):
    subprocess.run([PROGRAM, *map(str, arguments)], check=True, stdout=subprocess.DEVNULL)


def make_database(name, seeds):
    """With a data set for each seed, and names that would do harm as mark-up."""
    path = FOLDER / name
    path.unlink(missing_ok=True)
    for seed in seeds:
        call("run", EXAMPLES / "zapping-ipv4.yaml", "--db", path, "--seed", seed, "--quiet")
    with sqlite3.connect(path) as database:
        for table in ("IptvStbBlockConfig", "IptvViewedChannels", "IptvViewingProfileConfig", "Port"):
            database.execute(f"UPDATE {table} SET Name = ? || Name", (HOSTILE,))
        database.execute("UPDATE IptvStartTestCommand SET TestName = ?", (HOSTILE,))
        database.execute("UPDATE DataSetDescriptions SET Text = ? || Text WHERE Name IN ('Title', 'TestFileText')", (HOSTILE,))
        if len(seeds) > 1:
            for number, value in enumerate((100, 200, 400), 1):
                database.execute("INSERT INTO DataSetDescriptions VALUES(?, 'Sweep', ?)", (number, json.dumps(
                    {"iteration": number, "iterations": 3, "values": {HOSTILE + "/DeviceCount": str(value)}})))
    return path


def fetch_axe():
    folder = FOLDER / "axe"
    source = folder / "node_modules/axe-core/axe.min.js"
    if not source.exists():
        subprocess.run(["npm", "install", "--silent", "--no-save", "--no-audit", "--no-fund", "--prefix", folder,
                        f"axe-core@{AXE_VERSION}"], check=False)
    return source.read_text(encoding="utf-8") if source.exists() else None


class ReportPageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.addClassCleanup(cls.browser.quit)
        cls.one, cls.other = make_database("one.db", [1]), make_database("other.db", [2])
        cls.sweep = make_database("sweep.db", [1, 2, 3])

    def open(self, name, *databases):
        page = FOLDER / f"{name}.html"
        call("report", *databases, "-o", page)
        self.browser.get_log("performance")
        self.browser.get(page.as_uri())
        requests = [json.loads(entry["message"])["message"] for entry in self.browser.get_log("performance")]
        urls = {message["params"]["request"]["url"] for message in requests if message["method"] == "Network.requestWillBeSent"}
        self.assertEqual(urls, {page.as_uri()})
        self.assertEqual([entry["message"] for entry in self.browser.get_log("browser")], [])
        self.assertIsNone(self.script("return window.harmed"))
        self.assertEqual(self.script("return document.querySelectorAll('img').length"), 0)

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def text(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector).text

    def headings(self):
        return [heading.text for heading in self.browser.find_elements(By.TAG_NAME, "h2")]

    def width(self, width, media=""):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": media or "light"}]})

    def check_looks(self, name):
        axe = fetch_axe()
        for width, scheme in ((400, "light"), (1280, "dark"), (1920, "light")):
            self.width(width, scheme)
            self.assertLessEqual(self.script("return document.documentElement.scrollWidth"), width)
            height = self.script("return document.documentElement.scrollHeight")
            picture = self.browser.execute_cdp_cmd("Page.captureScreenshot", {"captureBeyondViewport": True, "clip": {
                "x": 0, "y": 0, "width": width, "height": min(height, 8000), "scale": 1}})
            (FOLDER / f"{name}-{width}.png").write_bytes(base64.b64decode(picture["data"]))
            with self.subTest("axe-core", width=width):
                if axe is None:
                    self.skipTest("axe-core cannot be fetched by npm")
                self.script(axe)
                found = self.browser.execute_async_script(
                    "const done = arguments[0]; axe.run().then(result => done(result.violations.map("
                    "each => [each.id, each.nodes.map(node => node.html).slice(0, 3)])))")
                self.assertEqual(found, [])
        printed = base64.b64decode(self.browser.execute_cdp_cmd("Page.printToPDF", {"printBackground": False})["data"])
        (FOLDER / f"{name}.pdf").write_bytes(printed)
        self.assertGreaterEqual(len(re.findall(rb"/Type\s*/Page\b", printed)), 3)
        self.assertFalse(self.script("return document.documentElement.classList.contains('paper')"))

    def test_one_run(self):
        self.open("one", self.one)
        self.assertEqual(self.headings(), HEADINGS)
        self.assertIn(HOSTILE.replace("\u2028", ""), self.script("return document.title").replace("\u2028", ""))
        self.assertIn("PASSED", self.text("#verdict"))
        self.assertIn("//sim/head-end", self.text("#measurement"))
        self.assertIn("<img", self.script("return document.querySelector('pre').textContent"))
        with sqlite3.connect(self.one) as database:
            rows = database.execute("SELECT c.Name, r.NumOfChannelChanges, d.Count, d.P50, d.P999 FROM IptvStbBlockConfig c "
                                    "JOIN IptvStbBlockResults r ON r.ParentHnd = c.Handle JOIN IptvLatencyDistribution d "
                                    "ON d.ParentHnd = c.Handle WHERE d.Figure = 'join latency'").fetchall()
            intervals = database.execute("SELECT count(*), sum(Views) FROM IptvIntervalResults WHERE ParentHnd IN "
                                         "(SELECT Handle FROM Project)").fetchone()
        shown = self.script("return [...document.querySelector('#objects .data-table tbody').rows].map("
                            "row => [...row.cells].map(cell => cell.textContent))")
        for (name, views, count, p50, p999), cells in zip(rows, shown, strict=True):
            number = [float(cell.replace(",", "")) for cell in (cells[1], cells[6], cells[7], cells[11])]
            self.assertEqual(cells[0], name)
            self.assertEqual(number[:2], [views, count])
            self.assertAlmostEqual(number[2], p50, delta=p50 * 1e-3)
            self.assertAlmostEqual(number[3], p999, delta=p999 * 1e-3)
        # The values behind the first chart of the time series.
        details = self.browser.find_elements(By.CSS_SELECTOR, "details.values")[2]
        details.find_element(By.TAG_NAME, "summary").click()
        # The page makes the table when it hears, after the click, that it was opened.
        views = WebDriverWait(self.browser, 30).until(lambda _: self.script(
            "return [...arguments[0].querySelectorAll('tbody tr')].map(row => Number(row.cells[1].textContent))", details))
        self.assertEqual((len(views), sum(views)), intervals)
        self.check_looks("one")

    def test_tables_sort_filter_and_turn_pages(self):
        path = FOLDER / "large.db"
        path.write_bytes(self.one.read_bytes())
        with sqlite3.connect(path) as database:
            for i in range(16384):
                database.execute("INSERT INTO IptvStbBlockConfig(Handle, DataSetId, Name) VALUES(?, 1, ?)", (10**6 + i, f"Block {i}"))
                database.execute("INSERT INTO IptvStbBlockResults(Handle, ParentHnd, DataSetId, NumOfChannelChanges, JoinFails, "
                                 "UnicastJoinFails) VALUES(?, ?, 1, ?, 0, 0)", (10**7 + i, 10**6 + i, i))
        self.open("large", path)
        table = self.browser.find_element(By.CSS_SELECTOR, "#objects .data-table")
        status = table.find_element(By.CLASS_NAME, "status")
        sort = table.find_elements(By.CLASS_NAME, "sort")[1]
        sort.click()
        header = sort.find_element(By.XPATH, "..")
        self.assertEqual(header.get_attribute("aria-sort"), "descending")
        first = lambda: self.script("return arguments[0].querySelector('tbody tr').cells[0].textContent", table)
        self.assertEqual(first(), "Block 16383")
        table.find_element(By.XPATH, ".//button[text()='Next page']").click()
        self.assertEqual(first(), "Block 16333")
        self.assertIn("51 to 100 of 16,385", status.text)
        table.find_element(By.TAG_NAME, "input").send_keys("block 1000")
        self.assertEqual(first(), "Block 10009")
        self.assertIn("1 to 11 of 11", status.text)
        # No latency was measured here: missing, not 0.
        self.assertIn("not measured", self.script("return arguments[0].querySelector('tbody tr').cells[7].textContent", table))
        table.find_element(By.CSS_SELECTOR, "tbody button").click()
        self.assertIn("Block 10009", self.text("#latencies"))
        # All of a step of a user: filter, sort and draw.
        spent = self.script("const begin = performance.now(); const box = arguments[0].querySelector('input'); box.value = '';"
                            "box.dispatchEvent(new Event('input')); return performance.now() - begin", table)
        self.assertLess(spent, 500)

    def test_comparison_and_sweep(self):
        self.open("compared", self.one, self.other)
        self.assertEqual(self.headings(), ["Verdicts", "Comparison", *HEADINGS[1:]])
        comparison = self.text("#comparison")
        for expected in ("Mann-Whitney", "Holm", "\u03b1 = 0.01", "one.db", "other.db", "No figure differs beyond noise", "not measured"):
            self.assertIn(expected, comparison)
        self.check_looks("compared")
        self.open("sweep", self.sweep)
        self.assertEqual(self.headings(), [*HEADINGS[:3], "Sweep", *HEADINGS[3:]])
        values = self.script("return [...document.querySelectorAll('#sweep table:first-of-type tbody tr')].map("
                             "row => row.cells[0].textContent)")
        self.assertEqual(values[:3], [f"{HOSTILE}/DeviceCount={value}" for value in (100, 200, 400)])
        self.check_looks("sweep")


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
