#!/usr/bin/env python3
"""Recomputes every number of a test report from the log of all outputs.

usage: check_report.py REPORT_DIR OUTPUT_LOG

ml-tester --report REPORT_DIR --output-log OUTPUT_LOG writes both. This script shares no code with it: measures of
patterns are those of scikit-learn where it is installed, events are paired by trying all ways that are not worse for
certain. Prints each number that differs; exit status 1 when there is one. It also looks whether the numbers stand on
the page.
"""

import functools
import html
import json
import math
import os
import re
import sys

try:
    from sklearn import metrics
except ImportError:
    metrics = None

COLLARS_IN_A_SECOND = 5


class Checker:
    """Compares numbers and counts what was compared."""

    def __init__(self):
        self.compared = 0
        self.failures = []

    def equal(self, what, stated, expected):
        self.compared += 1
        if stated != expected:
            self.failures.append("%s: the report says %r, the log %r" % (what, stated, expected))

    def near(self, what, stated, expected, error=1e-9):
        self.compared += 1
        if stated is None or expected is None or math.isnan(expected):
            expected = None if expected is None or math.isnan(expected) else expected
            if stated is not expected:
                self.failures.append("%s: the report says %r, the log %r" % (what, stated, expected))
        elif not abs(stated - expected) <= error * max(1.0, abs(expected)):
            self.failures.append("%s: the report says %r, the log %r" % (what, stated, expected))

    def ratio(self, what, stated, numerator, denominator):
        self.equal(what + " (numerator)", stated["numerator"], numerator)
        self.equal(what + " (denominator)", stated["denominator"], denominator)
        self.near(what, stated["value"], numerator / denominator if denominator else None)


class Pattern:
    """A line of the log, and what it is taken for."""

    def __init__(self, fields):
        self.recording, self.number = int(fields[0]), int(fields[1])
        self.time = float(fields[2]) if fields[2] else None
        self.target = parse(fields[3])
        self.output = parse(fields[4])
        self.target_class = self.decided = None

    @functools.cached_property
    def classes(self):
        return [i for i, value in enumerate(self.target or []) if value == 1.0]


def parse(text):
    """A vector "[v v v]"; None for an empty field."""
    return [float(value) for value in text.strip("[]").split()] if text else None


def read_log(path):
    """The names of the recordings and the patterns."""
    names, patterns = [], []
    with open(path, encoding="utf-8", errors="replace") as log:
        for line in log:
            line = line.rstrip("\n")
            if line.startswith("# "):
                names.append(line.split("\t", 1)[1])
            elif not line.startswith("recording\t"):
                patterns.append(Pattern(line.split("\t")))
    return names, patterns


def judge(patterns):
    """Finds the class of each pattern and what it was taken for. Returns the patterns by kind."""
    kinds = dict.fromkeys(["without_target", "without_class", "several_classes", "misfits", "judged"], 0)
    size = 0
    for pattern in patterns:
        if pattern.target is None:
            kinds["without_target"] += 1
        elif len(pattern.target) != len(pattern.output) or size not in (0, len(pattern.output)):
            kinds["misfits"] += 1
        elif not pattern.classes:
            kinds["without_class"] += 1
        elif len(pattern.classes) > 1:
            kinds["several_classes"] += 1
        else:
            kinds["judged"] += 1
            size = len(pattern.output)
            pattern.target_class = pattern.classes[0]
            pattern.decided = max(range(size), key=lambda i: pattern.output[i])
    kinds["all"] = len(patterns)
    kinds["output_not_finite"] = sum(not all(map(math.isfinite, pattern.output)) for pattern in patterns)
    return kinds, size


