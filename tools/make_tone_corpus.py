#!/usr/bin/python3
"""Makes recordings of tones with exact labels, to hold generators of tone patterns against.

Writes for each recording a WAV file (8 kHz, 16 bit) and a label text beside it (start<TAB>stop<TAB>label, seconds,
every time a multiple of a sample), in the order in which the tones were added, which need not be that of their times;
and corpus.lst, the recordings, a name a line. A tone is heard from its first sample to the one before its stop.

    single_*    tones of all lengths from 40 samples up, on, next to and beyond the frequencies that are looked for
    edge_*      tones that begin and end at, just before and just after the times of windows
    overlap_*   two tones in every relation of their times, in both orders
    crowd_*     three to six tones at random times and in random order
    am_*        amplitude-modulated tones with all their neighbours, and plain ones of the same carrier
    dtmf_*      dialled digits: two tones of the same times, with or without a label for both
    noise_*     tones of every kind under white or room noise, down to 0 dB
    silence     nothing
    dialled_*   with --dialled: digits dialled at random, at levels, twists, offsets and under noise as lines have them

The same options give the same bytes.
"""

import argparse
import math
import os
import sys

import compose_calls
from compose_calls import RATE, Random

WINDOW, SHIFT = RATE // 40, RATE // 100
TONES = (1000, 1400, 2100)
AM_TONES = ((1000, 20), (1400, 50))
DIGITS = "123A456B789C*0#D"

# Times of the first and the second tone, in hundredths of a second.
RELATIONS = {
    "apart": (20, 60, 90, 120),
    "touching": (20, 60, 60, 120),
    "staggered": (20, 80, 50, 120),
    "contained": (20, 120, 50, 80),
    "same": (20, 80, 20, 80),
    "nearly_same": (20, 80, 20.5, 80),
    "nearly_same_stop": (20, 80, 20, 80.6),
    "same_start_shorter": (20, 80, 20, 50),
    "same_start_longer": (20, 50, 20, 80),
    "same_stop": (20, 80, 50, 80),
    "starts_a_little_earlier": (20, 80, 19.6, 60),
    "gap_below_tolerance": (20, 60, 60.5, 90),
    "overlap_below_tolerance": (20, 60, 59.5, 90),
}


class Recording(compose_calls.Call):
    """Samples, and labels in the order in which they were added."""

    def __init__(self, seconds):
        super().__init__()
        self.samples = [0.0] * int(seconds * RATE)
        self.labels = []

    def add(self, start, stop, label, frequencies, level=0.2, modulation=0, depth=0.8):
        """A tone from one sample to the other; without a label nobody is told."""
        stop = min(stop, len(self.samples))
        steps = [2.0 * math.pi * frequency / RATE for frequency in frequencies]
        wave = 2.0 * math.pi * modulation / RATE
        for n in range(stop - start):
            gain = (1.0 + depth * math.sin(wave * n)) / (1.0 + depth) if modulation else 1.0
            self.samples[start + n] += 32768.0 * level * gain * sum(math.sin(step * n) for step in steps)
        if label:
            self.labels.append((start, stop, label))

    def add_tone(self, start, stop, frequency, level=0.2):  # pylint: disable=arguments-differ
        self.add(start, stop, "SF:%d" % frequency, (frequency,), level)

    def add_am(self, start, stop, carrier, modulation, depth=0.8):
        self.add(start, stop, "AM:%d:%d" % (carrier, modulation), (carrier,), 0.3, modulation, depth)

    def covered(self):
        return self.labels

    def add_noise_at(self, random, kind, snr):
        """Over all of it, at a ratio in dB over the labelled samples."""
        self.intervals = [(start, stop, "VOICE") for start, stop, _ in self.labels]
        self.add_noise(compose_calls.make_noise(random, kind, len(self.samples)), snr)


def single(random):
    recording, at = Recording(8), RATE // 10
    for length in (2000, 800, 400, 160, 80, 79, 40, 4000):
        recording.add_tone(at, at + length, random.pick(TONES), random.uniform(0.01, 0.5))
        at += length + random.below(2000) + 100
    for offset in (0, -9, 9, -10, 10, -11, 11, -40, 40):
        recording.add_tone(at, at + 1600, TONES[0] + offset)
        at += 1600 + random.below(800) + 100
    return recording


def edge(random):
    """Around the time of a window, which is a sample of the form k SHIFT + WINDOW."""
    recording, k = Recording(8), 10
    for start in (-1, 0, 1):
        for stop in (-1, 0, 1):
            length = random.below(12)
            recording.add_tone(k * SHIFT + WINDOW + start, (k + length) * SHIFT + WINDOW + max(stop, start + 1),
                               TONES[0])
            k += length + 3 + random.below(20)
    recording.add_tone(len(recording.samples) - 300, len(recording.samples), TONES[0])
    return recording


def overlap(times, reverse):
    recording = Recording(1.5)
    spans = [(round(times[i] * RATE / 100), round(times[i + 1] * RATE / 100)) for i in (0, 2)]
    for (start, stop), frequency in zip(reversed(spans) if reverse else spans, TONES):
        recording.add_tone(start, stop, frequency)
    return recording


