#!/usr/bin/env python3
"""Tests a detector on a list of recordings by the processes of a Dask cluster, and prints the report of ml-tester.

usage: run_on_cluster.py DETECTOR LIST [--shares N] [--workers N | --scheduler ADDRESS]

Each share of the list is a task of its own, which reads its recordings and sends back statistics; merged, they are those of
one process. The cluster is one of this machine unless the address of a scheduler is given, whose workers see the same files
under the same names. The module vexalor_ml is found in PYTHONPATH, or where its package has put it. Exit status 77 where
Dask is not installed.
"""

import argparse
import os
import sys

try:
    from distributed import Client, LocalCluster
except ImportError:
    print("Dask is not installed: Debian's package is python3-distributed", file=sys.stderr)
    sys.exit(77)

import vexalor_ml as vml


def test_share(patterns, detector):
    """What a worker does: generator and detector come by the names of their files, statistics go back."""
    return vml.test(patterns, detector, errors=["mse"], classification=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("detector")
    parser.add_argument("list")
    parser.add_argument("--shares", type=int, default=8)
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--scheduler")
    arguments = parser.parse_args()

    detector = vml.Detector(os.path.abspath(arguments.detector))
    patterns = detector.patterns(os.path.abspath(arguments.list))
    shares = [patterns.shard(i, arguments.shares) for i in range(arguments.shares)]
    cluster = arguments.scheduler or LocalCluster(arguments.workers, threads_per_worker=1, dashboard_address=None)
    with Client(cluster) as client:
        first, *others = client.gather(client.map(test_share, shares, detector=detector, pure=False))
    for statistics in others:
        first.merge(statistics)
    print(first, end="")


if __name__ == "__main__":
    main()
