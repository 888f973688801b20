#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Line and branch coverage of our own code, room by room, measured with gcovr over every test of the coverage preset.
# Branches that the compiler makes for exceptions do not count: the way out of a call that throws, the clean-up after it,
# and whether a handler is for the exception at hand; nor does code that cannot be reached. What stands in a handler
# counts. Status 1 when a room has less than 95 % of its branches covered.
#
#   scripts/coverage.sh [--measure BUILD_DIR] [--list ROOM]
#     --measure BUILD_DIR   builds and runs nothing: measures what the tests of BUILD_DIR have left behind
#     --list ROOM           shows, for each file of ROOM, the lines with a branch that no test takes
set -euo pipefail
scripts=$(cd "$(dirname "$0")" && pwd)
source=$(cd "$scripts/.." && pwd)
required=95
build=
room_to_list=
while [ $# -gt 0 ]; do
  case $1,${2:-} in
    --measure,?*) build=$(cd "$2" && pwd); shift 2 ;;
    --list,?*) room_to_list=${2%/}; shift 2 ;;
    *) echo "usage: coverage.sh [--measure BUILD_DIR] [--list ROOM]" >&2; exit 2 ;;
  esac
done

if [ "$(dpkg-query -W -f='${db:Status-Status}' gcovr 2>/dev/null)" != installed ]; then
  echo "coverage: gcovr is missing; installing it"
  "$scripts/setup.sh" ci
fi
if [ -z "$build" ]; then
  build=$source/build/coverage
  # Counts of an earlier run are added to otherwise.
  [ ! -d "$build" ] || find "$build" -name '*.gcda' -delete
  tests=passed
  (cd "$source" && "$scripts/preset.sh" coverage) || tests=failed
  [ "$tests" = passed ] || { echo "coverage: tests failed; no figures" >&2; exit 1; }
fi
source=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$build/CMakeCache.txt")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
rooms=(scenario common config host tools/cli tools/numa_score tools/tarnix tools/tarnix_config tools/tnstat)
filters=()
for room in "${rooms[@]}"; do
  filters+=(--filter "$source/$room/")
done
# Of what is compiled several times, the objects of the shipped files count.
objects=()
for room in scenario common config host tools; do
  objects+=("$build/$room")
done
(cd "$source" && gcovr --root "$source" --object-directory "$build" -j "$(nproc)" "${filters[@]}" \
  --exclude-throw-branches --exclude-unreachable-branches --exclude-branches-by-pattern '.*} catch \(.*' \
  --gcov-executable "$scripts/gcov-throw-marks.py" \
  --json "$work/coverage.json" "${objects[@]}") > "$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }

python3 - "$work/coverage.json" "$required" "$room_to_list" "${rooms[@]}" <<'PROGRAM'
import collections
import json
import sys

report, required, listed, rooms = sys.argv[1], float(sys.argv[2]), sys.argv[3], sys.argv[4:]
lines, branches, files = collections.Counter(), collections.Counter(), collections.defaultdict(dict)
for file in json.load(open(report, encoding="utf-8"))["files"]:
    path = file["file"]
    room = next((room for room in rooms if path.startswith(room + "/")), None)
    if room is None:
        continue
    mine = files[room].setdefault(path, [0, 0, []])
    for line in file["lines"]:
        if line.get("gcovr/noncode"):
            continue
        lines[room, "all"] += 1
        lines[room, "covered"] += line["count"] > 0
        taken = [branch["count"] > 0 for branch in line["branches"] if not branch.get("gcovr/noncode")]
        branches[room, "all"] += len(taken)
        branches[room, "covered"] += sum(taken)
        mine[0] += len(taken)
        mine[1] += sum(taken)
        if not all(taken):
            mine[2].append("%d (%d of %d)" % (line["line_number"], sum(taken), len(taken)))

def percent(counter, room):
    return 100.0 * counter[room, "covered"] / counter[room, "all"] if counter[room, "all"] else 100.0

if listed:
    for path, (total, covered, missing) in sorted(files[listed].items(), key=lambda item: item[1][1] - item[1][0]):
        if missing:
            print("%s: %d of %d branches; lines %s" % (path, covered, total, ", ".join(missing)))
    print()
print("%-22s %16s %8s %18s %8s" % ("room", "lines", "percent", "branches", "percent"))
low = []
for room in rooms:
    print("%-22s %7d of %5d %8.1f %8d of %6d %8.1f" % (
        room, lines[room, "covered"], lines[room, "all"], percent(lines, room),
        branches[room, "covered"], branches[room, "all"], percent(branches, room)))
    if not files[room]:
        sys.exit("coverage: nothing was measured in %s" % room)
    if percent(branches, room) < required:
        low.append(room)
for total in ("all",):
    for counter in (lines, branches):
        for what in ("all", "covered"):
            counter[total, what] = sum(counter[room, what] for room in rooms)
print("%-22s %7d of %5d %8.1f %8d of %6d %8.1f" % (
    "all", lines["all", "covered"], lines["all", "all"], percent(lines, "all"),
    branches["all", "covered"], branches["all", "all"], percent(branches, "all")))
if low:
    sys.exit("coverage: below %.0f %% of the branches: %s" % (required, ", ".join(low)))
PROGRAM