def check_classes(check, report, judged, size):
    """The matrix and what is made of it."""
    matrix = [[0] * size for _ in range(size)]
    for pattern in judged:
        matrix[pattern.target_class][pattern.decided] += 1
    check.equal("confusion", report["confusion"], matrix)
    right = sum(matrix[i][i] for i in range(size))
    check.ratio("accuracy", report["accuracy"], right, len(judged))
    for i, score in enumerate(report["scores"]):
        row, column = sum(matrix[i]), sum(line[i] for line in matrix)
        check.ratio("precision of %d" % i, score["precision"], matrix[i][i], column)
        check.ratio("recall of %d" % i, score["recall"], matrix[i][i], row)
        check.ratio("F1 of %d" % i, score["f1"], 2 * matrix[i][i], row + column)
    if metrics and judged:
        expected = metrics.precision_recall_fscore_support(
            [pattern.target_class for pattern in judged], [pattern.decided for pattern in judged],
            labels=range(size), zero_division=0)
        for i, score in enumerate(report["scores"]):
            for name, values in zip(("precision", "recall", "f1"), expected):
                check.near("%s of %d by scikit-learn" % (name, i), score[name]["value"] or 0.0, values[i])


def mean_square_error(patterns):
    errors = [sum((t - o) ** 2 for t, o in zip(pattern.target, pattern.output)) / len(pattern.target)
              for pattern in patterns if pattern.target is not None and len(pattern.target) == len(pattern.output)]
    return sum(errors) / len(errors) if errors else None


def check_recordings(check, report, names, patterns):
    """Each recording, and their order."""
    check.equal("names", [recording["name"] for recording in report["recordings"]], names)
    rates = []
    for i, recording in enumerate(report["recordings"]):
        mine = [pattern for pattern in patterns if pattern.recording == i + 1]
        judged = [pattern for pattern in mine if pattern.target_class is not None]
        wrong = [pattern.target_class != pattern.decided for pattern in judged]
        check.equal("patterns of " + names[i], recording["patterns"], len(mine))
        check.ratio("errors of " + names[i], recording["error_rate"], sum(wrong), len(judged))
        error = mean_square_error(mine)
        check.near("mean square error of " + names[i], recording["mean_square_error"], error)
        rates.append((-sum(wrong) / len(judged) if judged else 0.0, -(error or 0.0)))
        if "rate_hz" in recording:
            spans = sum(1 for j, pattern in enumerate(mine)
                        if kind_of_error(pattern) and (j == 0 or kind_of_error(mine[j - 1]) != kind_of_error(pattern)))
            check.equal("spans of " + names[i], recording["error_spans"], spans)
            check.near("seconds of " + names[i], recording["seconds"],
                       len(mine) * recording["shift_samples"] / recording["rate_hz"])
    check.equal("worst first", report["worst_first"], sorted(range(len(rates)), key=lambda i: rates[i]))
    check.near("mean square error", report["mean_square_error"], mean_square_error(patterns))


def kind_of_error(pattern):
    """The two classes of a misclassified pattern, or None."""
    wrong = pattern.target_class is not None and pattern.target_class != pattern.decided
    return (pattern.target_class, pattern.decided) if wrong else None


def check_curve(check, curve, judged):
    """Every threshold by counting, the area by all scores."""
    scored = [(pattern.output[0] - pattern.output[1], pattern.target_class == 0) for pattern in judged]
    scores = {positive: sorted(score for score, is_it in scored if is_it == positive and not math.isnan(score))
              for positive in (True, False)}
    check.equal("positives", curve["positives"], len(scores[True]))
    check.equal("negatives", curve["negatives"], len(scores[False]))
    check.equal("scores that are no numbers", curve["score_not_a_number"],
                len(scored) - len(scores[True]) - len(scores[False]))
    for point in curve["points"] + curve["thresholds"] + [curve["operating_point"]]:
        threshold = point["threshold"]
        if threshold is None:
            threshold = math.inf if point["false_alarms"] == 0 and point["misses"] else -math.inf
        where = "at threshold %r" % threshold
        check.equal("false alarms " + where, point["false_alarms"], sum(s >= threshold for s in scores[False]))
        check.equal("misses " + where, point["misses"], sum(s < threshold for s in scores[True]))
    check.equal("operating point", curve["operating_point"]["threshold"], 0.0)
    everything = scores[True] + scores[False]
    if metrics:
        area = metrics.roc_auc_score([1] * len(scores[True]) + [0] * len(scores[False]), everything)
    else:
        area = sum((p > n) + (p == n) / 2 for p in scores[True] for n in scores[False])
        area /= len(scores[True]) * len(scores[False])
    check.equal("area within its error", abs(area - curve["area"]["value"]) <= curve["area"]["error"] + 1e-9, True)