def crowd(random):
    recording = Recording(3)
    for _ in range(3 + random.below(4)):
        start = random.below(2 * RATE)
        recording.add_tone(start, start + 400 + random.below(RATE), random.pick(TONES[:2]), 0.1)
    return recording


def modulated(random, carrier, modulation):
    recording, at = Recording(9), RATE // 10
    for offset in ((0, 0), (39, 0), (40, 0), (41, 0), (-40, 10), (-41, 0), (0, 9), (0, 11), (0, -10), (5, -5)):
        length = 2400 + random.below(2400)
        recording.add_am(at, at + length, carrier + offset[0], modulation + offset[1], random.uniform(0.3, 1.0))
        at += length + 400
    recording.add_tone(at, at + 2400, carrier)
    return recording


def dtmf(random, both):
    recording, at = Recording(4), RATE // 10
    for index, digit in enumerate(DIGITS):
        length = 400 + random.below(800)
        pair = compose_calls.DTMF_ROWS[index // 4], compose_calls.DTMF_COLUMNS[index % 4]
        if both:
            recording.labels.append((at, at + length, "DTMF:" + digit))
        for frequency in pair:
            recording.add_tone(at, at + length, frequency)
        at += length + 400 + random.below(400)
    return recording


def noisy(random, kind, snr):
    recording = Recording(4)
    recording.add_tone(2000, 6000, TONES[0], 0.1)
    recording.add_tone(8000, 9000, TONES[1], 0.1)
    recording.add_am(11000, 19000, *AM_TONES[0])
    recording.add_tone(22000, 27000, TONES[2], 0.1)
    recording.add_tone(25000, 29000, TONES[0], 0.1)
    recording.add_noise_at(random, kind, snr)
    return recording


def dialled(random):
    """Digits as lines deliver them: the louder tone of each at -32 to -6 dBFS, the other up to 6 dB below it, their
    frequencies off by up to 1.5 %, and every other recording under noise."""
    recording, at = Recording(6), RATE // 10
    level, twist = 10.0 ** (random.uniform(-32.0, -6.0) / 20.0), 10.0 ** (random.uniform(-6.0, 6.0) / 20.0)
    row_level, column_level = level * min(1.0, twist), level * min(1.0, 1.0 / twist)
    while at + RATE // 5 < len(recording.samples):
        index, length = random.below(16), int(random.uniform(0.045, 0.2) * RATE)
        skew = random.uniform(0.985, 1.015)
        recording.add(at, at + length, "DTMF:" + DIGITS[index], (skew * compose_calls.DTMF_ROWS[index // 4],), row_level)
        recording.add(at, at + length, None, (skew * compose_calls.DTMF_COLUMNS[index % 4],), column_level)
        at += length + int(random.uniform(0.045, 0.4) * RATE)
    if random.below(2):
        recording.add_noise_at(random, random.pick(("white", "room")), random.uniform(8.0, 35.0))
    return recording


def make_corpus(seed, crowds, dialled_calls):
    """Name and recording, in the order of the list."""
    random = Random(seed)
    yield "single_1", single(random)
    yield "single_2", single(random)
    yield "edge_1", edge(random)
    yield "edge_2", edge(random)
    for name, times in RELATIONS.items():
        yield "overlap_" + name, overlap(times, False)
        yield "overlap_" + name + "_reverse", overlap(times, True)
    for number in range(crowds):
        yield "crowd_%02d" % (number + 1), crowd(random)
    for carrier, modulation in AM_TONES:
        yield "am_%d_%d" % (carrier, modulation), modulated(random, carrier, modulation)
    yield "dtmf_tones", dtmf(random, False)
    yield "dtmf_digits", dtmf(random, True)
    for kind in ("white", "room"):
        for snr in (30, 20, 10, 0):
            yield "noise_%s_%02ddb" % (kind, snr), noisy(random, kind, snr)
    yield "silence", Recording(1)
    for number in range(dialled_calls):
        yield "dialled_%03d" % (number + 1), dialled(random)


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--out", required=True, help="folder to write to; created")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--crowds", type=int, default=12, help="recordings of many tones (default: 12)")
    parser.add_argument("--dialled", type=int, default=0, help="recordings of digits dialled at random (default: 0)")
    options = parser.parse_args(arguments[1:])
    names, seconds = [], 0.0
    try:
        os.makedirs(options.out, exist_ok=True)
        for name, recording in make_corpus(options.seed, options.crowds, options.dialled):
            compose_calls.write_call(options.out, name, recording)
            names.append(name + ".wav")
            seconds += len(recording.samples) / RATE
        with open(os.path.join(options.out, "corpus.lst"), "w", encoding="utf-8") as out:
            out.write("".join(name + "\n" for name in names))
    except OSError as error:
        print("make_tone_corpus.py: %s" % error, file=sys.stderr)
        return 1
    print("%d recordings, %.1f s" % (len(names), seconds))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
