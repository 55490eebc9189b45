#!/usr/bin/env python3
"""Holds what ml-tester computes of ONNX networks against other programs.

usage: check_onnx.py BIN random [COUNT [SEED]] | torch | opencv

random: COUNT random graphs (80) against an interpreter in numpy, opsets 9 to 16 in turns.
torch: networks of PyTorch, exported in every opset from 9 to 16, against what PyTorch computes over sequences.
opencv: those of them that OpenCV's dnn module reads.
BIN is the folder of ml-tester and ml-config. Prints the largest difference of each kind of network. Exit status 77 when
a module is not installed, 1 when a difference is too large or a network is refused.
"""

import os
import random
import subprocess
import sys
import tempfile

try:
    import numpy as np
    import onnx
    from onnx import TensorProto, helper, numpy_helper
except ImportError as error:
    print("skipped: %s" % error)
    sys.exit(77)

OPSETS = range(9, 17)
LOGGING = """log4cplus.rootLogger=WARN, C
log4cplus.logger.quillcast.ml.tester=INFO
log4cplus.appender.C=log4cplus::ConsoleAppender
log4cplus.appender.C.logToStdErr=false
log4cplus.appender.C.layout=log4cplus::PatternLayout
log4cplus.appender.C.layout.ConversionPattern=%m%n
"""


def vector_text(values):
    return "[%s]" % " ".join("%.9g" % value for value in np.ravel(values))


class Tester:
    """ml-tester over one sequence of inputs."""

    def __init__(self, binaries, folder):
        self.binaries, self.folder = binaries, folder
        self.path = lambda name: os.path.join(folder, name)
        subprocess.run([os.path.join(binaries, "ml-config"), "write", self.path("text.xml"), "--generator",
                        "vector-file"], check=True, stdout=subprocess.DEVNULL)
        with open(self.path("log.properties"), "w", encoding="ascii") as config:
            config.write(LOGGING)

    def run(self, network, inputs):
        """One row of outputs an input. Raises RuntimeError with the messages when the network is refused."""
        with open(self.path("patterns.txt"), "w", encoding="ascii") as patterns:
            patterns.write("reset\n" + "".join("%s []\n" % vector_text(row) for row in inputs))
        done = subprocess.run(
            [os.path.join(self.binaries, "ml-tester"), "--data-gen-config", self.path("text.xml"),
             "--data-gen-filename", self.path("patterns.txt"), "--network", network, "--log-config",
             self.path("log.properties")], capture_output=True, text=True, check=False)
        mark = "Computed output: ["
        rows = [[float(value) for value in line.split(mark)[1].rstrip("]").split()]
                for line in done.stdout.splitlines() if mark in line]
        if done.returncode != 0 or len(rows) != len(inputs):
            raise RuntimeError(done.stdout + done.stderr)
        return np.array(rows)


# Random graphs: each function below draws a node, adds it to the graph, and computes it in double precision.


def sigmoid(x):
    return 1 / (1 + np.exp(-x))


def softmax(x, axis):
    e = np.exp(x - x.max(axis=axis, keepdims=True))
    return e / e.sum(axis=axis, keepdims=True)


UNARY = {
    "Abs": np.abs, "Exp": lambda x: np.exp(x), "Neg": np.negative, "Relu": lambda x: np.maximum(x, 0), "Sigmoid": sigmoid,
    "Softplus": lambda x: np.log1p(np.exp(x)), "Tanh": np.tanh, "Elu": lambda x: np.where(x < 0, np.expm1(x), x),
    "LeakyRelu": lambda x: np.where(x < 0, 0.01 * x, x), "HardSigmoid": lambda x: np.clip(0.2 * x + 0.5, 0, 1),
    "Identity": lambda x: x,
}
BINARY = {"Add": np.add, "Sub": np.subtract, "Mul": np.multiply, "Max": np.maximum, "Min": np.minimum}
REDUCE = {"ReduceMean": np.mean, "ReduceSum": np.sum, "ReduceMax": np.max, "ReduceMin": np.min}