# Events.

def find_events(patterns, of, rate, shift, background):
    """[class, start, stop] in samples of the patterns in a row that are of one class."""
    events = []
    for pattern in patterns:
        if pattern.target_class is None or of(pattern) == background:
            continue
        stop = round(pattern.time * rate)
        if events and events[-1][0] == of(pattern) and events[-1][2] == stop - shift:
            events[-1][2] = stop
        else:
            events.append([of(pattern), stop - shift, stop])
    return events


def is_near(reference, decided, collar):
    length = reference[2] - reference[1]
    return (abs(decided[1] - reference[1]) <= collar and
            2 * abs(decided[2] - reference[2]) <= max(2 * collar, length))


def pair(references, decisions, collar):
    """The best choice of pairs: most of them, then least sum of distances, then of those of starts.

    Events that cannot meet through any chain of pairs are looked at apart; within such a group all ways are tried.
    """
    near = {i: [j for j, decision in enumerate(decisions) if is_near(reference, decision, collar)]
            for i, reference in enumerate(references)}
    pairs, done = [], set()
    for first in near:
        if first in done:
            continue
        group, open_ = [], [first]
        done.add(first)
        while open_:
            i = open_.pop()
            group.append(i)
            for k in near:
                if k not in done and set(near[k]) & set(near[i]):
                    done.add(k)
                    open_.append(k)
        pairs += try_all(tuple(sorted(group)), near, references, decisions)
    return pairs


def try_all(group, near, references, decisions):
    @functools.lru_cache(maxsize=None)
    def best(position, taken):
        if position == len(group):
            return (0, 0, 0), ()
        i = group[position]
        result = best(position + 1, taken)
        for j in near[i]:
            if j in taken:
                continue
            (count, total, starts), chosen = best(position + 1, taken | {j})
            start = abs(references[i][1] - decisions[j][1])
            stop = abs(references[i][2] - decisions[j][2])
            result = min(result, ((count - 1, total + start + stop, starts + start), ((i, j),) + chosen),
                         key=lambda choice: choice[0])
        return result

    return list(best(0, frozenset())[1])


def check_events(check, report, patterns):
    """Hits, kinds of errors and lags of all recordings."""
    size = len(report["confusion"])
    counts = [[0, 0, 0] for _ in range(size)]
    substitutions, lags = 0, {"onset_lag": [], "offset_lag": []}
    for number, recording in enumerate(report["recordings"]):
        if "rate_hz" not in recording:
            continue
        rate, shift = recording["rate_hz"], recording["shift_samples"]
        mine = [pattern for pattern in patterns if pattern.recording == number + 1]
        collar = rate // COLLARS_IN_A_SECOND
        references = find_events(mine, lambda p: p.target_class, rate, shift, report["background"])
        decisions = find_events(mine, lambda p: p.decided, rate, shift, report["background"])
        left = [list(references), list(decisions)]
        for i in range(size):
            mine_of = [event for event in references if event[0] == i]
            decided_of = [event for event in decisions if event[0] == i]
            pairs = pair(mine_of, decided_of, collar)
            for j, amount in enumerate((len(mine_of), len(decided_of), len(pairs))):
                counts[i][j] += amount
            for reference, decided in pairs:
                lags["onset_lag"].append((decided_of[decided][1] - mine_of[reference][1]) / rate)
                lags["offset_lag"].append((decided_of[decided][2] - mine_of[reference][2]) / rate)
                left[0].remove(mine_of[reference])
                left[1].remove(decided_of[decided])
        substitutions += len(pair(left[0], left[1], collar))
    events = report["events"]
    total = [sum(row[j] for row in counts) for j in range(3)]
    check.equal("classes with events", [row["class"] for row in events["classes"]],
                [i for i in range(size) if i != report["background"]])
    for row in events["classes"]:
        check_event_counts(check, "events of %d" % row["class"], row, counts[row["class"]])
    check_event_counts(check, "events", events["all"], total)
    deletions, insertions = total[0] - total[2] - substitutions, total[1] - total[2] - substitutions
    check.equal("substitutions", events["substitutions"], substitutions)
    check.equal("deletions", events["deletions"], deletions)
    check.equal("insertions", events["insertions"], insertions)
    check.ratio("event error rate", events["error_rate"], substitutions + deletions + insertions, total[0])
    for name, values in lags.items():
        check_lag(check, name, events[name], values)


