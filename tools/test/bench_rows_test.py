#!/usr/bin/env python3
"""The rows of doc/performance.md are those that bench/run prints, with the same aims, and every limit has its program. What
doc/peers.md says of them stands in one of its rows."""

import os
import re
import sys
import unittest

TREE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(TREE, "bench"))
import side_by_side  # noqa: E402

ROW = re.compile(r"^\| ([^|]+) \| [\d .]+ [nµ]s \| [\d .]+ [nµ]s \| [\d.]+ \| ([\d.]*) *\|$", re.MULTILINE)


NUMBER = r"(\d[\d ]*(?:\.\d+)?)"
PAIR = re.compile(NUMBER + "(?: ns)?(?: a \\w+)? beside " + NUMBER + " ns")
TIMES = re.compile(NUMBER + " times as long")


def read(name):
    with open(os.path.join(TREE, "doc", name), encoding="utf-8") as page:
        return page.read()


def cells(text):
    """The numbers of each row of the tables, without units."""
    for line in text.splitlines():
        if line.startswith("|"):
            yield set(re.findall(r"(?<=\| )%s(?= [nµ]s \|| \|| %% \|)" % NUMBER, line))


class Rows(unittest.TestCase):
    def test_peers_are_told_the_same_figures(self):
        peers = read("peers.md")
        text = " ".join(peers.split())
        figures = [set(pair) for pair in PAIR.findall(text)] + [{number} for number in TIMES.findall(text)]
        self.assertEqual(set(re.findall(NUMBER + " ns", text)) - set.union(*figures), set(), "held against nothing")
        figures += [row for row in cells(peers) if row]
        self.assertGreaterEqual(len(figures), 10)
        measured = list(cells(read("performance.md")))
        for figure in figures:
            self.assertTrue(any(figure <= row for row in measured), "in no row of performance.md together: %s" % figure)

    def test_page_and_programs_have_the_same(self):
        written = {title: float(aim) if aim else None for title, aim in ROW.findall(read("performance.md"))}
        measured = {row.title: row.aim for pair in side_by_side.PAIRS for row in pair.rows}
        self.assertEqual(written, measured)

    def test_limits_are_there(self):
        for name in {pair.limit for pair in side_by_side.PAIRS} - {None}:
            self.assertTrue(os.path.exists(os.path.join(TREE, "bench", "limits", name)), name)


if __name__ == "__main__":
    unittest.main()
