#!/usr/bin/env python3
"""The include table finds what it forbids and lets pass what it allows, on trees of one or two files."""

import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import check_includes  # noqa: E402

PROVIDED = ["platform/quillcast-core/Handle.h", "platform/quillcast-fileformat-iff/ChunkWalker.h",
            "platform/quillcast-infra/DynLibsLoader.h", "machine-learning/src/MLDataGenerator.h",
            "machine-learning/src/MLTester.h", "machine-learning/src/MLVectorScaler.h",
            "machine-learning/src/MLTextLineReader.h", "machine-learning/src/AudioClassifierSet.h",
            "machine-learning/test/Fake.h", "platform/quillcast-math/src/VectorLanes.h", "test-support/TempDir.h"]
LAYERS = """qc_library(machine-learning
    SOURCES
        # contract
        MLClassifier.cpp
        # tester
        MLTester.cpp
        # scaling
        MLTextLineReader.cpp MLVectorScaler.cpp
        # applications
        MLHelpers.cpp
        # classification
        AudioClassifierSet.cpp
    HEADERS
        # contract
        MLDataGenerator.h
        # tester
        MLTester.h
        # scaling
        MLVectorScaler.h
        # classification
        AudioClassifierSet.h
    PUBLIC quillcast-core)
"""
PAGE = "Layers:\n\n1. **contract**: one\n2. **tester**: `MLTester`\n3. **scaling**\n4. **applications**\n\nThe rest.\n"

# (including file, include, part of the offence; None when it is allowed)
CASES = [
    ("platform/quillcast-infra/A.cpp", '"quillcast-core/Handle.h"', None),
    ("platform/quillcast-infra/A.cpp", "<quillcast-core/Handle.h>", None),
    ("platform/quillcast-core/A.cpp", '"quillcast-infra/DynLibsLoader.h"',
     "quillcast-core may not include quillcast-infra"),
    ("machine-learning/src/MLHelpers.cpp", '"quillcast-fileformat-iff/ChunkWalker.h"',
     "may not include quillcast-fileformat-iff"),
    ("platform/quillcast-audio/A.cpp", '"quillcast-fileformat-iff/ChunkWalker.h"', None),
    ("applications/main.cpp", '"MLTester.h"', None),
    ("platform/quillcast-math/A.cpp", '"MLTester.h"', "quillcast-math may not include machine-learning"),
    # order inside the library
    ("machine-learning/src/MLVectorScaler.cpp", '"MLDataGenerator.h"', None),
    ("machine-learning/src/MLTester.cpp", '"MLVectorScaler.h"', 'layer "tester" may not include layer "scaling"'),
    ("machine-learning/src/AudioClassifierSet.cpp", '"MLTester.h"', "classification may not include training"),
    ("machine-learning/src/MLTester.cpp", '"AudioClassifierSet.h"', "training may not include classification"),
    ("machine-learning/src/Novelty.cpp", '"MLTester.h"', "is in no layer"),
    # private headers
    ("platform/quillcast-math/src/A.cpp", '"VectorLanes.h"', None),
    ("platform/quillcast-math/test/A.cpp", '"quillcast-math/src/VectorLanes.h"', None),
    ("platform/quillcast-math/A.h", '"quillcast-math/src/VectorLanes.h"', "it is not installed, and this header is"),
    ("fuzz/A.cpp", '"quillcast-math/src/VectorLanes.h"', "it is private to quillcast-math"),
    ("machine-learning/src/MLVectorScaler.cpp", '"MLTextLineReader.h"', None),
    ("machine-learning/src/MLVectorScaler.h", '"MLTextLineReader.h"', "it is not installed, and this header is"),
    ("applications/main.cpp", '"MLTextLineReader.h"', "it is private to machine-learning"),
    # third-party parts
    ("platform/quillcast-core/A.cpp", "<boost/serialization/nvp.hpp>", None),
    ("machine-learning/src/MLTester.cpp", "<boost/serialization/nvp.hpp>", "only quillcast-core, test-support may"),
    ("machine-learning/test/GoldenTest.cpp", "<boost/archive/polymorphic_xml_iarchive.hpp>", None),
    ("machine-learning/src/MLTester.cpp", "  <boost/program_options.hpp>", "only quillcast-infra may"),
    ("platform/quillcast-math/A.cpp", "<boost/range.hpp>", None),
    ("machine-learning/src/MLTester.cpp", "<sndfile.h>", "only quillcast-audio, bench may"),
    ("platform/quillcast-audio/A.cpp", "<doublefann.h>", "only applications, bench may"),
    ("platform/quillcast-core/Logger.cpp", "<log4cplus/logger.h>", None),
    ("platform/quillcast-math/A.cpp", "<gsl/gsl_fft.h>", "neither in the tree nor a known header"),
    ("platform/quillcast-math/A.cpp", '"Missing.h"', "neither in the tree nor a known header"),
    ("platform/quillcast-math/A.cpp", "<vector>", None),
    # tests
    ("platform/quillcast-core/test/A.cpp", "<gtest/gtest.h>", None),
    ("platform/quillcast-core/test/A.cpp", '"test-support/TempDir.h"', None),
    ("platform/quillcast-core/A.cpp", "<gtest/gtest.h>", "only test-support may"),
    ("platform/quillcast-core/A.cpp", '"test-support/TempDir.h"', "may not include test-support"),
    ("machine-learning/src/MLTester.cpp", '"../test/Fake.h"', "a product may not include a test"),
]


def write_tree(tree, names, page=PAGE):
    """A tree of headers with the layers above."""
    texts = dict.fromkeys(names, "#pragma once\n")
    texts.update({check_includes.LAYER_LIST: LAYERS, check_includes.LAYER_PAGE: page})
    for name, text in texts.items():
        os.makedirs(os.path.join(tree, os.path.dirname(name)), exist_ok=True)
        with open(os.path.join(tree, name), "w", encoding="utf-8") as file:
            file.write(text)


class IncludeTable(unittest.TestCase):
    def test_cases(self):
        for path, header, expected in CASES:
            with self.subTest(path=path, header=header), tempfile.TemporaryDirectory() as tree:
                write_tree(tree, PROVIDED + [path])
                with open(os.path.join(tree, path), "a", encoding="utf-8") as file:
                    file.write("# include %s // reason\n" % header)
                offences = check_includes.check_file(tree, path)
                if expected is None:
                    self.assertEqual(offences, [])
                else:
                    self.assertEqual(len(offences), 1)
                    self.assertIn(expected, offences[0])
                    self.assertTrue(offences[0].startswith(path + ":2: "), offences[0])

    def test_the_page_names_the_same_layers(self):
        for old, new, expected in (("", "", []), ("**tester**", "**testers**", ["the layers are", "not in the layer"]),
                                   ("`MLTester`", "`MLHelpers`", ["MLHelpers is not in the layer"])):
            with self.subTest(new=new), tempfile.TemporaryDirectory() as tree:
                write_tree(tree, [], PAGE.replace(old, new) if old else PAGE)
                wrong = check_includes.check_layer_page(tree)
                self.assertEqual(len(wrong), len(expected), wrong)
                for line, part in zip(wrong, expected):
                    self.assertIn(part, line)

    def test_a_tree_without_sources_is_no_success(self):
        with tempfile.TemporaryDirectory() as tree:
            self.assertEqual(check_includes.main(["check_includes.py", tree]), 1)


if __name__ == "__main__":
    unittest.main()
