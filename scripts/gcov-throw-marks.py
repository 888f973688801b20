#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Stands in for gcov under gcovr, which leaves out branches that gcov marks "(throw)", and marks all of them. gcov
itself does not mark what was never executed, nor the branches inside the clean-up that the compiler makes for an
exception and ascribes to a line of ordinary code. Both are found in the flow graph (.gcno): a way out of a call that is
not its normal one is a throw; what can be reached through throws alone is clean-up, or a handler. Branches in the body
of a handler stay unmarked: its lines have no ordinary code, and count. Arguments as of gcov of GCC 12."""
import collections
import os
import re
import struct
import subprocess
import sys

LINE = re.compile(r"\s*(?:-|[#=]{5,}|\d+\*?):\s*(\d+):")
BRANCH = re.compile(r"branch\s+\d+ ")
FUNCTION, BLOCKS, ARCS, LINES = 0x01000000, 0x01410000, 0x01430000, 0x01450000
FAKE, FALLTHROUGH = 2, 4


class Function:
    def __init__(self):
        self.blocks = 0
        self.arcs = collections.defaultdict(list)   # block -> (destination, flags); gcov lists them sorted
        self.lines = collections.defaultdict(list)  # block -> (source, line)

    def reached_plainly(self):
        seen, todo = {0}, [0]
        while todo:
            for destination, throw in self.ways(todo.pop()):
                if not throw and destination not in seen:
                    seen.add(destination)
                    todo.append(destination)
        return seen

    def ways(self, block):
        """(destination, is it a throw) for each way out of the block but those of the function's end."""
        is_call = any(flags & FAKE for _, flags in self.arcs[block])
        return [(destination, is_call and not flags & FALLTHROUGH)
                for destination, flags in sorted(self.arcs[block]) if not flags & FAKE]


def functions_of(path):
    with open(path, "rb") as file:
        data = file.read()
    if data[:4] != b"oncg" or data[7:3:-1][:2] != b"B2":
        raise ValueError(f"{path}: expected a flow graph of GCC 12, got {data[:8]!r}")
    at = 16

    def number():
        nonlocal at
        value = struct.unpack_from("<I", data, at)[0]
        at += 4
        return value

    def text():
        nonlocal at
        length = number()
        value = data[at:at + length].split(b"\0")[0].decode("utf-8", "surrogateescape")
        at += length
        return value

    text()    # working directory
    number()  # whether unexecuted blocks are supported
    found = []
    while at + 8 <= len(data):
        tag, length = number(), number()
        end = at + length
        if tag == FUNCTION:
            found.append(Function())
        elif tag == BLOCKS:
            found[-1].blocks = number()
        elif tag == ARCS:
            block = number()
            while at < end:
                found[-1].arcs[block].append((number(), number()))
        elif tag == LINES:
            block, source = number(), ""
            while at < end:
                line = number()
                if line:
                    found[-1].lines[block].append((source, line))
                else:
                    source = text()
        at = end
    return found


def marks_of(path):
    """(source, line) -> for each branch in gcov's order, whether it is to be marked. A block may stand on several lines,
    and gcov gives its branches to one of them: a list for the last, the highest and the first line."""
    ordinary = set()  # lines with code that is reached without an exception
    choices = (lambda places: places[-1], max, lambda places: places[0])
    found = [collections.defaultdict(list) for _ in choices]
    for function in functions_of(path):
        plain = function.reached_plainly()
        for block in range(2, function.blocks):
            if block in plain:
                ordinary.update(function.lines[block])
            ways = function.ways(block)
            if len(ways) > 1 and function.lines[block]:
                for choice, marks in zip(choices, found):
                    marks[choice(function.lines[block])] += [(throw, block not in plain) for _, throw in ways]
    return [{place: [throw or (cleanup and place in ordinary) for throw, cleanup in branches]
             for place, branches in marks.items()} for marks in found]


def add_marks(path, choices):
    with open(path, encoding="utf-8", errors="surrogateescape") as file:
        lines = file.read().split("\n")
    source = next((line.split(":Source:", 1)[1] for line in lines if ":Source:" in line), None)
    places = collections.defaultdict(list)
    number = 0
    for index, line in enumerate(lines):
        match = LINE.match(line)
        if match:
            number = int(match.group(1))
        elif BRANCH.match(line):
            places[number].append(index)
    for number, indices in places.items():
        for marks in choices:
            throws = marks.get((source, number), [])
            if len(throws) == len(indices) and all(throw or "(throw)" not in lines[index]
                                                   for throw, index in zip(throws, indices)):
                break
        else:
            if os.environ.get("THROW_MARKS_DEBUG"):
                print(f"{source}:{number}: the graph does not explain {len(indices)} branches", file=sys.stderr)
            continue  # all of them count
        for throw, index in zip(throws, indices):
            if throw:
                branch = re.match(r"branch\s+\d+ ", lines[index]).group()
                taken = re.search(r"taken \d+", lines[index])
                lines[index] = f"{branch}{taken.group() if taken else 'taken 0'} (throw)"
    with open(path, "w", encoding="utf-8", errors="surrogateescape") as file:
        file.write("\n".join(lines))


def main():
    arguments = sys.argv[1:]
    result = subprocess.run(["gcov", *arguments], stdout=subprocess.PIPE, text=True, check=False)
    sys.stdout.write(result.stdout)
    written = [name for name in re.findall(r"^Creating '(.*)'$", result.stdout, re.MULTILINE) if os.path.exists(name)]
    counts = next((argument for argument in arguments if argument.endswith((".gcda", ".gcno"))), None)
    if result.returncode == 0 and written and counts:
        marks = marks_of(re.sub(r"\.gcda$", ".gcno", counts))
        for name in written:
            add_marks(name, marks)
    return result.returncode


if __name__ == "__main__":
    sys.exit(main())
