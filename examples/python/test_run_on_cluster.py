#!/usr/bin/env python3
"""A local cluster finds what one process of ml-tester finds, with fewer and with more shares than recordings.

usage: test_run_on_cluster.py MODULE_FOLDER PROGRAMS_FOLDER. Exit status 77 where Dask is not installed.
"""

import functools
import os
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
MODULE, PROGRAMS = map(os.path.abspath, sys.argv[1:3])
sys.path.insert(0, MODULE)
import support  # noqa: E402


def main():
    with tempfile.TemporaryDirectory() as folder:
        run = functools.partial(support.run, folder)
        for i in range(5):
            support.write_recording(os.path.join(folder, f"{i}.wav"), i, 2 + 2 * i)
        with open(os.path.join(folder, "calls.lst"), "w", encoding="ascii") as lines:
            lines.writelines(f"{i}.wav\n" for i in range(5))
        program = lambda name: os.path.join(PROGRAMS, name)
        run(program("ml-config"), "write", "tone.xml", "--generator", "audio-set", "--bands", "12", "--classes", "TONE,OTHER")
        run(program("ml-train"), "--data-gen-config", "tone.xml", "--data-gen-filename", "calls.lst", "--detector",
            "tone.detector", "--epochs", "5", "--seed", "1")
        report = run(program("ml-tester"), "--detector", "tone.detector", "--data-gen-filename", "calls.lst",
                     "--mean-square-error", "--classification-error")
        expected = report[report.index("Number of data pattern(s)"):]
        for shares in ("3", "7"):
            found = run(sys.executable, "-B", os.path.join(HERE, "run_on_cluster.py"), "tone.detector", "calls.lst",
                        "--shares", shares)
            if "classification-error" not in found or found.strip() != expected.strip():
                sys.exit(f"ml-tester says\n{report}\nand the cluster, of {shares} shares,\n{found}")


if __name__ == "__main__":
    main()
