#!/usr/bin/env python3
"""Trains a network with a state in PyTorch on a text pattern file and exports it for ml-train --import.

usage: train_detector.py PATTERNS NETWORK.onnx [--hidden N] [--epochs N] [--seed N]

The patterns of a generator of recordings come from
    ml-convert --datagen-config voice.xml --input-file train.lst --output-type vector --output-file patterns.txt
and the detector from
    ml-train --import network.onnx --data-gen-config voice.xml --detector voice.detector
Exit status 77 where PyTorch is not installed.
"""

import argparse
import sys

try:
    import torch
    from torch import nn
except ImportError:
    print("PyTorch is not installed: Debian's package is python3-torch", file=sys.stderr)
    sys.exit(77)

CHUNK = 200  # patterns that the network is unrolled over


def read_patterns(path):
    """Sequences of a pattern file, each a tensor of inputs and one of targets; patterns without target are left out."""
    sequences = [[]]
    with open(path, encoding="ascii") as lines:
        for line in lines:
            line = line.split("#")[0].strip()
            if line == "reset":
                sequences.append([])
            elif line:
                left, right = line.split("]", 1)
                target = [float(value) for value in right.strip(" []").split()]
                if target:
                    sequences[-1].append(([float(value) for value in left.strip(" [").split()], target))
    return [tuple(torch.tensor(part) for part in zip(*sequence)) for sequence in sequences if sequence]


class Detector(nn.Module):
    """Scales its inputs itself: x, h -> y, h_next, as doc/onnx.md names a state."""

    def __init__(self, inputs, hidden, outputs):
        super().__init__()
        self.register_buffer("mean", torch.zeros(inputs))
        self.register_buffer("deviation", torch.ones(inputs))
        self.gru = nn.GRU(inputs, hidden)
        self.out = nn.Linear(hidden, outputs)

    def forward(self, x, h):
        y, h_next = self.gru((x - self.mean) / self.deviation, h)
        return torch.sigmoid(self.out(y)), h_next


def train(model, sequences, epochs):
    """One epoch goes once through all sequences, in chunks between which the state is handed on."""
    optimiser = torch.optim.Adam(model.parameters(), 0.005)
    for epoch in range(epochs):
        total, count = 0.0, 0
        for inputs, targets in sequences:
            state = torch.zeros(1, 1, model.gru.hidden_size)
            for begin in range(0, len(inputs), CHUNK):
                wanted = targets[begin:begin + CHUNK].unsqueeze(1)
                outputs, state = model(inputs[begin:begin + CHUNK].unsqueeze(1), state.detach())
                loss = nn.functional.binary_cross_entropy(outputs, wanted)
                optimiser.zero_grad()
                loss.backward()
                optimiser.step()
                total, count = total + loss.item() * len(wanted), count + len(wanted)
        print(f"epoch {epoch + 1}, cross entropy {total / count:.4f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("patterns")
    parser.add_argument("network")
    parser.add_argument("--hidden", type=int, default=16)
    parser.add_argument("--epochs", type=int, default=5)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    torch.manual_seed(arguments.seed)
    sequences = read_patterns(arguments.patterns)
    if not sequences:
        sys.exit(f"{arguments.patterns}: there is no pattern with a target")
    inputs, targets = sequences[0][0].shape[1], sequences[0][1].shape[1]
    model = Detector(inputs, arguments.hidden, targets)
    everything = torch.cat([sequence[0] for sequence in sequences])
    model.mean.copy_(everything.mean(0))
    model.deviation.copy_(everything.std(0).clamp_min(1e-6))
    train(model, sequences, arguments.epochs)
    torch.onnx.export(model.eval(), (torch.zeros(1, 1, inputs), torch.zeros(1, 1, arguments.hidden)), arguments.network,
                      input_names=["x", "h"], output_names=["y", "h_next"], opset_version=16)


if __name__ == "__main__":
    main()
