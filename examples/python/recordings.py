"""Recordings that the tests of the examples make."""

import array
import math
import random
import wave

import vexalor_ml as vml

RATE = 8000


def write_recording(path, seed, seconds):
    """Noise with a labelled tone in every other second."""
    noise = random.Random(seed)
    samples = [noise.randrange(-500, 500) + (6000 * math.sin(0.8 * i) if i // RATE % 2 else 0) for i in range(seconds * RATE)]
    with wave.open(path, "wb") as recording:
        recording.setparams((1, 2, RATE, 0, "NONE", ""))
        recording.writeframes(array.array("h", map(int, samples)).tobytes())
    vml.write_annotations(path, [("TONE", second, second + 1) for second in range(1, seconds, 2)])
