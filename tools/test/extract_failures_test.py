#!/usr/bin/env python3
"""Sequences that ml-tester cuts out of a stream fail alone as they did in it: the same outputs, the same errors.

usage: extract_failures_test.py PROGRAMS
"""

import csv
import os
import re
import shutil
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import report_test  # noqa: E402
from report_test import run, run_well, write  # noqa: E402

# Counts the patterns of a sequence; what it says of one depends on all before it.
STATEFUL = "count = prev(count, 0) + 1\nodd = count - 2 * floor(count / 2)\nresult = [odd + audio[0], 1 - odd]\n"
STATELESS = "result = [audio[0], audio[1]]\n"


def read_log(folder, name):
    """The lines of each recording of a log: target and output as they stand there."""
    recordings = []
    with open(os.path.join(folder, name), encoding="utf-8") as log:
        next(log)
        for line in log:
            if line.startswith("# "):
                recordings.append((line.rstrip("\n").split("\t")[1], []))
            else:
                recordings[-1][1].append(line.rstrip("\n").split("\t")[3:])
    return recordings


def count_errors(text):
    return int(re.search(r"classification-error = (\d+)/", text).group(1))


class ExtractFailuresTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def read_index(self):
        with open(os.path.join(self.folder, "cut", "failures.tsv"), encoding="utf-8") as index:
            return list(csv.DictReader(index, delimiter="\t", quoting=csv.QUOTE_NONE))

    def extract(self, *arguments):
        return run(self.folder, "ml-tester", "--classification-error", "--output-log", "log.tsv",
                   "--extract-failures", "cut", *arguments)

    def replay(self, config, file, entity):
        """The log of a test of what was cut out, and its errors."""
        result = run(self.folder, "ml-tester", "--classification-error", "--output-log", "again.tsv",
                     "--data-gen-config", config, "--data-gen-filename", file, *entity)
        return read_log(self.folder, "again.tsv"), count_errors(result.stdout)

    def check_replays(self, entity, config=None):
        """Every cut alone, as patterns and, where the generator of one recording is given, as a recording."""
        recordings = dict(read_log(self.folder, "log.tsv"))
        for row in self.read_index():
            first = int(row["first_pattern"]) - 1
            expected = recordings[row["source"]][first:first + int(row["patterns"])]
            replays = [("cut/patterns.xml", row["patterns_file"])]
            if config:
                replays.append((config, row["recording"]))
            for used, file in replays:
                again, errors = self.replay(used, "cut/" + file, entity)
                self.assertEqual([lines for _, lines in again], [expected], (used, row))
                self.assertEqual(errors, int(row["failures"]), (used, row))

    def write_sequences(self):
        """Six sequences of 5 patterns; the entity that counts takes the odd ones for class 0."""
        lines = []
        for sequence in range(6):
            for place in range(5):
                wrong = sequence % 2 == 1 and place in (1, 3)
                target = "[1 0]" if (place % 2 == 0) != wrong else "[0 1]"
                lines.append("%s[%r %r] %s" % ("reset\n" if sequence and place == 0 else "", sequence / 70, place / 9,
                                               "[]" if place == 4 else target))
        write(self.folder, "patterns.txt", "".join(line + "\n" for line in lines))
        run_well(self.folder, "ml-config", "write", "file.xml", "--generator", "vector-file", "--force")
        return ["--data-gen-config", "file.xml", "--data-gen-filename", "patterns.txt"]

    def test_sequences_of_patterns(self):
        for script in (STATEFUL, STATELESS):
            shutil.rmtree(os.path.join(self.folder, "cut"), ignore_errors=True)
            source = self.write_sequences()
            write(self.folder, "entity.xpr", script)
            result = self.extract(*source, "--script", "entity")
            self.assertEqual(result.returncode, 0, result.stderr)
            self.check_replays(["--script", "entity"])
        self.assertEqual(sorted(os.listdir(os.path.join(self.folder, "cut")))[:2], ["001.txt", "002.txt"])

    def test_only_what_fails_up_to_its_last_failure(self):
        source = self.write_sequences()
        write(self.folder, "entity.xpr", STATEFUL)
        result = self.extract(*source, "--script", "entity", "--extract-limit", "2")
        self.assertIn("Sequences with failures: 3 of 6. The first 2 cut out into cut; --extract-limit", result.stdout)
        index = self.read_index()
        self.assertEqual([(row["first_pattern"], row["patterns"], row["failures"], row["recording"]) for row in index],
                         [("6", "4", "2", ""), ("16", "4", "2", "")])
        with open(os.path.join(self.folder, "cut", "002.txt"), encoding="utf-8") as cut:
            self.assertTrue(cut.read().startswith("reset\n[%r 0] [1 0]\n" % (3 / 70)))

    def test_folders_and_values(self):
        source = self.write_sequences()
        write(self.folder, "entity.xpr", "result = [audio[0] + 9, 0]\n")
        write(self.folder, "nan.xpr", "result = [0 / 0, 0]\n")
        write(self.folder, "file", "")
        write(self.folder, "right.txt", "[1 2] [1 0]\n")
        for arguments, reason in ((["--extract-limit", "3"], "option '--extract-limit' needs --extract-failures"),
                                  (["--extract-failures", "cut", "--extract-limit", "0"], "'0' is no number from 1"),
                                  (["--extract-failures", "cut", "--extract-limit", "-1"], "is no number"),
                                  (["--extract-failures", "file/cut"], "Could not create the folder file/cut"),
                                  (["--extract-failures", "."], "is not empty"),
                                  (["--extract-failures", ""], "needs a folder"),):
            result = run(self.folder, "ml-tester", *source, "--script", "entity", *arguments)
            self.assertNotEqual(result.returncode, 0, arguments)
            self.assertIn(reason, result.stderr.splitlines()[-1])
            self.assertNotIn("Number of data pattern(s)", result.stdout)
        result = self.extract("--data-gen-config", "file.xml", "--data-gen-filename", "right.txt", "--script", "entity")
        self.assertIn("No sequence of 1 has a failure", result.stdout)
        result = self.extract(*source, "--script", "nan")
        self.assertEqual(result.returncode, 1)
        self.assertEqual([row["patterns"] for row in self.read_index()], ["5"] * 6, "also without a target")
        self.assertIn("is not empty", self.extract(*source, "--script", "nan").stderr)
        self.assertEqual(self.extract(*source, "--script", "entity", "--force").returncode, 0)

    def test_recordings(self):
        report_test.make_set(self.folder)
        # What a generator of any tone makes of these depends on labels behind the cut.
        tones = "".join("%r\t%r\tSF:%d\n" % row for row in ((0.2, 1.1, 500), (0.9, 3.0, 600), (3.2, 3.9, 700)))
        for name in ("one", "two", "three"):
            write(self.folder, "tones.txt", tones)
            run_well(self.folder, "ml-annotate", "export", name + ".wav", "voice.txt")
            with open(os.path.join(self.folder, "voice.txt"), encoding="utf-8") as voice:
                write(self.folder, "tones.txt", voice.read() + tones)
            run_well(self.folder, "ml-annotate", "import", name + ".wav", "tones.txt")
        for number, (generator, single) in enumerate((("low-memory-audio-set", "audio"),
                                                      ("vad-set", "vad"),
                                                      ("wideband-set", "wideband"))):
            self.check_set(generator, single, number)

    def check_set(self, generator, single, number):
        features = ["--feature", "identity", "--shift", "%d" % (10 + 3 * number)]
        run_well(self.folder, "ml-config", "write", "set.xml", "--generator", generator, *features, "--force")
        run_well(self.folder, "ml-config", "write", "single.xml", "--generator", single, *features, "--force")
        shutil.rmtree(os.path.join(self.folder, "cut"), ignore_errors=True)
        result = self.extract("--data-gen-config", "set.xml", "--data-gen-filename", "set.lst", "--script", "loud")
        self.assertEqual(result.returncode, 0, result.stderr)
        index = self.read_index()
        self.assertEqual(len(index), 3, generator)
        self.check_replays(["--script", "loud"], "single.xml")
        # All of them as one stream again.
        again, errors = self.replay("set.xml", "cut/recordings.lst", ["--script", "loud"])
        self.assertEqual(len(again), 3)
        self.assertEqual(errors, count_errors(result.stdout))
        for row in index:
            self.assertLess(os.path.getsize(os.path.join(self.folder, "cut", row["recording"])),
                            os.path.getsize(row["source"] if os.path.isabs(row["source"])
                                            else os.path.join(self.folder, row["source"])) + 1)


if __name__ == "__main__":
    unittest.main()
