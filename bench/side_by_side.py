#!/usr/bin/env python3
"""Runs the benchmarks in turns with their limits: the rows of doc/performance.md.

usage: side_by_side.py BUILD [--rounds N] [--only TEXT] [--list]

BUILD is the build folder of the benchmarks, with their input files in BUILD/data; the limits, the same work by hand or
by a packaged peer, are the programs of bench/limits. Prints a table: the medians of N rounds (3, programs of less than a second
run 4 N) of ours and of the limit, the ratio of the medians, the ratio of the lowest figures, the lowest and the highest
ratio of a single round, and the ratio that is aimed at. Then what the programs say that have no limit. Ratios are
printed, not judged. --only leaves out all rows but those with TEXT in their name or in that of their program, --list
prints the rows. Exit status 1 when a program fails or does not print the figure that is looked for.
"""

import argparse
import collections
import os
import re
import statistics
import subprocess
import sys

WINDOWS_PER_HOUR = 359998

# The forms of a line that holds a figure, and what turns it into ns for a unit of work.
FIGURES = [
    (re.compile(r"^(\S.*?) +([\d.]+) ns  \(min"), lambda nanoseconds: nanoseconds),
    # how much faster than real time a window every 10 ms of one hour of audio goes
    (re.compile(r"^(\S.*?) +([\d.]+) x real time"), lambda real_time: 3600e9 / (real_time * WINDOWS_PER_HOUR)),
]

# One figure: title, name in our program, name in the limit program, ratio aimed at if there is one. "A - B" is the
# difference of two figures of a program.
Row = collections.namedtuple("Row", "title ours limit aim")
# Programs that are run in turns: our commands, the source of the limit and what it is called with and built with, the
# rows. Without a source ours prints both figures.
Pair = collections.namedtuple("Pair", "ours limit arguments flags rows repeat", defaults=[1])

HERE = os.path.dirname(os.path.abspath(__file__))
TREE = os.path.dirname(HERE)
FLAGS = ["-O3", "-std=c++20", "-I" + TREE, os.path.join(TREE, "test-support", "AllocationCounter.cpp")]
AUDIO_FLAGS = FLAGS + ["-march=native", "-lsndfile"]
BY_HAND = "fused loops, both passes"

