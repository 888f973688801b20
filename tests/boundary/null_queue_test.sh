#!/bin/sh
# SPDX-License-Identifier: MIT
#
# A queue that was never set is refused at every optimisation level of both compilers.
#
# usage: null_queue_test.sh SOURCE_DIR WORK_DIR PLUGIN_SOURCE...
set -eu
. "$(dirname "$0")/../support/script.sh"

source=$1 work=$2
shift 2
launcher=
if have ccache; then launcher=ccache; fi
flags="-std=c++17 -Wall -Wextra -Werror -I$source $(pkg-config --cflags log4cplus libsafec)"
libraries=$(pkg-config --libs log4cplus libsafec)
mkdir -p "$work"

# One line per object: compiler, level, source, object. Compiled side by side.
for compiler in g++ clang++; do
    if ! have "$compiler"; then
        echo "$compiler is not installed: left out"
        continue
    fi
    for level in -O0 -O1 -O2 -O3; do
        for file in "$source/tests/boundary/null_queue_program.cpp" "$@"; do
            echo "$compiler $level $file $work/$compiler$level-$(basename "$file" .cpp).o"
        done
    done
done > "$work/list"
while read -r compiler level file object; do
    echo "$launcher $compiler $level $flags -c $file -o $object"
done < "$work/list" | xargs -P "$(nproc)" -I LINE sh -c LINE || fail "the sources do not compile"

runs=0
for compiler in g++ clang++; do
    have "$compiler" || continue
    for level in -O0 -O1 -O2 -O3; do
        program=$work/$compiler$level
        # shellcheck disable=SC2086
        "$compiler" "$program"-*.o $libraries -o "$program"
        status=0
        "$program" || status=$?
        [ "$status" = 0 ] || fail "$compiler $level: exit status $status"
        echo "$compiler $level: refused, state as described"
        runs=$((runs + 1))
    done
done
[ "$runs" -gt 0 ] || skip "neither g++ nor clang++ is installed"
