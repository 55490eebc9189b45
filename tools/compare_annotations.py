#!/usr/bin/env python3
"""Holds what ml-annotate reads from recordings against descriptions of their chunks.

usage: compare_annotations.py DIR PROGRAM

DIR has pairs NAME.wav and NAME.json; PROGRAM is ml-annotate. A description holds the container, the format, the order
of the chunks, the cue points with label and note, the "ltxt" records and the loops of "smpl"; what it leaves out is not
compared. The annotations and markers that follow from it are derived here, by the rules of doc/formats.md, and compared
as well. Prints a table and what differs; the exit status is 1 if anything does.
"""

import json
import pathlib
import subprocess
import sys

TOLERANCE_S = 1e-6  # descriptions are rounded to microseconds

COMPARED = ["container", "fmt", "frames", "duration_s", "chunk_order", "cues", "labels_without_cue", "ltxt", "smpl_loops"]


def differences(expected, found, place):
    """Lines that tell where two values differ; keys that only `found` has do not count."""
    if isinstance(expected, dict) and isinstance(found, dict):
        lines = []
        for key, value in expected.items():
            if key not in found:
                lines.append(f"{place}.{key}: missing")
            else:
                lines += differences(value, found[key], f"{place}.{key}")
        return lines
    if isinstance(expected, list) and isinstance(found, list):
        if len(expected) != len(found):
            return [f"{place}: {len(expected)} expected, {len(found)} found"]
        return [line for i, (e, f) in enumerate(zip(expected, found)) for line in differences(e, f, f"{place}[{i}]")]
    if isinstance(expected, float) and isinstance(found, (int, float)):
        return [] if abs(expected - found) <= TOLERANCE_S else [f"{place}: {expected} expected, {found} found"]
    return [] if expected == found else [f"{place}: {expected!r} expected, {found!r} found"]


def derive(truth):
    """Annotations and markers that follow from the description, as (start, stop, label)."""
    annotations, markers = [], []
    for cue in truth["cues"]:
        texts = [t for t in truth["ltxt"] if t["cue_id"] == cue["id"]]
        length = next((t["sample_length"] for t in texts if t["sample_length"] > 0), 0)
        start = cue["sample_offset"]
        stop = start + length
        loop = next((l for l in truth["smpl_loops"] if l["cue_id"] == cue["id"]), None)
        if length == 0 and loop is not None and loop["start"] == start:
            stop = loop["end"]
        label = cue["label"] or next((t["text"] for t in texts if t["text"]), None) or cue["note"] or ""
        (annotations if stop != start else markers).append((start, stop, label))
    return annotations, markers


def listed(found, kind):
    return [(a["start_sample"], a["stop_sample"], a["label"]) for a in found[kind]]


def compare(wav, program):
    """The counts for the table and the lines that differ."""
    truth = json.loads(wav.with_suffix(".json").read_text(encoding="utf-8"))
    result = subprocess.run([program, "list", "--json", str(wav)], capture_output=True, timeout=60)
    if result.returncode != 0:
        return "-", "-", [f"exit status {result.returncode}: {result.stderr.decode(errors='replace').strip()}"]
    found = json.loads(result.stdout.decode("utf-8"))[0]
    lines = []
    for key in COMPARED:
        # The times of a text record are those of its annotation, which is compared below.
        if key in truth:
            expected = truth[key]
            if key == "ltxt":
                expected = [{k: v for k, v in t.items() if not k.endswith("_s")} for t in expected]
            lines += differences(expected, found.get(key), key)
    annotations, markers = derive(truth)
    lines += differences(annotations, listed(found, "annotations"), "annotations")
    lines += differences(markers, listed(found, "markers"), "markers")
    return len(annotations), len(markers), lines


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    folder, program = pathlib.Path(sys.argv[1]), sys.argv[2]
    wavs = sorted(w for w in folder.glob("*.wav") if w.with_suffix(".json").exists())
    if not wavs:
        sys.exit(f"{folder} has no pairs of a .wav and a .json file")
    differing = 0
    print(f"{'recording':<52} {'annotations':>11} {'markers':>7}  result")
    for wav in wavs:
        annotations, markers, lines = compare(wav, program)
        print(f"{wav.name:<52} {annotations:>11} {markers:>7}  {'as described' if not lines else 'DIFFERS'}")
        for line in lines:
            print(f"    {line}")
        differing += bool(lines)
    print(f"{len(wavs) - differing} of {len(wavs)} as described")
    return 1 if differing else 0


if __name__ == "__main__":
    sys.exit(main())
