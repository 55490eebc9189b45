#!/usr/bin/python3
"""How often voice detectors are wrong on labelled recordings, beside the voice detector of webrtc at its four levels.

usage: check_voice.py PROGRAMS FOLDER... [--network FILE --data-gen-config FILE] [--detector FILE] [--script FILE]
                      [--part all|first|second] [--rate HZ] [--recordings] [--without-webrtc]

FOLDER holds recordings (WAV of 16 bit, any rate and number of channels), each with its labels beside it: NAME.txt with
lines start<TAB>stop<TAB>label, or NAME.tsv whose first line names the columns start_s, stop_s and label. PROGRAMS is where
ml-tester and ml-config are. A network is what ml-train writes, with the configuration that it was trained with; its first
class is VOICE. A script is one of two results, voice first, for windows of 25 ms every 10 ms. Recordings of other
rates than --rate (8000) are brought to it first, for all detectors alike.

Every 10 ms of a recording count, the label at their end against what was decided last at that time; a detector that has
not yet decided anything has not heard voice. What no label covers does not count where the labels name what is no
voice too, and is no voice where they do not. The parts are every second recording of each folder, sorted by name, from
the first or from the second on: one to choose settings by, one to report. webrtc's is left out where its package
(section bench of packages.list) or g++ is missing.

Prints error, false alarms (of what is no voice) and misses (of voice) in percent, over all windows and, with --recordings,
for each recording. Exit status 1 when a recording could not be used.
"""

import argparse
import glob
import math
import os
import subprocess
import sys
import tempfile
import wave

import numpy

import check_tone_targets

STEP = 0.01  # s
TREE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
WEBRTC = ["-O2", "-std=c++20", "-DWEBRTC_POSIX", "-DWEBRTC_AUDIO_PROCESSING_ONLY_BUILD",
          "-I/usr/include/webrtc_audio_processing", os.path.join(TREE, "bench", "limits", "VoiceDecisions.cpp"),
          "-lsndfile", "-lwebrtc_audio_processing"]
WEBRTC_LEVELS = ("webrtc, very low", "webrtc, low", "webrtc, moderate", "webrtc, high")


def read_samples(path):
    """Rate, and the mean of all channels in [-1, 1)."""
    with wave.open(path) as source:
        if source.getsampwidth() != 2:
            raise ValueError("not 16 bit")
        samples = numpy.frombuffer(source.readframes(source.getnframes()), dtype="<i2")
        return source.getframerate(), samples.reshape(-1, source.getnchannels()).mean(axis=1) / 32768.0