PAIRS = [
    Pair([["TextReadBench", "data/patterns.txt"]], "TextReadLimit.cpp", ["data/patterns.txt"], FLAGS,
         [Row("text reading, beside a mapped file", "read a text pattern", "mapped, std::from_chars", 1.15),
          Row("text reading, beside blocks of 256 KB", "read a text pattern", "blocks of 256 KB, std::from_chars", None)]),
    Pair([["TextWriteBench", "data/patterns.raw", "data/written.txt"],
          ["BinaryWriteBench", "data/patterns.raw", "data/written.binary"]], "WriteLimit.cpp",
         ["data/patterns.raw", "data/written.limit"], FLAGS,
         [Row("text writing, a flush a line", "write a text pattern, flushed",
              "text: std::to_chars, ofstream.write, a flush a line", 1.15),
          Row("binary writing", "write a binary pattern", "binary: a system call a MB", 1.2)]),
    Pair([["BinaryReadBench", "data/patterns.binary"]], "BinaryReadLimit.cpp", ["data/patterns.binary"], FLAGS,
         [Row("binary reading", "read a binary pattern", "copied out of the block", 1.15)], 4),
    Pair([["BinaryReadBench", "data/patterns.binary"]], "Hdf5ReadLimit.cpp", ["data/patterns.raw", "data/patterns.h5"],
         FLAGS + ["-I/usr/include/hdf5/serial", "-lhdf5_serial"],
         [Row("binary reading, beside HDF5 in batches", "read a binary pattern", "HDF5, batches of 1024 rows", 1.0)], 4),
    Pair([["ConvertBench", "data/patterns.txt", "data/converted.binary"]], "ConvertLimit.cpp",
         ["data/patterns.txt", "data/converted.limit"], FLAGS,
         [Row("text to binary", "convert a text pattern to binary", "getline, std::from_chars, calls of 64 KB", 1.05)]),
    Pair([["SmallReadsBench", "data/patterns.raw"]], "SmallReadsLimit.cpp", ["data/patterns.raw"], FLAGS,
         [Row("%d-byte reads, chunk of %s" % (size, text), "chunk of %d KB (%d-byte reads)" % (chunk, size),
              "by hand, chunk of %d KB (%d-byte reads)" % (chunk, size), 1.3)
          for size in (8, 320) for chunk, text in ((64, "64 KB"), (1024, "1 MB"))]),
    Pair([["PullBench"]], "PullLimit.cpp", [], FLAGS,
         [Row("replay from memory", "replay a pattern from memory", "copied to two vectors, no calls", 1.15),
          Row("what scaling a pattern adds", "replay a pattern from memory, scaled - replay a pattern from memory",
              "pulled and scaled - pulled", 1.2)], 4),
    Pair([["ScalingBench", "data/patterns.raw"]], "ScalingLimit.cpp", ["data/patterns.raw"], FLAGS,
         [Row("learning a scaling, both passes, from a block", "learn a scaling, both passes, from a block", BY_HAND, 1.5),
          Row("learning a scaling, both passes, from the cache", "learn a scaling, both passes, from the cache", BY_HAND,
              None)], 4),
    Pair([["ScalingBench", "data/patterns.raw"]], "scaling_sklearn.py", ["data/patterns.raw"], None,
         [Row("learning a scaling, beside the two scalers of scikit-learn", "learn a scaling, both passes, from a block",
              "StandardScaler and MinMaxScaler", 0.29)]),
    Pair([["ErrorFunctionBench"]], "ErrorFunctionLimit.cpp", [], FLAGS,
         [Row("sum of squares", "sum of squares", "sum of squares", 1.1),
          Row("least square error, beside the sum of squares", "least square", "sum of squares", 1.1),
          Row("mean square error, beside the sum of squares", "mean square", "sum of squares", 1.1),
          Row("mean square error, beside the sum of squares divided by the size", "mean square", "mean of squares", 1.1)] +
         [Row(name, name, name, 1.1) for name in (
             "cross-entropy, soft targets", "cross-entropy, one-hot targets",
             "multiple cross-entropy, one-hot targets", "classification, one-hot targets")], 4),
    Pair([["TraceScopeBench"]], "TraceScopeLimit.cpp", [], FLAGS,
         [Row("disabled trace scope", "disabled trace scope", "empty call", 1.5)], 6),
    Pair([["AudioStreamBench", "data/hour-%d.wav" % n, str(n)] for n in (1, 8, 32)], "AudioStreamLimit.cpp",
         ["data/hour-1.wav"], AUDIO_FLAGS,
         [Row("audio stream, energy, " + text, "audio pattern, energy, " + text, "by hand, energy, %d classes" % n, 2.0)
          for n, text in ((1, "1 class"), (8, "8 classes"), (32, "32 classes"))]),
    Pair([["SetBench", "name", "data/small"]], "OpenLimit.cpp", ["data/small"], AUDIO_FLAGS,
         [Row("naming a small recording", "name a small recording", "opened with libsndfile", 1.5)]),
    Pair([["SetBench", "stream", "data/minutes.lst"]], None, [], None,
         [Row("set of recordings of a minute, all set up front, energy", "up-front set, a pattern", "its recordings alone",
              1.05),
          Row("the same in little memory, naming included on both sides", "low-memory set, a pattern",
              "its recordings alone, named and read", 1.05)]),
    Pair([["OnnxBench"]], None, [], None,
         [Row("ONNX network, %s" % name, "%s, ONNX" % name, "%s, plain loop by columns" % name, 1.5)
          for name in ("40-64-2", "GRU 40-64-2")]),
    Pair([["DetectorBench"]], None, [], None,
         [Row("detector, FANN 40-64-2, a window", "FANN 40-64-2, detector", "FANN 40-64-2 by hand", 1.1),
          Row("detector, ONNX 40-64-2, a window", "ONNX 40-64-2, detector", "ONNX 40-64-2, plain loop by hand", 1.5)]),
    Pair([["VadBench", "data/voice.wav"]], "VoiceLimit.cpp", ["data/voice.wav"],
         AUDIO_FLAGS + ["-DWEBRTC_POSIX", "-DWEBRTC_AUDIO_PROCESSING_ONLY_BUILD",
                        "-I/usr/include/webrtc_audio_processing", "-lwebrtc_audio_processing"],
         [Row("voice patterns, energy, windows of 10 ms", "voice patterns, energy, 10 ms", "webrtc-audio-processing", 0.33)]),
    Pair([["FeatureBench", "data/hour-1.wav"]], "features_numpy.py", ["data/hour-1.wav"], None,
         [Row("log-mel 24, a window", "recording: log-mel 24", "numpy: log-mel 24", 0.5),
          Row("MFCC 13 of 23, a window", "recording: mfcc 13 of 23", "numpy: mfcc 13 of 23", 0.5)]),
    Pair([["ExpressionBench", "data/hour-1.wav"]], "ExpressionLimit.cpp", ["data/hour-1.wav"], AUDIO_FLAGS,
         [Row("expression script, all four parts", "script: assign + all four", "by hand: all four parts", 1.25),
          Row("expression script, 20 formulas", "script: 20 scalar formulas", "by hand: 20 formulas", 6.5)]),
    Pair([["ExpressionBench", "data/hour-1.wav"]], "LuaJitLimit.cpp", ["data/hour-1.wav"],
         AUDIO_FLAGS + ["-I/usr/include/luajit-2.1", "-lluajit-5.1"],
         [Row("expression script, all four parts, beside LuaJIT loops", "script: assign + all four",
              "LuaJIT: all four parts", 0.143)]),
]
ALONE = ([["AudioStreamBench", "data/ten-hours-8.wav", "8"], ["ClassifierSetBench"], ["DoubleVectorBench"]] +
         [["SetBench", strategy, "data/small-%d.lst" % count]
          for strategy in ("up-front", "low-memory") for count in (10, 10000)])


