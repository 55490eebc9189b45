#!/usr/bin/python3
"""Counts the dialled digits that a script finds in labelled recordings, clean and under noise.

usage: check_digits.py PROGRAMS FOLDER... [--scripts ROOT] [--script NAME] [--snr DB,DB,...] [--noise KIND] [--verbose]

FOLDER holds recordings, each with its labels beside it: NAME.txt with lines start<TAB>stop<TAB>label, or NAME.tsv whose
first line names the columns start_s, stop_s and label. A digit is a label "DTMF:<digit>", or two labels "SF:<Hz>" of the
same times at the frequencies of a digit. Recordings without labels, or without digits, must give none (talk-off).
PROGRAMS is where ml-classify is; ROOT is the folder with the scripts, whose result is the index of the digit in
"123A456B789C*0#D" while it is heard and -1 otherwise. Recordings that ml-classify refuses are left out and named.

A digit is hit when the script begins to show it between its start and 60 ms after its stop. What it shows besides is a
false alarm; a digit that is never shown is a miss. Noise is added to mono recordings of 16 bit with digits, at a ratio to
the power of the digits. Prints a table; exit status 1 when there is a miss or a false alarm in the recordings as they
are or at 20 dB and more, or one was left out.
"""

import argparse
import array
import glob
import json
import math
import os
import re
import subprocess
import sys
import tempfile
import wave

import check_tone_targets
import compose_calls

DIGITS = "123A456B789C*0#D"
LATE = 0.06  # s
SAME = 0.005  # of a frequency
MUST_BE_PERFECT = 20.0  # dB


def matches(tones, frequencies):
    """The indices of the tones that are among the frequencies; labels may come from a measurement."""
    return [i for i, tone in enumerate(tones) if any(abs(frequency - tone) <= SAME * tone for frequency in frequencies)]


def digits_of(labels):
    """(start, stop, digit) of a list of labels, each digit once."""
    digits = {(start, stop): label[5:] for start, stop, label in labels if label.startswith("DTMF:")}
    tones = {}
    for start, stop, label in labels:
        match = re.fullmatch(r"SF:(\d+)", label)
        if match:
            tones.setdefault((start, stop), set()).add(int(match[1]))
    for times, frequencies in tones.items():
        rows = matches(compose_calls.DTMF_ROWS, frequencies)
        columns = matches(compose_calls.DTMF_COLUMNS, frequencies)
        if len(frequencies) == 2 and len(rows) == 1 and len(columns) == 1:
            digits[times] = DIGITS[4 * rows[0] + columns[0]]
    return [(start, stop, digit) for (start, stop), digit in sorted(digits.items())]


class Recording:
    """A recording and the digits in it."""

    def __init__(self, path):
        self.path = path
        self.digits = digits_of(list(check_tone_targets.read_labels(path))) \
            if check_tone_targets.label_file(path) else []

    def with_noise(self, work, random, kind, snr):
        """A copy under noise; None where there is nothing to measure the ratio by, or samples of another kind."""
        try:
            with wave.open(self.path) as source:
                parameters, frames = source.getparams(), source.readframes(source.getnframes())
        except wave.Error:
            return None
        if parameters.nchannels != 1 or parameters.sampwidth != 2 or not self.digits:
            return None
        samples = array.array("h", frames)
        if sys.byteorder == "big":
            samples.byteswap()
        inside = [sample for start, stop, _ in self.digits
                  for sample in samples[round(start * parameters.framerate):round(stop * parameters.framerate)]]
        power = sum(sample * sample for sample in inside) / len(inside)
        noise = compose_calls.make_noise(random, kind, len(samples))
        gain = math.sqrt(power / (sum(value * value for value in noise) / len(noise)) / 10.0 ** (snr / 10.0))
        mixed = [sample + gain * value for sample, value in zip(samples, noise)]
        scale = min(1.0, 32767.0 / max(map(abs, mixed)))
        samples = array.array("h", (round(scale * value) for value in mixed))
        if sys.byteorder == "big":
            samples.byteswap()
        path = os.path.join(work, "noisy.wav")
        with wave.open(path, "wb") as out:
            out.setparams(parameters)
            out.writeframes(samples.tobytes())
        return path


