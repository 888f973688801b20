#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Every header of ours compiles alone, first in a file and twice in it, with both compilers.
#
# usage: headers_test.sh SOURCE_DIR WORK_DIR
set -eu
. "$(dirname "$0")/../support/script.sh"

source=$1 work=$2
rm -rf "$work/planted"
mkdir -p "$work"
launcher=
if have ccache; then launcher=ccache; fi

# check_headers ROOT COMPILER: compiles every header below ROOT's rooms; status 1 with the compiler's words if one
# does not stand alone. Objects are written for the compiler cache's sake: it makes the second run a short one.
check_headers()
{
    root=$1
    ( cd "$root" && find scenario config common host tools -name '*.h' 2>/dev/null | LC_ALL=C sort ) > "$work/headers"
    while read -r header; do
        unit=$work/$(echo "$header" | tr '/' '_').cpp
        printf '#include "%s"\n#include "%s"\n' "$header" "$header" > "$unit"
        echo "$unit"
    done < "$work/headers" > "$work/units"
    # shellcheck disable=SC2086
    xargs -P "$(nproc)" -I UNIT $launcher "$2" -std=c++17 -Wall -Wextra -Wpedantic -Werror -I"$root" $includes \
        -c UNIT -o UNIT.o < "$work/units"
}

includes=
for package in log4cplus yaml-cpp libsafec numa; do
    includes="$includes $(pkg-config --cflags $package 2>/dev/null || true)"
done

compilers=0
for compiler in g++ clang++; do
    if ! have "$compiler"; then
        echo "$compiler is not installed: left out"
        continue
    fi
    compilers=$((compilers + 1))
    check_headers "$source" "$compiler" || fail "$compiler: a header does not stand alone"
    echo "$compiler: $(wc -l < "$work/headers") headers"
    for header in framework.h numa_scenario.h numa_scenario_ins.h get_instance.h; do
        grep -qx "scenario/$header" "$work/headers" || fail "scenario/$header was not among them"
    done

    # The check can fail: a header that leans on its includer, and one without a guard.
    mkdir -p "$work/planted/scenario"
    echo 'inline std::string Text();' > "$work/planted/scenario/leaning.h"
    if check_headers "$work/planted" "$compiler" > /dev/null 2>&1; then fail "a header without its includes passes"; fi
    echo 'struct Twice {};' > "$work/planted/scenario/leaning.h"
    if check_headers "$work/planted" "$compiler" > /dev/null 2>&1; then fail "a header without a guard passes"; fi
done
[ "$compilers" -gt 0 ] || skip "neither g++ nor clang++ is installed"
