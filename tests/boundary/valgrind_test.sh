#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The ownership host under valgrind: no read of an unset byte, no leak, no double release. What the loader
# keeps of log4cplus stays reachable and does not count; valgrind.supp holds the one exception.
#
# usage: valgrind_test.sh native|cross SANITIZERS COMPILER_ID STRIP HOST LIBRARY
set -eu
. "$(dirname "$0")/../support/script.sh"

cross=$1 sanitizers=$2 compiler=$3 strip=$4 host=$5 library=$6
[ "$sanitizers" = none ] || skip "valgrind does not run programs built with sanitizers ($sanitizers)"
[ "$cross" = native ] || skip "valgrind runs programs of this machine only"
have valgrind || skip "valgrind is not installed (Debian: valgrind)"

# Debian's valgrind (3.19) gives up on the debug information that clang writes.
if [ "$compiler" != GNU ]; then
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    "$strip" --strip-debug -o "$work/host" "$host"
    "$strip" --strip-debug -o "$work/libscenario_numa.so" "$library"
    host=$work/host
    library=$work/libscenario_numa.so
fi

valgrind --quiet --leak-check=full --errors-for-leak-kinds=definite,indirect --error-exitcode=9 \
    --suppressions="$(dirname "$0")/valgrind.supp" "$host" "$library"
