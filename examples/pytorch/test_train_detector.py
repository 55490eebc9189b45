#!/usr/bin/env python3
"""From labelled recordings to a detector trained in PyTorch, and its decisions on another recording.

usage: test_train_detector.py BIN, the folder of the programs. Exit status 77 where PyTorch is not installed.
"""

import array
import math
import os
import random
import subprocess
import sys
import tempfile
import wave

HERE = os.path.dirname(os.path.abspath(__file__))
RATE = 8000


def write_recording(path, seed):
    """Ten seconds of noise with a tone in every other one."""
    noise = random.Random(seed)
    samples = [noise.randrange(-500, 500) + (6000 * math.sin(0.8 * i) if i // RATE % 2 else 0) for i in range(10 * RATE)]
    with wave.open(path + ".wav", "wb") as recording:
        recording.setparams((1, 2, RATE, 0, "NONE", ""))
        recording.writeframes(array.array("h", map(int, samples)).tobytes())
    with open(path + ".txt", "w", encoding="ascii") as labels:
        labels.writelines(f"{second}\t{second + 1}\tTONE\n" for second in range(1, 10, 2))


def main():
    programs = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder:
        def run(program, *arguments):
            done = subprocess.run([os.path.join(programs, program), "--log-level", "INFO", *arguments], cwd=folder, check=True,
                                  stdout=subprocess.PIPE, encoding="utf-8")
            return done.stdout

        for seed, name in enumerate(["train", "test"]):
            write_recording(os.path.join(folder, name), seed)
            run("ml-annotate", "import", name + ".wav", name + ".txt")
        run("ml-config", "write", "tone.xml", "--bands", "12", "--classes", "TONE,OTHER")
        run("ml-convert", "--datagen-config", "tone.xml", "--input-file", "train.wav", "--output-type", "vector",
            "--output-file", "patterns.txt")
        trained = subprocess.run([sys.executable, "-B", os.path.join(HERE, "train_detector.py"), "patterns.txt", "tone.onnx"],
                                 cwd=folder, check=False)
        if trained.returncode != 0:
            sys.exit(trained.returncode)
        run("ml-train", "--import", "tone.onnx", "--data-gen-config", "tone.xml", "--detector", "tone.detector")
        report = run("ml-tester", "--detector", "tone.detector", "--data-gen-filename", "test.wav")
        wrong, windows = map(int, report.split("classification-error = ")[1].split(" ")[0].split("/"))
        print(f"{wrong} of {windows} windows wrong")
        if windows != 998 or wrong > windows / 20:
            sys.exit(1)


if __name__ == "__main__":
    main()
