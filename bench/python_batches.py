#!/usr/bin/env python3
"""Batches in Python beside the same stream pulled one by one in C++: processor time per pattern, in turns.

usage: python_batches.py MODULE_FOLDER PROGRAMS_FOLDER [PATTERNS]

Patterns have 40 inputs and 3 targets, of the audio generator 12 and 2. The C++ side is Generator.count, which reads input
and target of each pattern into vectors that it keeps. Prints the least time of each, and the median of the ratios.
"""

import array
import math
import os
import random
import resource
import statistics
import subprocess
import sys
import tempfile
import time
import wave

sys.path.insert(0, os.path.abspath(sys.argv[1]))
import numpy  # noqa: E402
import vexalor_ml as vml  # noqa: E402

TURNS = 15
SIZE = 1024


def write_recording(path, seconds):
    noise = random.Random(1)
    samples = [noise.randrange(-500, 500) + int(6000 * math.sin(0.8 * i)) * (i // 8000 % 2) for i in range(8000)]
    with wave.open(path, "wb") as recording:
        recording.setparams((1, 2, 8000, 0, "NONE", ""))
        recording.writeframes(array.array("h", samples).tobytes() * seconds)
    vml.write_annotations(path, [("TONE", second, second + 1) for second in range(1, seconds, 2)])


def generators(folder, programs, count):
    numbers = numpy.random.default_rng(1)
    inputs, targets = numbers.normal(size=(count, 40)), numbers.normal(size=(count, 3))
    for form in ("text", "binary"):
        with vml.PatternWriter(os.path.join(folder, form), format=form) as writer:
            writer.write(inputs, targets)
        yield form, vml.open_patterns(os.path.join(folder, form))
    yield "cached", vml.open_patterns(os.path.join(folder, "binary"), cached=True)
    write_recording(os.path.join(folder, "call.wav"), max(10, count // 200))
    for feature, name in (([], "audio, energy"), (["--bands", "12"], "audio, 12 bands")):
        configuration = os.path.join(folder, name.replace(" ", "") + ".xml")
        subprocess.run([os.path.join(programs, "ml-config"), "write", configuration, "--classes", "TONE,OTHER", *feature], check=True,
                       stdout=subprocess.DEVNULL)
        yield name, vml.open(configuration, os.path.join(folder, "call.wav"))


def measure(work):
    """Processor time, which other processes disturb less than the clock."""
    start = time.thread_time()
    patterns = work()
    return (time.thread_time() - start) / patterns * 1e9


def main():
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 200000
    print(f"{'generator':16} {'C++ ns':>8} {'Python ns':>10} {'ratio':>6}")
    with tempfile.TemporaryDirectory() as folder:
        for name, generator in generators(folder, sys.argv[2], count):
            generator.count()
            times = [(measure(lambda: generator.count()[0]),
                      measure(lambda: sum(len(batch.inputs) for batch in generator.batches(SIZE)))) for _ in range(TURNS)]
            ratio = statistics.median(python / cpp for cpp, python in times)
            print(f"{name:16} {min(cpp for cpp, _ in times):8.1f} {min(python for _, python in times):10.1f} {ratio:6.2f}", flush=True)
        generator = vml.open_patterns(os.path.join(folder, "binary"))
        before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        read = 0
        while read < 1000000:
            read += sum(len(batch.inputs) for batch in generator.batches(SIZE))
        print(f"memory grew by {resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before} KiB over {read} patterns")


if __name__ == "__main__":
    main()
