#!/bin/sh
# SPDX-License-Identifier: MIT
#
# scripts/gcov-throw-marks.py marks the branches that the compiler made for exceptions, and leaves those that somebody
# wrote, also in code that never ran and inside a handler.
#
#   throw_marks_test.sh SOURCE_DIR COMPILER
set -eu
source=$1 compiler=$2
for tool in gcov python3; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done
case $("$compiler" -dumpversion) in
  12*) ;;
  *) echo "skipped: the flow graph that is read is that of GCC 12"; exit 77 ;;
esac
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cat > sample.cpp <<'PROGRAM'
#include <string>
#include <vector>
std::string Name(int number);
struct Guard { ~Guard(); bool open = true; };
int closed = 0;
Guard::~Guard() { closed += open ? 1 : 0; }                       // condition
std::string Plain(int number)
{
    Guard guard;
    std::string text = Name(number) + Name(number + 1);           // calls
    if (number > 2 && text.empty()) {                             // written
        text += Name(3);                                          // calls
    }
    return text;
}
int Handled(int number)
{
    try {
        return static_cast<int>(Plain(number).size());            // calls
    } catch (const std::bad_alloc&) {
        return number > 7 ? 1 : 2;                                // written in a handler
    }
}
std::string NeverRun(int number)
{
    std::vector<std::string> all;
    for (int i = 0; i < number; ++i) {                            // written, not run
        all.push_back(Name(i));                                   // calls
    }
    return all.front();
}
PROGRAM
cat > main.cpp <<'PROGRAM'
#include <string>
std::string Name(int number) { return std::to_string(number); }
int Handled(int number);
int main() { return Handled(1) == 2 ? 0 : 1; }
PROGRAM
"$compiler" -std=c++17 -O0 -g --coverage -c sample.cpp main.cpp
"$compiler" --coverage sample.o main.o -o sample
./sample
python3 "$source/scripts/gcov-throw-marks.py" --branch-counts --branch-probabilities sample.gcda > log

# "line plain thrown": how many branches of each line stay, and how many are marked.
counts() {
  awk '/^ *[-#=0-9*]+: *[0-9]+:/ { split($0, part, ":"); line = part[2] + 0 }
       /^branch/ { if (/\(throw\)/) thrown[line]++; else plain[line]++; seen[line] = 1 }
       END { for (line in seen) print line, plain[line] + 0, thrown[line] + 0 }' sample.cpp.gcov | sort -n
}
counts > found
failed=0
expect() { # COMMENT PLAIN THROWN [WHICH LINE WITH IT]; a call has a way on and a way out
  line=$(grep -n "// $1\$" sample.cpp | head -n "${4:-1}" | tail -n 1 | cut -d: -f1)
  got=$(awk -v line="$line" '$1 == line { print $2, $3 }' found)
  if [ "$got" != "$2 $3" ]; then
    echo "line $line ($1): expected $2 branches of the source and $3 of exceptions, got '$got'"
    failed=1
  fi
}
expect condition 2 0
expect calls 3 3 1
expect written 6 0
expect calls 2 2 2
expect calls 1 1 3
expect 'written in a handler' 2 0
expect 'written, not run' 2 0
expect calls 2 2 4

# Without the marks gcov says otherwise of what never ran, or the test would tell nothing.
gcov --branch-counts --branch-probabilities sample.gcda > log
counts > plain_gcov
if cmp -s found plain_gcov; then
  echo "gcov marks the same by itself"
  failed=1
fi
[ "$failed" -eq 0 ] || cat found
exit "$failed"
