#!/usr/bin/env python3
"""Tests of vexalor_ml.

usage: test_module.py MODULE_FOLDER PROGRAMS_FOLDER [UNITTEST-ARGUMENT...]
"""

import array
import ast
import logging
import math
import multiprocessing
import os
import pickle
import random
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import wave

import numpy

FOLDERS = [os.path.abspath(folder) for folder in sys.argv[1:3]]
sys.path.insert(0, FOLDERS[0])
import vexalor_ml as vml  # noqa: E402

RATE = 8000


def write_recording(path, seed=0, seconds=4):
    """Noise, with a tone in every other second, labelled."""
    noise = random.Random(seed)
    samples = [noise.randrange(-500, 500) + (6000 * math.sin(0.8 * i) if i // RATE % 2 else 0) for i in range(seconds * RATE)]
    with wave.open(path, "wb") as recording:
        recording.setparams((1, 2, RATE, 0, "NONE", ""))
        recording.writeframes(array.array("h", map(int, samples)).tobytes())
    vml.write_annotations(path, [("TONE", second, second + 1) for second in range(1, seconds, 2)])
    return path


def random_patterns(count, inputs=4, targets=2, seed=0):
    """Two thirds have a target; a sequence is 10 patterns long."""
    numbers = numpy.random.default_rng(seed)
    valid = numpy.arange(count) % 3 != 1
    return (numbers.normal(size=(count, inputs)), numbers.normal(size=(count, targets)), valid, numpy.arange(count) % 10 == 0)


def in_child(work):
    """The result of a function in a forked process."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        with os.fdopen(writer, "wb") as pipe:
            pickle.dump(work(), pipe)
        os._exit(0)
    os.close(writer)
    with os.fdopen(reader, "rb") as pipe:
        result = pickle.load(pipe)
    os.waitpid(child, 0)
    return result


def run_python(code, *arguments):
    return subprocess.run([sys.executable, "-c", "import sys\nsys.path.insert(0, sys.argv[1])\nimport vexalor_ml as vml\n" + code,
                           FOLDERS[0], *arguments], capture_output=True, encoding="utf-8", timeout=60, check=False)


def double(values):
    return values[:2] * 2


def read_and_test(generator):
    return generator.read(), vml.test(generator, double, errors=["mse"])


class Case(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, *patterns, **options):
        with vml.PatternWriter(self.path(name), **options) as writer:
            writer.write(*patterns)
        return self.path(name)

    def program(self, name, *arguments):
        subprocess.run([os.path.join(FOLDERS[1], name), *arguments], cwd=self.folder.name, check=True, stdout=subprocess.DEVNULL)

    def write_set(self, count):
        """A list of recordings and the configuration of its generator."""
        names = [f"call{i}.wav" for i in range(count)]
        for i, name in enumerate(names):
            write_recording(self.path(name), i)
        with open(self.path("calls.lst"), "w", encoding="ascii") as lines:
            lines.writelines(name + "\n" for name in names)
        self.program("ml-config", "write", "tones.xml", "--bands", "12", "--classes", "TONE,OTHER", "--generator", "audio-set")
        return self.path("tones.xml"), self.path("calls.lst")


class PatternFiles(Case):
    def test_what_is_written_is_read(self):
        inputs, targets, valid, first = random_patterns(100)
        expected = numpy.where(valid[:, None], targets, numpy.nan)
        for form in ("text", "binary"):
            file = self.write(form, inputs, targets, valid, first, format=form)
            for cached in (False, True):
                generator = vml.open_patterns(file, cached=cached)
                for size in (1, 7, 100, 1024):
                    batches = list(generator.batches(size))
                    self.assertEqual([len(batch.inputs) for batch in batches],
                                     [size] * (100 // size) + ([100 % size] if 100 % size else []))
                    joined = vml.Batch(*map(numpy.concatenate, zip(*batches)))
                    if size == 1:  # the first target comes with the first pattern
                        self.assertEqual(joined.targets.shape, (100, 2))
                    numpy.testing.assert_array_equal(joined.inputs, inputs)
                    numpy.testing.assert_array_equal(joined.targets, expected)
                    numpy.testing.assert_array_equal(joined.valid, valid)
                    numpy.testing.assert_array_equal(joined.first, first)
                patterns = list(generator)
                self.assertEqual([pattern.target is not None for pattern in patterns], list(valid))
                self.assertEqual([pattern.first for pattern in patterns], list(first))
                numpy.testing.assert_array_equal(patterns[42].input, inputs[42])
                numpy.testing.assert_array_equal(generator.read().targets, expected)
                again = pickle.loads(pickle.dumps(generator))
                numpy.testing.assert_array_equal(again.read().inputs, inputs)

    def test_batches_belong_to_who_gets_them(self):
        generator = vml.open_patterns(self.write("patterns", *random_patterns(30)), cached=True)
        batches = list(generator.batches(10))
        batches[0].inputs[:] = 0
        self.assertTrue(batches[1].inputs.any() and generator.read().inputs[:10].any())

    def test_a_cache_begins_anew_where_its_first_pass_ended_early(self):
        file = self.write("patterns", *random_patterns(30))
        expected = vml.open_patterns(file).read()
        generator = vml.open_patterns(file, cached=True)
        for first in (lambda: next(iter(generator)), lambda: next(generator.batches(7))):
            first()
            self.assertTrue((generator.read().inputs == expected.inputs).all())
            generator = vml.open_patterns(file, cached=True)
        learnt = vml.Scaling.learn(generator).scale_inputs(expected.inputs)
        self.assertTrue((learnt == vml.Scaling.learn(vml.open_patterns(file)).scale_inputs(expected.inputs)).all())

    def test_failures_tell_the_reason(self):
        good = self.write("good", numpy.ones((3, 2)), numpy.ones((3, 1)))
        for name, text in (("mixed", "[1 2] [1]\n[1 2] [2]\n[3] [1]\n"), ("mixed-targets", "[1] [1]\n[1] [2]\n[3] [1 2]\n")):
            with open(self.path(name), "w", encoding="ascii") as file:
                file.write(text)
            batches = vml.open_patterns(self.path(name)).batches(2)
            self.assertEqual(len(next(batches).inputs), 2, "what came before is delivered")
            with self.assertRaisesRegex(vml.Error, "they do not fit into one matrix"):
                next(batches)
        with open(self.write("whole", numpy.ones((9, 2)), numpy.ones((9, 1)), format="binary"), "r+b") as file:
            file.truncate(200)
        refused = (
            (lambda: vml.open_patterns(self.path("none")), "none: No such file"),
            (lambda: vml.open_patterns(self.folder.name), "Cannot read"),
            (lambda: vml.open(good), "good"),
            (lambda: vml.open(self.path("none")), "none"),
            (lambda: list(vml.open_patterns(self.path("whole"))), "is cut off after pattern"),
            (lambda: vml.Detector(good), "good"),
            (lambda: vml.read_annotations(good), "good"),
            (lambda: vml.Scaling.load(good), "good"),
            (lambda: vml.PatternWriter("/nowhere/file"), "/nowhere/file"),
        )
        for call, reason in refused:
            with self.assertRaisesRegex(vml.Error, reason):
                call()
        generator = vml.open_patterns(good)
        for call in (lambda: generator.batches(0), lambda: generator.shard(2, 2), lambda: generator.shard(0, 2).shard(0, 2),
                     lambda: generator.shard(0, 2, by="page"), lambda: vml.PatternWriter(good, format="xml")):
            self.assertRaises(ValueError, call)
        self.assertRaises(TypeError, generator.batches, -1)
        earlier = iter(generator)
        next(earlier)
        self.assertEqual(len(list(generator)), 3)
        with self.assertRaisesRegex(vml.Error, "this one is over"):
            next(generator.batches(1)), list(earlier), list(earlier)

    def test_a_writer_leaves_whole_files_only(self):
        file = self.write("patterns", numpy.ones((3, 2)), numpy.ones((3, 1)))
        with self.assertRaises(ZeroDivisionError):
            with vml.PatternWriter(file) as writer:
                writer.write(numpy.zeros((3, 2)))
                1 / 0
        self.assertTrue(vml.open_patterns(file).read().inputs.all())
        writer = vml.PatternWriter(self.path("other"))
        writer.write(numpy.ones((3, 2)), numpy.ones((3, 1)))
        for wrong in ((numpy.ones(3),), (numpy.ones((3, 2)), numpy.ones((2, 1))), (numpy.ones((3, 2)), None, [True] * 3)):
            self.assertRaises(ValueError, writer.write, *wrong)
        self.assertRaises(vml.Error, writer.write, numpy.ones((3, 5)), numpy.ones((3, 1)))
        self.assertFalse(os.path.exists(self.path("other")), "it takes its name when it is closed")
        recording = write_recording(self.path("call.wav"))
        with self.assertRaisesRegex(vml.Error, "call.wav"):
            vml.PatternWriter(recording)
        with self.assertRaises(vml.Error):
            with vml.PatternWriter("/dev/full") as writer:
                writer.write(numpy.ones((100, 2)), numpy.ones((100, 1)))


class Shards(Case):
    def test_each_pattern_comes_once(self):
        inputs, *others = random_patterns(105)
        file = self.write("patterns", inputs, *others)
        for by in (None, "sequence", "pattern"):
            generator = vml.open_patterns(file)
            shards = [generator.shard(i, 4, by=by).read().inputs for i in range(4)]
            joined = numpy.concatenate(shards)
            self.assertEqual(sorted(joined[:, 0]), sorted(inputs[:, 0]), by)
        self.assertEqual([len(shard) for shard in shards], [27, 26, 26, 26])

    def test_forked_workers_deliver_each_pattern_once(self):
        inputs, *others = random_patterns(20000)
        for form in ("text", "binary"):
            for cached in (False, True):
                generator = vml.open_patterns(self.write(form, inputs, *others, format=form), cached=cached)
                generator.read()
                next(generator.batches(100))  # a pass in the middle
                parts = [in_child(lambda i=i: [batch.inputs[:, 0] for batch in generator.shard(i, 4).batches()]) for i in range(4)]
                joined = numpy.concatenate([part for shard in parts for part in shard])
                numpy.testing.assert_array_equal(numpy.sort(joined), numpy.sort(inputs[:, 0]))
                self.assertEqual(in_child(lambda: len(generator.read().inputs)), 20000)

    def test_spawned_workers_deliver_each_pattern_once(self):
        """They get generators and a detector by the names of their files, and tell statistics of theirs."""
        inputs, *others = random_patterns(3000)
        generator = vml.open_patterns(self.write("patterns", inputs, *others), scaling=vml.Scaling(numpy.ones(4) * 2, numpy.zeros(4)))
        self.assertEqual(len(next(generator.batches(7)).inputs), 7)
        with multiprocessing.get_context("spawn").Pool(2) as pool:
            parts = pool.map(read_and_test, [generator.shard(i, 3) for i in range(3)])
        joined = numpy.concatenate([read.inputs[:, 0] for read, _ in parts])
        numpy.testing.assert_array_equal(numpy.sort(joined), numpy.sort(inputs[:, 0] * 2))
        merged = parts[0][1]
        for _, statistics in parts[1:]:
            merged.merge(statistics)
        self.assertEqual(merged.patterns, vml.test(generator, double, errors=["mse"]).patterns)

    def test_a_pass_does_not_go_on_in_another_process(self):
        generator = vml.open_patterns(self.write("patterns", *random_patterns(20000)))
        batches = generator.batches(10)
        next(batches)

        def go_on():
            try:
                return len(next(batches).inputs)
            except vml.Error as error:
                return str(error)

        self.assertIn("forked", in_child(go_on))
        self.assertEqual(sum(len(batch.inputs) for batch in batches), 19990)

    def test_recordings_of_a_set(self):
        configuration, calls = self.write_set(5)
        for cached in (False, True):
            generator = vml.open(configuration, calls, cached=cached)
            whole = generator.read()
            for count, by in ((2, None), (3, None), (9, None), (2, "sequence")):
                shards = [generator.shard(i, count, by=by) for i in range(count)]
                parts = [in_child(shard.read) for shard in shards if shard.count()[0] != 0]
                self.assertEqual(len(parts), min(count, 5))
                joined = vml.Batch(*map(numpy.concatenate, zip(*parts)))
                self.assertEqual(joined.first.sum(), 5)
                order = (lambda array: array) if by is None else (lambda array: numpy.sort(array, axis=0))
                numpy.testing.assert_array_equal(order(joined.inputs), order(whole.inputs))
                numpy.testing.assert_array_equal(order(joined.targets), order(whole.targets))
        for name in ("call0.wav", "call1.wav"):
            with open(self.path(name), "r+b") as recording:
                recording.write(b"none" * 100)
        with self.assertNoLogs("quillcast", "WARNING"):  # the second half does not touch what is in the first
            self.assertEqual(generator.shard(1, 2).read().first.sum(), 3)


class Process(Case):
    def test_importing_starts_no_thread_and_children_end(self):
        done = run_python("""
import os
assert len(os.listdir("/proc/self/task")) == 1
if os.fork() == 0:
    try:
        vml.open("/nowhere")
    except vml.Error:
        sys.exit(0)
assert os.wait()[1] == 0
""")
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_forks_while_threads_log(self):
        with open(self.path("patterns"), "w", encoding="ascii") as file:
            file.write("[1] [1]\nno pattern\n" * 30)
        done = run_python("""
import logging, os, signal, threading
logging.getLogger("quillcast").addHandler(logging.NullHandler())
logging.getLogger("quillcast").propagate = False
def read():
    return len(vml.open_patterns(sys.argv[2]).read().inputs)
def work():
    while not over:
        read()
over = False
threads = [threading.Thread(target=work) for _ in range(2)]
for thread in threads:
    thread.start()
for _ in range(300):
    child = os.fork()
    if child == 0:
        signal.alarm(20)
        os._exit(0 if read() == 30 else 1)
    if os.waitpid(child, 0)[1] != 0:
        print("a child hung or failed")
        break
over = True
""", self.path("patterns"))
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_the_interpreter_ends_whatever_runs(self):
        file = self.write("patterns", *random_patterns(20000))
        for _ in range(5):
            done = run_python("""
import threading, time
def work():
    while True:
        for batch in vml.open_patterns(sys.argv[2]).batches(100):
            pass
for _ in range(3):
    threading.Thread(target=work, daemon=True).start()
kept = vml.open_patterns(sys.argv[2])
rest = kept.batches(10)
next(rest)
time.sleep(0.05)
""", file)
            self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_control_c_ends_a_pass_soon(self):
        file = self.write("patterns", *random_patterns(50000), format="binary")
        generator = vml.open_patterns(file, cached=True)
        generator.read()

        def passes():
            while True:
                generator.read()

        def learning():
            while True:
                vml.Scaling.learn(generator)

        def testing():
            while True:
                vml.test(generator, lambda values: values[:2])

        with wave.open(self.path("short.wav"), "wb") as recording:
            recording.setparams((1, 2, RATE, 0, "NONE", ""))
            recording.writeframes(bytes(20))
        with open(self.path("short.lst"), "w", encoding="ascii") as lines:
            lines.write("short.wav\n" * 50000)
        self.program("ml-config", "write", "set.xml", "--classes", "TONE,OTHER", "--generator", "low-memory-audio-set")
        logging.getLogger("quillcast").disabled = True
        self.addCleanup(setattr, logging.getLogger("quillcast"), "disabled", False)

        def skipping():
            while True:
                vml.open(self.path("set.xml"), self.path("short.lst")).count()

        for work in (passes, learning, testing, skipping):
            delays = [math.inf]
            while min(delays) > 0.2 and len(delays) <= 5:  # other processes may hold one up
                sent = []
                timer = threading.Timer(0.2, lambda: (sent.append(time.monotonic()), os.kill(os.getpid(), signal.SIGINT)))
                timer.start()
                with self.assertRaises(KeyboardInterrupt):
                    work()
                delays.append(time.monotonic() - sent[0])
                timer.join()
            self.assertLess(min(delays), 0.2, work.__name__)
        self.assertEqual(len(generator.read().inputs), 50000, "it can be used on")

    def test_threads_log_at_a_time(self):
        with open(self.path("patterns"), "w", encoding="ascii") as file:
            file.write("[1] [1]\nno pattern\n" * 500)
        seen = []
        handler = logging.Handler()
        handler.emit = lambda record: seen.append((threading.get_ident(), record.name, record.levelno, record.getMessage()))
        logger = logging.getLogger("quillcast")
        logger.addHandler(handler)
        logger.propagate = False
        self.addCleanup(lambda: (logger.removeHandler(handler), setattr(logger, "propagate", True)))

        def work():
            for _ in range(3):
                vml.open_patterns(self.path("patterns")).read()

        threads = [threading.Thread(target=work) for _ in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(60)
            self.assertFalse(thread.is_alive())
            own = [message for message in seen if message[0] == thread.ident]
            self.assertEqual(len(own), 1500)
        self.assertEqual(seen[0][1:3], ("quillcast.ml.generator.VectorFileDataGenerator", logging.WARNING))
        self.assertIn("failed to parse line 2", seen[0][3])
        del seen[:]
        logger.setLevel(logging.ERROR)
        self.addCleanup(logger.setLevel, logging.NOTSET)
        work()
        self.assertEqual(seen, [])

    def test_a_generator_is_for_one_thread(self):
        generator = vml.open_patterns(self.write("patterns", *random_patterns(3)))

        def entity(values):
            with self.assertRaisesRegex(vml.Error, "in use"):
                generator.read()
            return values[:2]

        self.assertEqual(vml.test(generator, entity).outputs, 3)


class ScalingAndTests(Case):
    def test_scaling_is_learnt_applied_and_kept(self):
        inputs, targets, *_ = random_patterns(200)
        generator = vml.open_patterns(self.write("patterns", inputs * 3 + 5, targets))
        scaling = vml.Scaling.learn(generator, targets="min-max", interval=(-1, 1))
        scaled = scaling.scale_inputs(inputs * 3 + 5)
        numpy.testing.assert_allclose(scaled.mean(axis=0), 0, atol=1e-12)
        numpy.testing.assert_allclose(scaled.std(axis=0, ddof=1), 1)
        numpy.testing.assert_allclose(scaling.scale_targets(targets).min(axis=0), -1)
        numpy.testing.assert_allclose(scaling.unscale_targets(scaling.scale_targets(targets)), targets)
        self.assertRaises(ValueError, scaling.scale_inputs, numpy.ones(3))
        self.assertRaises(ValueError, vml.Scaling.learn, generator, inputs="wide")
        scaling.save(self.path("scaling.xml"))
        for again in (pickle.loads(pickle.dumps(scaling)), vml.Scaling.load(self.path("scaling.xml")), self.path("scaling.xml")):
            if not isinstance(again, str):
                self.assertEqual(again, scaling)
            wrapped = vml.open_patterns(self.path("patterns"), scaling=again)
            numpy.testing.assert_array_equal(wrapped.read().inputs, scaled)
        numpy.testing.assert_array_equal(pickle.loads(pickle.dumps(wrapped)).read().inputs, scaled)

    def test_tests_of_what_python_calls(self):
        inputs, targets, valid, first = random_patterns(100)
        generator = vml.open_patterns(self.write("patterns", inputs, targets, valid, first), cached=True)

        class Entity:
            resets = 0
            calls = 0

            def reset(self):
                self.resets += 1

            def __call__(self, values):
                self.calls += 1
                return values[:2] * 2

        expected = ((inputs[:, :2] * 2 - targets)[valid] ** 2).sum()
        for _ in range(2):
            entity = Entity()
            statistics = vml.test(generator, entity, errors=["sse", "mse"])
            self.assertEqual((entity.calls, statistics.outputs, statistics.patterns), (100, 100, valid.sum()))
            self.assertGreaterEqual(entity.resets, 10)
            self.assertAlmostEqual(statistics.sums["sum-square-error"], expected)
        batched = vml.Statistics(["sse", "mse"])
        for batch in generator.batches(30):
            batched.update(batch.inputs[:, :2] * 2, batch.targets, batch.valid)
        self.assertEqual((str(batched), batched.sums), (str(statistics), statistics.sums))

        shards = [vml.test(generator.shard(i, 3), Entity(), errors=["sse", "mse"]) for i in range(3)]
        merged = pickle.loads(pickle.dumps(shards[0]))
        for shard in shards[1:]:
            merged.merge(shard)
        self.assertEqual((merged.patterns, merged.outputs), (statistics.patterns, statistics.outputs))
        self.assertAlmostEqual(merged.sums["mean-square-error"], statistics.sums["mean-square-error"])
        self.assertRaises(vml.Error, merged.merge, vml.Statistics(["sse"]))
        self.assertRaises(vml.Error, vml.Statistics(["sse", "mse"], classification=True).merge, merged)

        def broken(values):
            return 1 / 0

        self.assertRaises(ZeroDivisionError, vml.test, generator, broken)
        for wrong in (numpy.ones((2, 2)), "a", [1, [2]]):
            self.assertRaises(ValueError, vml.test, generator, lambda values, wrong=wrong: wrong)
        for wrong in (5, lambda values: {}):
            self.assertRaises(TypeError, vml.test, generator, wrong)
        self.assertRaises(ValueError, merged.merge, merged)
        self.assertRaises(ValueError, vml.test, generator, entity, errors=["size"])


class Recordings(Case):
    def test_annotations(self):
        file = write_recording(self.path("call.wav"))
        odd = [vml.Annotation("Ton\udce9", 0.25, 0.5, "note"), vml.Annotation("mark", 1.0, 1.0), ("\u00e9", 2, 3)]
        vml.write_annotations(file, odd)
        self.assertEqual(vml.read_annotations(file), [odd[0], odd[1], vml.Annotation(*odd[2])])
        vml.write_annotations(file, [], copy=self.path("copy.wav"))
        self.assertEqual(vml.read_annotations(self.path("copy.wav")), [])
        self.assertRaises(vml.Error, vml.write_annotations, file, [("back", 2, 1)])
        self.assertRaises(vml.Error, vml.write_annotations, file, [], copy=file)
        self.assertRaises(ValueError, vml.write_annotations, file, [("short", 2)])
        for wrong in ("ABC", ("A", "0", 1), (1, 0, 1), ("A", 0, 1, 2), None):
            self.assertRaises(TypeError, vml.write_annotations, file, [wrong])

    def test_files_of_labels(self):
        labels = [vml.Annotation("VOICE", 0.25, 0.5), vml.Annotation("\u00e9\u4e2d", 1.0, 2.5)]
        for name, form in (("a.txt", None), ("a.TextGrid", None), ("a.rttm", None), ("a.csv", None), ("a.json", None), ("b", "csv")):
            vml.write_labels(self.path(name), labels, format=form, seconds=4)
            found = vml.read_labels(self.path(name), format=form)
            self.assertEqual([label for label in found if label.label], labels, name)
        self.assertRaisesRegex(vml.Error, "cannot be a field of RTTM", vml.write_labels, self.path("a.rttm"), [("a b", 0, 1)])
        self.assertRaisesRegex(ValueError, "text, textgrid", vml.read_labels, self.path("b"))
        self.assertRaises(ValueError, vml.write_labels, self.path("a.csv"), labels, format="xls")
        self.assertRaises(TypeError, vml.write_labels, self.path("a.csv"), [None])
        for form in ("text", "textgrid", "rttm", "csv", "json"):
            for start, stop in ((float("nan"), 1), (0, float("inf")), (-1, 1), (2, 1)):
                self.assertRaisesRegex(vml.Error, "no times of a recording", vml.write_labels, self.path("a.csv"), [("A", start, stop)], format=form)
        self.assertEqual(vml.read_labels(self.path("a.csv")), labels)
        self.assertRaises(ValueError, vml.write_labels, self.path("a.csv"), labels, seconds=float("nan"))
        self.assertRaisesRegex(ValueError, "only a TextGrid", vml.read_labels, self.path("a.csv"), tiers=["words"])
        with open(self.path("bad.txt"), "w", encoding="ascii") as text:
            text.write("0\t1\tVOICE\nnone\n")
        self.assertRaisesRegex(vml.Error, "bad.txt: line 2", vml.read_labels, self.path("bad.txt"))
        self.assertRaisesRegex(vml.Error, "none.csv", vml.read_labels, self.path("none.csv"))
        recording = write_recording(self.path("call.wav"))
        self.assertRaisesRegex(vml.Error, "call.wav", vml.write_labels, recording, labels, format="csv")

    def test_a_detector_from_recordings_to_a_stream(self):
        configuration, calls = self.write_set(2)
        self.program("ml-train", "--data-gen-config", configuration, "--data-gen-filename", calls, "--detector", "tone.detector",
                     "--epochs", "30", "--seed", "1")
        detector = vml.Detector(self.path("tone.detector"))
        self.assertEqual((detector.classes, detector.input_size, detector.sampling_rate), (["TONE", "OTHER"], 12, RATE))
        recording = self.path("call0.wav")
        patterns = detector.patterns(recording).read()
        outputs = detector.compute(patterns.inputs, patterns.first)
        numpy.testing.assert_array_equal(vml.open(self.path("tone.detector"), recording).read().inputs, patterns.inputs)

        with wave.open(recording) as file:
            samples = numpy.frombuffer(file.readframes(file.getnframes()), numpy.int16)
        stream = vml.AudioStream(detectors=[pickle.loads(pickle.dumps(detector))])
        parts = [stream.push(part) for part in numpy.array_split(samples, 7)]
        numpy.testing.assert_array_equal(numpy.concatenate([part.scores["tone"] for part in parts]), outputs)
        times = numpy.concatenate([part.times for part in parts])
        numpy.testing.assert_array_equal(times[:2], [0.025, 0.035])
        self.assertEqual((parts[0].names, len(times)), ({"tone": ["TONE", "OTHER"]}, len(outputs)))
        stream.reset()
        numpy.testing.assert_array_equal(stream.push(samples / 32768).scores["tone"], outputs)
        self.assertRaises(TypeError, stream.push, samples.astype(int))
        self.assertRaises(ValueError, stream.push, samples.reshape(2, -1))
        before = stream.time
        self.assertRaisesRegex(ValueError, "sample 3 is not finite", stream.push, numpy.array([0, 0, 0, numpy.nan]))
        self.assertEqual(stream.time, before)
        inputs = patterns.inputs[:5].copy()
        inputs[3, 1] = numpy.nan
        for _ in range(2):
            self.assertRaisesRegex(vml.Error, "Row 3: Input 1 of the network is nan", detector.compute, inputs)

        long = numpy.tile(samples, 250)
        expected = vml.AudioStream(detectors=[detector]).push(long)
        stream = vml.AudioStream(detectors=[detector])
        timer = threading.Timer(0.02, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        with self.assertRaises(KeyboardInterrupt):
            while True:
                stream.push(long)
                stream.reset()
        timer.join()
        taken = round(stream.time * RATE)
        self.assertLess(taken, len(long))
        rest = stream.push(long[taken:])
        numpy.testing.assert_array_equal(rest.times, expected.times)
        numpy.testing.assert_array_equal(rest.scores["tone"], expected.scores["tone"])

        statistics = vml.test(detector.patterns(recording), detector, errors=["mse"], classification=True)
        self.assertLess(statistics.wrong, statistics.patterns / 10)
        same = vml.test(detector.patterns(recording), lambda values: detector.compute(values[None])[0], errors=["mse"],
                        classification=True)
        self.assertEqual(str(same), str(statistics))


class Stubs(unittest.TestCase):
    def test_they_tell_what_there_is(self):
        with open(os.path.join(os.path.dirname(vml.__file__), "_core.pyi"), encoding="utf-8") as file:
            tree = ast.parse(file.read())
        told = {}
        for node in tree.body:
            members = node.body if isinstance(node, ast.ClassDef) else [node]
            prefix = node.name + "." if isinstance(node, ast.ClassDef) else ""
            for member in members:
                if isinstance(member, ast.FunctionDef):
                    arguments = member.args.args + member.args.kwonlyargs
                    told[prefix + member.name] = [argument.arg for argument in arguments if argument.arg != "self"]
        found = {}
        for name, thing in vars(vml._core).items():
            if isinstance(thing, type) and thing is not vml.Error:
                found.update((name + "." + member, getattr(thing, member)) for member in vars(thing))
            elif callable(thing) and thing is not vml.Error:
                found[name] = thing
        public = {name for name in found if not name.rpartition(".")[2].startswith("_") and not name.startswith("_")}
        self.assertEqual(public, {name for name in told if "__" not in name})
        self.assertLessEqual(set(told), set(found))
        for name, arguments in told.items():
            # pybind11 writes the signature into the documentation
            signature = (getattr(found[name], "__doc__", None) or "").split("\n")[0]
            if "(" in signature and not isinstance(found[name], property) and "__exit__" not in name:
                self.assertEqual([word for word in re.findall(r"[( ](\w+): ", signature) if word != "self"], arguments, name)
            self.assertTrue(getattr(found[name], "__doc__", None), name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
