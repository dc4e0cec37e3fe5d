"""Browses in Chromium the frame pages that the program writes.

usage: frame_pages_test.py BUILD DIRECTORY

BUILD is the directory of the tests' programs: statistics_run_under_test and sample_server.
"""

import functools
import http.server
import itertools
import os
import pathlib
import subprocess
import sys
import threading
import unittest

from selenium import webdriver
from selenium.common.exceptions import TimeoutException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import Select, WebDriverWait

PATIENCE = 60  # seconds
NUMBERS = itertools.count()

CHROMIUM_OPTIONS = """--headless --no-sandbox --disable-gpu --disable-dev-shm-usage --disable-quic
    --no-first-run --no-proxy-server --disable-background-networking --disable-component-update
    --disable-sync""".split()

# What scripts say of the list, of the page and of the frames.
ENTRIES = "Array.from(document.periodForm.periodSelect, entry => entry.text)"
SHOWN = "[decodeURIComponent(location), document.body?.innerText.split('\\n')[0]]"
FRAMES = "Array.from(frames, frame => [frame.name, frame.document.title, frame.document.readyState])"


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def lay_out_server(number, months, directories):
    """Lays out a server with one domain that has a run in the middle of each month.

    Its statistics directory, which is returned, holds the directories before, each with a page.
    """
    def call(program, *words, **variables):
        subprocess.run([f"{BUILD}/{program}", *words], cwd=root, env=os.environ | variables, check=True,
                       capture_output=True)

    root = f"{PLACE}/server/{number}"
    os.makedirs(root)
    call("sample_server", "lay-out", root)
    call("sample_server", "add", root, "awstats", "1")
    pages = pathlib.Path(root, "vhosts/system/awstats000001.example/statistics/webstat")
    for name in directories:
        (pages / name).mkdir()
        (pages / name / "index.html").write_text("Pages of " + name, encoding="ascii")
    for month in months:
        call("sample_server", "bring", root, "prepared")
        call("statistics_run_under_test", TEST_TIME=month + "-15 12:00")
    return pages


def start_browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for option in [*CHROMIUM_OPTIONS, f"--user-data-dir={PLACE}/profile"]:
        options.add_argument(option)
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class FramePages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        handler = functools.partial(QuietHandler, directory=f"{PLACE}/server")
        cls.web = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        cls.addClassCleanup(cls.web.server_close)
        threading.Thread(target=cls.web.serve_forever, daemon=True).start()
        cls.addClassCleanup(cls.web.shutdown)
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)

    def open_pages(self, months=("2024-11",), directories=()):
        """Opens the pages of a new domain with runs in the months and the directories from before."""
        number = next(NUMBERS)
        pages = lay_out_server(number, months, directories)
        self.address = f"http://127.0.0.1:{self.web.server_port}/{pages.relative_to(f'{PLACE}/server')}/"
        self.browser.get(self.address)
        self.wait_for_page("current", months[-1])

    def ask(self, expression, frame=None):
        """The value of a script's expression in the frameset or in one of its frames."""
        self.browser.switch_to.default_content()
        if frame:
            self.browser.switch_to.frame(frame)
        return self.browser.execute_script("return " + expression)

    def wait_for(self, expected, expression, frame=None):
        patience = WebDriverWait(self.browser, PATIENCE, poll_frequency=0.05)
        try:
            patience.until(lambda _: self.ask(expression, frame) == expected)
        except TimeoutException:
            self.assertEqual(self.ask(expression, frame), expected)

    def wait_for_page(self, directory, name):
        """Waits until the main frame shows the page in a directory, which tells its name."""
        page = [f"{self.address}{directory}/index.html", "Pages of " + name]
        self.wait_for(page, SHOWN, "mainFrame")

    def expect_list(self, *names):
        self.assertEqual(self.ask(ENTRIES, "topFrame"), ["Current", *names])

    def choose(self, entry):
        self.browser.switch_to.default_content()
        self.browser.switch_to.frame("topFrame")
        Select(self.browser.find_element("name", "periodSelect")).select_by_visible_text(entry)

    def test_both_frames_load(self):
        self.open_pages()
        self.assertEqual(self.browser.title, "AWStats for domain")
        self.wait_for([["topFrame", "Navigation", "complete"], ["mainFrame", "", "complete"]], FRAMES)
        self.expect_list("2024-11")
        self.assertEqual(self.ask("document.periodForm.periodSelect.value", "topFrame"), "current")

    def test_each_month_can_be_chosen(self):
        self.open_pages(["2024-10", "2023-12", "2024-02", "2024-11"])
        months = ["2023-12", "2024-02", "2024-10", "2024-11"]
        self.expect_list(*months)
        for month in months:
            self.choose(month)
            self.wait_for_page(month, month)
        self.choose("Current")
        self.wait_for_page("current", "2024-11")

    def test_other_names_are_entries_like_the_months(self):
        names = ['2023"', '2024-01">', "2024-12 old", "<1 & >2", "`$(reboot)`", "{{7*7}};"]
        self.open_pages(directories=names)
        self.expect_list(*sorted([*names, "2024-11"]))
        for name in names:
            self.choose(name)
            self.wait_for_page(name, name)

    # The names are written without escaping: a reason why only the program's user makes directories
    # among the statistics.

    def test_a_handler_in_a_name_runs(self):
        self.open_pages(directories=["2024-01<input autofocus onfocus=top.hasRun=1>"])
        self.wait_for(1, "window.hasRun")

    def test_a_name_that_is_an_address_is_followed(self):
        self.open_pages(directories=["javascript:top.hasRun=1,1"])
        self.assertIsNone(self.ask("window.hasRun"))
        self.choose("javascript:top.hasRun=1,1")
        self.wait_for(1, "window.hasRun")


if __name__ == "__main__":
    BUILD, PLACE = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
