#!/bin/sh
# SPDX-License-Identifier: MIT
#
# What the shipped file offers and asks for, against the golden lists: exported names with their kinds (T function,
# W weak function, D data), needed libraries, and the properties that a hardened library has. GCC makes virtual
# tables and type information weak and clang does not, so every kind of data is one here; the dynamic linker
# (ld-linux*), which is part of the C library, is needed by name on some machines only and left out.
#
# usage: exports_test.sh NM READELF GOLDEN_DIR SANITIZERS LIBRARY [REFUSED]
#   REFUSED  a library that has to be refused, which shows that the comparison can fail
# With UPDATE_GOLDEN=1 in the environment the golden lists are written from LIBRARY instead.
set -eu
. "$(dirname "$0")/../support/script.sh"

nm=$1 readelf=$2 golden=$3 sanitizers=$4 library=$5 refused=${6:-}
[ "$sanitizers" = none ] || skip "the sanitizers ($sanitizers) bring symbols and libraries of their own"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

exports_of()
{
    "$nm" -D --defined-only "$1" | awk '{ kind = $2; if (kind ~ /^[VDRB]$/) kind = "D"; print kind, $3 }' | LC_ALL=C sort -k 2
}

needed_of()
{
    "$readelf" -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -v '^ld-linux' | LC_ALL=C sort
}

# hardening_of LIBRARY: one line per fault.
hardening_of()
{
    "$readelf" -W -d "$1" > "$work/dynamic"
    "$readelf" -W -l "$1" > "$work/segments"
    if grep -E '\((RPATH|RUNPATH)\)' "$work/dynamic"; then echo "has a run path"; fi
    if grep -E '\(TEXTREL\)' "$work/dynamic"; then echo "has text relocations"; fi
    grep -q 'soname: \[libscenario_numa.so\]' "$work/dynamic" || echo "has another name than libscenario_numa.so"
    grep -Eq '\((FLAGS|BIND_NOW)\).*BIND_NOW|\(BIND_NOW\)' "$work/dynamic" || echo "is not bound at load (BIND_NOW)"
    grep -q 'GNU_RELRO' "$work/segments" || echo "has no read-only relocations (GNU_RELRO)"
    grep -q 'GNU_STACK' "$work/segments" || echo "says nothing about its stack (GNU_STACK)"
    if grep 'GNU_STACK' "$work/segments" | grep -q 'RWE'; then echo "asks for an executable stack"; fi
    if "$nm" -D --defined-only "$1" | grep ' u '; then echo "exports a unique symbol, which pins it in memory"; fi
}

# check LIBRARY: prints what is wrong with it; status 1 if something is.
check()
{
    exports_of "$1" > "$work/exports"
    needed_of "$1" > "$work/needed"
    hardening_of "$1" > "$work/faults"
    status=0
    diff -u "$golden/exports.txt" "$work/exports" || { echo "$1: exports differ from $golden/exports.txt"; status=1; }
    diff -u "$golden/needed.txt" "$work/needed" || { echo "$1: needed libraries differ from $golden/needed.txt"; status=1; }
    if [ -s "$work/faults" ]; then
        sed "s|^|$1: |" "$work/faults"
        status=1
    fi
    return $status
}

if [ "${UPDATE_GOLDEN:-}" = 1 ]; then
    exports_of "$library" > "$golden/exports.txt"
    needed_of "$library" > "$golden/needed.txt"
    echo "golden lists written from $library"
fi

check "$library" || fail "if the change is meant, run this test once with UPDATE_GOLDEN=1"
echo "$(wc -l < "$golden/exports.txt") exported names and $(wc -l < "$golden/needed.txt") needed libraries, as listed"
if [ -n "$refused" ]; then
    if check "$refused" > "$work/refusal"; then
        fail "$refused passes, although it exports everything"
    fi
    for fault in 'exports differ' 'another name'; do
        grep -q "$fault" "$work/refusal" || fail "$refused: expected the fault \"$fault\""
    done
fi
