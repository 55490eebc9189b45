#!/usr/bin/env python3
"""Trains a network in PyTorch straight from recordings and exports it for ml-train --import.

usage: train_detector.py CONFIGURATION INPUT NETWORK.onnx [--hidden N] [--epochs N] [--seed N] [--workers N] [--start METHOD]

CONFIGURATION is that of a generator, INPUT the recording, or the list of recordings, that it reads. No pattern file is
written in between: the workers of a data loader make the patterns, each those of its share of the recordings. The module
vexalor_ml is found in PYTHONPATH, or where its package has put it. Exit status 77 where PyTorch is not installed.
"""

import argparse
import sys

try:
    import torch
    from torch import nn
except ImportError:
    print("PyTorch is not installed: Debian's package is python3-torch", file=sys.stderr)
    sys.exit(77)

import vexalor_ml as vml

BATCH = 256


class Patterns(torch.utils.data.IterableDataset):
    """Batches of the patterns that have a target, of one pass over a generator."""

    def __init__(self, generator):
        super().__init__()
        self.generator = generator

    def __iter__(self):
        worker = torch.utils.data.get_worker_info()
        generator = self.generator if worker is None else self.generator.shard(worker.id, worker.num_workers)
        for batch in generator.batches(BATCH):
            if batch.valid.any():
                yield torch.from_numpy(batch.inputs[batch.valid]).float(), torch.from_numpy(batch.targets[batch.valid]).float()


class Network(nn.Module):
    """Scales its inputs itself, so that the file of the network is all there is to keep."""

    def __init__(self, scaling, hidden, outputs):
        super().__init__()
        self.register_buffer("slope", torch.from_numpy(scaling.input_slope).float())
        self.register_buffer("intercept", torch.from_numpy(scaling.input_intercept).float())
        self.layers = nn.Sequential(nn.Linear(len(self.slope), hidden), nn.Tanh(), nn.Linear(hidden, outputs), nn.Sigmoid())

    def forward(self, x):
        return self.layers(x * self.slope + self.intercept)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("configuration")
    parser.add_argument("input")
    parser.add_argument("network")
    parser.add_argument("--hidden", type=int, default=16)
    parser.add_argument("--epochs", type=int, default=10)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--start", choices=["fork", "spawn"], default="fork", help="how workers begin")
    arguments = parser.parse_args()
    torch.manual_seed(arguments.seed)
    torch.set_num_threads(1)

    generator = vml.open(arguments.configuration, arguments.input)
    scaling = vml.Scaling.learn(generator)
    outputs = next(batch.targets.shape[1] for batch in generator.batches() if batch.valid.any())
    model = Network(scaling, arguments.hidden, outputs)
    optimiser = torch.optim.Adam(model.parameters(), 0.005)
    loader = torch.utils.data.DataLoader(Patterns(generator), batch_size=None, num_workers=arguments.workers,
                                         multiprocessing_context=arguments.start if arguments.workers else None)
    for epoch in range(arguments.epochs):
        total, count = 0.0, 0
        for inputs, targets in loader:
            loss = nn.functional.binary_cross_entropy(model(inputs), targets)
            optimiser.zero_grad()
            loss.backward()
            optimiser.step()
            total, count = total + loss.item() * len(inputs), count + len(inputs)
        print(f"epoch {epoch + 1}, {count} patterns, cross entropy {total / count:.4f}")
    torch.onnx.export(model.eval(), torch.zeros(1, len(scaling.input_slope)), arguments.network, input_names=["x"],
                      output_names=["y"], opset_version=16)


if __name__ == "__main__":
    main()
