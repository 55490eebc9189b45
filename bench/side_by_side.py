#!/usr/bin/env python3
"""Runs the benchmarks and, when a folder of limit programs is given, each of them in turns with its limit.

usage: side_by_side.py BUILD [LIMITS] [--rounds N] [--only PROGRAM]

BUILD is the build folder of the benchmarks, with their input files in BUILD/data. LIMITS has the programs
patterns/{text_read,write,convert,file_pull,small_reads,pull,scaling_stats,error_functions,log_scope}.cpp,
audio/{generator_limit,expr_limit,expr_lua,wav_open,vad_webrtc}.cpp and audio/features_numpy.py. Peers whose
programs are ours stand in this folder.
Prints what our programs say, then a table: the medians of N rounds (at least 3, programs of a second run 4 N) of ours
and of the limit, the ratio of the medians, the ratio of the lowest figures, the lowest and the highest ratio of a
single round, and the ratio that is aimed at. Ratios are printed, not judged. --only leaves out all programs but one.
Exit status 1 when a program fails or does not print the figure that is looked for.
"""

import argparse
import collections
import os
import re
import statistics
import subprocess
import sys

WINDOWS_PER_HOUR = 359998

AUDIO_LIMIT_NAME = re.compile(r"^(patterns, .*?)  ")
AUDIO_LIMIT = re.compile(r"^  ([\d.]+) ns/pattern")


def same(value):
    return value


def time_of_window(real_time):
    """ns for a window of one hour of audio, from how much faster than real time it goes."""
    return 3600e9 / (real_time * WINDOWS_PER_HOUR)


# The forms of a line that holds a figure, and what turns it into ns for a unit of work.
FIGURES = [
    (re.compile(r"^(\S.*?) +([\d.]+) ns  \(min"), same),
    (re.compile(r"^(\S.*?) +([\d.]+) x real time"), time_of_window),
    (re.compile(r"^(\S.*?) +[\d.]+ s  \[.* +([\d.]+) ns/unit"), same),
    (re.compile(r"^(numpy .*?|webrtc.*?) +([\d.]+) x  \(min"), time_of_window),
    (re.compile(r"^(\S.*?) +([\d.]+) ns/window"), same),
    (re.compile(r"^(\S.*?) +([\d.]+) us/file CPU"), lambda microseconds: 1e3 * microseconds),
]

# One figure: title, name in our program, name in the limit program, ratio aimed at if there is one. "A - B" is the
# difference of two figures of a program.
Row = collections.namedtuple("Row", "title ours limit aim")
# Programs that are run in turns: our commands, the source and the arguments of the limit, the figures.
Pair = collections.namedtuple("Pair", "ours limit arguments flags rows repeat", defaults=[1])

HERE = os.path.dirname(os.path.abspath(__file__))
PATTERN_FLAGS = ["-O3", "-std=c++17"]
AUDIO_FLAGS = ["-std=c++17", "-O3", "-march=native"]
PEER_FLAGS = ["-O3", "-std=c++20", "-I" + os.path.dirname(HERE),
              os.path.join(HERE, "..", "test-support", "AllocationCounter.cpp")]

