#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The library and the programs as they are installed: hardened, each of them, by what stands in the file; and every
# source of theirs compiled with the flags that leave no trace to look for in each file.
#
# usage: hardening_test.sh SOURCE_DIR BUILD_DIR BUILD_TYPE READELF OBJDUMP CXX
set -eu
. "$(dirname "$0")/../support/script.sh"

source=$1 build=$2 type=$3 readelf=$4 objdump=$5 cxx=$6
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

unoptimised=
[ "$type" != Debug ] || unoptimised=--unoptimised
check()
{
    sh "$source/scripts/check-hardening.sh" $unoptimised "$readelf" "$objdump" "$@"
}

DESTDIR=$work/stage cmake --install "$build" > "$work/log" 2>&1 || { cat "$work/log" >&2; fail "cmake --install"; }
find "$work/stage" -type f -perm -100 > "$work/executable"
find "$work/stage" -type f -name '*.so*' >> "$work/executable"
sort -u "$work/executable" > "$work/candidates"
: > "$work/files"
while read -r file; do
    if "$readelf" -h "$file" > /dev/null 2>&1; then echo "$file" >> "$work/files"; fi
done < "$work/candidates"
for name in libscenario_numa.so numa-score tarnix tarnix-config tnstat; do
    grep -q "/$name\$" "$work/files" || fail "$name is not among the installed files"
done
# shellcheck disable=SC2046 # no path of the stage has a space in it
check $(cat "$work/files") || fail "not hardened; see cmake/hardening.cmake and the link options of the target"

# The flags of every source of the shipped files.
awk -v directory="$source/" '
    /"command":/ { command = $0 }
    /"file":/ {
        split($0, part, "\""); file = part[4]
        if (index(file, directory) != 1 || command ~ / -o (tests|bench)\//) next
        if (substr(file, length(directory) + 1) !~ /^(scenario|common|config|host|tools)\//) next
        print substr(file, length(directory) + 1) " " command
    }' "$build/compile_commands.json" > "$work/commands"
count=$(wc -l < "$work/commands")
[ "$count" -ge 100 ] || fail "only $count sources of our own in $build/compile_commands.json"
flags="-fstack-protector-strong -fstack-clash-protection -D_GLIBCXX_ASSERTIONS"
[ -n "$unoptimised" ] || flags="$flags -D_FORTIFY_SOURCE=2"
for flag in $flags; do
    grep -vF -e " $flag " "$work/commands" | cut -d ' ' -f 1 > "$work/without" || true
    [ ! -s "$work/without" ] || { cat "$work/without" >&2; fail "compiled without $flag"; }
done
if grep -E -e ' (-fno-stack-protector|-U_FORTIFY_SOURCE|-fcf-protection=none|-mbranch-protection=none) ' "$work/commands"; then
    fail "a flag takes hardening back"
fi
echo "$count sources compiled with $flags"

# The check can fail: a program with every fault.
{
    for number in 1 2 3 4 5 6 7 8 9 10 11 12; do echo "int f$number(int value) { return value + $number; }"; done
    echo 'int main(int count, char**) { return count; }'
} > "$work/soft.cpp"
"$cxx" -O0 -fno-pie -no-pie -fno-stack-protector -Wl,-z,norelro,-z,lazy,-z,execstack,-rpath,/nowhere \
    -o "$work/soft" "$work/soft.cpp" 2> "$work/log" || { cat "$work/log" >&2; fail "$cxx cannot link a plain program"; }
if check "$work/soft" > "$work/refusal"; then fail "a program without any hardening passes"; fi
for fault in 'is not position-independent' 'read-only relocations' 'is not bound at start' 'executable stack' \
             'has a run path' 'no stack protector' 'unchecked containers' 'no branch protection'; do
    grep -q "$fault" "$work/refusal" || { cat "$work/refusal" >&2; fail "no such fault found in a soft program: $fault"; }
done
