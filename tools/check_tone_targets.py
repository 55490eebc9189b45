#!/usr/bin/env python3
"""Holds the targets of the generators of tone patterns against the labels, window by window.

usage: check_tone_targets.py PROGRAMS FOLDER

FOLDER holds recordings (WAV, PCM), each with its labels beside it: NAME.txt with lines start<TAB>stop<TAB>label, or
NAME.tsv whose first line names the columns start_s, stop_s and label. PROGRAMS is where ml-annotate, ml-config and
dump-targets are. The recordings are copied, the labels written into the copies, and each kind of generator run over the
set of them. What it should say comes from the labels alone, by rules that are written out below and share no code with the
generators: which labels belong to a class, how intervals are combined or refused, in the order of the labels, and
which windows lie in them. Prints a line a generator; exit status 1 when anything differs.
"""

import glob
import math
import os
import re
import shutil
import subprocess
import sys
import tempfile
import wave

WINDOW_MS, SHIFT_MS = 25, 10
SAME = 0.01      # s; times that differ by less are one
REACHED = 1e-6   # s; by which a time must be exceeded


class Refused(Exception):
    """A recording whose labels a generator does not take."""


# Which labels belong to a class.

def tone_of(label):
    match = re.fullmatch(r"sf:(\d+)|(\d+) *hz", label, re.IGNORECASE)
    return int(match[1] or match[2]) if match else None


def am_of(label):
    match = re.fullmatch(r"am:(\d+):(\d+)|am +(\d+)/(\d+) *hz", label, re.IGNORECASE)
    return (int(match[1] or match[3]), int(match[2] or match[4])) if match else None


def belongs_by_tone_or_name(tolerance):
    def belongs(label, name):
        if tone_of(name) is not None and tone_of(label) is not None:
            return abs(tone_of(name) - tone_of(label)) <= tolerance
        return re.fullmatch(name, label, re.IGNORECASE) is not None
    return belongs


def belongs_to_any_tone(label, name):
    return name == "WB_SF_TONE" and tone_of(label) is not None


def belongs_by_modulation(carrier_tolerance, modulation_tolerance):
    def belongs(label, name):
        return (am_of(label) is not None and am_of(name) is not None
                and abs(am_of(label)[0] - am_of(name)[0]) <= carrier_tolerance
                and abs(am_of(label)[1] - am_of(name)[1]) <= modulation_tolerance)
    return belongs


# How the intervals of a class become the times at which it begins and ends.

def apart(intervals):
    """Nothing may overlap; an interval may end where an earlier one begins, but not begin where it ends."""
    taken = []
    for start, stop in intervals:
        if start > stop or any(start <= b and stop > a for a, b in taken):
            raise Refused
        taken.append((start, stop))
    return [time for interval in sorted(taken) for time in interval]


def first_interval(intervals):
    """Overlaps are cut out, of the first interval that the new one meets and of no other."""
    times = []
    for start, stop in intervals:
        if start > stop:
            raise Refused
        place = next((i for i, time in enumerate(times) if time >= start), len(times))
        after = next((i for i, time in enumerate(times) if time >= stop), len(times))
        if place == after and place % 2 == 0:
            times[place:place] = [start, stop]
            continue
        place -= place % 2
        a, b = times[place:place + 2]
        later = start if abs(start - a) >= SAME else None
        if later is not None and start - a <= REACHED:
            raise Refused
        pieces = [] if later is None else [a, start]
        if abs(stop - b) >= SAME:
            pieces += sorted((b, stop))
        times[place:place + 2] = pieces
    return times


def is_in(times, instants):
    """For each instant, whether an interval is in progress. Each time is waited for in its turn, also out of order; it is
    reached when it is exceeded, and those after it at once when they are not later than the instant."""
    reached, result = 0, []
    for instant in instants:
        if reached < len(times) and instant - times[reached] > REACHED:
            reached += 1
            while reached < len(times) and times[reached] <= instant:
                reached += 1
        result.append(reached % 2 == 1)
    return result