PAIRS = [
    Pair([["TextReadBench", "data/patterns.txt"]], "patterns/text_read.cpp", ["data/patterns.txt"], PATTERN_FLAGS,
         [Row("text reading", "read a text pattern", "mapped, std::from_chars", 1.15),
          Row("text reading, limit in blocks", "read a text pattern", "read() 256 KB blocks, std::from_chars", None)]),
    Pair([["TextWriteBench", "data/patterns.raw", "data/written.txt"],
          ["BinaryWriteBench", "data/patterns.raw", "data/written.binary"]], "patterns/write.cpp",
         ["data/patterns.raw", "data/written.txt"], PATTERN_FLAGS,
         [Row("text writing, a flush a line", "write a text pattern, flushed",
              "file: text: to_chars + ofstream.write, flush per line", 1.15),
          Row("binary writing", "write a binary pattern", "file: binary: write() per 1 MB", 1.2),
          Row("binary writing, limit is a stream", "write a binary pattern",
              "file: binary: ofstream.write per field, 256 KB buffer", None)]),
    Pair([["BinaryReadBench", "data/patterns.binary"]], "patterns/file_pull.cpp",
         ["data/patterns.binary", "200000"], PATTERN_FLAGS,
         [Row("binary reading", "read a binary pattern", "pulled, copied out of the block buffer", 1.15)], 4),
    Pair([["BinaryReadBench", "data/patterns.binary"]], os.path.join(HERE, "hdf5_read.cpp"),
         ["data/patterns.raw", "data/patterns.h5"], PEER_FLAGS + ["-I/usr/include/hdf5/serial", "-lhdf5_serial"],
         [Row("binary reading, beside HDF5 in batches", "read a binary pattern", "HDF5, batches of 1024 rows", 1.0)], 4),
    Pair([["ConvertBench", "data/patterns.txt", "data/converted.binary"]], "patterns/convert.cpp",
         ["data/patterns.txt", "data/converted", "200000"], PATTERN_FLAGS,
         [Row("text to binary", "convert a text pattern to binary",
              "text -> binary: getline + from_chars, 64 KB writes", 1.05)]),
    Pair([["SmallReadsBench", "data/patterns.raw"]], "patterns/small_reads.cpp",
         ["data/patterns.raw", "68800000"], PATTERN_FLAGS,
         [Row("%d-byte reads, chunk of %s" % (size, chunk), "chunk of %s (%d-byte reads)" % (chunk, size),
              "own %s chunk buffer (%d-byte reads)" % (limit, size), 1.3)
          for size in (8, 320) for chunk, limit in (("64 KB", "64 KB"), ("1024 KB", "1 MB"))]),
    Pair([["PullBench"]], "patterns/pull.cpp", [], PATTERN_FLAGS + ["-llog4cplus"],
         [Row("replay from memory", "replay a pattern from memory", "direct copy to two vectors, no calls", 1.15),
          Row("what scaling adds", "replay a pattern from memory, scaled - replay a pattern from memory",
              "scaled, reused vectors, no scope - reused vectors, no scope", 1.2)], 4),
    Pair([["ScalingBench", "data/patterns.raw"]], "patterns/scaling_stats.cpp", ["data/patterns.raw", "200000"],
         PATTERN_FLAGS + ["-I/usr/include/eigen3"],
         [Row("learning a scaling, from a block", "learn a scaling, both passes, from a block",
              "fused loops, local accumulators, both passes", 1.5),
          Row("learning a scaling, from the cache", "learn a scaling, both passes, from the cache",
              "fused loops, local accumulators, both passes", None)], 4),
    Pair([["ScalingBench", "data/patterns.raw"]], os.path.join(HERE, "scaling_sklearn.py"), ["data/patterns.raw"], None,
         [Row("learning a scaling, two scalers", "learn a scaling, both passes, from a block",
              "StandardScaler and MinMaxScaler", 0.29)]),
    Pair([["ErrorFunctionBench"]], "patterns/error_functions.cpp", [], PATTERN_FLAGS,
         [Row("mean square error", "mean square", "sum of squares", 1.1),
          Row("least square error", "least square", "sum of squares", 1.1),
          Row("sum of squares", "sum of squares", "sum of squares", 1.1)] +
         [Row(name, name, name, 1.1) for name in (
             "cross-entropy, soft targets", "cross-entropy, one-hot targets",
             "multiple cross-entropy, one-hot targets", "classification, one-hot targets")], 4),
    Pair([["TraceScopeBench"]], "patterns/log_scope.cpp", [], PATTERN_FLAGS + ["-llog4cplus"],
         [Row("disabled trace scope", "disabled trace scope", "empty call", 1.5)], 4),
    Pair([["AudioStreamBench", "data/hour-%d.wav" % n, str(n)] for n in (1, 8, 32)], "audio/generator_limit.cpp",
         ["data/hour-1.wav"], AUDIO_FLAGS + ["-lsndfile"],
         [Row("audio stream, energy, " + text, "audio pattern, energy, " + text,
              "patterns, energy, %d classes" % n, 2.0)
          for n, text in ((1, "1 class"), (8, "8 classes"), (32, "32 classes"))]),
    Pair([["SetBench", "name", "data/small"]], "audio/wav_open.cpp", ["data/small", "1000"], AUDIO_FLAGS + ["-lsndfile"],
         [Row("naming a small recording", "name a small recording", "libsndfile open + close", 1.5)]),
    Pair([["VadBench", "data/voice.wav"]], "audio/vad_webrtc.cpp", ["data/voice.wav"],
         AUDIO_FLAGS + ["-DWEBRTC_POSIX", "-DWEBRTC_AUDIO_PROCESSING_ONLY_BUILD",
                        "-I/usr/include/webrtc_audio_processing", "-lwebrtc_audio_processing", "-lsndfile"],
         [Row("voice patterns, 10 ms", "voice patterns, energy, 10 ms", "webrtc-audio-processing VAD, 10 ms", 0.33)]),
    Pair([["FeatureBench", "data/hour-1.wav"]], "audio/features_numpy.py", ["data/hour-1.wav"], None,
         [Row("log-mel 24", "recording: log-mel 24", "numpy log-mel 24", 0.5),
          Row("MFCC 13", "recording: mfcc 13 of 23", "numpy mfcc 13 of 23", 0.5)]),
    Pair([["ExpressionBench", "data/hour-1.wav"]], "audio/expr_limit.cpp", ["data/hour-1.wav"],
         AUDIO_FLAGS + ["-lsndfile"],
         [Row("script, all four parts", "script: assign + all four", "hand: all four", 1.25),
          Row("script, 8 tones", "script: assign + tones + decision", "hand: 8 goertzel + decision", None),
          Row("script, 20 formulas", "script: 20 scalar formulas", "hand: 20 scalar formulas", 4.5)]),
    Pair([["ExpressionBench", "data/hour-1.wav"]], "audio/expr_lua.cpp", ["data/hour-1.wav", "luajit"],
         AUDIO_FLAGS + ["-DLUAJIT_MODE", "-I/usr/include/luajit-2.1", "-lluajit-5.1", "-lsndfile"],
         [Row("script, beside LuaJIT loops", "script: assign + all four", "luajit: assign + all", 0.143)]),
]
ALONE = ([["AudioStreamBench", "data/ten-hours-8.wav", "8"], ["ClassifierSetBench"],
          ["SetBench", "stream", "data/minutes.lst"]] +
         [["SetBench", strategy, "data/small-%d.lst" % count]
          for strategy in ("up-front", "low-memory") for count in (10, 10000)])


