#!/usr/bin/env python3
"""The generators of voice activity over a set of made-up recordings, in both strategies.

usage: voice_sets_test.py PROGRAMS
"""

import contextlib
import io
import os
import random
import sys
import tempfile
import unittest
import wave

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import check_voice_sets  # noqa: E402

PROGRAMS = os.path.abspath(sys.argv.pop()) if len(sys.argv) > 1 else ""
RATES = (8000, 16000, 8000)


class VoiceSetsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        noise = random.Random(1)
        for number, rate in enumerate(RATES):
            with wave.open(os.path.join(self.folder, "%d.wav" % number), "wb") as out:
                out.setparams((1, 2, rate, 0, "NONE", ""))
                out.writeframes(bytes(noise.randrange(256) if i // rate % 2 else 0 for i in range(4 * rate)))
            with open(os.path.join(self.folder, "%d.txt" % number), "w", encoding="utf-8") as out:
                out.write("0\t0.4\tSILENCE\n0.4\t1.1\tVOICE\n1.1\t1.2\tOTHER\n1.2\t1.3\tSILENCE\n1.5\t1.9\tVOICE\n")

    def check(self):
        text = io.StringIO()
        with contextlib.redirect_stdout(text), contextlib.redirect_stderr(text):
            status = check_voice_sets.main(["check_voice_sets.py", PROGRAMS, self.folder])
        return status, text.getvalue()

    def test_streams_are_the_same(self):
        status, text = self.check()
        self.assertEqual(status, 0, text)
        # Windows of 25 ms every 10 ms of 2 s: 198 of each recording.
        self.assertEqual(text.count("pass 2: %d patterns" % (198 * len(RATES))), 5, text)
        self.assertEqual(text.count("bad ones in the list: the same"), 3, text)
        digests = {line.split()[-1] for line in text.splitlines() if "digest" in line}
        self.assertEqual(len(digests), 3, text)

    def test_a_stream_that_stops_is_found(self):
        streams = check_voice_sets.STREAMS
        self.addCleanup(setattr, check_voice_sets, "STREAMS", streams)
        check_voice_sets.STREAMS = [("not covered", "voice-silence", [])]
        status, text = self.check()
        self.assertEqual(status, 1, text)
        self.assertIn("No class covers the window at", text)


if __name__ == "__main__":
    unittest.main()
