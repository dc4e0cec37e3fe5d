"""A small server tree, in which the program makes the pages of AWStats domains."""

import os
import pathlib
import subprocess

CONFIGURATION = """HTTPD_VHOSTS_D {0}/vhosts
PRODUCT_ROOT_D {0}/panel
AWSTATS_BIN_D {0}/bin
AWSTATS_TOOLS_D {0}/tools
"""

# Stands in for AWStats' page builder: the main page tells which month's it is.
BUILDER = """
config=${3#-config=}
directory=${4#-dir=}
echo "Pages of $(readlink "$directory")" >"$directory/awstats.$config.html"
"""

PROGRAMS = {
    "bin/awstats.pl": "",
    "panel/admin/sbin/statistics_log_processor": "",
    "tools/awstats_buildstaticpages.pl": BUILDER,
}


class SampleServer:
    def __init__(self, root, program):
        self.root = pathlib.Path(root)
        self._program = program
        self._domains = 0
        self._write("etc/zut/zut.conf", CONFIGURATION.format(root))
        for path, body in PROGRAMS.items():
            self._write(path, "#!/bin/sh\n" + body).chmod(0o755)

    def add_domain(self, months, directories=()):
        """Adds a domain that has a run in each of the months.

        Its statistics directory, whose path from the root is returned, holds the directories
        before, each with a page.
        """
        self._domains += 1
        domain = f"d{self._domains}.example"
        self._write(f"panel/etc/awstats/awstats.{domain}-http.conf", "")
        statistics = f"vhosts/system/{domain}/statistics/webstat"
        (self.root / statistics).mkdir(parents=True)
        for name in directories:
            self._write(f"{statistics}/{name}/index.html", "Pages of " + name)
        for month in months:
            self._run(domain, month)
        return statistics

    def _run(self, domain, month):
        """Makes the statistics of a domain in the middle of a month."""
        self._write(f"vhosts/system/{domain}/logs/access_log.webstat", "record\n")
        subprocess.run(
            [self._program, "--calculate-domain", domain],
            cwd=self.root,
            env={**os.environ, "TEST_TIME": month + "-15 12:00"},
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            check=True,
        )

    def _write(self, path, text):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="ascii")
        return file