def nanoseconds_of_window(real_time):
    return 3600e9 / (real_time * WINDOWS_PER_HOUR)


def figures(lines):
    """What a program prints: pairs of a name and a figure, as they come."""
    prefix = name = ""
    for line in lines:
        if line.startswith("-- target "):
            prefix = line[len("-- target "):].strip() + ": "
        for expression, convert in FIGURES:
            match = expression.match(line)
            if match:
                yield prefix + match.group(1), convert(float(match.group(2)))
        # The limit of the audio stream has a name and its figure on two lines.
        match = AUDIO_LIMIT_NAME.match(line)
        name = match.group(1) if match else name
        match = AUDIO_LIMIT.match(line)
        if match:
            yield name, float(match.group(1))


def run(command, folder, wanted=(), echo=False):
    """The figures of a program that runs to its end, or only until it printed what is wanted."""
    found = {}
    with subprocess.Popen(command, cwd=folder, stdout=subprocess.PIPE, text=True) as process:
        for name, value in figures(map(show, process.stdout) if echo else process.stdout):
            found[name] = value
            if wanted and all(text in found for text in wanted):
                process.terminate()
                return found
    if process.returncode != 0:
        sys.exit("%s failed with status %d" % (" ".join(command), process.returncode))
    if wanted:
        sys.exit("%s did not print: %s" % (" ".join(command), "; ".join(set(wanted) - set(found))))
    return found


def show(line):
    print("  " + line, end="", flush=True)
    return line


def build_limit(pair, build, limits):
    """The command of a limit program, built if need be; None for what cannot run here."""
    source = os.path.join(limits, pair.limit)
    if pair.flags is None:
        python = "/usr/bin/python3"
        packages = "sklearn" if "sklearn" in source else "numpy, scipy"
        has_packages = subprocess.run([python, "-c", "import " + packages], stderr=subprocess.DEVNULL).returncode == 0
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


def values_of(figures_of_rounds, name):
    """The figures of that name, one a round; of "A - B", the differences."""
    columns = [figures_of_rounds[part] for part in name.split(" - ")]
    return [values[0] - sum(values[1:]) for values in zip(*columns)]


def compare(pair, limit, build, rounds):
    """Table lines of one pair."""
    ours, theirs = collections.defaultdict(list), collections.defaultdict(list)
    for _ in range(rounds * pair.repeat):
        for words in pair.ours:
            for name, value in run(our_command(build, words), build).items():
                ours[name].append(value)
        for name, value in run(limit, build, [name for row in pair.rows for name in row.limit.split(" - ")]).items():
            theirs[name].append(value)
    lines = []
    for row in pair.rows:
        our_values, their_values = values_of(ours, row.ours), values_of(theirs, row.limit)
        ratios = [our / their for our, their in zip(our_values, their_values)]
        our, their = statistics.median(our_values), statistics.median(their_values)
        lowest = min(our_values) / min(their_values)
        lines.append("%-42s %10.2f %10.2f %8.2f %8.2f %14s %8s" % (
            row.title, our, their, our / their, lowest, "%.2f .. %.2f" % (min(ratios), max(ratios)), row.aim or ""))
    return lines


def main():
    parser = argparse.ArgumentParser(usage="side_by_side.py BUILD [LIMITS] [--rounds N] [--only PROGRAM]")
    parser.add_argument("build")
    parser.add_argument("limits", nargs="?")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--only")
    arguments = parser.parse_args()
    build, rounds = os.path.abspath(arguments.build), max(3, arguments.rounds)
    pairs = [pair for pair in PAIRS if arguments.only in [None] + [words[0] for words in pair.ours]]
    alone = [words for words in ALONE if arguments.only in (None, words[0])]
    for words in [words for pair in pairs for words in pair.ours] + alone:
        print("== " + " ".join(words), flush=True)
        run(our_command(build, words), build, echo=True)
    if arguments.limits is None:
        return
    limits = os.path.abspath(arguments.limits)
    print("\n== beside the limits, in turns, %d rounds" % rounds)
    print("%-42s %10s %10s %8s %8s %14s %8s" % (
        "path", "ours, ns", "limit, ns", "ratio", "lowest", "rounds", "aim <="), flush=True)
    for pair in pairs:
        limit = build_limit(pair, build, limits)
        if limit is None:
            print("no numpy, scipy or sklearn here: %s left out" % ", ".join(row.title for row in pair.rows))
            continue
        print("\n".join(compare(pair, limit, build, rounds)), flush=True)


if __name__ == "__main__":
    main()
