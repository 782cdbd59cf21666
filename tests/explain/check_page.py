"""Tries the page of --format html in Chromium: check_page.py SALTROVE-REPLAY"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from hostile_image import FILES, MARKUP, SCRIPT, make_hostile_image

REPLAY = sys.argv.pop(1)
TITLE = "Why each package went or stayed"
ELEMENTS = set("""html head meta title style body header h1 p bdi main section h2 svg rect table thead
    tbody tr th td span form label input select option fieldset legend div button ol ul li a code br
    script""".split())


def start_browser():
    options = webdriver.ChromeOptions()
    for argument in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.TemporaryDirectory()
        image = Path(cls.work.name) / "image"
        make_hostile_image(image)
        cls.page = Path(cls.work.name) / "page.html"
        cls.page.write_bytes(subprocess.run(
            [REPLAY, image, "--explain", "--format", "html"],
            stdout=subprocess.PIPE, check=True).stdout)
        cls.browser = start_browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        cls.work.cleanup()

    def setUp(self):
        self.browser.get("about:blank")
        self.browser.get(self.page.as_uri())

    def run_script(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def find_all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def read_column(self, column):
        """The cells of the rows that are shown; keys where a cell has one."""
        return self.run_script(
            "return [...document.querySelectorAll('#packages tbody tr:not([hidden])')].map(row => {"
            "const cell = row.cells[arguments[0]];"
            "return 'key' in cell.dataset ? Number(cell.dataset.key) : cell.textContent; })",
            column)

    def count_shown(self):
        count = len(self.read_column(0))
        status = self.find_all("#shown")[0].text
        self.assertEqual(status.split()[0], str(count))
        return count

    def test_no_text_becomes_an_element_or_runs(self):
        self.assertEqual(self.browser.title, TITLE)
        tags = self.run_script("return [...document.querySelectorAll('*')].map(e => e.localName)")
        self.assertLessEqual(set(tags), ELEMENTS)
        self.assertEqual((tags.count("script"), tags.count("style")), (1, 1))
        names = self.run_script("return [...document.querySelectorAll('*')].flatMap("
                                "e => e.getAttributeNames())")
        self.assertFalse([name for name in names if name.startswith("on") or name == "style"])
        links = self.run_script("return [...document.links].map(a => a.getAttribute('href'))")
        self.assertTrue(links)
        for link in links:
            self.assertTrue(self.run_script(
                "return document.querySelector(arguments[0])?.localName", link) == "tr", link)
        self.assertEqual(self.run_script("return document.getElementById('owned')"), None)
        text = self.run_script("return document.body.textContent")
        for shown in (MARKUP, SCRIPT, "\\u202Egpj.exe\\u2066\\u200F\\x1B[31m\\x08\\x7F\\x85",
                      "<svg onload=document.title='owned'>.msp", *FILES):
            self.assertIn(shown, text)
        for character in "\u202e\u2066\u200f\x1b\x08\x85":
            self.assertNotIn(character, text)

    def test_nothing_is_fetched_and_the_policy_lets_nothing_else_run(self):
        self.assertEqual(self.run_script("return performance.getEntriesByType('resource').length"),
                         0)
        self.assertEqual(self.browser.get_log("browser"), [])
        self.run_script("const script = document.createElement('script');"
                        "script.textContent = 'document.title = 1'; document.body.append(script);"
                        "document.body.insertAdjacentHTML('beforeend',"
                        "'<img src=x onerror=document.title=1><p id=styled style=color:red>');")
        self.assertEqual(self.browser.title, TITLE)
        self.assertTrue(self.browser.get_log("browser"), "the policy reports what it stopped")

    def test_columns_sort_both_ways_by_mouse_and_keyboard(self):
        heads = self.find_all("#packages thead th")
        self.assertEqual(len(heads), 9)
        for column, head in enumerate(heads):
            before = self.read_column(column)
            button = head.find_element(By.TAG_NAME, "button")
            button.click()
            self.assertEqual(head.get_attribute("aria-sort"), "ascending")
            up = self.read_column(column)
            button.send_keys(Keys.ENTER)
            self.assertEqual(head.get_attribute("aria-sort"), "descending")
            down = self.read_column(column)
            self.assertEqual(len(self.find_all("#packages th[aria-sort]")), 1)
            self.assertEqual(up, sorted(up) if isinstance(up[0], int) else list(reversed(down)))
            self.assertEqual(down, list(reversed(up)))
            self.assertCountEqual(up, before)
        self.run_script("document.querySelectorAll('#packages thead button')[1].click()")
        names = [name for name in self.read_column(1) if len(name) == len("1b7a36.msp")]
        self.assertEqual(names, sorted(names))

    def test_filters_show_what_they_name(self):
        everything = self.count_shown()
        deleted = self.find_all("input[value=deleted]")[0]
        deleted.send_keys(Keys.SPACE)
        self.assertNotIn(0, self.read_column(0))
        fewer = self.count_shown()
        self.assertLess(fewer, everything)
        deleted.click()
        Select(self.find_all("#kind")[0]).select_by_value("orphan")
        self.assertEqual(set(self.read_column(3)), {"orphan"})
        self.assertLess(self.count_shown(), everything)
        Select(self.find_all("#kind")[0]).select_by_value("")
        self.find_all("#search")[0].send_keys("ONCLICK &")
        self.assertEqual(self.read_column(1), [FILES[0]])

    def test_lines_of_the_log_lead_to_their_packages(self):
        link = self.run_script("return [...document.querySelectorAll('.log a')].find("
                               "a => a.textContent.includes('Patch: 24.1.20604'))")
        self.find_all("#search")[0].send_keys("no such text")
        self.assertEqual(self.count_shown(), 0)
        self.run_script("arguments[0].click()", link)
        self.browser.implicitly_wait(1)
        row = self.browser.find_element(By.CSS_SELECTOR, "tr:target:not([hidden])")
        self.assertIn("2f60d5.msp", row.text)
        orphan = self.run_script("return [...document.querySelectorAll('.log a')].find("
                                 "a => a.textContent.includes('Orphan: long.msp')).hash")
        self.assertIn("long.msp", self.find_all(orphan)[0].text)

    def test_it_fits_dark_rooms_paper_and_small_screens(self):
        def look(features, media=""):
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                         {"media": media, "features": features})
            return self.run_script("return [getComputedStyle(document.body).backgroundColor,"
                                   "getComputedStyle(document.getElementById('filters')).display]")

        scheme = "prefers-color-scheme"
        light = look([{"name": scheme, "value": "light"}])
        dark = look([{"name": scheme, "value": "dark"}])
        paper = look([], "print")
        look([])
        self.assertNotEqual(light[0], dark[0])
        self.assertEqual((light[1], paper), ("flex", ["rgb(255, 255, 255)", "none"]))
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": 400, "height": 800, "deviceScaleFactor": 1, "mobile": False})
        self.assertEqual(self.run_script(
            "return [...document.querySelectorAll('body, body > *, main > * > *')].filter("
            "e => e.getBoundingClientRect().right > 400).map(e => e.outerHTML.slice(0, 200))"), [])
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})

    def test_tables_and_controls_have_names(self):
        self.assertEqual(self.find_all("th:not([scope])"), [])
        for control in self.find_all("input, select, button, [role=img], [role=region]"):
            self.assertTrue(control.accessible_name, control.get_attribute("outerHTML"))


unittest.main()
