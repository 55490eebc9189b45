#!/usr/bin/env python3
"""The peer of FeatureBench: the usual numpy and scipy steps over batches of windows of 25 ms every 10 ms.

usage: features_numpy.py RECORDING.wav

Prints the median, the minimum and the maximum of REPEAT (7) passes.
"""

import os
import statistics
import sys
import time

import numpy
from scipy.fft import dct, rfft
from scipy.io import wavfile

LENGTH, SHIFT, FFT, BATCH = 200, 80, 256, 20000


def mel(frequency):
    return 1127 * numpy.log(1 + frequency / 700)


def filters(bands):
    edges = numpy.linspace(mel(20), mel(4000), bands + 2)
    lines = mel(numpy.arange(FFT // 2 + 1) * 8000 / FFT)
    slopes = 1 - numpy.abs(lines[:, None] - edges[None, 1:-1]) / (edges[1] - edges[0])
    return numpy.clip(slopes, 0, None).astype(numpy.float32)


def log_mel(windows, bands):
    emphasised = windows.copy()
    emphasised[:, 1:] -= 0.97 * windows[:, :-1]
    spectrum = rfft(emphasised * numpy.hamming(LENGTH).astype(numpy.float32), FFT, axis=1)
    return numpy.log((spectrum.real ** 2 + spectrum.imag ** 2) @ bands + 1e-10)


def run_pass(path, feature):
    """The number of windows."""
    _, samples = wavfile.read(path)
    samples = samples.astype(numpy.float32) / 32768
    windows = numpy.lib.stride_tricks.sliding_window_view(samples, LENGTH)[::SHIFT]
    for first in range(0, len(windows), BATCH):
        feature(windows[first:first + BATCH])
    return len(windows)


def main():
    bands24, bands23 = filters(24), filters(23)
    for name, feature in (
            ("numpy: log-mel 24", lambda windows: log_mel(windows, bands24)),
            ("numpy: mfcc 13 of 23", lambda windows: dct(log_mel(windows, bands23), axis=1, norm="ortho")[:, :13])):
        seconds, count = [], 1
        for _ in range(1 + int(os.environ.get("REPEAT", "7"))):
            start = time.process_time()
            count = run_pass(sys.argv[1], feature)
            seconds.append(time.process_time() - start)
        del seconds[0]
        scale = 1e9 / count
        print("%-52s %10.2f ns  (min %.2f max %.2f)" % (
            name, statistics.median(seconds) * scale, min(seconds) * scale, max(seconds) * scale), flush=True)


if __name__ == "__main__":
    main()