class Labelled:
    """A recording with its labels, and the times of its windows."""

    def __init__(self, path):
        self.path = path
        with wave.open(path) as source:
            rate, count = source.getframerate(), source.getnframes()
        window, shift = (int(math.floor(ms * rate / 1000 + 0.5)) for ms in (WINDOW_MS, SHIFT_MS))
        self.times = [(k * shift + window) / rate for k in range((count - window) // shift + 1)]
        self.labels = [(round(start * rate) / rate, round(stop * rate) / rate, label)
                       for start, stop, label in read_labels(path)]

    def targets(self, names, belongs, combine):
        """A list of targets, one a window; raises Refused."""
        columns = []
        for name in names:
            intervals = [(start, stop) for start, stop, label in self.labels if belongs(label, name) and start != stop]
            columns.append(is_in(combine(intervals), self.times))
        columns.append([not any(row) for row in zip(*columns)])
        return [tuple(map(int, row)) for row in zip(*columns)]


def label_file(path):
    stem = os.path.splitext(path)[0]
    return next((stem + suffix for suffix in (".txt", ".tsv") if os.path.isfile(stem + suffix)), None)


def read_labels(path):
    with open(label_file(path), encoding="utf-8") as lines:
        for line in lines:
            fields = line.rstrip("\n").split("\t")
            if fields[0] != "start_s":
                yield float(fields[0]), float(fields[1]), fields[2]


class Programs:
    def __init__(self, folder):
        self.folder = folder

    def run(self, name, *arguments, check=True):
        command = [os.path.join(self.folder, name), *arguments]
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False, text=True)
        if check and result.returncode != 0:
            raise RuntimeError("%s: exit status %d\n%s" % (" ".join(command), result.returncode, result.stderr))
        return result

    def delivered(self, options, work, recordings):
        """What a generator delivers of each recording: name, list of (time, target)."""
        config, the_list = os.path.join(work, "generator.xml"), os.path.join(work, "set.lst")
        self.run("ml-config", "write", config, "--rate", "0", "--window", str(WINDOW_MS), "--shift", str(SHIFT_MS),
                 "--feature", "energy", *options)
        with open(the_list, "w", encoding="utf-8") as out:
            out.write("".join(recording.path + "\n" for recording in recordings))
        result = {recording.path: [] for recording in recordings}
        dump = self.run("dump-targets", "--log-level", "OFF", config, the_list)
        for line in dump.stdout.splitlines():
            path, time, target = line.split("\t")
            result[path].append((float(time), tuple(map(float, target.split()))))
        return result


TONES = ["SF:1000", "SF:1400", "SF:2100"]
NAMES = TONES + ["AM:1000:20", "DTMF:[0-9]", "(noise|speech).*"]
AM_TONES = ["AM:1000:20", "AM:1400:50"]

# Title, options of ml-config, classes but OTHER, which labels belong to them, how intervals are combined.
GENERATORS = [
    ("names and tones, all at once", ["--generator", "audio-set"], NAMES, belongs_by_tone_or_name(10), apart),
    ("names and tones, one at a time", ["--generator", "low-memory-audio-set"], NAMES, belongs_by_tone_or_name(10), apart),
    ("wideband tones", ["--generator", "wideband-set"], ["WB_SF_TONE"], belongs_to_any_tone, first_interval),
    ("AM tones, exact", ["--generator", "am-set"], AM_TONES, belongs_by_modulation(0, 0), apart),
    ("AM tones, tolerant", ["--generator", "am-set", "--carrier-tolerance", "40", "--modulation-tolerance", "10"],
     AM_TONES, belongs_by_modulation(40, 10), apart),
]


def compare(recordings, delivered, expected):
    """Compares windows; prints the first difference of each recording. Counts of windows, refusals, differences."""
    windows, refused, differences = 0, 0, 0
    for recording in recordings:
        wanted, got = expected(recording), delivered[recording.path]
        windows += len(got)
        if wanted is None:
            refused += 1
            wanted = []
        if len(wanted) != len(got):
            print("%s: %d windows, %d expected" % (recording.path, len(got), len(wanted)))
            differences += 1
        for (time, target), (instant, should) in zip(got, wanted):
            if time != instant or target != should:
                print("%s: at %.6f s (%.6f s) %s, expected %s" % (recording.path, time, instant, target, should))
                differences += 1
                break
    return windows, refused, differences


def check(programs, recordings, work):
    """True when all generators agree with the labels."""
    agree = True
    for title, options, names, belongs, combine in GENERATORS:
        def expected(recording):
            try:
                return list(zip(recording.times, recording.targets(names, belongs, combine)))
            except Refused:
                return None
        classes = [argument for name in names + ["OTHER"] for argument in ("--class", name)]
        delivered = programs.delivered(options + classes, work, recordings)
        windows, refused, differences = compare(recordings, delivered, expected)
        print("%-32s %8d windows, %3d of %d recordings refused, %d differ"
              % (title, windows, refused, len(recordings), differences))
        agree = agree and differences == 0 and windows > 0
    return agree


def prepare(programs, folder, work):
    """Copies of the recordings that have labels, with the labels in them."""
    recordings = []
    for path in sorted(glob.glob(os.path.join(folder, "*.wav"))):
        if label_file(path) is None:
            continue
        for source in (path, label_file(path)):
            shutil.copy(source, work)
        copy = os.path.join(work, os.path.basename(path))
        programs.run("ml-annotate", "import", "--force", copy, label_file(copy))
        try:
            recordings.append(Labelled(copy))
        except wave.Error as error:
            print("%s: left out, %s" % (path, error))
    return recordings


def main(arguments):
    if len(arguments) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        with tempfile.TemporaryDirectory() as work:
            programs = Programs(arguments[1])
            recordings = prepare(programs, arguments[2], work)
            if not recordings:
                print("no labelled recordings in %s" % arguments[2], file=sys.stderr)
                return 1
            return 0 if check(programs, recordings, work) else 1
    except (OSError, RuntimeError, ValueError) as error:
        print("check_tone_targets.py: %s" % error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
