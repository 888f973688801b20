#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Says what programs and libraries of this project lack of the hardening that cmake/hardening.cmake asks for; status 1
# if anything. Only what stands in the files counts, whatever the build says.
#
#   scripts/check-hardening.sh [--unoptimised] READELF OBJDUMP FILE...
#     --unoptimised  the build has no _FORTIFY_SOURCE, which needs optimisation
#
# READELF and OBJDUMP must know the machine of the files (aarch64-linux-gnu-readelf for AArch64).
set -eu
optimised=yes
if [ "${1:-}" = --unoptimised ]; then
    optimised=
    shift
fi
[ $# -ge 3 ] || { echo "usage: check-hardening.sh [--unoptimised] READELF OBJDUMP FILE..." >&2; exit 2; }
readelf=$1 objdump=$2
shift 2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# landing_marks: how many places in the code are marked as targets of indirect branches. Nearly every function begins
# with one, and on x86-64 every handler of an exception has one too.
landing_marks()
{
    case $machine in
        *X86-64*) pattern='endbr64' ;;
        *AArch64*) pattern='bti|paciasp' ;;
    esac
    "$objdump" -d --no-show-raw-insn -j .text "$1" | grep -cE "[[:space:]]($pattern)([[:space:]]|\$)" || true
}

# faults_of FILE: one line per fault.
faults_of()
{
    "$readelf" -W -h "$1" > "$work/header" 2>&1 || { echo "is not an ELF file"; return; }
    "$readelf" -W -d "$1" > "$work/dynamic"
    "$readelf" -W -l "$1" > "$work/segments"
    "$readelf" -W --dyn-syms "$1" | awk '$7 == "UND" { print $8 }' | sed 's/@.*//' > "$work/imports"
    machine=$(sed -n 's/^ *Machine: *//p' "$work/header")

    grep -q 'Type: *DYN' "$work/header" || echo "is not position-independent"
    case $1 in
        *.so) ;;
        *) grep -Eq '\(FLAGS_1\).*PIE' "$work/dynamic" || echo "is not linked as a position-independent program" ;;
    esac
    grep -q GNU_RELRO "$work/segments" || echo "has no read-only relocations (RELRO)"
    grep -Eq '\((FLAGS|FLAGS_1|BIND_NOW)\).*(NOW|BIND_NOW)|\(BIND_NOW\)' "$work/dynamic" ||
        echo "is not bound at start (NOW): its RELRO is partial"
    if ! grep -q GNU_STACK "$work/segments"; then
        echo "says nothing about its stack (GNU_STACK)"
    elif grep GNU_STACK "$work/segments" | grep -q RWE; then
        echo "asks for an executable stack"
    fi
    if grep LOAD "$work/segments" | grep -q 'RWE'; then echo "has memory that is writable and executable"; fi
    if grep -Eq '\((RPATH|RUNPATH)\)' "$work/dynamic"; then echo "has a run path"; fi
    if grep -Eq '\(TEXTREL\)|\(FLAGS\).*TEXTREL' "$work/dynamic"; then echo "has text relocations"; fi
    grep -qx __stack_chk_fail "$work/imports" || echo "has no stack protector"
    grep -q __glibcxx_assert_fail "$work/imports" || echo "has unchecked containers (_GLIBCXX_ASSERTIONS)"
    case $optimised,$(basename "$1") in
        # Nothing in tarnix-config writes into a buffer of a known size.
        ,* | yes,tarnix-config) ;;
        *) grep -v '^__stack_chk' "$work/imports" | grep -q '^__.*_chk$' || echo "has no fortified call (_FORTIFY_SOURCE)" ;;
    esac

    case $machine in
        *X86-64* | *AArch64*) ;;
        *) return ;;
    esac
    functions=$("$readelf" --debug-dump=frames "$1" 2>/dev/null | grep -c ' FDE ' || true)
    marks=$(landing_marks "$1")
    [ "$functions" -gt 0 ] || echo "has no unwind tables to count its functions by"
    [ $((marks * 2)) -ge "$functions" ] ||
        echo "has no branch protection: $marks marked branch targets for $functions functions"
    case $machine in
        *AArch64*)
            signed=$("$objdump" -d --no-show-raw-insn -j .text "$1" | grep -cE '[[:space:]]paciasp([[:space:]]|$)' || true)
            # A signature is a target as well; functions that call nothing have no signature, but a mark of their own.
            "$objdump" -d --no-show-raw-insn -j .text "$1" | grep -qE '[[:space:]]bti([[:space:]]|$)' ||
                echo "has no marks of indirect branch targets (bti)"
            [ $((signed * 2)) -ge "$functions" ] ||
                echo "has unsigned return addresses: $signed signed for $functions functions" ;;
    esac
}

status=0
for file in "$@"; do
    marks=unknown functions=unknown
    faults_of "$file" > "$work/faults"
    if [ -s "$work/faults" ]; then
        sed "s|^|$file: |" "$work/faults"
        status=1
    else
        echo "$file: hardened ($machine, $marks marked branch targets for $functions functions)"
    fi
done
exit $status