class Graph:
    """A graph that grows node by node. Values are functions of the inputs: arrays over a first axis of patterns, so that
    numpy's own rules for shapes hold after it."""

    def __init__(self, draw, opset, inputs, shape):
        self.draw, self.opset = draw, opset
        self.nodes, self.tensors = [], []
        self.values = {"x": inputs.reshape((len(inputs),) + shape).astype(np.float32).astype(float)}
        self.shape = shape

    def constant(self, array, integers=False):
        name = "c%d" % len(self.tensors)
        array = np.asarray(array, np.int64 if integers else np.float32)
        self.tensors.append(numpy_helper.from_array(array, name))
        return name, array.astype(float)

    def add(self, kind, inputs, value, count=1, **attributes):
        """The values of the node's outputs; a value that has grown is brought back to what single precision can hold."""
        names = ["v%d_%d" % (len(self.nodes), i) for i in range(count)]
        self.nodes.append(helper.make_node(kind, inputs, names, **attributes))
        for name, part in zip(names, value if count > 1 else [value]):
            self.values[name] = part
        return names[0]

    def axes(self, kind, name, axes, value, since):
        if self.opset >= since:
            self.add(kind, [name, self.constant(axes, True)[0]], value)
        else:
            self.add(kind, [name], value, axes=axes)

    def grow(self):
        name = self.draw.choice(list(self.values))
        value = self.values[name]
        if np.abs(value).max() > 10:
            name = self.add("Tanh", [name], np.tanh(value))
            value = self.values[name]
        self.draw.choice(NODES)(self, name, value)

    def model(self, output):
        ports = [helper.make_tensor_value_info("x", TensorProto.FLOAT, self.shape)]
        results = [helper.make_tensor_value_info(output, TensorProto.FLOAT, self.values[output].shape[1:])]
        graph = helper.make_graph(self.nodes, "random", ports, results, self.tensors)
        model = helper.make_model(graph, opset_imports=[helper.make_opsetid("", self.opset)], ir_version=4)
        onnx.checker.check_model(model)
        return model


def rank(value):
    return value.ndim - 1


def axis_of(graph, value):
    """An axis of the format, and of the array."""
    axis = graph.draw.randrange(rank(value))
    return (axis if graph.draw.random() < 0.5 or graph.opset < 11 else axis - rank(value)), axis + 1


def weights(graph, *shape):
    return graph.constant(np.random.RandomState(graph.draw.randrange(1 << 30)).uniform(-1, 1, shape))


def add_unary(graph, name, value):
    kind = graph.draw.choice(list(UNARY))
    value = np.clip(value, None, 80) if kind in ("Exp", "Softplus") else value
    graph.add(kind, [name], UNARY[kind](value))


def add_binary(graph, name, value):
    kind = graph.draw.choice(list(BINARY))
    others = [n for n, v in graph.values.items() if v.shape == value.shape]
    if graph.draw.random() < 0.5:
        other, array = graph.draw.choice(others), None
        array = graph.values[other]
    else:
        shape = [size if graph.draw.random() < 0.5 else 1 for size in value.shape[1:]]
        other, array = weights(graph, *shape)
    left = graph.draw.random() < 0.5
    graph.add(kind, [name, other] if left else [other, name],
              BINARY[kind](value, array) if left else BINARY[kind](array, value))


def add_softmax(graph, name, value):
    if rank(value) == 0:
        return
    kind = graph.draw.choice(["Softmax", "LogSoftmax"])
    axis, at = axis_of(graph, value)
    flat = value if graph.opset >= 13 else value.reshape(value.shape[:at] + (-1,))
    result = softmax(flat, at).reshape(value.shape)
    graph.add(kind, [name], np.log(result) if kind == "LogSoftmax" else result, axis=axis)


def add_reduce(graph, name, value):
    if rank(value) < 2:
        return
    kind = graph.draw.choice(list(REDUCE))
    chosen = sorted(graph.draw.sample(range(rank(value)), graph.draw.randint(1, rank(value))))
    keep = graph.draw.randrange(2)
    result = REDUCE[kind](value, axis=tuple(axis + 1 for axis in chosen), keepdims=bool(keep))
    if kind == "ReduceSum" and graph.opset >= 13:
        graph.add(kind, [name, graph.constant(chosen, True)[0]], result, keepdims=keep)
    else:
        graph.add(kind, [name], result, axes=chosen, keepdims=keep)


def add_transpose(graph, name, value):
    order = list(range(rank(value)))
    graph.draw.shuffle(order)
    if order:
        graph.add("Transpose", [name], value.transpose([0] + [axis + 1 for axis in order]), perm=order)