def resample(samples, rate, wanted):
    """To another rate, by the spectrum of the whole recording; its end is extended by zeros."""
    divisor = math.gcd(rate, wanted)
    blocks = -(-len(samples) // (rate // divisor))
    spectrum = numpy.fft.rfft(samples, blocks * (rate // divisor))
    resampled = numpy.fft.irfft(spectrum[:blocks * (wanted // divisor) // 2 + 1], blocks * (wanted // divisor))
    return resampled[:len(samples) * wanted // rate] * (wanted / rate)


def write_samples(path, rate, samples):
    with wave.open(path, "wb") as out:
        out.setparams((1, 2, rate, 0, "NONE", ""))
        out.writeframes(numpy.clip(numpy.rint(samples * 32768.0), -32768, 32767).astype("<i2").tobytes())


class Recording:
    """A recording at the rate of the detectors, and what its labels say every 10 ms."""

    def __init__(self, path, rate, copy):
        self.path, self.copy = path, copy
        if not check_tone_targets.label_file(path):
            raise ValueError("there are no labels beside it")
        own_rate, samples = read_samples(path)
        labels = list(check_tone_targets.read_labels(path))
        self.times = numpy.arange(1, int(len(samples) / own_rate / STEP + 1e-9) + 1) * STEP
        self.voice = self.inside(labels, lambda label: label == "VOICE")
        exhaustive = any(label != "VOICE" for _, _, label in labels)
        self.counts = self.inside(labels, lambda label: True) if exhaustive else numpy.ones_like(self.voice)
        write_samples(copy, rate, samples if rate == own_rate else resample(samples, own_rate, rate))

    def inside(self, labels, wanted):
        result = numpy.zeros(len(self.times), dtype=bool)
        for start, stop, label in labels:
            if wanted(label.upper()):
                # As targets of the generators: from when the start has been exceeded until the stop has been.
                result |= (self.times > start + 1e-6) & (self.times <= stop + 1e-6)
        return result


class Counts:
    """Windows of voice and of the rest, and how many of each were taken for the other."""

    def __init__(self):
        self.voice = self.rest = self.misses = self.alarms = 0

    def add(self, recording, decided):
        voice, rest = recording.voice & recording.counts, ~recording.voice & recording.counts
        self.add_numbers(voice.sum(), rest.sum(), (voice & ~decided).sum(), (rest & decided).sum())

    def add_counts(self, other):
        self.add_numbers(other.voice, other.rest, other.misses, other.alarms)

    def add_numbers(self, voice, rest, misses, alarms):
        self.voice, self.rest = self.voice + voice, self.rest + rest
        self.misses, self.alarms = self.misses + misses, self.alarms + alarms

    def text(self):
        def percent(part, whole):
            return "%7.1f" % (100.0 * part / whole) if whole else "      -"
        return " ".join((percent(self.misses + self.alarms, self.voice + self.rest), percent(self.alarms, self.rest),
                         percent(self.misses, self.voice)))


def run(command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False, text=True)
    if result.returncode != 0:
        raise RuntimeError("%s: exit status %d\n%s%s"
                           % (" ".join(command), result.returncode, result.stdout, result.stderr))
    return result.stdout


def held(recording, times, decisions):
    """What was decided last at each time of the recording."""
    last = numpy.searchsorted(times, recording.times + 1e-6, side="right") - 1
    return numpy.where(last >= 0, numpy.asarray(decisions, dtype=bool)[numpy.maximum(last, 0)], False)


def tested(programs, work, options):
    """Decisions by ml-tester with these options, from the outputs that it logs."""
    log = os.path.join(work, "outputs.log")

    def decide(recording):
        run([os.path.join(programs, "ml-tester"), "--log-level", "ERROR", "--classification-error",
             "--data-gen-filename", recording.copy, "--output-log", log] + options)
        times, decisions = [], []
        with open(log, encoding="utf-8") as lines:
            for line in lines:
                if line[0].isdigit():
                    fields = line.rstrip("\n").split("\t")
                    outputs = [float(value) for value in fields[4].strip("[]").split()]
                    times.append(float(fields[2]))
                    decisions.append(outputs[0] > max(outputs[1:]))
        return [held(recording, times, decisions)] if times else [numpy.zeros(len(recording.times), dtype=bool)]
    return decide


def script_options(programs, work, rate, path):
    """Windows as they are for a script, by a configuration made for it."""
    config = os.path.join(work, "script.xml")
    run([os.path.join(programs, "ml-config"), "--log-level", "ERROR", "write", config, "--rate", str(rate), "--feature",
         "identity", "--window", "25", "--shift", "10", "--classes", "VOICE,OTHER"])
    folder, name = os.path.split(os.path.abspath(path))
    return ["--data-gen-config", config, "--script", os.path.splitext(name)[0], "--filesystem-path", folder,
            "--rate", str(rate)]


def webrtc(work):
    """Decisions at the four levels; None where its program cannot be built."""
    program = os.path.join(work, "VoiceDecisions")
    try:
        run(["g++"] + WEBRTC + ["-o", program])
    except (OSError, RuntimeError) as error:
        print("webrtc's detector is left out: %s" % str(error).splitlines()[0], file=sys.stderr)
        return None

    def decide(recording):
        lines = run([program, recording.copy]).split()
        times = (numpy.arange(len(lines)) + 1) * STEP
        return [held(recording, times, [line[level] == "1" for line in lines]) for level in range(len(WEBRTC_LEVELS))]
    return decide


def make_detectors(options, work):
    """(names, function from a recording to decisions, one for each name)."""
    detectors = []
    if options.network:
        detectors.append(((os.path.basename(options.network),), tested(options.programs, work, [
            "--network", options.network, "--data-gen-config", options.data_gen_config])))
    if options.detector:
        detectors.append(((os.path.basename(options.detector),), tested(options.programs, work, [
            "--detector", options.detector])))
    if options.script:
        detectors.append(((os.path.basename(options.script),), tested(options.programs, work, script_options(
            options.programs, work, options.rate, options.script))))
    decide = None if options.without_webrtc else webrtc(work)
    return detectors + ([(WEBRTC_LEVELS, decide)] if decide else [])


def read_recordings(options, work):
    """The recordings of the part that can be used, and whether all could."""
    part = {"all": slice(None), "first": slice(0, None, 2), "second": slice(1, None, 2)}[options.part]
    paths = [path for folder in options.folders for path in sorted(glob.glob(os.path.join(folder, "*.wav")))[part]]
    recordings, complete = [], True
    for number, path in enumerate(paths):
        try:
            recordings.append(Recording(path, options.rate, os.path.join(work, "%d.wav" % number)))
        except (OSError, EOFError, IndexError, ValueError, wave.Error) as error:
            print("left out: %s: %s" % (path, error), file=sys.stderr)
            complete = False
    if not recordings:
        raise RuntimeError("no recording with labels in %s" % ", ".join(options.folders))
    return recordings, complete


def report(options, recordings, detectors):
    width = max(len(os.path.basename(recording.path)) for recording in recordings) + 2 if options.recordings else 0
    print("%-*s%-20s %7s %7s %7s" % (width, "", "", "error", "alarms", "misses"))
    for names, decide in detectors:
        totals = [Counts() for _ in names]
        for recording in recordings:
            for name, total, decided in zip(names, totals, decide(recording)):
                counts = Counts()
                counts.add(recording, decided)
                total.add_counts(counts)
                if options.recordings:
                    print("%-*s%-20s %s" % (width, os.path.basename(recording.path), name, counts.text()))
        for name, total in zip(names, totals):
            print("%-*s%-20s %s" % (width, "all" if width else "", name, total.text()), flush=True)
    print("%d recordings, %d windows of voice, %d of the rest" % (len(recordings), total.voice, total.rest))


def parse(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("programs")
    parser.add_argument("folders", nargs="+", metavar="FOLDER")
    parser.add_argument("--network")
    parser.add_argument("--data-gen-config", help="the configuration that the network was trained with")
    parser.add_argument("--detector")
    parser.add_argument("--script")
    parser.add_argument("--part", choices=("all", "first", "second"), default="all",
                        help="every second recording by name, from the first or from the second on (default: all)")
    parser.add_argument("--rate", type=int, default=8000, help="rate of the detectors, Hz (default: 8000)")
    parser.add_argument("--recordings", action="store_true", help="each recording too")
    parser.add_argument("--without-webrtc", action="store_true", help="leave webrtc's detector out")
    options = parser.parse_args(arguments[1:])
    if bool(options.network) != bool(options.data_gen_config):
        parser.error("--network and --data-gen-config belong together")
    if options.rate not in (8000, 16000, 32000):
        parser.error("--rate wants 8000, 16000 or 32000, which webrtc's detector takes")
    return options


def main(arguments):
    options = parse(arguments)
    try:
        with tempfile.TemporaryDirectory() as work:
            recordings, complete = read_recordings(options, work)
            detectors = make_detectors(options, work)
            if not detectors:
                raise RuntimeError("there is no detector to check")
            report(options, recordings, detectors)
            return 0 if complete else 1
    except (OSError, RuntimeError) as error:
        print("check_voice.py: %s" % error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
