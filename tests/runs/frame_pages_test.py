"""Browses in Chromium the frame pages that the program writes.

usage: frame_pages_test.py BUILD

BUILD is a build with its tests. The program makes directories of root's.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import Select, WebDriverWait

CHROMIUM_OPTIONS = """--headless --no-sandbox --disable-gpu --disable-dev-shm-usage --disable-quic
    --no-first-run --no-proxy-server --disable-background-networking --disable-component-update
    --disable-sync --allow-file-access-from-files""".split()

MONTHS = ["2023-12", "2024-02", "2024-10", "2024-11"]
# Other directories that lie there: names like months, and with characters of HTML and of shells.
NAMES = ['2023"', '2024-01">', "2024-12 old", "<1 & >2", "`$(reboot)`", "{{7*7}};"]

# What scripts say of the list, of the page and of the frames.
ENTRIES = "Array.from(document.periodForm.periodSelect, entry => entry.text)"
SHOWN = "[decodeURIComponent(location), document.body?.innerText.split('\\n')[0]]"
FRAMES = "Array.from(frames, frame => [frame.name, frame.document.title, frame.document.readyState])"


def lay_out_server(root):
    """Lays out a server with a domain that has a run in each month. Returns its statistics directory."""
    def call(program, *words, **variables):
        subprocess.run([f"{BUILD}/tests/{program}", *words], cwd=root, env=os.environ | variables, check=True,
                       capture_output=True)

    call("sample_server", "lay-out", root)
    call("sample_server", "add", root, "awstats", "1")
    pages = pathlib.Path(root, "vhosts/system/awstats000001.example/statistics/webstat")
    for name in NAMES:
        (pages / name).mkdir()
        (pages / name / "index.html").write_text("Pages of " + name, encoding="ascii")
    for month in MONTHS:
        call("sample_server", "bring", root, "prepared")
        call("statistics_run_under_test", TEST_TIME=month + "-15 12:00")
    return pages


class FramePages(unittest.TestCase):
    def setUp(self):
        place = self.enterContext(tempfile.TemporaryDirectory())
        root = self.enterContext(tempfile.TemporaryDirectory())
        self.address = f"file://{lay_out_server(root)}/"
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for option in [*CHROMIUM_OPTIONS, f"--user-data-dir={place}"]:
            options.add_argument(option)
        os.environ["HOME"] = place
        self.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.addCleanup(self.browser.quit)

    def ask(self, expression, frame=None):
        """The value of a script's expression in the frameset or in one of its frames."""
        self.browser.switch_to.default_content()
        if frame:
            self.browser.switch_to.frame(frame)
        return self.browser.execute_script("return " + expression)

    def wait_for(self, expected, expression, frame=None):
        patience = WebDriverWait(self.browser, 60, poll_frequency=0.05)
        patience.until(lambda _: self.ask(expression, frame) == expected, f"{expression} is not {expected}")

    def wait_for_page(self, directory, name):
        """Waits until the main frame shows the page in a directory, which tells its name."""
        self.wait_for([f"{self.address}{directory}/index.html", "Pages of " + name], SHOWN, "mainFrame")

    def choose(self, entry):
        self.browser.switch_to.default_content()
        self.browser.switch_to.frame("topFrame")
        Select(self.browser.find_element("name", "periodSelect")).select_by_visible_text(entry)

    def test_each_directory_is_an_entry_that_shows_its_page(self):
        self.browser.get(self.address + "index.html")
        self.wait_for_page("current", MONTHS[-1])
        self.wait_for([["topFrame", "Navigation", "complete"], ["mainFrame", "", "complete"]], FRAMES)
        self.assertEqual(self.browser.title, "AWStats for domain")
        self.assertEqual(self.ask("document.periodForm.periodSelect.value", "topFrame"), "current")
        self.assertEqual(self.ask(ENTRIES, "topFrame"), ["Current", *sorted(MONTHS + NAMES)])
        for name in MONTHS + NAMES:
            self.choose(name)
            self.wait_for_page(name, name)
        self.choose("Current")
        self.wait_for_page("current", MONTHS[-1])


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main()
