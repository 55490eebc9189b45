"""What the module hands out, as named tuples: they unpack, pickle and go through data loaders."""

from typing import NamedTuple, Optional

import numpy
import numpy.typing


class Pattern(NamedTuple):
    """One pattern of a generator.

    input   shape (N,)
    target  shape (K,), None for a pattern without target
    first   True for the first pattern of a sequence: reset here what has a state
    """

    input: "numpy.typing.NDArray[numpy.float64]"
    target: "Optional[numpy.typing.NDArray[numpy.float64]]"
    first: bool


class Batch(NamedTuple):
    """Successive patterns of a generator, a row each. The arrays belong to the receiver, who may change them.

    inputs   shape (n, N)
    targets  shape (n, K), nan in the rows of patterns without target; K is 0 until the first target was seen
    valid    shape (n,), bool: the pattern has a target
    first    shape (n,), bool: the pattern is the first of a sequence
    """

    inputs: "numpy.typing.NDArray[numpy.float64]"
    targets: "numpy.typing.NDArray[numpy.float64]"
    valid: "numpy.typing.NDArray[numpy.bool_]"
    first: "numpy.typing.NDArray[numpy.bool_]"


class Annotation(NamedTuple):
    """A labelled stretch of a recording.

    label, note  text; bytes of the recording that are no UTF-8 are surrogates, and the same bytes when written
    start, stop  seconds from the first sample; the stop is not part of the stretch, and equal for a marker
    """

    label: str
    start: float
    stop: float
    note: str = ""


def annotation_order(annotation: Annotation) -> "tuple[float, float]":
    return annotation.start, annotation.stop


class Results(NamedTuple):
    """What classifiers say of the windows that a push has completed.

    times   shape (n,), seconds: the end of each window
    scores  of each classifier by its name, shape (n, K)
    names   of each classifier: the K names of its scores
    """

    times: "numpy.typing.NDArray[numpy.float64]"
    scores: "dict[str, numpy.typing.NDArray[numpy.float64]]"
    names: "dict[str, list[str]]"