def shown_digits(options, path):
    """(time, digit) whenever the script begins to show a digit."""
    command = [os.path.join(options.programs, "ml-classify"), "--json", "--filesystem-path", options.scripts,
               "--script", options.script, path]
    process = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False, text=True)
    if process.returncode != 0:
        raise RuntimeError("%s: exit status %d\n%s" % (" ".join(command), process.returncode, process.stderr))
    shown, last = [], -1
    for line in process.stdout.splitlines():
        window = json.loads(line)
        if "entries" not in window:
            continue
        index = int(window["entries"][0]["value"])
        if index >= 0 and index != last:
            shown.append((window["time"], DIGITS[index]))
        last = index
    return shown


def count(digits, shown):
    """Hits, misses and false alarms; the latter two as texts too."""
    left, details = list(shown), []
    hits = 0
    for start, stop, digit in digits:
        match = next((event for event in left if event[1] == digit and start <= event[0] <= stop + LATE), None)
        if match is None:
            details.append("missed %s at %.3f s" % (digit, start))
        else:
            left.remove(match)
            hits += 1
    details += ["false %s at %.3f s" % (digit, time) for time, digit in left]
    return hits, len(digits) - hits, len(left), details


def run_row(options, title, recordings, make_path):
    """One line of the table: hits, misses, false alarms, each for recordings with and without digits."""
    hits = misses = false = talk_off = files = left_out = 0
    for recording in recordings:
        path = make_path(recording)
        if path is None:
            continue
        try:
            found = count(recording.digits, shown_digits(options, path))
        except RuntimeError as error:
            print("left out: %s" % error, file=sys.stderr)
            left_out += 1
            continue
        files += 1
        hits, misses = hits + found[0], misses + found[1]
        if recording.digits:
            false += found[2]
        else:
            talk_off += found[2]
        if options.verbose:
            for detail in found[3]:
                print("    %s: %s" % (recording.path, detail))
    print("%-16s %10d %8d %8d %8d %14d %14d" % (title, files, hits + misses, hits, misses, false, talk_off), flush=True)
    return files > 0 and misses == 0 and false == 0 and talk_off == 0 and left_out == 0


def parse(arguments):
    tree = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("programs")
    parser.add_argument("folders", nargs="+", metavar="FOLDER")
    parser.add_argument("--scripts", default=os.path.join(tree, "examples", "scripts"))
    parser.add_argument("--script", default="dtmf")
    parser.add_argument("--snr", default="30,20,15,10,5,0", help="dB; empty: recordings as they are only")
    parser.add_argument("--noise", default="white", choices=("white", "room"))
    parser.add_argument("--verbose", action="store_true", help="each miss and false alarm")
    return parser.parse_args(arguments[1:])


def main(arguments):
    options = parse(arguments)
    try:
        paths = [path for folder in options.folders for path in sorted(glob.glob(os.path.join(folder, "*.wav")))]
        recordings = [Recording(path) for path in paths]
        if not recordings:
            print("no recordings in %s" % ", ".join(options.folders), file=sys.stderr)
            return 1
        print("%-16s %10s %8s %8s %8s %14s %14s" % (
            "", "recordings", "digits", "hits", "misses", "false alarms", "in no digits"))
        perfect = run_row(options, "as they are", recordings, lambda recording: recording.path)
        random = compose_calls.Random(1)
        with tempfile.TemporaryDirectory() as work:
            for text in filter(None, options.snr.split(",")):
                good = run_row(options, "%s dB %s" % (text, options.noise), recordings,
                               lambda recording, snr=float(text): recording.with_noise(work, random, options.noise, snr))
                perfect = perfect and (good or float(text) < MUST_BE_PERFECT)
        return 0 if perfect else 1
    except (OSError, RuntimeError, ValueError) as error:
        print("check_digits.py: %s" % error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
