#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Mutation run over the score, the validation and the readers of values: changes one operator or constant at a time,
rebuilds what depends on it, runs the unit tests of that file and says which changes no test noticed. Works on a copy
in DIRECTORY (build/mutation); the checkout is only read.

  scripts/mutate.py [--sample N] [--seed N] [--jobs N] [--directory DIRECTORY] [FILE...]

Without FILE every file of FILES is taken, without --sample every mutant. Not counted is a mutant that does not compile,
and one that changes no instruction (it lies in a part for another machine). Mutants that no test can notice stand in scripts/mutation_equivalents.txt with the reason, and are not counted either.
Status 1 when fewer than 90 % of the counted mutants were noticed, or when an equivalent mutant was.
"""
import argparse
import concurrent.futures
import filecmp
import os
import queue
import random
import re
import resource
import shutil
import subprocess
import sys
import time

MARKER = ".mutate"  # what a directory of ours holds
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
EQUIVALENTS = os.path.join(ROOT, "scripts", "mutation_equivalents.txt")
PACKAGES = ["yaml-cpp", "log4cplus", "libsafec", "numa", "gmock"]
REQUIRED_PERCENT = 90
TEST_SECONDS = 20  # a mutant that takes longer than this in one test is noticed: the tests take about one second

SCORE = ["scenario/" + name for name in (
    "numa_scenario_test", "event_name_test", "numa_scenario_batch_test", "numa_scenario_ins_test",
    "numa_scenario_ins_data_test", "framework_test", "get_instance_test")]
READERS = ["config/" + name for name in (
    "value_readers_test", "structured_readers_test", "process_entry_test", "list_budget_test", "reader_shapes_test",
    "parse_yaml_shapes_test")]

# What is changed, with the tests that are to notice it, the most likely first.
FILES = {
    "scenario/numa_scenario.cpp": SCORE,
    "scenario/event_name.h": SCORE,
    "scenario/numa_scenario_ins.cpp": ["scenario/numa_scenario_ins_test", "scenario/numa_scenario_ins_data_test"],
    "scenario/concat.cpp": ["scenario/framework_test", "scenario/numa_scenario_ins_test"],
    "config/validation.cpp": ["config/validation_test"],
    "config/validation_limits.h": ["config/validation_test", "config/config_golden_test"],
    "config/value_readers.cpp": READERS,
    "config/structured_readers.cpp": READERS,
    "config/process_entry.cpp": READERS,
    "config/list_budget.h": ["config/list_budget_test"] + READERS,
    "config/list_budget.cpp": ["config/list_budget_test"] + READERS,
    "config/text_values.h": READERS,
    "config/text_values.cpp": READERS,
    "config/yaml_lookup.cpp": READERS,
    "config/reader_messages.cpp": READERS + ["config/option_parse_test"],
    "common/string_util.cpp": ["common/string_util_test"],
}
# Sources that a test has beside its own.
EXTRA_SOURCES = {
    "config/reader_shapes_test": ["tests/support/value_shapes.cpp"],
    "config/parse_yaml_shapes_test": ["tests/support/value_shapes.cpp"],
}
ROOMS = ["scenario", "config", "common"]

# Binary operators as clang-format writes them, a space on each side, so that references, pointers and template
# brackets are left alone.
BINARY = {
    "<": ["<=", ">="], "<=": ["<"], ">": [">=", "<="], ">=": [">"], "==": ["!="], "!=": ["=="],
    "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"],
    "<<": [">>"], ">>": ["<<"], "&": ["|"], "|": ["&"], "^": ["&"],
    "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "&=": ["|="], "|=": ["&="],
}
TOKEN = re.compile(r"""
      (?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n\\]|\\.|\\\n)*|\bstatic_assert\s*\(.*?\);|\basm\s*\([^;]*;|'(?:[^'\\]|\\.)+')
    | (?P<string>"(?:[^"\\\n]|\\.)*")
    | (?P<float>\b\d+\.\d*(?:[eE][+-]?\d+)?[fFlL]?)
    | (?P<integer>\b(?:0[xX][0-9a-fA-F]+|\d+)[uUlL]*\b)
    | (?P<word>\b(?:true|false)\b)
    | (?P<step>\+\+|--)
    | (?P<binary>(?<=[ ])(?:<<|>>|<=|>=|==|!=|&&|\|\||\+=|-=|\*=|/=|&=|\|=|[-+*/%&|^<>])(?=[ \n]))
    | (?P<not>!(?=[\w(]))
    | (?P<identifier>[A-Za-z_]\w*)
    """, re.VERBOSE | re.MULTILINE | re.DOTALL)


class Mutant:
    def __init__(self, path, text, start, end, replacement):
        self.path = path
        self.content = text[:start] + replacement + text[end:]
        begin = text.rfind("\n", 0, start) + 1
        stop = text.find("\n", start)
        self.line = text.count("\n", 0, start) + 1
        self.before = text[begin:stop].strip()
        self.after = (text[begin:start] + replacement + text[end:stop]).strip()

    def key(self):
        return (self.path, self.before, self.after)

    def __str__(self):
        return f"{self.path}:{self.line}: {self.before}  ->  {self.after}"


def replacements(kind, token):
    if kind == "string":
        # Text is a constant too: one letter more.
        return ['"~' + token[1:]]
    if kind == "float":
        return [re.sub(r"^\d+", lambda digits: str(int(digits.group()) + 1), token)]
    if kind == "integer":
        digits = re.match(r"0[xX][0-9a-fA-F]+|\d+", token).group()
        suffix = token[len(digits):]
        value = int(digits, 0) if not re.fullmatch(r"0\d+", digits) else int(digits, 8)
        values = [value + 1] + ([value - 1] if value > 0 else [])
        return [str(changed) + suffix for changed in values]
    if kind == "word":
        return ["false" if token == "true" else "true"]
    if kind == "step":
        return ["--" if token == "++" else "++"]
    if kind == "not":
        return [""]
    return BINARY.get(token, [])


def mutants_of(path, text):
    found = []
    for match in TOKEN.finditer(text):
        kind = match.lastgroup
        if kind in ("skip", "identifier"):
            continue
        for replacement in replacements(kind, match.group()):
            found.append(Mutant(path, text, match.start(), match.end(), replacement))
    return found


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace", **options)


def must(command, **options):
    result = run(command, **options)
    if result.returncode != 0:
        sys.exit(f"mutate: {' '.join(command)} failed:\n{result.stdout}")
    return result.stdout


class Build:
    """The library of the three rooms and the tests, unoptimised; the library is shared, so that a mutant costs the
    compilation of what it changes and one link."""

    def __init__(self, directory):
        self.directory = os.path.abspath(directory)
        self.tree = os.path.join(self.directory, "tree")
        self.objects = os.path.join(self.directory, "objects")
        self.compiler = os.environ.get("CXX", "g++")
        includes = must(["pkg-config", "--cflags"] + PACKAGES).split()
        self.libraries = must(["pkg-config", "--libs"] + PACKAGES).split() + ["-lgtest_main", "-lgtest"]
        self.flags = ["-std=c++17", "-O0", "-w", "-fPIC", "-pthread", "-ffp-contract=off", f'-DSOURCE_DIR="{self.tree}"'] + includes
        self.library_sources = []
        self.depends = {}  # source -> the files of the tree that it includes

    def copy_tree(self):
        marker = os.path.join(self.directory, MARKER)
        if os.path.isdir(self.directory) and os.listdir(self.directory) and not os.path.exists(marker):
            sys.exit(f"mutate: {self.directory} is not empty and not of an earlier run; name a new directory")
        shutil.rmtree(self.directory, ignore_errors=True)
        os.makedirs(self.objects)
        open(marker, "w", encoding="utf-8").close()
        for part in ROOMS + ["tests/unit", "tests/support", "tests/golden", "tests/fixtures", "docs"]:
            shutil.copytree(os.path.join(ROOT, part), os.path.join(self.tree, part), symlinks=True)
        for room in ROOMS:
            for name in sorted(os.listdir(os.path.join(self.tree, room))):
                if name.endswith(".cpp"):
                    self.library_sources.append(f"{room}/{name}")
        # Facts about one build; any will do.
        text = read(os.path.join(self.tree, "config/build_info.cpp.in"))
        self.write("config/build_info.cpp", re.sub(r"@\w+@", "unknown", text), self.tree)
        self.library_sources.append("config/build_info.cpp")

    @staticmethod
    def write(path, text, base):
        target = os.path.join(base, path)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(target, "w", encoding="utf-8") as file:
            file.write(text)

    def object_of(self, source, base=None):
        return os.path.join(base or self.objects, source.replace("/", "_") + ".o")

    def compile(self, source, overlay=None, to=None):
        where = self.tree
        includes = ["-I" + self.tree]
        if overlay:
            includes.insert(0, "-I" + overlay)
            if os.path.exists(os.path.join(overlay, source)):
                where = overlay
        target = self.object_of(source, to)
        result = run([self.compiler] + self.flags + includes + ["-MMD", "-c", os.path.join(where, source), "-o", target])
        return result

    def link_library(self, target, changed=None, to=None):
        objects = [self.object_of(source, to if source in (changed or ()) else None) for source in self.library_sources]
        return run([self.compiler, "-shared", "-pthread", "-Wl,-soname,libmutated.so", "-o", target] + objects + self.libraries)

    @staticmethod
    def test_sources(test):
        return [f"tests/unit/{test}.cpp"] + EXTRA_SOURCES.get(test, [])

    def link_test(self, test, library, target, changed=None, to=None):
        objects = [self.object_of(source, to if source in (changed or ()) else None) for source in self.test_sources(test)]
        return run([self.compiler, "-pthread", "-o", target] + objects + [library] + self.libraries)

    def prepare(self, tests, jobs):
        sources = set(self.library_sources)
        for test in tests:
            sources.update(self.test_sources(test))
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            for source, result in zip(sorted(sources), pool.map(self.compile, sorted(sources))):
                if result.returncode != 0:
                    sys.exit(f"mutate: {source} does not compile:\n{result.stdout}")
        for source in sources:
            words = read(self.object_of(source)[:-2] + ".d").replace("\\\n", " ").split()
            inside = [os.path.relpath(word, self.tree) for word in words if word.startswith(self.tree)]
            self.depends[source] = set(inside)
        self.library = os.path.join(self.objects, "libmutated.so")
        result = self.link_library(self.library)
        if result.returncode != 0:
            sys.exit(f"mutate: the library does not link:\n{result.stdout}")
        for test in tests:
            result = self.link_test(test, self.library, self.test_program(test))
            if result.returncode != 0:
                sys.exit(f"mutate: {test} does not link:\n{result.stdout}")

    def test_program(self, test, base=None):
        return os.path.join(base or self.objects, test.replace("/", "_"))


def limits(seconds):
    resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
    resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def passes(program, library_directory, scratch, seconds):
    """True when the test program passes; what hangs, crashes or fails does not. The time is the processor's; a program
    that waits for ever is ended after twenty times as long."""
    os.makedirs(scratch, exist_ok=True)
    environment = dict(os.environ, LD_LIBRARY_PATH=library_directory)
    try:
        result = run([program, "--gtest_brief=1", "--gtest_fail_fast"], cwd=scratch, env=environment, timeout=20 * seconds,
                     preexec_fn=lambda: limits(seconds))
    except subprocess.TimeoutExpired:
        return False
    return result.returncode == 0


def judge(build, mutant, tests, base):
    """'killed', 'survived' or 'no mutant'."""
    shutil.rmtree(base, ignore_errors=True)
    overlay = os.path.join(base, "overlay")
    build.write(mutant.path, mutant.content, overlay)
    same = True
    changed = [source for source, files in build.depends.items() if mutant.path in files]
    for source in changed:
        in_tests = source.startswith("tests/")
        if in_tests and not any(source in build.test_sources(test) for test in tests):
            continue
        if build.compile(source, overlay, base).returncode != 0:
            return "no mutant"
        same = same and filecmp.cmp(build.object_of(source), build.object_of(source, base), shallow=False)
    if same:
        return "no mutant"
    if build.link_library(os.path.join(base, "libmutated.so"), changed, base).returncode != 0:
        return "no mutant"
    for test in tests:
        program = build.test_program(test)
        if any(source in changed for source in build.test_sources(test)):
            program = build.test_program(test, base)
            if build.link_test(test, os.path.join(base, "libmutated.so"), program, changed, base).returncode != 0:
                return "no mutant"
        if not passes(program, base, os.path.join(base, "scratch"), TEST_SECONDS):
            return "killed"
    return "survived"


def read_equivalents():
    """(file, line before, line after) -> reason. Four lines each, a blank line between; '#' begins a comment."""
    known = {}
    blocks = re.split(r"\n\s*\n", "\n".join(line for line in read(EQUIVALENTS).splitlines() if not line.startswith("#")))
    for block in blocks:
        lines = [line.strip() for line in block.strip().splitlines()]
        if not lines:
            continue
        if len(lines) != 4:
            sys.exit(f"mutate: {EQUIVALENTS}: expected file, line before, line after, reason; got {lines}")
        known[tuple(lines[:3])] = lines[3]
    return known


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--sample", type=int, help="this many mutants, chosen with the seed; all of them otherwise")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--directory", default=os.path.join(ROOT, "build", "mutation"))
    parser.add_argument("--list", action="store_true", help="list the mutants and end")
    parser.add_argument("files", nargs="*", metavar="FILE")
    arguments = parser.parse_args()

    chosen = arguments.files or list(FILES)
    for path in chosen:
        if path not in FILES:
            sys.exit(f"mutate: {path} is not one of: {' '.join(FILES)}")
    build = Build(arguments.directory)
    build.copy_tree()
    equivalents = read_equivalents()
    mutants = []
    for path in chosen:
        mutants += mutants_of(path, read(os.path.join(build.tree, path)))
    total = len(mutants)
    if arguments.list:
        print("\n".join(map(str, mutants)))
        return 0
    if arguments.sample and arguments.sample < total:
        mutants = sorted(random.Random(arguments.seed).sample(mutants, arguments.sample), key=lambda m: (m.path, m.line))
    print(f"mutate: {len(mutants)} of {total} mutants, seed {arguments.seed}", flush=True)

    tests = sorted({test for path in chosen for test in FILES[path]})
    began = time.monotonic()
    build.prepare(tests, arguments.jobs)
    for test in tests:
        if not passes(build.test_program(test), build.objects, os.path.join(build.directory, "scratch"), TEST_SECONDS):
            sys.exit(f"mutate: {test} fails on the unchanged sources")
    print(f"mutate: {len(tests)} tests built, pass on the unchanged sources, {time.monotonic() - began:.0f} s", flush=True)

    places = queue.Queue()
    for number in range(arguments.jobs):
        places.put(os.path.join(build.directory, f"job{number}"))

    def one(mutant):
        place = places.get()
        try:
            return mutant, judge(build, mutant, FILES[mutant.path], place)
        finally:
            places.put(place)

    verdicts = {path: {"killed": 0, "survived": 0, "no mutant": 0, "equivalent": 0} for path in chosen}
    survivors, wrong = [], []
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for mutant, verdict in pool.map(one, mutants):
            if mutant.key() in equivalents:
                if verdict == "killed":
                    wrong.append(mutant)
                elif verdict == "survived":
                    verdict = "equivalent"
            if verdict == "survived":
                survivors.append(mutant)
                print(f"survived: {mutant}", flush=True)
            verdicts[mutant.path][verdict] += 1

    print(f"\n{'file':34} {'killed':>7} {'survived':>9} {'percent':>8} {'equivalent':>11} {'no mutant':>10}")
    sums = {"killed": 0, "survived": 0, "no mutant": 0, "equivalent": 0}
    for path, verdict in list(verdicts.items()) + [("all", sums)]:
        counted = verdict["killed"] + verdict["survived"]
        percent = f"{100 * verdict['killed'] / counted:.1f}" if counted else "-"
        print(f"{path:34} {verdict['killed']:7} {verdict['survived']:9} {percent:>8} {verdict['equivalent']:11} "
              f"{verdict['no mutant']:10}")
        if path != "all":
            for name, value in verdict.items():
                sums[name] += value
    print(f"{len(mutants)} of {total} mutants in {time.monotonic() - began:.0f} s")
    for mutant in wrong:
        print(f"mutate: listed as equivalent, yet noticed: {mutant}")
    counted = sums["killed"] + sums["survived"]
    if wrong or not counted or 100 * sums["killed"] < REQUIRED_PERCENT * counted:
        print(f"mutate: FAILED: at least {REQUIRED_PERCENT} % have to be noticed")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
