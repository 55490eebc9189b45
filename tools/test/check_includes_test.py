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
            "machine-learning/src/AudioClassifierSet.h", "machine-learning/test/Fake.h", "test-support/TempDir.h"]

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
    # third-party parts
    ("platform/quillcast-core/A.cpp", "<boost/serialization/nvp.hpp>", None),
    ("machine-learning/src/MLTester.cpp", "<boost/serialization/nvp.hpp>", "only quillcast-core, test-support may"),
    ("machine-learning/test/GoldenTest.cpp", "<boost/archive/polymorphic_xml_iarchive.hpp>", None),
    ("machine-learning/src/MLTester.cpp", "  <boost/program_options.hpp>", "only quillcast-infra may"),
    ("platform/quillcast-math/A.cpp", "<boost/range.hpp>", None),
    ("machine-learning/src/MLTester.cpp", "<sndfile.h>", "only quillcast-audio may"),
    ("platform/quillcast-audio/A.cpp", "<doublefann.h>", "only applications may"),
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


class IncludeTable(unittest.TestCase):
    def test_cases(self):
        for path, header, expected in CASES:
            with self.subTest(path=path, header=header), tempfile.TemporaryDirectory() as tree:
                for name in PROVIDED + [path]:
                    os.makedirs(os.path.join(tree, os.path.dirname(name)), exist_ok=True)
                    with open(os.path.join(tree, name), "w", encoding="utf-8") as file:
                        file.write("#pragma once\n")
                with open(os.path.join(tree, path), "a", encoding="utf-8") as file:
                    file.write("# include %s // reason\n" % header)
                offences = check_includes.check_file(tree, path)
                if expected is None:
                    self.assertEqual(offences, [])
                else:
                    self.assertEqual(len(offences), 1)
                    self.assertIn(expected, offences[0])
                    self.assertTrue(offences[0].startswith(path + ":2: "), offences[0])

    def test_a_tree_without_sources_is_no_success(self):
        with tempfile.TemporaryDirectory() as tree:
            self.assertEqual(check_includes.main(["check_includes.py", tree]), 1)


if __name__ == "__main__":
    unittest.main()
