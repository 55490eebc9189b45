#!/usr/bin/python3
"""tools/check_voice.py over made-up recordings, with a script that hears whatever is loud.

usage: check_voice_test.py PROGRAMS
"""

import contextlib
import io
import os
import re
import sys
import tempfile
import unittest

import numpy

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import check_voice  # noqa: E402

PROGRAMS = os.path.abspath(sys.argv.pop()) if len(sys.argv) > 1 else ""


class CheckVoiceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.script = os.path.join(self.folder, "loud.xpr")
        with open(self.script, "w", encoding="utf-8") as out:
            out.write("loud = energy(audio) > 0.001\nresult = [loud, 1 - loud]\n")

    def record(self, name, rate, labels, loud, width=2):
        """2 s with a tone of 500 Hz in the loud intervals (s)."""
        time = numpy.arange(2 * rate) / rate
        inside = sum(1.0 * ((time >= start) & (time < stop)) for start, stop in loud)
        path = os.path.join(self.folder, name + ".wav")
        check_voice.write_samples(path, rate, 0.3 * inside * numpy.sin(2.0 * numpy.pi * 500.0 * time))
        with open(os.path.join(self.folder, name + ".txt"), "w", encoding="utf-8") as out:
            out.write("".join("%g\t%g\t%s\n" % label for label in labels))
        return path

    def check(self, *options, webrtc=False):
        """Status, figures (error, alarms, misses in percent) by the name of the detector, what was printed."""
        out, errors = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(errors):
            status = check_voice.main(["check_voice.py", PROGRAMS, self.folder, "--script", self.script] + list(options)
                                      + ([] if webrtc else ["--without-webrtc"]))
        rows = re.findall(r"^(.{20})" + 3 * r" +([\d.]+|-)" + "$", out.getvalue(), re.MULTILINE)
        return status, {name.strip(): figures for name, *figures in rows}, out.getvalue() + errors.getvalue()

    def test_every_ten_milliseconds_count_at_any_rate(self):
        for rate in (8000, 16000, 44100):
            # The last 20 windows have no label. 40 of 80 of voice are quiet. Decisions are 5 ms old, windows 25 ms long,
            # so that those from 1.41 to 1.44 s, of 100 that are no voice, still hear the sound.
            self.record("one", rate, [(0.0, 0.6, "SILENCE"), (0.6, 1.4, "voice"), (1.4, 1.8, "OTHER")], [(1.0, 1.42)])
            status, figures, text = self.check()
            self.assertEqual(status, 0, text)
            self.assertEqual(figures["loud.xpr"], ["24.4", "4.0", "50.0"], text)
            self.assertIn("1 recordings, 80 windows of voice, 100 of the rest", text)

    def test_parts_labels_of_voice_alone_and_recordings(self):
        self.record("a", 8000, [(0.5, 1.0, "VOICE")], [(0.5, 0.99)])
        self.record("b", 8000, [(0.0, 2.0, "OTHER")], [])
        _, first, text = self.check("--part", "first", "--recordings")
        self.assertIn("a.wav  loud.xpr", text)
        self.assertIn("1 recordings, 50 windows of voice, 150 of the rest", text)
        self.assertRegex(text, r"all +loud.xpr +0\.5 +0\.7 +0\.0")  # at 1.01 s
        _, second, text = self.check("--part", "second", webrtc=True)
        self.assertEqual(second["loud.xpr"], ["0.0", "0.0", "-"], text)
        if "is left out" not in text:
            self.assertEqual([second[name] for name in check_voice.WEBRTC_LEVELS], 4 * [["0.0", "0.0", "-"]], text)

    def test_what_cannot_be_used_is_named(self):
        self.record("good", 8000, [(0.5, 1.0, "VOICE")], [])
        os.rename(self.record("unlabelled", 8000, [], []), os.path.join(self.folder, "alone.wav"))
        with open(os.path.join(self.folder, "text.wav"), "w", encoding="utf-8") as out:
            out.write("no recording")
        status, _, text = self.check()
        self.assertEqual(status, 1)
        self.assertIn("alone.wav: there are no labels beside it", text)
        self.assertIn("text.wav: ", text)
        status, _, text = self.check("--detector", os.path.join(self.folder, "none.detector"))
        self.assertEqual(status, 1)
        self.assertIn("none.detector", text)


if __name__ == "__main__":
    unittest.main()
