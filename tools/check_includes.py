#!/usr/bin/env python3
"""Holds every #include of the tree against the table of who may include whom.

usage: check_includes.py [TREE]

The table below is the rule; HACKING.md explains it. System headers are visible to every target whatever the build
files say, so the build cannot see a forbidden include, and this can. The layers inside the library are those of
machine-learning/src/CMakeLists.txt, and doc/architecture.md describes the same. Prints one line per offence; exit
status 1 when there is one.
"""

import functools
import os
import re
import subprocess
import sys

# target: (folder, targets that it may include beside itself)
ALL_BUT_IFF = ["quillcast-core", "quillcast-infra", "quillcast-math", "quillcast-mathxpr", "quillcast-audio",
               "machine-learning"]
EVERYTHING = ALL_BUT_IFF + ["quillcast-fileformat-iff", "applications", "test-support"]
TARGETS = {
    "quillcast-core": ("platform/quillcast-core", []),
    "quillcast-fileformat-iff": ("platform/quillcast-fileformat-iff", ["quillcast-core"]),
    "quillcast-infra": ("platform/quillcast-infra", ["quillcast-core"]),
    "quillcast-math": ("platform/quillcast-math", ["quillcast-core"]),
    "quillcast-mathxpr": ("platform/quillcast-mathxpr", ["quillcast-core", "quillcast-infra", "quillcast-math"]),
    "quillcast-audio": ("platform/quillcast-audio", ["quillcast-core", "quillcast-fileformat-iff", "quillcast-infra",
                                                     "quillcast-math"]),
    "machine-learning": ("machine-learning", ["quillcast-core", "quillcast-infra", "quillcast-math",
                                              "quillcast-mathxpr", "quillcast-audio"]),
    "applications": ("applications", ALL_BUT_IFF),
    "python": ("python", ALL_BUT_IFF + ["applications"]),
    "examples": ("examples", ALL_BUT_IFF + ["applications"]),
    "test-support": ("test-support", ALL_BUT_IFF),
    "bench": ("bench", EVERYTHING),
    "fuzz": ("fuzz", EVERYTHING),
    "tools": ("tools", EVERYTHING),
}
# What only these targets may touch of others' headers: (pattern of the header, targets).
THIRD_PARTY = [
    (r"boost/(archive|serialization)/", ["quillcast-core", "test-support"]),
    (r"boost/regex(/|\.hpp)", ["quillcast-core"]),
    (r"boost/program_options(/|\.hpp)", ["quillcast-infra"]),
    (r"boost/mpi(/|\.hpp)", ["applications"]),
    (r"boost/", list(TARGETS)),
    (r"log4cplus/", ["quillcast-core", "test-support"]),
    (r"ace/", ["quillcast-core"]),
    (r"(dlfcn|link)\.h", ["quillcast-infra", "test-support"]),
    (r"sndfile\.(h|hh)", ["quillcast-audio", "bench"]),
    (r"(float|double|fixed)?fann(_\w+)?\.h", ["applications", "bench"]),
    (r"nlohmann/", ["applications", "fuzz"]),
    (r"png\.h", ["applications"]),
    (r"pybind11/", ["python"]),
    (r"(gtest|gmock)/", ["test-support"]),
    (r"(benchmark|fast_float|webrtc)/|(fftw3|hdf5)\.h|lua\.hpp", ["bench"]),
]
# The C++ library (no extension), and of the system what any target may use.
SYSTEM = re.compile(r"[a-z_0-9]+|(fcntl|unistd|signal|malloc|pthread|strings|immintrin|sys/\w+|linux/\w+)\.h")
# In tests every target may use test-support, which brings gtest.
TEST_FOLDER = re.compile(r"(^|/)test/")
# Tests may hold the library against the stock parts of what it wraps.
IN_TESTS = [r"(gtest|gmock)/", r"boost/(archive|serialization)/"]

# The list of the library's files, in the order of the layers; the page that describes them, a numbered item a layer.
LAYER_LIST = "machine-learning/src/CMakeLists.txt"
LAYER_PAGE = "doc/architecture.md"
# The layer beside the others: it knows the first of them only, and none of them knows it.
BESIDE = "classification"

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^>"]+)[>"]', re.MULTILINE)


def target_of(path):
    """The target whose folder holds a path relative to the tree; None for a file of no target."""
    for name, (folder, _) in TARGETS.items():
        if path.startswith(folder + "/"):
            return name
    return None


def resolve(tree, path, header):
    """The tree's file that an include means, relative to the tree; None when it is not of this tree."""
    roots = [os.path.dirname(path), "platform", "machine-learning/src", "applications", "."]
    for root in roots:
        candidate = os.path.normpath(os.path.join(root, header))
        if os.path.isfile(os.path.join(tree, candidate)):
            return candidate
    return None


@functools.lru_cache
def read_layers(tree):
    """({stem: layer} of the library's files, the layers in their order, the headers that are installed)."""
    layers, order, layer = {}, [], None
    with open(os.path.join(tree, LAYER_LIST), encoding="utf-8") as file:
        text = file.read()
    for line in text.splitlines():
        if re.match(r" +# ", line):
            layer = line.strip(" #")
            order += [layer] if layer not in order else []
        elif layer:
            layers.update((stem, layer) for stem in re.findall(r"(\w+)\.(?:cpp|h)\b", line))
    return layers, order, set(re.findall(r"\w+\.h\b", text.partition("HEADERS")[2]))


