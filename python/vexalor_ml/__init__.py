"""Patterns, scaling, tests and classifiers of the machine-learning library, as NumPy arrays."""

from ._core import (AudioStream, Detector, Error, Generator, PatternWriter, Scaling, Statistics, open, open_patterns,
                    read_annotations, read_labels, test, write_annotations, write_labels)
from ._types import Annotation, Batch, Pattern, Results

__all__ = ["Annotation", "AudioStream", "Batch", "Detector", "Error", "Generator", "Pattern", "PatternWriter", "Results",
           "Scaling", "Statistics", "open", "open_patterns", "read_annotations", "read_labels", "test", "write_annotations", "write_labels"]
