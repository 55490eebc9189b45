#!/usr/bin/env python3
"""From labelled recordings to a network that data-loader workers have trained, and its test as a detector.

usage: test_train_detector.py MODULE_FOLDER PROGRAMS_FOLDER. Exit status 77 where PyTorch is not installed.
"""

import functools
import os
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
MODULE, PROGRAMS = map(os.path.abspath, sys.argv[1:3])
sys.path.insert(0, MODULE)
import vexalor_ml as vml  # noqa: E402
import support  # noqa: E402


def main():
    with tempfile.TemporaryDirectory() as folder:
        run = functools.partial(support.run, folder)
        for i in range(4):
            support.write_recording(os.path.join(folder, f"{i}.wav"), i, 10)
        with open(os.path.join(folder, "train.lst"), "w", encoding="ascii") as lines:
            lines.write("0.wav\n1.wav\n2.wav\n")
        program = lambda name: os.path.join(PROGRAMS, name)
        run(program("ml-config"), "write", "tone.xml", "--generator", "audio-set", "--bands", "12", "--classes", "TONE,OTHER")
        train = (sys.executable, "-B", os.path.join(HERE, "train_detector.py"), "tone.xml", "train.lst", "tone.onnx")
        spawned = run(*train, "--start", "spawn", "--workers", "3", "--epochs", "1")
        trained = run(*train)
        run(program("ml-train"), "--import", "tone.onnx", "--data-gen-config", "tone.xml", "--detector", "tone.detector")
        report = run(program("ml-tester"), "--log-level", "INFO", "--detector", "tone.detector", "--data-gen-filename", "3.wav")
        wrong, windows = map(int, report.split("classification-error = ")[1].split(" ")[0].split("/"))
        print(f"{wrong} of {windows} windows wrong")
        # 998 windows a recording, each once in an epoch whatever the number of workers
        if windows != 998 or wrong > windows / 20 or (spawned + trained).count(" 2994 patterns") != 11:
            sys.exit(1)
        detector = vml.Detector(os.path.join(folder, "tone.detector"))
        found = vml.test(detector.patterns(os.path.join(folder, "3.wav")), detector, classification=True)
        if (found.wrong, found.patterns) != (wrong, windows):
            sys.exit("the module finds other errors than ml-tester")


if __name__ == "__main__":
    main()
