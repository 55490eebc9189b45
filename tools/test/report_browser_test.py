#!/usr/bin/env python3
"""The page of a report in a browser: nothing to complain about, no wider than the screen, a slider that tells.

usage: report_browser_test.py PROGRAMS

Ends with status 77 where there is no chromium.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import report_test  # noqa: E402

BROWSER = shutil.which("chromium")
WIDTHS = (390, 1280)
# What a page says of itself: its own width, that of its frame, and what the first slider tells.
PROBE = """<script>
const slider = document.querySelector(".controls input");
let told = "";
if (slider) {
  slider.value = 0.6;
  slider.dispatchEvent(new Event("input"));
  told = document.querySelector(".controls output").textContent;
}
parent.postMessage([document.documentElement.scrollWidth, innerWidth, told].join("|"), "*");
</script></body>"""
# A window cannot be as narrow as a telephone, a frame can. What the page in it says becomes the title.
FRAME = """<title></title><script>onmessage = event => { document.title = event.data; };</script>
<iframe src="probe.html" style="border:0;width:%dpx;height:800px"></iframe>"""


def load(path):
    """The title of a page, and what the browser had to say about it."""
    with tempfile.TemporaryDirectory() as profile:
        result = subprocess.run(
            [BROWSER, "--headless=new", "--no-sandbox", "--disable-gpu", "--user-data-dir=" + profile,
             "--enable-logging=stderr", "--window-size=1400,900", "--dump-dom", "file://" + path],
            capture_output=True, text=True, timeout=90)
    title = re.search(r"<title>([^<]*)</title>", result.stdout)
    complaints = [line for line in result.stderr.splitlines() if ":CONSOLE" in line]
    return title.group(1) if title else "", complaints


class ReportBrowserTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def read_page(self, name="report/report.html"):
        with open(os.path.join(self.folder, name), encoding="utf-8") as page:
            return page.read()

    def probe(self, page, width):
        report_test.write(self.folder, "probe.html", page.replace("</body>", PROBE))
        report_test.write(self.folder, "frame.html", FRAME % width)
        title, complaints = load(os.path.join(self.folder, "frame.html"))
        self.assertEqual(title.count("|"), 2, title)
        own, window, told = title.split("|")
        return int(own), int(window), told, complaints

    def check_page(self, expected):
        for width in WIDTHS:
            own, window, told, complaints = self.probe(self.read_page(), width)
            self.assertEqual(complaints, [])
            self.assertLessEqual(own, window)
            self.assertEqual(window, width)
            self.assertRegex(told, expected)

    def test_a_script_on_a_set_of_recordings(self):
        report_test.make_set(self.folder)
        report_test.report_set(self.folder)
        self.check_page(r"^0:00\.60, annotated VOICE, target VOICE, decided VOICE$")

    def test_a_network_on_one_recording(self):
        report_test.make_recording(self.folder, "one", 0, 4)
        data = ["--data-gen-config", "one.xml", "--data-gen-filename", "one.wav", "--network", "net"]
        report_test.run_well(self.folder, "ml-config", "write", "one.xml", "--feature", "energy")
        report_test.run_well(self.folder, "ml-train", *data, "--epochs", "3")
        report_test.run_well(self.folder, "ml-tester", *data, "--report", "report")
        self.check_page(r"^0:00\.60, annotated VOICE, target VOICE, decided (VOICE|OTHER)$")

    def test_patterns(self):
        report_test.make_patterns(self.folder)
        report_test.run(self.folder, "ml-tester", "--data-gen-config", "file.xml", "--data-gen-filename",
                        "patterns.txt", "--script", "same", "--report", "report", "--class-names", "a,b,</script>")
        self.check_page("^$")

    def test_inspection(self):
        report_test.make_set(self.folder)
        report_test.run_well(self.folder, "ml-inspect", "--data-gen-config", "set.xml", "--data-gen-filename",
                             "set.lst", "--html", "page.html")
        page = self.read_page("page.html")
        self.assertIn('class="histogram"', page)
        for width in WIDTHS:
            own, window, told, complaints = self.probe(page, width)
            self.assertEqual((told, complaints), ("", []))
            self.assertLessEqual(own, window)

    def test_what_is_malformed_or_too_wide_is_noticed(self):
        report_test.make_set(self.folder, ["one"])
        report_test.report_set(self.folder)
        page = self.read_page()
        self.assertIn(' d="M', page)
        with_faults = page.replace(' d="M', ' d="Mx', 1).replace("<main>", '<main><p style="min-width:400px">wide</p>')
        own, window, _, complaints = self.probe(with_faults, WIDTHS[0])
        self.assertEqual(len(complaints), 1)
        self.assertGreater(own, window)
        self.assertNotRegex(page, r'(src|href)="(?!#|data:,)')


if __name__ == "__main__":
    if BROWSER is None:
        print("skipped: there is no chromium")
        sys.exit(77)
    unittest.main()
