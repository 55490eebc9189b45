#!/usr/bin/python3
"""tools/compose_calls.py over made-up prompts: bursts of noise whose edges are known."""

import array
import contextlib
import filecmp
import io
import math
import os
import re
import sys
import tempfile
import unittest
import wave

import numpy

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import compose_calls  # noqa: E402
import telephone_line  # noqa: E402

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

    def test_what_the_line_does_leaves_the_labels(self):
        plain, _, _ = self.compose("plain", "--minutes", "0.2")
        labels = read_labels(os.path.join(plain, "call_en_01.txt"))
        for options in (["--room", "1"], ["--hum", "1"], ["--rumble", "1"], ["--clicks", "1"], ["--band", "1"],
                        ["--level", "-30"], ["--codec", "alaw"], ["--codec", "mulaw"], ["--codec", "gsm"],
                        ["--noise", "pink"], ["--noise", "brown"], ["--noise", "street"], ["--noise", "music"],
                        ["--noise", "babble"]):
            with self.subTest(options):
                out, status, errors = self.compose("line", "--minutes", "0.2", *options)
                self.assertEqual((status, errors), (0, ""))
                self.assertEqual(read_labels(os.path.join(out, "call_en_01.txt")), labels)
                self.assertNotEqual(read_wav(os.path.join(out, "call_en_01.wav")),
                                    read_wav(os.path.join(plain, "call_en_01.wav")))

    def test_speed_moves_pitch_and_labels(self):
        path = os.path.join(self.folder, "sounds", "en_XX_f_Nobody", "one.wav")
        time = numpy.arange(2 * RATE) / RATE
        buzz = numpy.rint(9000.0 * numpy.sin(2.0 * numpy.pi * 1000.0 * time) * ((time >= 0.5) & (time < 1.5))).astype("<i2")
        with wave.open(path, "wb") as out:
            out.setparams((1, 2, RATE, 0, "NONE", ""))
            out.writeframes(buzz.tobytes())
        for speed in (0.8, 1.25):
            prompt = compose_calls.Prompt(path).at_speed(speed)
            self.assertEqual(len(prompt.samples), round(2 * RATE / speed))
            spectrum = numpy.abs(numpy.fft.rfft(prompt.samples))
            self.assertAlmostEqual(spectrum.argmax() * RATE / len(prompt.samples), 1000.0 * speed, delta=1.0)
            self.assertAlmostEqual(max(prompt.samples), 9000.0, delta=450.0)
            # To a hop: the edges lie between hops now.
            (start, stop), = prompt.voice
            self.assertAlmostEqual(start / RATE, 0.5 / speed, delta=0.02)
            self.assertAlmostEqual(stop / RATE, 1.5 / speed, delta=0.02)
        out, status, _ = self.compose("speed", "--speed", "0.8,1.2", "--without", "two")
        self.assertEqual(status, 0)
        with open(os.path.join(out, "provenance.tsv"), encoding="utf-8") as lines:
            self.assertEqual(len(set(re.findall(r"one\.wav at speed (0\.[89]\d\d|1\.[01]\d\d)\n", lines.read()))), 2)

    def test_long_pauses_are_as_many_as_asked_for(self):
        def pauses(name, *options):
            """The first, and those after voice that are longer than what is within a prompt."""
            out, status, errors = self.compose(name, "--calls", "1", "--minutes", "3", "--snr", "clean", *options)
            self.assertEqual((status, errors), (0, ""))
            labels = read_labels(os.path.join(out, "call_en_01.txt"))
            lengths = [(stop - start) / RATE for start, stop, _ in labels]
            return lengths[0], [length for length, (_, _, before), (_, _, label) in zip(lengths[1:], labels, labels[1:])
                                if (before, label) == ("VOICE", "SILENCE") and length > 1.0]
        # A prompt and what follows it bring 0.7 s of silence of their own.
        self.assertLess(max(pauses("none")[1]), 3.8)
        self.assertEqual(pauses("none"), pauses("nil", "--long-pauses", "0"))
        first, between = pauses("every", "--long-pauses", "1")
        self.assertGreaterEqual(first, 1.0)
        self.assertGreater(len(between), 10)
        self.assertGreaterEqual(min(between), 3.0)
        self.assertLess(max(between), 12.8)
        self.assertGreater(max(between) - min(between), 3.0)

    def test_level_is_the_peak_of_the_voice(self):
        out, _, _ = self.compose("level", "--snr", "clean", "--level", "-26")
        samples = read_wav(os.path.join(out, "call_en_01.wav"))
        peak = max(max(map(abs, samples[start:stop])) for start, stop, label in
                   read_labels(os.path.join(out, "call_en_01.txt")) if label == "VOICE")
        self.assertAlmostEqual(20.0 * math.log10(peak / 32768.0), -26.0, delta=0.02)

    def test_telephone_is_all_of_it_and_repeats(self):
        options = ["--telephone", "--calls", "6", "--without", "two,three"]
        one, status, errors = self.compose("one", *options)
        again, _, _ = self.compose("again", *options)
        self.assertEqual((status, errors), (0, ""))
        names = os.listdir(one)
        self.assertEqual(filecmp.cmpfiles(one, again, names, shallow=False), (names, [], []))
        for what in ("music", "noise", "information"):
            out, _, _ = self.compose(what, *options, "--other", what)
            with open(os.path.join(out, "provenance.tsv"), encoding="utf-8") as lines:
                text = lines.read()
            self.assertRegex(text, r"\t%s( \d+)?\n" % what)
            self.assertNotIn("two.wav", text)

    def test_refusals(self):
        for options, message in ((["--languages", "xx"], "no prompts of language xx"),
                                 (["--out", "/dev/null/x"], "Not a directory")):
            _, status, errors = self.compose("refused", *options)
            self.assertEqual(status, 1)
            self.assertIn(message, errors)
        for options in (["--snr", "nan"], ["--snr", "x"], ["--calls", "0"], ["--minutes", "inf"], ["--noise", "fog"],
                        ["--other", "dtmf,goose"], ["--codec", "none"], ["--hum", "1.5"], ["--room", "nan"],
                        ["--level", "3"], ["--level", "-3,-9"], ["--speed", "3"],
                        ["--speed", "1,0.9"], ["--speed", "x"], ["--long-pauses", "1.5"], ["--long-pauses", "nan"]):
            with self.assertRaises(SystemExit), contextlib.redirect_stderr(io.StringIO()):
                compose_calls.parse_options(["compose_calls.py", "--out", self.folder] + options)


