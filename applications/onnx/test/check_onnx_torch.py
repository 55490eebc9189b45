"""Networks of PyTorch and what it computes of them over sequences, for check_onnx.py."""

import warnings

import numpy as np
import torch
from torch import nn

from check_onnx import OPSETS

PATTERNS = 60


class Sequential(nn.Sequential):
    """A network without states, over one row of 40 inputs."""
    shapes, states = [(1, 40)], []


def layers():
    return Sequential(nn.Linear(40, 64), nn.ReLU(), nn.Linear(64, 2), nn.Softmax(-1))


def normalised():
    return Sequential(nn.Linear(40, 32), nn.LayerNorm(32), nn.GELU(), nn.Linear(32, 3), nn.LogSoftmax(-1))


class Channel(nn.Module):
    def forward(self, x):
        return x.unsqueeze(1)


def convolutions():
    return Sequential(Channel(), nn.Conv1d(1, 8, 5, padding=2), nn.BatchNorm1d(8), nn.ReLU(),
                      nn.Conv1d(8, 8, 3, stride=2, groups=4, dilation=2), nn.LeakyReLU(), nn.Conv1d(8, 4, 3, stride=2),
                      nn.Flatten(), nn.Linear(32, 3), nn.Hardtanh(-2, 2))


class Recurrent(nn.Module):
    """nn.GRU, nn.LSTM or nn.RNN, some layers or both directions, some windows at a time."""

    def __init__(self, kind, layers=1, times=1, **options):
        super().__init__()
        both = 2 if options.get("bidirectional") else 1
        self.cell, self.out = kind(40, 32, layers, **options), nn.Linear(32 * both, 2)
        self.states = ["h", "c"] if kind is nn.LSTM else ["h"]
        self.shapes = [(times, 1, 40)] + [(layers * both, 1, 32)] * len(self.states)

    def forward(self, x, *states):
        y, after = self.cell(x, states if len(states) > 1 else states[0])
        return (torch.sigmoid(self.out(y)),) + (after if isinstance(after, tuple) else (after,))


class Cell(nn.Module):
    def __init__(self, kind):
        super().__init__()
        self.cell, self.out = kind(40, 64), nn.Linear(64, 2)
        self.states = ["h", "c"] if kind is nn.LSTMCell else ["h"]
        self.shapes = [(1, 40)] + [(1, 64)] * len(self.states)

    def forward(self, x, *states):
        after = self.cell(x, states if len(states) > 1 else states[0])
        after = after if isinstance(after, tuple) else (after,)
        return (self.out(after[0]),) + after


class Attention(nn.Module):
    """Five groups of eight inputs look at each other, in two heads."""
    shapes, states = [(1, 40)], []

    def __init__(self):
        super().__init__()
        self.queries, self.keys, self.values, self.out = nn.Linear(8, 8), nn.Linear(8, 8), nn.Linear(8, 8), nn.Linear(40, 2)

    def forward(self, x):
        x = x.view(5, 8)
        q, k, v = (part(x).view(5, 2, 4).transpose(0, 1) for part in (self.queries, self.keys, self.values))
        weights = torch.softmax(torch.matmul(q, k.transpose(-1, -2)) / 2, -1)
        return self.out(torch.matmul(weights, v).transpose(0, 1).reshape(1, 40))


class Windows(nn.Module):
    """A convolution over the last five windows, four of which are a state."""
    shapes, states = [(1, 40), (1, 40, 4)], ["past"]

    def __init__(self):
        super().__init__()
        self.conv, self.out = nn.Conv1d(40, 16, 5), nn.Linear(16, 2)

    def forward(self, x, past):
        x = torch.cat([past, x.unsqueeze(2)], 2)
        return self.out(torch.relu(self.conv(x)).squeeze(2)), x[:, :, 1:]


NETWORKS = {
    "layers": layers, "normalised": normalised, "convolutions": convolutions, "attention": Attention, "windows": Windows,
    "GRU": lambda: Recurrent(nn.GRU), "GRU of two layers": lambda: Recurrent(nn.GRU, 2),
    "GRU, five windows": lambda: Recurrent(nn.GRU, 1, 5), "LSTM": lambda: Recurrent(nn.LSTM),
    "LSTM both ways": lambda: Recurrent(nn.LSTM, 1, 3, bidirectional=True), "RNN": lambda: Recurrent(nn.RNN),
    "RNN with Relu": lambda: Recurrent(nn.RNN, nonlinearity="relu"),
    "GRU cell": lambda: Cell(nn.GRUCell), "LSTM cell": lambda: Cell(nn.LSTMCell),
}


def create(make):
    """The network in the state of use, with statistics of normalisation that are not trivial."""
    torch.manual_seed(1)
    network = make().eval()
    for module in network.modules():
        if isinstance(module, nn.BatchNorm1d):
            module.running_mean.uniform_(-1, 1)
            module.running_var.uniform_(0.5, 2)
    return network


def run(network, inputs):
    """Outputs of a sequence, its states carried on."""
    states = [torch.zeros(shape) for shape in network.shapes[1:]]
    outputs = []
    with torch.no_grad():
        for row in inputs:
            output = network(torch.tensor(row, dtype=torch.float32).view(network.shapes[0]), *states)
            output = output if isinstance(output, tuple) else (output,)
            states = list(output[1:])
            outputs.append(output[0].numpy().ravel())
    return np.array(outputs)


def export(network, path, opset):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        torch.onnx.export(network, tuple(torch.zeros(shape) for shape in network.shapes), path,
                          input_names=["x"] + network.states,
                          output_names=["y"] + [state + "_next" for state in network.states], opset_version=opset)


def run_opencv(path, network, inputs):
    """The same by OpenCV; None for a network that it refuses. It gives outputs in the order of their names."""
    import cv2
    names = sorted(["y"] + [state + "_next" for state in network.states])
    outputs = []
    try:
        net = cv2.dnn.readNetFromONNX(path)
        states = {state: np.zeros(shape, np.float32) for state, shape in zip(network.states, network.shapes[1:])}
        for row in inputs:
            net.setInput(np.asarray(row, np.float32).reshape(network.shapes[0]), "x")
            for state, value in states.items():
                net.setInput(value, state)
            result = dict(zip(names, net.forward(names)))
            outputs.append(np.array(result["y"]).ravel())
            states = {state: result[state + "_next"].copy() for state in states}
    except cv2.error:
        return None
    return np.array(outputs)


def check(tester, mode):
    """Prints a line a network; returns the exit status."""
    status = 0
    for name, make in NETWORKS.items():
        network = create(make)
        inputs = np.random.RandomState(1).uniform(-2, 2, (PATTERNS, int(np.prod(network.shapes[0])))).astype(np.float32)
        expected = run(network, inputs)
        differences = []
        for opset in OPSETS:
            path = tester.path("network.onnx")
            export(network, path, opset)
            other = expected if mode == "torch" else run_opencv(path, network, inputs)
            # OpenCV gives wrong products of some shapes.
            if other is not None and np.abs(other - expected).max() < 1e-3:
                differences.append(np.abs(tester.run(path, inputs) - other).max())
        print("%-18s %s" % (name, "largest difference in %d opsets: %.2g" % (len(differences), max(differences))
                            if differences else "refused, or wrong, by the other"))
        if differences and not max(differences) < 1e-5 * max(1.0, np.abs(expected).max()):
            status = 1
    return status
