#!/usr/bin/env python3
"""Holds the streams of sets of recordings for voice activity against each other, over any folder of labelled recordings.

usage: check_voice_sets.py PROGRAMS FOLDER

FOLDER holds recordings, each with its labels beside it: NAME.tsv or NAME.txt, as ml-annotate imports them. PROGRAMS is where
ml-annotate and compare-strategies are. The recordings are copied and labelled, once as they are, and once so that VOICE
and SILENCE cover them. All generators of voice activity read the whole set, all recordings set up front and one at a time,
in two passes each: the streams must be the same to the bit. Then the same with recordings in the list that are missing,
are no recordings or have labels that are refused: the streams must be those of the good ones. Prints what was
read; exit status 1 when anything differs.
"""

import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

# Title, what compare-strategies is asked for, options of ml-annotate import.
STREAMS = [
    ("voice and other", "voice-other", []),
    ("voice and silence", "voice-silence", ["--map", "OTHER=SILENCE", "--fill", "SILENCE"]),
    ("voice and silence, smoothed", "smoothed", ["--map", "OTHER=SILENCE", "--fill", "SILENCE"]),
]
REFUSED = "0.1\t0.3\tVOICE\n0.2\t0.4\tVOICE\n"


def run(*command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False, text=True)
    if result.returncode != 0:
        raise RuntimeError("%s: exit status %d\n%s%s" % (" ".join(command), result.returncode, result.stdout, result.stderr))
    return result


def labelled(folder):
    """Pairs of a recording and its labels."""
    for recording in sorted(glob.glob(os.path.join(folder, "*.wav"))):
        for ending in (".txt", ".tsv"):
            labels = recording[:-4] + ending
            if os.path.exists(labels):
                yield recording, labels
                break


def write(path, text):
    with open(path, "w", encoding="utf-8") as out:
        out.write(text)
    return path


def prepare(programs, pairs, work, options):
    """Labelled copies; their names."""
    names = []
    for recording, labels in pairs:
        names.append(os.path.basename(recording))
        copy = shutil.copy(recording, work)
        run(os.path.join(programs, "ml-annotate"), "--log-level", "WARN", "import", "--force", copy, labels, *options)
    return names


def mix(programs, names, work):
    """The names with those of recordings that cannot be used between them."""
    write(os.path.join(work, "bad text.wav"), "no recording")
    write(os.path.join(work, "bad empty.wav"), "")
    refused = shutil.copy(os.path.join(work, names[0]), os.path.join(work, "bad labels.wav"))
    labels = write(os.path.join(work, "labels.txt"), REFUSED)
    run(os.path.join(programs, "ml-annotate"), "--log-level", "WARN", "import", "--force", refused, labels)
    bad = ["bad missing.wav", "bad text.wav", "bad empty.wav", "bad labels.wav"]
    mixed = []
    for number, name in enumerate(names):
        mixed += [bad[number % len(bad)], name]
    return mixed + bad


def read(programs, kind, work, names):
    """Lines of the passes, and how often each recording was skipped."""
    the_list = write(os.path.join(work, "set.lst"), "".join(name + "\n" for name in names))
    result = run(os.path.join(programs, "compare-strategies"), kind, the_list)
    return result.stdout.splitlines(), len(re.findall("Skipping file", result.stderr))


def check(programs, pairs):
    agree = True
    for title, kind, options in STREAMS:
        with tempfile.TemporaryDirectory() as work:
            names = prepare(programs, pairs, work, options)
            good, skipped = read(programs, kind, work, names)
            mixed_names = mix(programs, names, work)
            mixed, skipped_of_mixed = read(programs, kind, work, mixed_names)
            same = good == mixed and skipped == 0 and skipped_of_mixed > 0
            print("%s, %d recordings:\n  %s" % (title, len(names), "\n  ".join(good)))
            print("  with %d bad ones in the list: %s" % (len(mixed_names) - len(names), "the same" if same else "DIFFERENT"))
            agree = agree and same
    return agree


def main(arguments):
    if len(arguments) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    pairs = list(labelled(arguments[2]))
    if not pairs:
        print("no labelled recordings in %s" % arguments[2], file=sys.stderr)
        return 1
    try:
        return 0 if check(arguments[1], pairs) else 1
    except (OSError, RuntimeError) as error:
        print("check_voice_sets.py: %s" % error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
