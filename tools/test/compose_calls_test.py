#!/usr/bin/env python3
"""tools/compose_calls.py over made-up prompts: bursts of noise whose edges are known."""

import array
import contextlib
import filecmp
import io
import math
import os
import sys
import tempfile
import unittest
import wave

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import compose_calls  # noqa: E402

RATE = compose_calls.RATE


def burst_prompt(*bursts, length=2.0, level=4000):
    """Samples with noise in these intervals of seconds, digital silence elsewhere."""
    random = compose_calls.Random(7)
    samples = array.array("h", bytes(2 * int(length * RATE)))
    for start, stop in bursts:
        for i in range(int(start * RATE), int(stop * RATE)):
            samples[i] = random.below(2 * level) - level
    return samples


def read_wav(path):
    with wave.open(path) as source:
        return array.array("h", source.readframes(source.getnframes()))


def read_labels(path):
    """(start, stop, label), in samples; fails when a time is none."""
    intervals = []
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            start, stop, label = line.rstrip("\n").split("\t")
            positions = [float(start) * RATE, float(stop) * RATE]
            assert all(abs(p - round(p)) < 1e-6 for p in positions), line
            intervals.append((round(positions[0]), round(positions[1]), label))
    return intervals


class EnergyRule(unittest.TestCase):
    def test_edges_gaps_and_short_runs(self):
        cases = [
            ("one burst: a hop of margin at each edge", [(0.5, 1.0)], [(0.49, 1.01)]),
            ("a gap of 0.1 s is closed", [(0.5, 0.8), (0.9, 1.2)], [(0.49, 1.21)]),
            ("a gap of 0.3 s is kept", [(0.5, 0.8), (1.1, 1.2)], [(0.49, 0.81), (1.09, 1.21)]),
            ("a run of 20 ms, 40 with its margins, is dropped", [(0.5, 0.52), (1.0, 1.5)], [(0.99, 1.51)]),
            ("silence", [], []),
        ]
        for name, bursts, expected in cases:
            with self.subTest(name):
                found = compose_calls.speech_intervals(burst_prompt(*bursts))
                self.assertEqual([(a / RATE, b / RATE) for a, b in found], expected)

    def test_threshold_follows_loud_speech(self):
        # 25 and 33 dB below the loud part: the one is speech, the other, though above -42 dBFS, is not.
        samples = burst_prompt((0.2, 0.6), level=30000)
        samples += burst_prompt((0.2, 0.6), level=1687) + burst_prompt((0.2, 0.6), level=671)
        self.assertEqual(len(compose_calls.speech_intervals(samples)), 2)


