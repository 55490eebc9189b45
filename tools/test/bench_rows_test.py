#!/usr/bin/env python3
"""The rows of doc/performance.md are those that bench/run prints, with the same aims, and every limit has its program."""

import os
import re
import sys
import unittest

TREE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(TREE, "bench"))
import side_by_side  # noqa: E402

ROW = re.compile(r"^\| ([^|]+) \| [\d .]+ [nµ]s \| [\d .]+ [nµ]s \| [\d.]+ \| ([\d.]*) *\|$", re.MULTILINE)


class Rows(unittest.TestCase):
    def test_page_and_programs_have_the_same(self):
        with open(os.path.join(TREE, "doc", "performance.md"), encoding="utf-8") as page:
            written = {title: float(aim) if aim else None for title, aim in ROW.findall(page.read())}
        measured = {row.title: row.aim for pair in side_by_side.PAIRS for row in pair.rows}
        self.assertEqual(written, measured)

    def test_limits_are_there(self):
        for name in {pair.limit for pair in side_by_side.PAIRS} - {None}:
            self.assertTrue(os.path.exists(os.path.join(TREE, "bench", "limits", name)), name)


if __name__ == "__main__":
    unittest.main()
