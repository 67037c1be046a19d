#!/usr/bin/env python3
"""Makes small faults in the product's sources, one at a time, and counts how many the tests find.

usage: mutants.py FOLDER... [--count N] [--seed N] [--file NAME]

Per folder N faults (20), drawn from all places where one can be made: a wrong bound, a turned
condition, a wrong number, a dropped statement, another message, another word in a message. A fault
is found when a test of its folder, or after those any other test, fails, crashes or hangs. Those
that survive are printed. A fault that changes nothing that anybody could see stands with the reason
in tests/mutants_equivalent.txt and does not count. A test that fails without a fault is named and
left out.

The tests run with the address sanitizer on a copy of the tree, in a namespace of their own where
nothing but /tmp can be written: a fault may delete the wrong files.
Exit status 1 when a folder has less than 95 % found.
"""

import argparse
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ["log", "osapi", "koba", "xml", "dds", "launcher"]
GOAL = 95
SANDBOX = ["unshare", "--map-root-user", "--mount", "--pid", "--fork", "--mount-proc", "sh", "-c",
           "mount -o remount,ro,bind / && mount -o remount,ro,bind /dev && mount -t tmpfs none /tmp &&"
           " cd /tmp && exec \"$@\"", "sh"]

TURNED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||",
          "||": "&&", "+": "-", "-": "+", "+=": "-=", "-=": "+=", "true": "false",
          "false": "true", "ZOV_TRUE": "ZOV_FALSE", "ZOV_FALSE": "ZOV_TRUE"}
OPERATOR = re.compile(r" (<=|>=|==|!=|&&|\|\||\+=|-=|<|>|\+|-) ")
RETURNED = re.compile(r"\breturn (true|false|ZOV_TRUE|ZOV_FALSE);")
NUMBER = re.compile(r"(?<![\w.'\"%])(\d+)(?=[uUlL]*[^\w.'\"])")
STATEMENT = re.compile(r"^\s+(?!return|break|continue|goto|using|delete |new |else|case)"
                       r"[\w:\->.\[\]*&]+(\(.*\)| [+|&-]?= .*|\+\+|--);$")
NEGATION = re.compile(r"\bif \(!(?=\w)")
WORD = re.compile(r'"(\w[^"\\%]*)"')
MESSAGE = re.compile(r"\b[A-Z]+_[A-Z_]*LOG_[A-Z0-9_]+?_?[A-Za-z]*\b")


def messages(folder):
    """The names of each module's messages, by the suffix that tells their arguments."""
    names = {}
    for catalog in ROOT.glob("*/Log_normal.msg"):
        for name in re.findall(r"^MSG\(\d+, (\w+),", catalog.read_text(), re.M):
            names.setdefault(name.rsplit("_", 1)[-1], []).append(name)
    return names


def faults_of_line(line, catalog):
    """Every other way to write the line that is worth a try."""
    for match in OPERATOR.finditer(line):
        yield line[:match.start(1)] + TURNED[match[1]] + line[match.end(1):]
    for match in RETURNED.finditer(line):
        yield line[:match.start(1)] + TURNED[match[1]] + line[match.end(1):]
    for match in NUMBER.finditer(line):
        yield line[:match.start(1)] + str(int(match[1]) + 1) + line[match.end(1):]
    for match in NEGATION.finditer(line):
        yield line[:match.end() - 1] + line[match.end():]
    for match in WORD.finditer(line):
        yield line[:match.start(1)] + "?" + line[match.start(1) + 1:]
    for match in MESSAGE.finditer(line):
        others = [name for name in catalog.get(match[0].rsplit("_", 1)[-1], []) if name != match[0]]
        if others:
            yield line[:match.start()] + others[0] + line[match.end():]
    if STATEMENT.match(line) and "va_end" not in line and line.count("(") == line.count(")"):
        yield re.match(r"\s*", line)[0] + ";"


def places(folder, only):
    """All faults of a folder: file, number of the line from 0, the line, and what stands instead."""
    catalog = messages(folder)
    found = []
    for path in sorted([*(ROOT / folder).glob("*.cpp"), *(ROOT / folder).glob("*.hpp")]):
        if only and path.name != only:
            continue
        for number, line in enumerate(path.read_text().splitlines()):
            if re.match(r"\s*(//|\*|/\*|#|static_assert|using|template|extern)", line):
                continue
            code = line.split(" // ")[0]
            found += [(path.relative_to(ROOT), number, line, changed)
                      for changed in faults_of_line(code, catalog)]
    return found


