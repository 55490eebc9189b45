#!/usr/bin/env python3
"""Manual pages and completions, against what the programs say on an usual terminal, and as shells use them.

usage: manual_test.py PROGRAMS
"""

import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = os.path.abspath(sys.argv.pop()) if len(sys.argv) > 1 else ""
MAKE_MANUAL = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "make_manual")


def complete(script, *words):
    """What bash offers for the last word."""
    program = words[0]
    call = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); %s; printf "%%s\\n" "${COMPREPLY[@]}"'
    result = subprocess.run(["bash", "-c", call % ("_" + program.replace("-", "_")), "bash", script, *words],
                            capture_output=True, text=True, check=True)
    return result.stdout.split()


class ManualTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.programs = sorted(path for path in glob.glob(os.path.join(PROGRAMS, "ml-*")) if not path.endswith("-test"))
        subprocess.run([sys.executable, MAKE_MANUAL, "1.2.3", cls.folder.name, *cls.programs], check=True)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def path(self, *parts):
        return os.path.join(self.folder.name, *parts)

    def completion(self, program):
        return self.path("bash-completion", "completions", program)

    def test_every_option_is_there(self):
        self.assertGreater(len(self.programs), 5)
        for path in self.programs:
            name = os.path.basename(path)
            text = subprocess.run([path, "--help"], capture_output=True, text=True, check=True,
                                  env=dict(os.environ, COLUMNS="80")).stdout.split("\nExamples:\n")[0]
            options = sorted(re.findall(r"^  (?:-\w \[ )?(--[a-z-]+)", text, re.MULTILINE))
            with open(self.path("man", "man1", name + ".1"), encoding="utf-8") as page:
                lines = page.read()
            shown = re.findall(r"^\.TP\n\\fB(?:\\-\w, )?(\\-\\-[a-z\\-]+)\\fR", lines, re.MULTILINE)
            self.assertEqual(sorted(option.replace("\\", "") for option in shown), options, name)
            self.assertRegex(lines, r'\A\.TH %s 1 .*1\.2\.3' % name.upper().replace("-", r"\\-"))
            self.assertEqual(sorted(complete(self.completion(name), name, "--")), options)
            with open(self.path("zsh", "vendor-completions", "_" + name), encoding="utf-8") as zsh:
                self.assertEqual(sorted(set(re.findall(r"^    '\*?(--[a-z-]+)\[", zsh.read(), re.MULTILINE))), options)

    def test_values_commands_and_files_are_offered(self):
        for words, expected in (
                (("ml-config", "--feature", "lo"), ["log-mel"]),
                (("ml-config", "--inputs", ""), ["none", "standardize", "min-max"]),
                (("ml-convert", "--output-type", ""), ["binary", "vector"]),
                (("ml-tester", "--log-level", "W"), ["WARN"]),
                (("ml-config", "--rate", ""), []),
                (("ml-annotate", "l"), ["list", "label-copies"]),
                (("ml-classify", "--detector", self.path("man/man1/ml-cl")), [self.path("man/man1/ml-classify.1")]),
                (("ml-tester", "--report", self.path("zs")), [self.path("zsh")]),
                (("ml-annotate", "list", self.path("zs")), [self.path("zsh")])):
            self.assertEqual(complete(self.completion(words[0]), *words), expected, words)

    def test_other_programs_take_them(self):
        for name in (os.path.basename(path) for path in self.programs):
            if shutil.which("zsh"):
                subprocess.run(["zsh", "-n", self.path("zsh", "vendor-completions", "_" + name)], check=True)
            if shutil.which("groff"):
                result = subprocess.run(["groff", "-man", "-ww", "-z", self.path("man", "man1", name + ".1")],
                                        capture_output=True, text=True, check=True)
                self.assertEqual(result.stderr, "", name)


if __name__ == "__main__":
    unittest.main()