def is_private(tree, header):
    """Whether a header is not installed: a component keeps those in src, the library leaves them out of its list."""
    if header.startswith("machine-learning/src/"):
        return header.endswith(".h") and os.path.basename(header) not in read_layers(tree)[2]
    return header.startswith("platform/") and "/src/" in header


def check_layers(tree, path, other):
    """The reason why one library file may not include another, or None."""
    layers, order, _ = read_layers(tree)
    mine, theirs = (layers.get(os.path.splitext(os.path.basename(name))[0]) for name in (path, other))
    if mine is None or theirs is None:
        return "%s is in no layer; add it to %s" % (path if mine is None else other, LAYER_LIST)
    if mine == BESIDE and theirs not in (BESIDE, order[0]):
        return "classification may not include training (%s)" % theirs
    if mine != BESIDE and theirs == BESIDE:
        return "training may not include classification"
    if mine != BESIDE and order.index(theirs) > order.index(mine):
        return 'layer "%s" may not include layer "%s"' % (mine, theirs)
    return None


def check_layer_page(tree):
    """What the page of the layers says otherwise than the list of files, as lines of text."""
    with open(os.path.join(tree, LAYER_PAGE), encoding="utf-8") as page:
        items = re.findall(r"^\d+\. \*\*([^*]+)\*\*(.*?)(?=^\d+\. |^$)", page.read(), re.MULTILINE | re.DOTALL)
    layers, order, _ = read_layers(tree)
    order = [layer for layer in order if layer != BESIDE]
    wrong = []
    if [name for name, _ in items] != order:
        wrong.append("%s: the layers are %s" % (LAYER_PAGE, "; ".join(order)))
    for name, text in items:
        for named in re.findall(r"`(ML\w+)`", text):
            if layers.get(named) != name:
                wrong.append('%s: %s is not in the layer "%s"' % (LAYER_PAGE, named, name))
    return wrong


def check_tree_include(tree, path, other, in_test):
    """The reason why one file of the tree may not include another, or None."""
    mine, theirs = target_of(path), target_of(other)
    if theirs is None:
        return "it is of no target; add its folder to TARGETS in tools/check_includes.py"
    allowed = [mine] + TARGETS[mine][1] + (["test-support"] if in_test else [])
    if theirs not in allowed:
        return "%s may not include %s" % (mine, theirs)
    if not in_test and TEST_FOLDER.search(other):
        return "a product may not include a test"
    if is_private(tree, other):
        if mine != theirs:
            return "it is private to %s" % theirs
        if path.endswith(".h") and not in_test and not is_private(tree, path):
            return "it is not installed, and this header is"
    if mine == theirs == "machine-learning" and not in_test:
        return check_layers(tree, path, other)
    return None


def check_outside_include(path, header, in_test):
    """The reason why a file may not include a header from outside the tree, or None."""
    mine = target_of(path)
    if in_test and any(re.match(pattern, header) for pattern in IN_TESTS):
        return None
    for pattern, owners in THIRD_PARTY:
        if re.match(pattern, header):
            return None if mine in owners else "only %s may" % ", ".join(owners)
    if SYSTEM.fullmatch(header):
        return None
    return "it is neither in the tree nor a known header; see THIRD_PARTY in tools/check_includes.py"


def check_file(tree, path):
    """The offences of one file, as lines of text."""
    with open(os.path.join(tree, path), encoding="utf-8") as source:
        text = source.read()
    in_test = bool(TEST_FOLDER.search(path))
    offences = []
    for match in INCLUDE.finditer(text):
        header = match.group(2)
        other = resolve(tree, path, header) if match.group(1) == '"' or "quillcast" in header else None
        reason = (check_tree_include(tree, path, other, in_test) if other else
                  check_outside_include(path, header, in_test))
        if reason:
            line = text.count("\n", 0, match.start()) + 1
            offences.append("%s:%d: includes %s: %s" % (path, line, header, reason))
    return offences


def sources(tree):
    """The C++ files of the tree, tracked or about to be; all files where there is no repository."""
    listed = subprocess.run(["git", "-C", tree, "ls-files", "-co", "--exclude-standard", "--", "*.h", "*.cpp"],
                            capture_output=True, text=True)
    if listed.returncode == 0 and listed.stdout:
        names = listed.stdout.splitlines()
    else:
        names = [os.path.relpath(os.path.join(folder, name), tree) for folder, _, files in os.walk(tree)
                 for name in files if name.endswith((".h", ".cpp"))]
    return sorted(name for name in names if target_of(name) and os.path.isfile(os.path.join(tree, name)))


def main(arguments):
    tree = arguments[1] if len(arguments) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    names = sources(tree)
    offences = [offence for name in names for offence in check_file(tree, name)]
    if names:
        offences += check_layer_page(tree)
    for offence in offences:
        print(offence)
    print("%d files, %d offences" % (len(names), len(offences)))
    return 1 if offences or not names else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