class Line(unittest.TestCase):
    def test_codecs(self):
        samples = numpy.arange(-32768, 32768)
        # By the tables of G.711: zero, the least steps, the greatest values.
        cases = [(telephone_line.mulaw, {0: 0, 8: 8, -8: -8, 32767: 32124, -32768: -32124, 1000: 988}),
                 (telephone_line.alaw, {0: 8, -1: -8, 16: 24, 32767: 32256, -32768: -32256, 1000: 1008})]
        for codec, expected in cases:
            decoded = codec(samples)
            self.assertEqual({value: decoded[value + 32768] for value in expected}, expected)
            self.assertTrue((codec(decoded) == decoded).all(), "a second time through")
            self.assertTrue((numpy.diff(decoded) >= 0).all())
        # A voice-like buzz survives GSM at the same place.
        buzz = numpy.rint(4000.0 * ((numpy.arange(8000) % 80) / 40.0 - 1.0)).astype(int)
        through = telephone_line.gsm(buzz)
        self.assertEqual(len(through), 8000)
        self.assertGreater(numpy.corrcoef(buzz, through)[0, 1], 0.9)

    def test_band_and_spectra(self):
        random = compose_calls.Random(3)
        white = telephone_line.white(random, 1 << 16)
        self.assertAlmostEqual(telephone_line.power(white), 1.0, delta=0.02)

        def level(samples, low, high):
            spectrum = numpy.abs(numpy.fft.rfft(samples)) ** 2
            frequencies = numpy.fft.rfftfreq(len(samples), 1.0 / RATE)
            return 10.0 * math.log10(spectrum[(frequencies >= low) & (frequencies < high)].mean())
        band = telephone_line.telephone_band(random, white)
        self.assertLess(level(band, 20, 60) + 12, level(band, 900, 1100))
        self.assertLess(level(band, 3900, 4000) + 3, level(band, 900, 1100))
        # Power by the frequency to the -1: 10 dB a decade.
        pink = telephone_line.background(random, "pink", 1 << 16, None)
        self.assertAlmostEqual(level(pink, 190, 210) - level(pink, 1900, 2100), 10.0, delta=1.5)


if __name__ == "__main__":
    unittest.main()