class Bench:
    """A copy of the tree, its build, and the tests in the order in which they are asked."""

    def __init__(self):
        self.tree = ROOT / "build/mutants/tree"
        self.build = ROOT / "build/mutants/build"
        self.tree.mkdir(parents=True, exist_ok=True)
        files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT,
                               check=True, capture_output=True, text=True).stdout.split()
        for name in files:
            self.put(pathlib.Path(name), (ROOT / name).read_bytes() if (ROOT / name).exists()
                     else b"")
            (self.tree / name).chmod((ROOT / name).stat().st_mode & 0o777)
        launcher = [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")
                    if shutil.which("ccache")]
        subprocess.run(["cmake", "-G", "Ninja", *launcher, "-S", self.tree, "-B", self.build,
                        "-DCMAKE_BUILD_TYPE=Debug", "-DQUILLON_SANITIZE=address",
                        "-DCMAKE_CXX_FLAGS=-O0 -g0 -Wno-error", "-DCMAKE_C_FLAGS=-O0 -g0",
                        "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold",
                        "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"],
                       check=True, stdout=subprocess.DEVNULL)
        self.tests = [f"{path.parent.name}_{path.stem}"  # those of today, whatever else was built
                      for path in sorted((ROOT / "tests").glob("*/*_test.cpp"))]
        if not self.make(self.tests):
            sys.exit(f"mutants: cannot build {self.build}")
        self.seconds = {}

    def put(self, name, content):
        """Writes a file of the copy if it differs, so that nothing else is built again."""
        path = self.tree / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if not path.exists() or path.read_bytes() != content:
            path.write_bytes(content)

    def make(self, targets):
        return subprocess.run(["ninja", "-C", self.build, *targets], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0

    def passes(self, test):
        def limit():
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        try:
            return subprocess.run([*SANDBOX, "timeout", "-k", "1", "120",
                                   self.build / "tests" / test, "--gtest_fail_fast",
                                   "--gtest_brief=1"], preexec_fn=limit, cwd="/tmp",
                                  stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL).returncode == 0
        except OSError:
            return False

    def is_fit(self, test):
        """Whether a test passes without a fault, and how long that takes."""
        start = time.monotonic()
        passed = self.passes(test)
        self.seconds[test] = time.monotonic() - start
        return passed

    def order(self, folder, stem):
        """The test of the file's own name, those of its folder, the others; the quick ones first.

        Those of the folders to its left are built without it, but for log's, which see all messages.
        """
        stem = stem.split("_")[0].lower()

        def distance(test):
            own, name = test.split("_", 1)
            return own != folder, not name.lower().startswith(stem), self.seconds[test]
        cannot_find = FOLDERS[1:FOLDERS.index(folder)]
        return sorted((test for test in self.tests if test.split("_", 1)[0] not in cannot_find),
                      key=distance)

    def finder(self, path, number, changed):
        """The test that finds the fault, None when none does, "" when it does not compile."""
        original = (ROOT / path).read_bytes()
        lines = original.decode().split("\n")
        lines[number] = changed
        self.put(path, "\n".join(lines).encode())
        try:
            for test in self.order(path.parts[0], path.stem):
                if not self.make([test]):
                    return ""
                if not self.passes(test):
                    return test
            return None
        finally:
            self.put(path, original)


def equivalents():
    """Faults that change nothing: file, line and changed line, white space aside."""
    known = set()
    for line in (ROOT / "tests/mutants_equivalent.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            name, old, new, _reason = (part.strip() for part in line.split(" | "))
            known.add((name, old, new))
    return known


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folders", nargs="*", default=FOLDERS, metavar="FOLDER")
    parser.add_argument("--count", type=int, default=20)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--file")
    options = parser.parse_args()
    bench = Bench()
    broken = [test for test in bench.tests if not bench.is_fit(test)]
    if broken:  # they would find everything
        print(f"left out, since they fail without a fault: {' '.join(broken)}", flush=True)
        bench.tests = [test for test in bench.tests if test not in broken]
    known = equivalents()
    is_enough = True
    for folder in options.folders or FOLDERS:
        candidates = places(folder, options.file)
        random.Random(options.seed).shuffle(candidates)
        made = found = 0
        for path, number, line, changed in candidates:
            if made == options.count:
                break
            if (str(path), line.strip(), changed.strip()) in known:
                continue
            finder = bench.finder(path, number, changed)
            if finder == "":
                continue
            made += 1
            found += finder is not None
            print(f"{'found by ' + finder if finder else 'SURVIVES':40} {path}:{number + 1}:"
                  f" {line.strip()}  =>  {changed.strip()}", flush=True)
        share = 100 * found / made if made else 100
        print(f"{folder}: {found} of {made} found, {share:.0f} %", flush=True)
        is_enough &= share >= GOAL
    return 0 if is_enough else 1


sys.exit(main())