def figures(lines):
    """What a program prints: pairs of a name and a figure, as they come."""
    for line in lines:
        for expression, convert in FIGURES:
            match = expression.match(line)
            if match:
                yield match.group(1), convert(float(match.group(2)))


def run(command, folder):
    """The figures of a program. In turns three runs of each figure are enough, since there are several turns."""
    process = subprocess.run(command, cwd=folder, stdout=subprocess.PIPE, text=True, check=False,
                             env={"REPEAT": "3", **os.environ})
    if process.returncode != 0:
        sys.exit("%s failed with status %d" % (" ".join(command), process.returncode))
    return dict(figures(process.stdout.splitlines()))


def build_limit(pair, build):
    """The command of a limit program, built if need be; None for what cannot run here."""
    source = os.path.join(HERE, "limits", pair.limit)
    if pair.flags is None:
        python = "/usr/bin/python3"
        packages = "sklearn" if "sklearn" in source else "numpy, scipy"
        has_packages = subprocess.run([python, "-c", "import " + packages], stderr=subprocess.DEVNULL,
                                      check=False).returncode == 0
        return [python, "-W", "ignore", source] + pair.arguments if has_packages else None
    program = os.path.join(build, "limits", os.path.splitext(os.path.basename(source))[0])
    if not os.path.exists(program) or os.path.getmtime(program) < os.path.getmtime(source):
        os.makedirs(os.path.dirname(program), exist_ok=True)
        libraries = [flag for flag in pair.flags if flag.startswith("-l")]
        options = [flag for flag in pair.flags if not flag.startswith("-l")]
        subprocess.run(["g++"] + options + [source, "-o", program] + libraries, check=True)
    return [program] + pair.arguments


def our_command(build, words):
    return [os.path.join(build, "bin", words[0])] + words[1:]


def values_of(program, figures_of_rounds, name):
    """The figures of that name, one a round; of "A - B", the differences."""
    parts = name.split(" - ")
    for part in parts:
        if part not in figures_of_rounds:
            sys.exit("%s did not print: %s" % (program, part))
    return [values[0] - sum(values[1:]) for values in zip(*(figures_of_rounds[part] for part in parts))]


def compare(pair, rows, limit, build, rounds):
    """Table lines of one pair."""
    ours, theirs = collections.defaultdict(list), collections.defaultdict(list)
    for _ in range(rounds * pair.repeat):
        for words in pair.ours:
            for name, value in run(our_command(build, words), build).items():
                ours[name].append(value)
        for name, value in (run(limit, build) if limit else {}).items():
            theirs[name].append(value)
    lines = []
    for row in rows:
        our_values = values_of(pair.ours[0][0], ours, row.ours)
        their_values = values_of(pair.limit, theirs if limit else ours, row.limit)
        ratios = [our / their for our, their in zip(our_values, their_values)]
        our, their = statistics.median(our_values), statistics.median(their_values)
        lowest = min(our_values) / min(their_values)
        lines.append("%-66s %10.2f %10.2f %8.2f %8.2f %14s %8s" % (
            row.title, our, their, our / their, lowest, "%.2f .. %.2f" % (min(ratios), max(ratios)), row.aim or ""))
    return lines


def select(text):
    """(pair, rows of it) with the text in the title of a row or in the name of our program."""
    chosen = []
    for pair in PAIRS:
        whole = any(text.lower() in words[0].lower() for words in pair.ours)
        rows = [row for row in pair.rows if whole or text.lower() in row.title.lower()]
        if rows:
            chosen.append((pair, rows))
    return chosen


def main():
    parser = argparse.ArgumentParser(usage="bench/run [--rounds N] [--only TEXT] [--list]")
    parser.add_argument("build")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--only", default="")
    parser.add_argument("--list", action="store_true")
    arguments = parser.parse_args()
    build, rounds = os.path.abspath(arguments.build), max(1, arguments.rounds)
    pairs = select(arguments.only)
    alone = [words for words in ALONE if arguments.only.lower() in words[0].lower()]
    if not pairs and not alone:
        sys.exit('no row and no program has "%s" in its name' % arguments.only)
    if arguments.list:
        print("\n".join("%-20s %s" % (pair.ours[0][0], row.title) for pair, rows in pairs for row in rows))
        return
    print("%-66s %10s %10s %8s %8s %14s %8s" % (
        "in turns, %d rounds and more" % rounds, "ours, ns", "limit, ns", "ratio", "lowest", "rounds", "aim <="), flush=True)
    for pair, rows in pairs:
        limit = build_limit(pair, build) if pair.limit else None
        if pair.limit and limit is None:
            print("no numpy, scipy or sklearn here: %s left out" % ", ".join(row.title for row in rows))
            continue
        print("\n".join(compare(pair, rows, limit, build, rounds)), flush=True)
    for words in alone:
        print("\n== " + " ".join(words), flush=True)
        subprocess.run(our_command(build, words), cwd=build, check=True)


if __name__ == "__main__":
    main()