def add_reshape(graph, name, value):
    count = int(np.prod(value.shape[1:]))
    divisors = [d for d in range(1, count + 1) if count % d == 0]
    first = graph.draw.choice(divisors)
    shape = graph.draw.choice([[-1], [first, -1], [first, count // first, 1]])
    sizes = [count // first if size == -1 and len(shape) > 1 else (count if size == -1 else size) for size in shape]
    graph.add("Reshape", [name, graph.constant(shape, True)[0]], value.reshape([len(value)] + sizes))


def add_squeeze(graph, name, value):
    if graph.draw.random() < 0.5 and rank(value) < 5:
        axis = graph.draw.randrange(rank(value) + 1)
        graph.axes("Unsqueeze", name, [axis], np.expand_dims(value, axis + 1), 13)
    elif 1 in value.shape[1:]:
        axis = value.shape.index(1, 1)
        graph.axes("Squeeze", name, [axis - 1], value.squeeze(axis), 13)


def add_slice(graph, name, value):
    if rank(value) == 0:
        return
    axis, at = axis_of(graph, value)
    size = value.shape[at]
    start = graph.draw.randrange(size)
    end = graph.draw.choice([graph.draw.randint(start + 1, size), (1 << 62)])
    step = graph.draw.choice([1, 1, 2]) if graph.opset >= 10 else 1
    if graph.opset >= 10 and graph.draw.random() < 0.3:
        start, end, step = -1, -(1 << 62), -graph.draw.randint(1, 2)
    index = [slice(None)] * value.ndim
    index[at] = slice(start, None if abs(end) > size else end, step)
    result = value[tuple(index)]
    if graph.opset >= 10:
        parts = [graph.constant([number], True)[0] for number in (start, end, axis, step)]
        graph.add("Slice", [name] + parts, result)
    else:
        graph.add("Slice", [name], result, starts=[start], ends=[end], axes=[axis])


def add_concat(graph, name, value):
    if rank(value) == 0:
        return
    axis, at = axis_of(graph, value)
    rest = lambda array: (array.ndim, array.shape[:at], array.shape[at + 1:])
    others = [n for n, v in graph.values.items() if rest(v) == rest(value)]
    chosen = [name] + [graph.draw.choice(others) for _ in range(graph.draw.randint(0, 2))]
    graph.add("Concat", chosen, np.concatenate([graph.values[n] for n in chosen], at), axis=axis)


def add_split(graph, name, value):
    if rank(value) == 0:
        return
    axis, at = axis_of(graph, value)
    if value.shape[at] < 2:
        return
    first = graph.draw.randint(1, value.shape[at] - 1)
    sizes, parts = [first, value.shape[at] - first], np.split(value, [first], at)
    if graph.opset >= 13:
        graph.add("Split", [name, graph.constant(sizes, True)[0]], parts, 2, axis=axis)
    else:
        graph.add("Split", [name], parts, 2, axis=axis, split=sizes)


def add_gather(graph, name, value):
    if rank(value) == 0:
        return
    axis, at = axis_of(graph, value)
    indices = [graph.draw.randrange(value.shape[at]) for _ in range(graph.draw.randint(1, 4))]
    graph.add("Gather", [name, graph.constant(indices, True)[0]], np.take(value, indices, at), axis=axis)


def add_gemm(graph, name, value):
    if rank(value) != 2:
        return
    turned_a, turned_b = graph.draw.randrange(2), graph.draw.randrange(2)
    left = value.transpose(0, 2, 1) if turned_a else value
    columns = graph.draw.choice([1, 3, 17, 40])
    right, array = weights(graph, *((columns, left.shape[2]) if turned_b else (left.shape[2], columns)))
    bias, numbers = weights(graph, *graph.draw.choice([(columns,), (1, columns), (left.shape[1], 1), ()]))
    result = 0.5 * left @ (array.T if turned_b else array) + 2 * numbers
    graph.add("Gemm", [name, right, bias], result, alpha=0.5, beta=2.0, transA=turned_a, transB=turned_b)


def add_matmul(graph, name, value):
    if rank(value) == 0:
        return
    if graph.draw.random() < 0.5 and rank(value) > 1:
        turned = graph.add("Transpose", [name], np.swapaxes(value, -1, -2),
                           perm=list(range(rank(value) - 2)) + [rank(value) - 1, rank(value) - 2])
        graph.add("MatMul", [name, turned], value @ np.swapaxes(value, -1, -2))
        return
    right, array = weights(graph, value.shape[-1], graph.draw.choice([1, 5, 33]))
    product = np.expand_dims(value, -2) @ array
    graph.add("MatMul", [name, right], product.squeeze(-2))


def add_conv(graph, name, value):
    if rank(value) != 3:
        return
    groups = graph.draw.choice([g for g in range(1, value.shape[2] + 1) if value.shape[2] % g == 0])
    outputs, kernel = groups * graph.draw.randint(1, 3), graph.draw.randint(1, 3)
    step, spread, pads = graph.draw.randint(1, 2), graph.draw.randint(1, 2), [graph.draw.randrange(3), graph.draw.randrange(3)]
    padded = np.pad(value, [(0, 0)] * 3 + [tuple(pads)])
    places = (padded.shape[3] - (kernel - 1) * spread - 1) // step + 1
    if places < 1:
        return
    name_w, array = weights(graph, outputs, value.shape[2] // groups, kernel)
    name_b, bias = weights(graph, outputs)
    result = np.zeros(value.shape[:2] + (outputs, places))
    per, size = outputs // groups, value.shape[2] // groups
    for o in range(outputs):
        for p in range(places):
            patch = padded[:, :, o // per * size:(o // per + 1) * size, p * step:p * step + (kernel - 1) * spread + 1:spread]
            result[:, :, o, p] = (patch * array[o]).sum((-1, -2)) + bias[o]
    graph.add("Conv", [name, name_w, name_b], result, group=groups, strides=[step], dilations=[spread], pads=pads)


def gate_step(kind, x, h, c, w, r, b, after):
    """One time of one direction; x is [patterns, batch, inputs]."""
    hidden = h.shape[-1]
    gates = w.shape[0] // hidden
    wb, rb = b[:gates * hidden], b[gates * hidden:]
    part = lambda a, i: a[..., i * hidden:(i + 1) * hidden]
    a, q = x @ w.T + wb, h @ r.T + rb
    if kind == "RNN":
        return np.tanh(a + q), c
    if kind == "LSTM":
        i, o, f = (sigmoid(part(a + q, k)) for k in range(3))
        c = f * c + i * np.tanh(part(a + q, 3))
        return o * np.tanh(c), c
    z, s = sigmoid(part(a, 0) + part(q, 0)), sigmoid(part(a, 1) + part(q, 1))
    last = s * part(q, 2) if after else (s * h) @ r[2 * hidden:].T + rb[2 * hidden:]
    return (1 - z) * np.tanh(part(a, 2) + last) + z * h, c


def add_recurrent(graph, name, value):
    if rank(value) != 3:
        return
    kind = graph.draw.choice(["GRU", "LSTM", "RNN"])
    direction = graph.draw.choice(["forward", "reverse", "bidirectional"])
    directions, hidden = (2 if direction == "bidirectional" else 1), graph.draw.choice([1, 3, 12])
    gates, after = {"GRU": 3, "LSTM": 4, "RNN": 1}[kind], graph.draw.randrange(2)
    _, times, batch, inputs = value.shape
    (w, ws), (r, rs) = weights(graph, directions, gates * hidden, inputs), weights(graph, directions, gates * hidden, hidden)
    (b, bs), (h, hs) = weights(graph, directions, 2 * gates * hidden), weights(graph, directions, batch, hidden)
    result = np.zeros((len(value), times, directions, batch, hidden))
    last = np.zeros((len(value), directions, batch, hidden))
    for d in range(directions):
        state, cell = np.broadcast_to(hs[d], (len(value), batch, hidden)), np.zeros((len(value), batch, hidden))
        order = range(times - 1, -1, -1) if direction == "reverse" or d == 1 else range(times)
        for t in order:
            state, cell = gate_step(kind, value[:, t], state, cell, ws[d], rs[d], bs[d], after)
            result[:, t, d] = state
        last[:, d] = state
    more = {"linear_before_reset": after} if kind == "GRU" else {}
    graph.add(kind, [name, w, r, b, "", h], [result, last], 2, direction=direction, hidden_size=hidden, **more)


NODES = [add_unary, add_binary, add_softmax, add_reduce, add_transpose, add_reshape, add_squeeze, add_slice, add_concat,
         add_split, add_gather, add_gemm, add_matmul, add_conv, add_recurrent]


def check_random(tester, count, seed):
    """The largest difference, relative to the largest output of a network where that is above 1."""
    worst, kinds = 0.0, {}
    for number in range(count):
        draw = random.Random(seed * 1000003 + number)
        shape = draw.choice([(1, 6), (2, 3, 4), (3, 1, 5), (12,), (1, 4, 9)])
        inputs = np.random.RandomState(number + seed).uniform(-2, 2, (4, int(np.prod(shape))))
        graph = Graph(draw, OPSETS[number % len(OPSETS)], inputs, shape)
        while len(graph.nodes) < 3 + number % 12:
            graph.grow()
        output = list(graph.values)[-1]
        expected = graph.values[output].reshape(len(inputs), -1)
        path = tester.path("random.onnx")
        onnx.save(graph.model(output), path)
        difference = np.abs(tester.run(path, inputs) - expected).max() / max(1.0, np.abs(expected).max())
        worst = max(worst, difference)
        for node in graph.nodes:
            kinds[node.op_type] = kinds.get(node.op_type, 0) + 1
        if not difference < 2e-5:
            raise RuntimeError("graph %d of seed %d: difference %g\n%s" % (number, seed, difference,
                                                                          helper.printable_graph(graph.model(output).graph)))
    print("%d random graphs, %d nodes of %d kinds: largest difference %.2g" % (count, sum(kinds.values()), len(kinds), worst))


def main(arguments):
    mode = arguments[2]
    with tempfile.TemporaryDirectory() as folder:
        tester = Tester(arguments[1], folder)
        try:
            if mode == "random":
                check_random(tester, int(arguments[3]) if len(arguments) > 3 else 80,
                             int(arguments[4]) if len(arguments) > 4 else 1)
            else:
                import check_onnx_torch
                return check_onnx_torch.check(tester, mode)
        except ImportError as error:
            print("skipped: %s" % error)
            return 77
        except RuntimeError as error:
            print(error)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
