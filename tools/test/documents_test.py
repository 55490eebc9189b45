#!/usr/bin/python3
"""Follows the tutorial and the cookbooks of doc as a reader does, in order, and compares what is printed.

usage: documents_test.py BUILD-FOLDER | documents_test.py --installed

With --installed, as one does who has installed the packages: without the first block of a page, which is for those who have
built a tree.

Every fenced block of a page has one of these kinds; another is an error:

    sh       is run; the blocks of a page share one shell, which begins at the top of a tree that is built
    text     is what the commands before it print, errors included. "..." stands for what is left out, a number after "~"
             may differ by a quarter, a whole one by one at least; how many blanks stand before words does not matter
    another  is written into the file that the line before names: it ends with the name between backquotes, and a colon
"""

import glob
import os
import re
import subprocess
import sys
import tempfile
import unittest

TREE = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
INSTALLED = sys.argv[1:] == ["--installed"]
BUILD = os.path.abspath(sys.argv.pop()) if len(sys.argv) > 1 else ""
FENCE = re.compile(r"^```(.*)\n((?:.*\n)*?)```$", re.MULTILINE)
INDENTED = re.compile(r"^\n {4}\S", re.MULTILINE)
FILE_NAME = re.compile(r"`([\w./-]+)`:\n\n\Z")
NUMBER = r"(-?\d+(?:\.\d+)?(?:e[-+]?\d+)?)"
LEFT_OUT = {"line": r"(?:.*\n)*?", "words": r".*?"}


def read_steps(text):
    """The blocks of a page as [kind, content, file to write, line of the page]."""
    steps = []
    for match in FENCE.finditer(text):
        name = FILE_NAME.search(text[:match.start()])
        steps.append([match.group(1), match.group(2), name and name.group(1), text.count("\n", 0, match.start()) + 1])
    return steps


def find_mistakes(text):
    """What is wrong with the blocks themselves."""
    steps = read_steps(text)
    if text.count("```") != 2 * len(steps) or INDENTED.search(FENCE.sub("", text)):
        yield "a block that is not fenced, or a fence that is not at the beginning of its line"
    for number, (kind, _, name, line) in enumerate(steps):
        if kind in ("sh", "text") and name:
            yield "line %d: a file is named before a block that is no file" % line
        if kind == "text" and (number == 0 or steps[number - 1][0] != "sh"):
            yield "line %d: no commands right before what they print" % line
        if kind not in ("sh", "text") and not name:
            yield "line %d: no file is named before the block" % line


def write_script(steps, folder):
    """A shell script that does all steps and keeps what those of each block print in a file of its number."""
    script = ["set -eu"]
    for number, (kind, content, name, _) in enumerate(steps):
        path = os.path.join(folder, "%d" % number)
        if kind == "text":
            continue
        with open(path + ".block", "w", encoding="utf-8") as block:
            block.write(content)
        if kind == "sh":
            script.append("exec >%s.out 2>&1; . %s.block" % (path, path))
        else:
            script.append("exec >%s.out 2>&1; mkdir -p $(dirname %s); cp %s.block %s" % (path, name, path, name))
    return "\n".join(script + ["exec >%s.end" % os.path.join(folder, "script"), ""])


def to_expression(expected):
    """A regular expression for what is printed, and the numbers that are given roughly, with their tolerances."""
    pattern, numbers = [], []
    for line in expected.splitlines():
        if line.strip() == "...":
            pattern.append(LEFT_OUT["line"])
            continue
        pattern.append(r"[ \t]*")
        for part in re.split(r"(~%s|\.\.\.|[ \t]+)" % NUMBER[1:-1], line.strip()):
            if part.startswith("~"):
                pattern.append(NUMBER)
                least = 0.0 if "." in part else 1.0
                numbers.append((float(part[1:]), max(least, 0.25 * abs(float(part[1:])))))
            elif part == "...":
                pattern.append(LEFT_OUT["words"])
            else:
                pattern.append(r"[ \t]+" if part.isspace() else re.escape(part))
        pattern.append(r"[ \t]*\n")
    return "".join(pattern), numbers


def agrees(expected, printed):
    expression, numbers = to_expression(expected)
    match = re.fullmatch(expression, printed if printed.endswith("\n") or not printed else printed + "\n")
    return match is not None and all(abs(float(found) - number) <= tolerance
                                     for found, (number, tolerance) in zip(match.groups(), numbers))


