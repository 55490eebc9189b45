#!/usr/bin/python3
"""The scripts of examples/scripts, run by ml-classify over recordings with labels.

usage: example_scripts_test.py PROGRAMS
"""

import contextlib
import io
import json
import math
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

TOOLS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
sys.path.insert(0, TOOLS)
import check_digits  # noqa: E402
import compose_calls  # noqa: E402
import make_tone_corpus  # noqa: E402

SCRIPTS = os.path.join(TOOLS, "..", "examples", "scripts")
PROGRAMS = ""


def run_check(*arguments):
    """Exit status of check_digits, and what it printed."""
    text = io.StringIO()
    with contextlib.redirect_stdout(text), contextlib.redirect_stderr(text):
        status = check_digits.main(["check_digits.py", PROGRAMS, *arguments])
    return status, text.getvalue()


def results(recording, script, *options):
    """(time, values) of each window."""
    process = subprocess.run([os.path.join(PROGRAMS, "ml-classify"), "--json", "--filesystem-path", SCRIPTS, "--script",
                              script, *options, recording], stdout=subprocess.PIPE, check=True, text=True)
    lines = [json.loads(line) for line in process.stdout.splitlines()]
    return [(line["time"], [entry["value"] for entry in line["entries"]]) for line in lines if "entries" in line]


class ExampleScriptsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def write(self, name, recording):
        compose_calls.write_call(self.folder, name, recording)
        return self.path(name + ".wav")

    def make_corpus(self):
        with contextlib.redirect_stdout(io.StringIO()):
            make_tone_corpus.main(["make_tone_corpus.py", "--out", self.path("corpus"), "--crowds", "4"])
        return self.path("corpus")

    def test_every_digit_is_found_and_nothing_else(self):
        status, text = run_check(self.make_corpus(), "--snr", "20")
        self.assertEqual(status, 0, text)
        # Both recordings of the corpus have each digit once.
        self.assertRegex(text, r"as they are +\d+ +32 +32 +0 +0 +0\n20 dB white +2 +32 +32 +0 +0 +0\n")

    def test_digits_that_are_not_labelled_and_labels_without_digits_are_counted(self):
        corpus = self.make_corpus()
        os.remove(os.path.join(corpus, "dtmf_tones.txt"))
        shutil.copy(os.path.join(corpus, "dtmf_digits.txt"), os.path.join(corpus, "silence.txt"))
        status, text = run_check(corpus, "--snr", "")
        self.assertEqual(status, 1, text)
        self.assertRegex(text, r"as they are +\d+ +32 +16 +16 +0 +16\n")

    def test_durations_twist_and_frequencies_are_held(self):
        cases = [("shorter than 23 ms", 180, (770, 1336), 1.0, False), ("40 ms", 320, (770, 1336), 1.0, True),
                 ("6 dB of twist", 800, (770, 1336), 2.0, True), ("10 dB of twist", 800, (770, 1336), 3.2, False),
                 ("1.5 % beside", 800, (770 * 1.015, 1336 * 0.985), 1.0, True),
                 ("4 % beside", 800, (770 * 1.04, 1336 * 1.04), 1.0, False), ("one tone", 800, (770,), 1.0, False),
                 ("a third tone", 800, (770, 1336, 1000), 1.0, False)]
        for name, length, frequencies, twist, is_digit in cases:
            recording = make_tone_corpus.Recording(0.5)
            for number, frequency in enumerate(frequencies):
                recording.add(1603, 1603 + length, None, (frequency,), 0.1 * (twist if number == 0 else 1.0))
            shown = {values[0] for _, values in results(self.write("tone", recording), "dtmf")}
            self.assertEqual(shown, {-1, 5} if is_digit else {-1}, name)

    def test_call_progress_tones_are_told_apart(self):
        kinds = [(350, 440), (440, 480), (480, 620), (425,), (440,), (1100,), (2100,), (914,), (1371,), (1777,)]
        recording = make_tone_corpus.Recording(0.5 * len(kinds) + 0.5)
        for number, frequencies in enumerate(kinds):
            recording.add(4000 * number + 1600, 4000 * number + 3600, None, frequencies, 0.1)
        heard = results(self.write("progress", recording), "progress", "--windower-config-file",
                        "dsp/CallProgressWindowerConfig.xml")
        for time, values in heard:
            number = int(time / 0.5)
            since = time - 0.5 * number
            expected = [0] * len(kinds)
            if 0.31 < since < 0.44 and number < len(kinds):
                expected[number] = 1
            if 0.08 < since < 0.2 or 0.31 < since < 0.44:
                self.assertEqual(values, expected, time)

    def test_voice_is_told_from_silence_noise_and_tones(self):
        def speech(n):
            swell = math.sin(math.pi * n / 2000) ** 2
            return 3000 * swell * sum(math.sin(2 * math.pi * 130 * k * n / 8000) / k for k in range(1, 25))
        noise = compose_calls.make_noise(compose_calls.Random(1), "white", 32000)
        recording = make_tone_corpus.Recording(4)
        recording.samples = [30 * value + (speech(n) if 16000 <= n < 24000 else 0) for n, value in enumerate(noise)]
        recording.add(8000, 12000, None, (440, 480), 0.1)
        heard = results(self.write("voice", recording), "voice")
        share = lambda start, stop: (lambda chosen: sum(chosen) / len(chosen))(  # noqa: E731
            [values[0] for time, values in heard if start < time < stop])
        self.assertTrue(all(sum(values) == 1 for _, values in heard))
        self.assertLess(share(0.5, 2.0), 0.05)
        self.assertGreater(share(2.1, 3.0), 0.9)
        self.assertLess(share(3.2, 4.0), 0.05)


if __name__ == "__main__":
    PROGRAMS = os.path.abspath(sys.argv.pop(1))
    unittest.main()
