#!/usr/bin/env python3
"""What scikit-learn takes for a minimum, maximum, mean and deviation of each component: its two scalers.

usage: scaling_sklearn.py PATTERNS.raw

The file holds patterns of 43 doubles. Prints the median, the minimum and the maximum of REPEAT (7) runs.
"""

import os
import statistics
import sys
import time

import numpy
from sklearn.preprocessing import MinMaxScaler, StandardScaler

COMPONENTS = 43


def main():
    patterns = numpy.fromfile(sys.argv[1]).reshape(-1, COMPONENTS)
    seconds = []
    for _ in range(1 + int(os.environ.get("REPEAT", "7"))):
        start = time.perf_counter()
        StandardScaler().fit(patterns)
        MinMaxScaler().fit(patterns)
        seconds.append(time.perf_counter() - start)
    del seconds[0]
    scale = 1e9 / len(patterns)
    print("%-52s %10.2f ns  (min %.2f max %.2f)" % (
        "StandardScaler and MinMaxScaler", statistics.median(seconds) * scale, min(seconds) * scale,
        max(seconds) * scale))


if __name__ == "__main__":
    main()
