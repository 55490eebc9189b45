#!/usr/bin/env python3
"""The generators of tone patterns over a corpus of tools/make_tone_corpus.py, held against its labels.

usage: tone_targets_test.py PROGRAMS
"""

import contextlib
import filecmp
import io
import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import check_tone_targets  # noqa: E402
import make_tone_corpus  # noqa: E402

PROGRAMS = ""


def make_corpus(folder, *options):
    with contextlib.redirect_stdout(io.StringIO()):
        return make_tone_corpus.main(["make_tone_corpus.py", "--out", folder, *options])


def check(folder):
    """Exit status of the check, and what it printed."""
    text = io.StringIO()
    with contextlib.redirect_stdout(text), contextlib.redirect_stderr(text):
        status = check_tone_targets.main(["check_tone_targets.py", PROGRAMS, folder])
    return status, text.getvalue()


class ToneTargetsTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def test_every_window_is_as_labelled(self):
        self.assertEqual(make_corpus(self.path("corpus"), "--crowds", "20"), 0)
        status, text = check(self.path("corpus"))
        self.assertEqual(status, 0, text)
        self.assertEqual(text.count(" 0 differ\n"), len(check_tone_targets.GENERATORS), text)
        # Both ends of the rules are there: combined and refused.
        wideband = next(line for line in text.splitlines() if line.startswith("wideband"))
        self.assertRegex(wideband, r"[1-9]\d+ windows, +[1-9]\d* of")

    def test_a_rule_that_is_not_kept_is_found(self):
        make_corpus(self.path("corpus"), "--crowds", "0")
        generators = check_tone_targets.GENERATORS
        self.addCleanup(setattr, check_tone_targets, "GENERATORS", generators)
        check_tone_targets.GENERATORS = [
            ("a tolerance 1 Hz too small",) + generators[4][1:3]
            + (check_tone_targets.belongs_by_modulation(39, 10), check_tone_targets.apart)]
        status, text = check(self.path("corpus"))
        self.assertEqual(status, 1, text)
        self.assertIn("expected", text)

    def test_corpus_is_the_same_each_time(self):
        for name in ("first", "second"):
            self.assertEqual(make_corpus(self.path(name), "--crowds", "2", "--seed", "5"), 0)
        names = sorted(os.listdir(self.path("first")))
        self.assertEqual(names, sorted(os.listdir(self.path("second"))))
        self.assertEqual(filecmp.cmpfiles(self.path("first"), self.path("second"), names, shallow=False)[0], names)
        self.assertNotEqual(make_corpus(os.path.join(self.path("first"), names[0])), 0, "no folder")


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
