#!/usr/bin/env python3
"""The report of ml-tester over made-up recordings and pattern files, recomputed from its log of outputs.

usage: report_test.py PROGRAMS
"""

import contextlib
import io
import json
import os
import random
import subprocess
import sys
import tempfile
import unittest
import wave

TOOLS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
sys.path.insert(0, TOOLS)
import check_report  # noqa: E402

PROGRAMS = os.path.abspath(sys.argv.pop()) if len(sys.argv) > 1 else ""
RATE = 8000
# Of samples: [start, stop), and whether the noise there is loud. Labels come a little later and miss some of it.
LOUD = [(2000, 9000), (12000, 14000), (20000, 20400), (22000, 30000)]
LABELS = [(2400, 9400), (11800, 14600), (22000, 26000), (34000, 36000)]


def run(folder, program, *arguments):
    return subprocess.run([os.path.join(PROGRAMS, program), *arguments], cwd=folder, capture_output=True, text=True)


def run_well(folder, program, *arguments):
    result = run(folder, program, *arguments)
    if result.returncode != 0:
        raise RuntimeError("%s: %s%s" % (program, result.stdout, result.stderr))
    return result


def write(folder, name, text):
    with open(os.path.join(folder, name), "w", encoding="utf-8") as out:
        out.write(text)


def make_recording(folder, name, seed, seconds):
    """Noise whose loud stretches are told apart by a script, though not at once, with labels."""
    noise = random.Random(seed)
    shift = noise.randrange(-300, 300)
    samples = bytearray()
    for i in range(seconds * RATE):
        loud = any(start <= i + shift < stop for start, stop in LOUD)
        samples += noise.randrange(-9000, 9000).to_bytes(2, "little", signed=True) if loud else bytes(2)
    with wave.open(os.path.join(folder, name + ".wav"), "wb") as out:
        out.setparams((1, 2, RATE, 0, "NONE", ""))
        out.writeframes(samples)
    write(folder, "labels.txt", "".join("%r\t%r\tVOICE\n" % (start / RATE, stop / RATE) for start, stop in LABELS))
    run_well(folder, "ml-annotate", "import", name + ".wav", "labels.txt")


def make_set(folder, names=("one", "two", "three")):
    """A set of recordings, its configuration and a script that hears noise."""
    for number, name in enumerate(names):
        make_recording(folder, name, number, 4 + number)
    write(folder, "set.lst", "".join(name + ".wav\n" for name in names))
    write(folder, "loud.xpr", "power = 0.5 * prev(power, 0) + 0.5 * energy(audio) / size(audio)\n"
                              "voice = power / (power + 0.01)\nresult = [voice, 1 - voice]\n")
    run_well(folder, "ml-config", "write", "set.xml", "--generator", "low-memory-audio-set", "--feature", "identity",
             "--classes", "VOICE,OTHER")


def report_set(folder, *arguments):
    return run_well(folder, "ml-tester", "--data-gen-config", "set.xml", "--data-gen-filename", "set.lst", "--script",
                    "loud", "--classification-error", "--report", "report", "--output-log", "log.tsv", *arguments)


def make_patterns(folder):
    """Three classes, the output being the input: lines of every kind."""
    lines = ["[0.7 0.2 0.1] [1 0 0]", "[0.2 0.7 0.1] [1 0 0]", "[0.2 0.7 0.1] [0 1 0]", "[0.5 0.5 0] [0 1 0]",
             "[0 0 1] [0 0 0]", "[0 0 1] [0 0.5 0.5]", "reset", "[0 1 0] []", "[0 nan 0] [0 0 1]", "[0 0 1] [0 0 1]"]
    write(folder, "patterns.txt", "".join(line + "\n" for line in lines))
    write(folder, "same.xpr", "result = audio\n")
    run_well(folder, "ml-config", "write", "file.xml", "--generator", "vector-file")


class ReportTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def read_report(self):
        with open(os.path.join(self.folder, "report", "report.json"), encoding="utf-8") as text:
            return json.load(text)

    def check(self):
        text = io.StringIO()
        with contextlib.redirect_stdout(text):
            status = check_report.main(["", os.path.join(self.folder, "report"), os.path.join(self.folder, "log.tsv")])
        return status, text.getvalue()

    def test_a_set_of_recordings(self):
        make_set(self.folder)
        result = report_set(self.folder, "--summary", "--report-timelines", "2")
        status, text = self.check()
        self.assertEqual(status, 0, text)
        report = self.read_report()
        self.assertTrue(report["complete"])
        self.assertEqual(report["classes"], ["VOICE", "OTHER"])
        self.assertEqual([timeline["recording"] for timeline in report["timelines"]], report["worst_first"][:2])
        spans = [1000 * sample // RATE for label in LABELS for sample in label]
        self.assertEqual(report["timelines"][0]["annotations"], [{"label": "VOICE", "spans_ms": spans}])
        # Every kind of event occurs, and lags that are not 0: the check would not see them otherwise.
        events = report["events"]
        self.assertTrue(all(events[kind] for kind in ("deletions", "insertions")), events)
        self.assertNotEqual(events["onset_lag"]["mean_s"], 0)
        wrong = report["accuracy"]["denominator"] - report["accuracy"]["numerator"]
        self.assertIn("classification-error = %d/" % wrong, result.stdout)
        self.assertIn("Worst recordings, of 3", result.stdout)
        # Other names change nothing else: the second class is what is in between, still.
        report_set(self.folder, "--class-names", "OTHER,x")
        renamed = self.read_report()
        self.assertEqual((renamed["classes"], renamed["background"], renamed["events"]),
                         (["OTHER", "x"], 1, events))

    def test_a_set_of_tones_tells_the_tone_of_each_pass(self):
        make_set(self.folder, ["one", "two"])
        for name in ("one", "two"):
            run_well(self.folder, "ml-annotate", "import", name + ".wav", "labels.txt", "--map", "VOICE=SF:1000")
        run_well(self.folder, "ml-annotate", "import", "two.wav", "labels.txt", "--map", "VOICE=SF:1400")
        run_well(self.folder, "ml-config", "write", "set.xml", "--generator", "tone-set", "--feature", "identity",
                 "--constant-input", "no", "--classes", "SF:1000,SF:1400", "--force")
        result = report_set(self.folder, "--summary")
        self.assertEqual(self.check(), (0, self.check()[1]))
        report = self.read_report()
        self.assertEqual((report["classes"], report["background"]), (["tone", "OTHER"], 1))
        self.assertEqual([(recording["name"], recording["tone"]) for recording in report["recordings"]],
                         [(name + ".wav", tone) for tone in ("SF:1000", "SF:1400") for name in ("one", "two")])
        # The first recording ends before the last label.
        self.assertEqual(report["events"]["all"]["reference"], 2 * len(LABELS) - 1)
        self.assertIn("two.wav (SF:1400)\n", result.stdout)
        with open(os.path.join(self.folder, "report", "report.html"), encoding="utf-8") as page:
            self.assertIn("one.wav (SF:1400)", page.read())

    def test_outputs_in_each_others_way_are_refused(self):
        make_patterns(self.folder)
        for arguments, message in (
                (["--report", "r", "--output-log", "./r/report.json"], "--report and --output-log write the same file"),
                (["--report", "-"], "a report is a folder, not standard output"),
                (["--extract-failures", "-"], "option '--extract-failures' needs a folder"),
                (["--extract-failures", "r", "--output-log", "r/001.txt"], "write into the same folder"),
                (["--output-log", "-"], "standard output is not for this")):
            result = run(self.folder, "ml-tester", "--data-gen-config", "file.xml", "--data-gen-filename",
                         "patterns.txt", "--script", "same", *arguments)
            self.assertEqual(result.returncode, 2, result.stderr)
            self.assertIn(message, result.stderr)
            self.assertFalse(set(os.listdir(self.folder)) & {"r", "-"}, arguments)

    def test_a_wrong_number_is_found(self):
        make_set(self.folder, ["one"])
        report_set(self.folder)
        path = os.path.join(self.folder, "report", "report.json")
        for member, value in (("confusion", [[1, 2], [3, 4]]), ("mean_square_error", 0.5), ("worst_first", [])):
            report = self.read_report()
            changed = dict(report, **{member: value})
            write(self.folder, "report/report.json", json.dumps(changed))
            self.assertEqual(self.check()[0], 1, member)
            write(self.folder, "report/report.json", json.dumps(report))
        report = self.read_report()
        report["events"]["all"]["hits"] += 1
        write(self.folder, os.path.relpath(path, self.folder), json.dumps(report))
        self.assertEqual(self.check()[0], 1)

    def test_a_file_of_patterns(self):
        make_patterns(self.folder)
        arguments = ["--data-gen-config", "file.xml", "--data-gen-filename", "patterns.txt", "--script", "same",
                     "--classification-error", "--report", "report", "--output-log", "log.tsv"]
        # An output that is no number fails a test, and its report is written all the same.
        result = run(self.folder, "ml-tester", *arguments, "--class-names", "a,b,</script>", "--summary")
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("target \\ taken for", result.stdout)
        status, text = self.check()
        self.assertEqual(status, 0, text)
        report = self.read_report()
        self.assertFalse(report["complete"])
        self.assertEqual(report["patterns"], {"all": 9, "judged": 6, "without_target": 1, "without_class": 2,
                                              "several_classes": 0, "misfits": 0, "output_not_finite": 1})
        self.assertEqual(report["confusion"], [[1, 1, 0], [1, 1, 0], [1, 0, 1]])
        self.assertEqual((report["events"], report["timelines"], report["curve"]), (None, [], None))
        with open(os.path.join(self.folder, "report", "report.html"), encoding="utf-8") as page:
            self.assertEqual(page.read().count("</script>"), 1)
        # Without names the classes are numbered, and the cache does not hide the file.
        run(self.folder, "ml-tester", *arguments, "--in-memory")
        report = self.read_report()
        self.assertEqual(report["classes"], ["class 0", "class 1", "class 2"])
        self.assertEqual(report["recordings"][0]["name"], "patterns.txt")

    def test_what_cannot_be_written(self):
        make_set(self.folder, ["one"])
        write(self.folder, "file", "")
        before = os.path.getsize(os.path.join(self.folder, "one.wav"))
        for arguments, reason in ((["--report", "file/below"], "Could not create the folder file/below"),
                                  (["--output-log", "missing/log"], "Cannot write missing/log"),
                                  (["--output-log", "one.wav"], "one.wav"), (["--output-log", "set.xml"], "set.xml"),
                                  (["--output-log", "loud.xpr"], "Not writing over loud.xpr: it is an input"),
                                  (["--class-names", "a,b,c", "--summary"], "--class-names names 3 classes, the targets have 2")):
            result = run(self.folder, "ml-tester", "--data-gen-config", "set.xml", "--data-gen-filename", "set.lst",
                         "--script", "loud", *arguments)
            self.assertEqual(result.returncode, 1, arguments)
            self.assertIn(reason, result.stderr)
            self.assertNotIn("Number of data pattern(s)", result.stdout)
        self.assertEqual(os.path.getsize(os.path.join(self.folder, "one.wav")), before)
        for arguments in (["--report-timelines", "-1", "--report", "r"], ["--report-timelines", "2"], ["--class-names", "a,b"], ["--class-names", ""], ["--report", ""]):
            result = run(self.folder, "ml-tester", "--data-gen-config", "set.xml", "--script", "loud", *arguments)
            self.assertEqual(result.returncode, 2, arguments)
            self.assertIn(arguments[0], result.stderr)

    def test_what_is_no_number_has_no_sign(self):
        make_patterns(self.folder)
        write(self.folder, "nan.xpr", "result = [0 / 0, 0, 0]\n")
        result = run(self.folder, "ml-tester", "--data-gen-config", "file.xml", "--data-gen-filename", "patterns.txt",
                     "--script", "nan", "--mean-square-error", "--summary", "--output-log", "log.tsv")
        self.assertEqual(result.returncode, 1)
        self.assertIn("mean-square-error = nan (nan per pattern)\n", result.stdout)
        self.assertNotIn("-nan", result.stdout)

    def test_the_report_is_printed_once_whatever_is_logged(self):
        make_set(self.folder, ["one"])
        report = ["--data-gen-config", "set.xml", "--data-gen-filename", "set.lst", "--script", "loud",
                  "--classification-error"]
        usual = run_well(self.folder, "ml-tester", *report).stdout
        self.assertEqual(usual.count("Number of data pattern(s)"), 1)
        counts = usual[usual.index("\nNumber"):]
        for arguments in (["--quiet"], ["--log-level", "OFF"]):
            self.assertEqual(run_well(self.folder, "ml-tester", *report, *arguments).stdout, counts)


if __name__ == "__main__":
    unittest.main()
