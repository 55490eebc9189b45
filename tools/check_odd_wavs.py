#!/usr/bin/env python3
"""Holds what ml-annotate makes of unusual and broken recordings against the verdicts of a table.

usage: check_odd_wavs.py DIR PROGRAM

DIR has the recordings and EXPECT.tsv with the columns file, expect, frames; columns whose name ends in "_frames" tell what
other programs deliver. PROGRAM is ml-annotate; it reads every sample. "accept": it must deliver that many frames.
"refuse": it must fail with a message. "either": one or the other, but no frame more than any other program found. Never
may it die, take longer than 10 s, or more memory than it takes to print its version, some for blocks of samples, and a
few times the file. Prints a table; the exit status is 1 if a verdict is not met.
"""

import csv
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

TIMEOUT_S = 10
MEMORY_OF_BLOCKS_KIB = 8 * 1024
MEMORY_PER_FILE = 4  # times its size


def run(*command):
    """Exit status (negative: a signal, None: too long), standard output and error, peak memory in KiB, seconds."""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        began = time.monotonic()
        child = subprocess.Popen(command, stdout=out, stderr=err)
        while True:
            pid, status, usage = os.wait4(child.pid, os.WNOHANG)
            if pid != 0:
                child.returncode = os.waitstatus_to_exitcode(status)
                break
            if time.monotonic() - began > TIMEOUT_S:
                child.kill()
                _, status, usage = os.wait4(child.pid, 0)
                child.returncode = 0
                return None, b"", b"", usage.ru_maxrss, TIMEOUT_S
            time.sleep(0.001)
        took = time.monotonic() - began
        out.seek(0)
        err.seek(0)
        return child.returncode, out.read(), err.read(), usage.ru_maxrss, took


def judge(row, status, frames, message, taken, size):
    """What is wrong; empty if nothing is."""
    if status is None:
        return "took too long"
    if status not in (0, 1):
        return f"ended with status {status}"
    if status == 1 and not message:
        return "refused without a message"
    if taken > MEMORY_OF_BLOCKS_KIB + MEMORY_PER_FILE * size / 1024:
        return f"took {taken} KiB"
    if row["expect"] == "accept" and status != 0:
        return "refused"
    if row["expect"] == "refuse" and status != 1:
        return "accepted"
    if row["expect"] == "accept" and frames != int(row["frames"]):
        return f"{row['frames']} frames expected"
    others = [int(v) for k, v in row.items() if k.endswith("_frames") and v.isdigit()]
    if status == 0 and others and frames > max(others):
        return "more frames than there are"
    return ""


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    folder, program = pathlib.Path(sys.argv[1]), sys.argv[2]
    with open(folder / "EXPECT.tsv", encoding="utf-8", newline="") as table:
        rows = list(csv.DictReader(table, delimiter="\t"))
    unmet = 0
    status, _, _, own, _ = run(program, "--version")
    if status != 0:
        sys.exit(f"{program} does not run")
    print(f"{'recording':<50} {'expect':<7} {'frames':>6}  {'result':<7} {'frames':>6} {'labels':>6} {'KiB':>6} {'ms':>5}")
    for row in rows:
        wav = folder / row["file"]
        status, out, err, peak, took = run(program, "list", "--json", "--decode", str(wav))
        found = json.loads(out.decode("utf-8")) if status == 0 else []
        frames = found[0]["decoded_frames"] if found else None
        labels = len(found[0]["annotations"]) + len(found[0]["markers"]) if found else 0
        fault = judge(row, status, frames, err, peak - own, wav.stat().st_size)
        unmet += bool(fault)
        print(f"{row['file']:<50} {row['expect']:<7} {row['frames']:>6}  {'accept' if status == 0 else 'refuse':<7} "
              f"{'-' if frames is None else frames:>6} {labels:>6} {peak:>6} {1000 * took:>5.0f}"
              f"{'  NOT MET: ' + fault if fault else ''}")
        if status == 1:
            print("    " + err.decode(errors="replace").strip().splitlines()[0])
    print(f"{len(rows) - unmet} of {len(rows)} verdicts met")
    return 1 if unmet else 0


if __name__ == "__main__":
    sys.exit(main())
