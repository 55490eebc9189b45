"""What the tests of the examples share."""

import array
import math
import os
import random
import subprocess
import sys
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


def run(folder, *command):
    """What a command prints that is run in a folder and finds the module; when it fails, so does the test, with its status."""
    environment = dict(os.environ, PYTHONPATH=os.path.dirname(os.path.dirname(vml.__file__)))
    done = subprocess.run(command, cwd=folder, env=environment, check=False, stdout=subprocess.PIPE, encoding="utf-8")
    if done.returncode != 0:
        sys.exit(done.returncode)
    return done.stdout