def check_event_counts(check, what, stated, counts):
    references, decisions, hits = counts
    check.equal(what, [stated["reference"], stated["decided"], stated["hits"]], [references, decisions, hits])
    check.ratio(what + ", precision", stated["precision"], hits, decisions)
    check.ratio(what + ", recall", stated["recall"], hits, references)
    check.ratio(what + ", F1", stated["f1"], 2 * hits, references + decisions)


def check_lag(check, name, stated, values):
    if not values:
        check.equal(name, stated, None)
        return
    mean = sum(values) / len(values)
    check.equal(name + ", count", stated["count"], len(values))
    check.near(name + ", mean of magnitudes", stated["mean_absolute_s"], sum(map(abs, values)) / len(values))
    check.near(name + ", mean", stated["mean_s"], mean)
    check.near(name + ", deviation", stated["deviation_s"],
               math.sqrt(sum((value - mean) ** 2 for value in values) / len(values)), 1e-6)
    check.near(name + ", least", stated["least_s"], min(values))
    check.near(name + ", greatest", stated["greatest_s"], max(values))


# The page.

def check_page(check, report, page):
    """The cells of the page's tables are those of the report."""
    cells = [html.unescape(re.sub(r"<[^>]+>", " ", cell)).split()
             for cell in re.findall(r"<td[^>]*>(.*?)</td>", page, re.DOTALL)]
    texts = {" ".join(cell).replace("\xa0", " ") for cell in cells}
    for row in report["confusion"]:
        for count in row:
            text = "%d %.1f %%" % (count, 100.0 * count / sum(row)) if count else "0"
            check.equal(text + " on the page", text in texts, True)
    ratios = [score[name] for score in report["scores"] for name in ("precision", "recall", "f1")]
    ratios += [row[name] for row in (report["events"] or {"classes": []})["classes"]
               for name in ("precision", "recall", "f1")]
    for ratio in ratios:
        counts = "(%d/%d)" % (ratio["numerator"], ratio["denominator"])
        text = counts if ratio["value"] is None else "%.4f %s" % (ratio["value"], counts)
        check.equal(text + " on the page", any(cell.endswith(text) for cell in texts), True)
    for recording in report["recordings"]:
        counts = "%d/%d" % (recording["error_rate"]["numerator"], recording["error_rate"]["denominator"])
        check.equal(counts + " on the page", counts in texts, True)


def main(arguments):
    if len(arguments) != 3:
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        return 2
    with open(os.path.join(arguments[1], "report.json"), encoding="utf-8") as text:
        report = json.load(text)
    names, patterns = read_log(arguments[2])
    check = Checker()
    kinds, size = judge(patterns)
    check.equal("patterns by kind", report["patterns"], {key: kinds[key] for key in report["patterns"]})
    judged = [pattern for pattern in patterns if pattern.target_class is not None]
    check_classes(check, report, judged, size)
    check_recordings(check, report, names, patterns)
    if report["curve"] is not None:
        check_curve(check, report["curve"], judged)
    if report["events"] is not None:
        check_events(check, report, patterns)
    with open(os.path.join(arguments[1], "report.html"), encoding="utf-8") as page:
        check_page(check, report, page.read())
    for failure in check.failures:
        print(failure)
    print("%d numbers compared with those of %d patterns%s, %d differ" %
          (check.compared, len(patterns), "" if metrics else ", without scikit-learn", len(check.failures)))
    return 1 if check.failures or not patterns else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
