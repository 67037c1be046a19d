#!/usr/bin/env python3
"""Prints what the tests have covered, from the counts that a coverage build left behind.

usage: coverage.py SOURCE_DIRECTORY BUILD_DIRECTORY [--missing]

Lines and branches by folder; with --missing also where the uncovered ones are. A template counts
once, whatever it was instantiated for: a branch is covered when any of its instances took it.
Exit status 1 when a folder has less than 95 % of its lines or 90 % of its branches.
"""

import collections
import gzip
import json
import pathlib
import subprocess
import sys
import tempfile

FOLDERS = ["log", "osapi", "koba", "xml", "dds", "launcher", "tools"]
LINES_GOAL, BRANCHES_GOAL = 95, 90


def reports(build):
    """What gcov says of each object that ran."""
    data = [str(path.resolve()) for path in build.rglob("*.gcda")]
    with tempfile.TemporaryDirectory() as directory:
        subprocess.run(["gcov", "--json-format", "--branch-probabilities", "--hash-filenames", *data],
                       cwd=directory, check=True, stdout=subprocess.DEVNULL)
        for path in pathlib.Path(directory).glob("*.json.gz"):
            with gzip.open(path) as file:
                yield json.load(file)


def collect(source, build):
    """By file: the count of each line, and of each branch by its line and place in the function."""
    lines = collections.defaultdict(collections.Counter)
    branches = collections.defaultdict(collections.Counter)
    for report in reports(build):
        working = pathlib.Path(report["current_working_directory"])
        for file in report["files"]:
            path = (working / file["file"]).resolve()
            if not path.is_relative_to(source) or path.relative_to(source).parts[0] not in FOLDERS:
                continue
            name = str(path.relative_to(source))
            for line in file["lines"]:
                number = line["line_number"]
                lines[name][number] += line["count"]
                for place, branch in enumerate(line["branches"]):
                    if not branch["throw"]:
                        branches[name][number, place] += branch["count"]
    return lines, branches


def percent(counts):
    """The covered and all of them, and the share."""
    covered = sum(count > 0 for count in counts)
    return covered, len(counts), 100 * covered / len(counts) if counts else 100.0


def main():
    source, build = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    lines, branches = collect(source, build)
    is_enough = True
    print(f"{'folder':10} {'lines':>14} {'':>7} {'branches':>14}")
    for folder in [*FOLDERS, ""]:
        of_lines, of_branches = (
            percent([count for name in counts if name.startswith(folder + "/" * bool(folder))
                     for count in counts[name].values()]) for counts in (lines, branches))
        print(f"{folder or 'all':10} {of_lines[0]:6} of {of_lines[1]:<6} {of_lines[2]:5.1f} %"
              f" {of_branches[0]:6} of {of_branches[1]:<6} {of_branches[2]:5.1f} %")
        is_enough &= of_lines[2] >= LINES_GOAL and of_branches[2] >= BRANCHES_GOAL
    if "--missing" in sys.argv[3:]:
        for name in sorted(lines):
            missed = sorted(line for line, count in lines[name].items() if count == 0)
            partly = sorted({line for (line, _), count in branches[name].items() if count == 0}
                            - set(missed))
            if missed or partly:
                print(f"{name}: lines {missed} branches at {partly}")
    return 0 if is_enough else 1


sys.exit(main())
