#!/usr/bin/env python3
"""The main job from prompts to the report, with the real programs, on made-up speech.

usage: sample_job_test.py FOLDER-OF-PROGRAMS
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest

TOOLS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
sys.path.insert(0, TOOLS)
import make_prompts  # noqa: E402

PROGRAMS = os.path.abspath(sys.argv.pop()) if len(sys.argv) > 1 else ""


class SampleJob(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        make_prompts.make_prompts(os.path.join(self.folder, "sounds"))

    def run_job(self, *options):
        return subprocess.run([os.path.join(TOOLS, "sample_job"), "--bin", PROGRAMS,
                               "--out", os.path.join(self.folder, "out"), "--sounds", os.path.join(self.folder, "sounds"),
                               "--train", "aa", "--test", "bb", "--minutes", "2"] + list(options),
                              capture_output=True, text=True)

    def test_speech_is_told_from_the_rest_and_the_report_repeats(self):
        first = self.run_job()
        self.assertEqual(first.returncode, 0, first.stdout + first.stderr)
        rates = re.findall(r"^classification-error = \d+/\d+ \((\d+\.\d+)%\)$", first.stdout, re.MULTILINE)
        counts = re.findall(r"^Number of patterns of class \d+ = \d+/\d+ \((\d+\.\d+)%\)$", first.stdout, re.MULTILINE)
        # The list of calls to test on and its only call: the same report. Then the script, then the 17 classes of the digits.
        self.assertEqual(len(counts), 6 + 17, first.stdout)
        self.assertEqual(counts[:2], counts[2:4])
        self.assertRegex(first.stdout, r"14 file\(s\) listed, 14 used, 0 skipped\. Patterns: \d+ ")
        # Guessing the more frequent class would be wrong as often as the other occurs.
        self.assertEqual(len(rates), 4)
        for rate in rates[:3]:
            self.assertLess(float(rate), min(map(float, counts[:6])) / 2, first.stdout)
        # All but one window in eight are of no digit.
        self.assertLess(float(rates[3]), 5.0, first.stdout)
        # The first spans beside the true ones: digits are found, each as what it is.
        pairs = re.findall(r"(DTMF:[^*]) +[\d.]+ +[\d.]+  (DTMF:[^*\\])", first.stdout)
        self.assertGreater(len(pairs), 8, first.stdout)
        self.assertLess(sum(true != decided for true, decided in pairs), 2, first.stdout)
        self.assertRegex(first.stdout, r"(?m)^ +[\d.]+ +[\d.]+  VOICE +[\d.]+ +[\d.]+  VOICE")
        self.assertRegex(first.stdout, r"Number of false positive = \d")
        self.assertNotIn("run before", first.stdout)
        again = self.run_job()
        self.assertIn("The report is the same as that of the run before", again.stdout)

    def test_a_step_that_fails_ends_the_job(self):
        for options in (["--train", "zz"], ["--bin", self.folder]):
            result = self.run_job(*options)
            self.assertNotEqual(result.returncode, 0)
            self.assertFalse(os.path.exists(os.path.join(self.folder, "out", "report.txt")))


if __name__ == "__main__":
    unittest.main()
