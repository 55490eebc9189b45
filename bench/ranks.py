#!/usr/bin/env python3
"""Two ranks under mpirun beside one process, on a list of recordings that takes over a minute.

usage: ranks.py PROGRAMS [RANKS [SECONDS]]

PROGRAMS is the folder of the programs, such as build/release/bin; SECONDS is how long one process shall take at
least, 70 unless given. Makes labelled noise in a temporary folder, trains a small network on it, and tests the network
on a list that names the recordings again and again: by one process, by the ranks, and by both once more. Prints
wall-clock and processor time of each, and the ratios of the better turns. The reports must be equal. On a machine where
anything else runs the ratio of wall-clock times says little; that of processor times is what ranks cost.
"""

import os
import random
import subprocess
import sys
import tempfile
import time
import wave

RECORDINGS = 16
SECONDS_EACH = 60
RATE = 8000


def run(command, folder):
    """Wall-clock and processor seconds of a command and all that it started."""
    begin = time.monotonic()
    with subprocess.Popen(command, cwd=folder, stdout=subprocess.DEVNULL) as process:
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit("failed: " + " ".join(command))
    return time.monotonic() - begin, usage.ru_utime + usage.ru_stime


def record(programs, folder, number):
    """A minute of noise, half of it loud and labelled so."""
    noise = random.Random(number)
    name = "%02d.wav" % number
    with wave.open(os.path.join(folder, name), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        for second in range(SECONDS_EACH):
            samples = bytearray(noise.randbytes(2 * RATE))
            if second % 2 == 0:  # the high bytes near 0: 42 dB less
                samples[1::2] = bytes(RATE)
            file.writeframes(samples)
    with open(os.path.join(folder, "labels.txt"), "w", encoding="utf-8") as file:
        file.writelines("%d\t%d\tVOICE\n" % (second, second + 1) for second in range(1, SECONDS_EACH, 2))
    run([programs + "/ml-annotate", "import", name, "labels.txt"], folder)
    return name


def write_list(folder, names, times):
    with open(os.path.join(folder, "set.lst"), "w", encoding="utf-8") as file:
        file.write("\n".join(names * times) + "\n")


def main():
    if len(sys.argv) not in (2, 3, 4):
        sys.exit(__doc__)
    programs = os.path.abspath(sys.argv[1])
    ranks = sys.argv[2] if len(sys.argv) > 2 else "2"
    seconds = float(sys.argv[3]) if len(sys.argv) > 3 else 70.0
    data = ["--data-gen-config", "set.xml", "--data-gen-filename", "set.lst", "--network", "net"]
    test = [programs + "/ml-tester"] + data + ["--classification-error", "--report"]
    together = ["mpirun", "-n", ranks] + test
    if os.geteuid() == 0:  # which mpirun wants to be told
        os.environ.update(OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1")
    with tempfile.TemporaryDirectory() as folder:
        names = [record(programs, folder, i) for i in range(RECORDINGS)]
        run([programs + "/ml-config", "write", "set.xml", "--generator", "low-memory-audio-set", "--feature", "mfcc",
             "--classes", "VOICE,OTHER"], folder)
        write_list(folder, names[:2], 1)
        run([programs + "/ml-train"] + data + ["--hidden", "8", "--epochs", "1"], folder)
        write_list(folder, names, 4)
        measured, _ = run(test + ["warm"], folder)
        write_list(folder, names, 1 + int(4 * seconds / measured))
        turns = [(run(test + ["one"], folder), run(together + ["ranks"], folder)) for _ in range(2)]
        reports = [open(os.path.join(folder, name, "report.json"), "rb").read() for name in ("one", "ranks")]
        if reports[0] != reports[1]:
            sys.exit("the reports differ")
    for one, many in turns:
        print("one process %7.2f s (processor %7.2f s)   %s ranks %7.2f s (processor %7.2f s)"
              % (*one, ranks, *many))
    best_one, best_many = (tuple(map(min, zip(*rows))) for rows in zip(*turns))
    print("speed-up %.2f; processor time %.3f of that of one process"
          % (best_one[0] / best_many[0], best_many[1] / best_one[1]))


main()