class Page:
    """A page that was followed: its steps, and what the commands printed."""

    def __init__(self, name, folder):
        with open(os.path.join(TREE, "doc", name), encoding="utf-8") as page:
            text = page.read()
        self.name, self.folder = name, folder
        self.steps, self.mistakes = read_steps(text)[INSTALLED:], list(find_mistakes(text))

    def make_tree(self):
        """The source tree, whose build is in build/release whatever its name is."""
        tree = os.path.join(self.folder, "source")
        os.makedirs(os.path.join(tree, "build"))
        for entry in os.listdir(TREE):
            if entry not in ("build", ".git"):
                os.symlink(os.path.join(TREE, entry), os.path.join(tree, entry))
        os.symlink(BUILD, os.path.join(tree, "build", "release"))
        return tree

    def follow(self):
        """Exit status of the shell that did it all."""
        home = os.path.join(self.folder, "home")
        os.mkdir(home)
        script = write_script(self.steps, self.folder)
        environment = {"PATH": "/usr/bin:/bin", "HOME": home, "LC_ALL": "C.UTF-8", "PYTHONDONTWRITEBYTECODE": "1"}
        start = home if INSTALLED else self.make_tree()
        return subprocess.run(["bash", "-c", script], cwd=start, env=environment, timeout=500,
                              stdin=subprocess.DEVNULL, check=False).returncode

    def printed(self, number):
        try:
            with open(os.path.join(self.folder, "%d.out" % number), encoding="utf-8") as text:
                return text.read()
        except FileNotFoundError:
            return None

    def find_differences(self):
        for number, (kind, content, _, line) in enumerate(self.steps):
            if kind == "text" and not agrees(content, self.printed(number - 1) or ""):
                yield "%s:%d: expected\n%s\n-- printed\n%s" % (self.name, line, content, self.printed(number - 1))

    def last_words(self):
        """Where the shell stopped, and what was printed there."""
        last = max(number for number in range(len(self.steps)) if self.printed(number) is not None)
        return "%s:%d: the shell stopped in\n%s\n-- printed\n%s" % (
            self.name, self.steps[last][3], self.steps[last][1], self.printed(last))


class DocumentsTest(unittest.TestCase):
    maxDiff = None

    def follow(self, name, least_blocks):
        with tempfile.TemporaryDirectory() as folder:
            page = Page(name, folder)
            self.assertEqual(page.mistakes, [], name)
            self.assertGreaterEqual(sum(kind == "sh" for kind, *_ in page.steps), least_blocks)
            status = page.follow()
            self.assertTrue(status == 0 and os.path.exists(os.path.join(folder, "script.end")), page.last_words())
            self.assertEqual("\n".join(page.find_differences()), "")

    def test_tutorial(self):
        self.follow("tutorial.md", 12)

    def test_cookbook(self):
        self.follow("cookbook.md", 20)

    @unittest.skipUnless(INSTALLED or glob.glob(os.path.join(BUILD, "python", "vexalor_ml", "*.so")), "no Python module is built")
    def test_python_cookbook(self):
        self.follow("cookbook-python.md", 5)

    def test_what_agrees(self):
        cases = [("a  b\n", "a b\n", True), ("a b\n", "a c\n", False), ("a\n...\nd\n", "a\nb\nc\nd\n", True),
                 ("a\n...\n", "a\n", True), ("a\n", "a\nb\n", False), ("e ... g\n", "e f f g\n", True),
                 ("e ... g\n", "e f\ng\n", False), ("~100/7\n", "125/7\n", True), ("~100/7\n", "126/7\n", False),
                 ("~0.4 %\n", "0.5 %\n", True), ("~0.4 %\n", "0.6 %\n", False), ("~1/2\n", "0/2\n", True), ("~10\n", "ten\n", False),
                 ("a\n", "  a", True), ("", "", True), ("", "a\n", False)]
        for expected, printed, agreed in cases:
            self.assertEqual(agrees(expected, printed), agreed, (expected, printed))

    def test_blocks_that_nothing_runs_are_told(self):
        cases = [("```sh\na\n```\n", []), ("```sh\na\n```\n\nprints\n\n```text\nb\n```\n", []),
                 ("Save as `a/b.cpp`:\n\n```cpp\nc\n```\n", []),
                 ("```cpp\nc\n```\n", ["line 1: no file is named before the block"]),
                 ("```text\nb\n```\n", ["line 1: no commands right before what they print"]),
                 ("```\nb\n```\n", ["line 1: no file is named before the block"]),
                 ("To do:\n\n    a\n", ["a block that is not fenced, or a fence that is not at the beginning of its line"]),
                 ("- one\n  ```sh\n  a\n  ```\n",
                  ["a block that is not fenced, or a fence that is not at the beginning of its line"]),
                 ("In `a.txt`:\n\n```text\nb\n```\n", ["line 3: a file is named before a block that is no file",
                                                        "line 3: no commands right before what they print"])]
        for text, mistakes in cases:
            self.assertEqual(list(find_mistakes(text)), mistakes, text)


if __name__ == "__main__":
    unittest.main()
