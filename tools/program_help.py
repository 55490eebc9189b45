"""What a program says of itself with --help, taken apart: for its manual page, its completions and their tests."""

import os
import re
import subprocess

# Wider than any line, so that none is wrapped.
WIDTH = "10000"
# Values of options that are one of a few words.
WORDS = ("KIND", "FORMAT", "LEVEL", "TYPE")


class Option:
    """One of the table: its names, what its value is called (empty: it has none) and what it means."""

    def __init__(self, names, meaning):
        match = re.fullmatch(r"(?:(-\w) \[ )?(--[a-z-]+)(?: \])?(?: (.+))?", names)
        self.short, self.name, value = match.groups()
        match = re.fullmatch(r"(\S+)(?: \(=(.*)\))?", value or "")
        self.value, self.default = match.groups() if match else ("", None)
        self.meaning = [meaning]  # lines: the first, then what there is to choose from

    def get_words(self):
        """The words that the value is one of; none where it is anything else."""
        if self.value not in WORDS:
            return []
        words = [line.split(":")[0] for line in self.meaning[1:] if re.match(r"[a-z-]+: ", line)]
        clauses = (re.sub(r' \([^)]*\)|"|^Possible values are ', "", clause)
                   for clause in re.split(r"[;:.] ", self.meaning[0]))
        lists = [clause for clause in clauses if re.fullmatch(r"[\w-]+(, [\w-]+)*(,| or) [\w-]+", clause)]
        return words or (re.split(r", | or ", lists[0]) if lists else [])


class ProgramHelp:
    """The parts of a help text."""

    def __init__(self, path):
        self.name = os.path.basename(path)
        self.text = subprocess.run([path, "--help"], env=dict(os.environ, COLUMNS=WIDTH), check=True, timeout=60,
                                   stdin=subprocess.DEVNULL, capture_output=True, text=True).stdout
        head, rest = self.text.split("\nOptions:\n")
        own, rest = rest.split("\n\nGeneral options:\n")
        general, self.examples = rest.split("\n\nExamples:\n")
        lines = head.splitlines()
        self.usage = lines[0].removeprefix("Usage : ")
        self.description = lines[1:]
        self.options = read_options(own)
        self.general_options = read_options(general)

    def get_summary(self):
        """The first sentence."""
        text = " ".join(line.strip() for line in self.description)
        return text.split(". ")[0].rstrip(".")

    def get_commands(self):
        """Each with its operands and what it does."""
        return re.findall(r"^  ([a-z][a-z-]*)((?: [A-Z\[\].]+)*) +(.*)", "\n".join(self.description), re.MULTILINE)


def read_options(table):
    """All meanings begin in one column."""
    lines = table.splitlines()
    column = next(match.end() for match in (re.match(r"  -.*?  +(?=\S)", line) for line in lines) if match)
    options = []
    for line in lines:
        if line.startswith("  -"):
            options.append(Option(line[:column].strip(), line[column:]))
        elif line.strip():
            options[-1].meaning.append(line.strip())
    return options