class Composing(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        voice = os.path.join(self.folder, "sounds", "en_XX_f_Nobody")
        os.makedirs(voice)
        for name, bursts in (("one", [(0.2, 1.5)]), ("two", [(0.1, 0.5), (1.0, 1.9)]), ("beep", [(0.0, 2.0)])):
            with wave.open(os.path.join(voice, name + ".wav"), "wb") as out:
                out.setparams((1, 2, RATE, 0, "NONE", ""))
                out.writeframes(burst_prompt(*bursts).tobytes())

    def compose(self, name, *options):
        out = os.path.join(self.folder, name)
        arguments = ["compose_calls.py", "--out", out, "--sounds", os.path.join(self.folder, "sounds"),
                     "--languages", "en", "--calls", "2", "--minutes", "0.8"]
        with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(io.StringIO()) as errors:
            status = compose_calls.main(arguments + list(options))
        return out, status, errors.getvalue()

    def test_same_options_same_bytes(self):
        one, status, _ = self.compose("one", "--seed", "5")
        again, _, _ = self.compose("again", "--seed", "5")
        other, _, _ = self.compose("other", "--seed", "6")
        self.assertEqual(status, 0)
        names = sorted(os.listdir(one))
        self.assertEqual(names, ["CREDITS.txt", "call_en_01.txt", "call_en_01.wav", "call_en_02.txt", "call_en_02.wav",
                                 "calls.lst", "provenance.tsv"])
        self.assertEqual(filecmp.cmpfiles(one, again, names, shallow=False), (names, [], []))
        self.assertIn("call_en_01.wav", filecmp.cmpfiles(one, other, names, shallow=False)[1])

    def test_labels_cover_the_call_and_voice_is_where_the_bursts_are(self):
        out, _, _ = self.compose("clean", "--snr", "clean")
        samples = read_wav(os.path.join(out, "call_en_01.wav"))
        intervals = read_labels(os.path.join(out, "call_en_01.txt"))
        self.assertEqual(intervals[0][0], 0)
        self.assertEqual(intervals[-1][1], len(samples))
        for (_, stop, label), (start, _, following) in zip(intervals, intervals[1:]):
            self.assertEqual(stop, start)
            self.assertFalse(label == following == "SILENCE")
        for start, stop, label in intervals:
            # A hop of margin at each edge of a burst belongs to VOICE; silence is digital here.
            loud = any(samples[start:stop])
            self.assertEqual(loud, label != "SILENCE", (start, stop, label))
        self.assertIn("VOICE", {label for _, _, label in intervals})
        with open(os.path.join(out, "provenance.tsv"), encoding="utf-8") as lines:
            self.assertNotIn("beep", lines.read())

    def test_joined_calls_are_the_same_calls_end_to_end(self):
        apart, _, _ = self.compose("apart")
        joined, _, _ = self.compose("joined", "--join")
        calls = [os.path.join(apart, "call_en_0%d" % number) for number in (1, 2)]
        recording = os.path.join(joined, "calls_en")
        self.assertEqual(read_wav(recording + ".wav"), read_wav(calls[0] + ".wav") + read_wav(calls[1] + ".wav"))
        first = read_labels(calls[0] + ".txt")
        shift = first[-1][1]
        heard = [interval for interval in first if interval[2] != "SILENCE"]
        heard += [(shift + a, shift + b, label) for a, b, label in read_labels(calls[1] + ".txt") if label != "SILENCE"]
        whole = read_labels(recording + ".txt")
        self.assertEqual([interval for interval in whole if interval[2] != "SILENCE"], heard)
        # The silence at the seam is one interval.
        self.assertFalse(any(a[2] == b[2] == "SILENCE" for a, b in zip(whole, whole[1:])))

    def test_noise_has_its_ratio_over_the_voice_and_leaves_the_labels(self):
        clean, _, _ = self.compose("clean", "--snr", "clean")
        for ratio in (20.0, 5.0):
            noisy, _, _ = self.compose("noisy%g" % ratio, "--snr", "%g" % ratio)
            pure, mixed = (read_wav(os.path.join(out, "call_en_01.wav")) for out in (clean, noisy))
            intervals = read_labels(os.path.join(noisy, "call_en_01.txt"))
            self.assertEqual(intervals, read_labels(os.path.join(clean, "call_en_01.txt")))
            speech = noise = 0
            for start, stop, label in intervals:
                if label == "VOICE":
                    speech += sum(s * s for s in pure[start:stop])
                    noise += sum((m - s) ** 2 for s, m in zip(pure[start:stop], mixed[start:stop]))
            # Rounding to 16 bit adds noise of 1/12, far below.
            self.assertAlmostEqual(10.0 * math.log10(speech / noise), ratio, delta=0.05)

    def test_refusals(self):
        for options, message in ((["--languages", "xx"], "no prompts of language xx"),
                                 (["--out", "/dev/null/x"], "Not a directory")):
            _, status, errors = self.compose("refused", *options)
            self.assertEqual(status, 1)
            self.assertIn(message, errors)
        for options in (["--snr", "nan"], ["--calls", "0"], ["--minutes", "inf"]):
            with self.assertRaises(SystemExit), contextlib.redirect_stderr(io.StringIO()):
                compose_calls.parse_options(["compose_calls.py", "--out", self.folder] + options)


if __name__ == "__main__":
    unittest.main()
