#!/usr/bin/env python3
"""Holds the documents against the tree: what they name between backquotes as a path, or link to, exists.

usage: check_docs.py [TREE]

A path is taken as one of the tree when its first folder is; a path with a place-holder (X, NAME, *, <...>) is none, nor
is one below a folder that is not kept (build, sample-output). Exit status 1 when one is missing.
"""

import os
import re
import sys

PATH = re.compile(r"`((?:\.{0,2}/)?[\w.-]+/[\w./{},-]*)`|\]\(([^)#:\s]+)(?:#[^)]*)?\)")
NOT_KEPT = ("build", "sample-output", ".git")


def expand(path):
    """The alternatives of one {a,b} group."""
    match = re.search(r"\{([^}]*)\}", path)
    if not match:
        return [path]
    return [path[:match.start()] + part + path[match.end():] for part in match.group(1).split(",")]


def missing_paths(tree, document):
    """The paths that a document names and the tree does not have, as lines of text."""
    folder = os.path.dirname(document)
    with open(os.path.join(tree, document), encoding="utf-8") as text:
        lines = text.read().splitlines()
    lacking = []
    for number, line in enumerate(lines, 1):
        for quoted, linked in PATH.findall(line):
            for path in expand(os.path.normpath(os.path.join(folder, linked) if linked else quoted)):
                first = path.split("/")[0]
                if first in NOT_KEPT or not linked and not os.path.isdir(os.path.join(tree, first)):
                    continue
                if not os.path.exists(os.path.join(tree, path)):
                    lacking.append("%s:%d: no such path: %s" % (document, number, path))
    return lacking


def main(arguments):
    tree = arguments[1] if len(arguments) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    documents = sorted(name for name in os.listdir(tree) if name.endswith(".md"))
    documents += sorted("doc/" + name for name in os.listdir(os.path.join(tree, "doc")) if name.endswith(".md"))
    lacking = [line for document in documents for line in missing_paths(tree, document)]
    for line in lacking:
        print(line)
    print("%d documents, %d missing paths" % (len(documents), len(lacking)))
    return 1 if lacking or not documents else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
