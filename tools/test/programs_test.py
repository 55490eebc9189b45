#!/usr/bin/env python3
"""What all programs have in common: help, exit status, last words, and a section in doc/programs.md.

usage: programs_test.py PROGRAMS
"""

import glob
import os
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

DOCUMENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "doc", "programs.md")
PROGRAMS = os.path.abspath(sys.argv.pop()) if len(sys.argv) > 1 else ""
# Of each program a call that names a file that is not there.
MISSING = {
    "ml-annotate": ["list", "missing"],
    "ml-classify": ["--filesystem-path", ".", "--windower-config-file", "missing", "--script", "a", "a.wav"],
    "ml-config": ["explain", "missing"],
    "ml-convert": ["--datagen-config", "missing", "--output-type", "binary", "--output-file", "out"],
    "ml-inspect": ["--data-gen-config", "missing"],
    "ml-tester": ["--data-gen-config", "missing", "--script", "some"],
    "ml-train": ["--data-gen-config", "missing", "--network", "out"],
}
OPTION = re.compile(r"--[a-z][a-z-]*")


def run(program, *arguments):
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(folder, "some.xpr"), "w", encoding="utf-8") as script:
            script.write("result = audio\n")
        result = subprocess.run([os.path.join(PROGRAMS, program), *arguments], cwd=folder, capture_output=True,
                                text=True, stdin=subprocess.DEVNULL, env=dict(os.environ, COLUMNS="100"), timeout=60)
        return result, os.listdir(folder)


def read_options(text, heading):
    """Options in the part of a help text below a heading."""
    part = re.search(r"^%s:\n(.*?)(\n\n|\Z)" % heading, text, re.DOTALL | re.MULTILINE).group(1)
    return set(re.findall(r"^  (?:-\w \[ )?(--[a-z-]+)", part, re.MULTILINE))


def read_tables(section):
    """Options in the first column of the tables of a section."""
    rows = re.findall(r"^\| (`-.*?) \|", section, re.MULTILINE)
    return {option for row in rows for option in OPTION.findall(row)}


class ProgramsTest(unittest.TestCase):
    def setUp(self):
        with open(DOCUMENT, encoding="utf-8") as text:
            self.document = text.read()

    def test_every_program_is_looked_at(self):
        names = {os.path.basename(path) for path in glob.glob(os.path.join(PROGRAMS, "ml-*"))}
        self.assertEqual({name for name in names if not name.endswith("-test")}, set(MISSING))

    def test_help(self):
        for program in MISSING:
            result, _ = run(program, "--help")
            self.assertEqual((result.returncode, result.stderr), (0, ""), program)
            self.assertTrue(result.stdout.startswith("Usage : %s [options]" % program))
            self.assertEqual(run(program, "-h")[0].stdout, result.stdout)
            self.assertNotRegex(result.stdout, r"(?m)^  --\S+ arg\b", program)
            examples = result.stdout.split("\nExamples:\n")[1].replace("\\\n", "").splitlines()
            options = set(OPTION.findall(result.stdout.split("\nExamples:\n")[0]))
            # As they stand there they fit a usual terminal: a line that is wrapped cannot be copied.
            for line in result.stdout.split("\nExamples:\n")[1].splitlines():
                self.assertLessEqual(len(line), 80, line)
            for example in examples:
                self.assertIn(program, shlex.split(example), example)
                self.assertLessEqual(set(OPTION.findall(example)), options, example)

    def test_exit_status_and_last_line(self):
        for program, arguments in MISSING.items():
            version, _ = run(program, "--version")
            self.assertEqual(version.returncode, 0)
            self.assertRegex(version.stdout, r"\A%s \d+\.\d+\.\d+\n\Z" % program)
            for wrong in (["--no-such-option"], ["--quiet", "--verbose"], [], ["--log-level", "loud"]):
                result, files = run(program, *wrong)
                self.assertEqual((result.returncode, result.stdout, files), (2, "", ["some.xpr"]), (program, wrong))
                self.assertRegex(result.stderr, r"\AERROR: .*\n\Z")
            for more in ([], ["--quiet"]):
                result, files = run(program, *arguments, *more)
                self.assertEqual((result.returncode, files), (1, ["some.xpr"]), program)
                last = result.stderr.splitlines()[-1]
                self.assertTrue(last.startswith("ERROR: "), last)
                self.assertIn("missing", last, program)
            self.assertEqual(run(program, *arguments, "--log-level", "OFF")[0].stderr, "")

    def test_options_are_those_of_the_document(self):
        sections = dict(re.findall(r"^## (ml-\S+)\n(.*?)(?=^## |\Z)", self.document, re.DOTALL | re.MULTILINE))
        self.assertEqual(set(sections), set(MISSING))
        common = read_tables(self.document.split("\n## ")[0])
        for program, section in sections.items():
            text = run(program, "--help")[0].stdout
            self.assertEqual(read_options(text, "Options"), read_tables(section), program)
            self.assertEqual(read_options(text, "General options"), common, program)


if __name__ == "__main__":
    unittest.main()
