#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Judges what a guest told on its console: every test that was to run reported "passed", and the run came to its end.
#
#   tests/guest/verdict.sh TOKEN EXPECTED CONSOLE
#
# EXPECTED has a line "program Suite.Name" for each test, CONSOLE is the text of the serial line. Result lines are those
# that begin with "@TOKEN ". Exit status: 0 good; 1 not, with what is wrong, the output of the programs that failed and the
# console's last lines.
set -euo pipefail
export LC_ALL=C
token=${1:?usage: verdict.sh TOKEN EXPECTED CONSOLE}
expected=${2:?usage: verdict.sh TOKEN EXPECTED CONSOLE}
console=${3:?usage: verdict.sh TOKEN EXPECTED CONSOLE}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

tr -d '\r' < "$console" > "$work/console"
awk -v mark="@$token" '$1 == mark && $2 == "test" { print $3, $4, $5 }' "$work/console" | sort > "$work/told"
sort "$expected" > "$work/expected"
good=yes
say() { echo "guest: $*" >&2; good=no; }

[ -s "$work/expected" ] || say "no test was to run: the list is empty"
[ -z "$(uniq -d "$work/expected")" ] || say "named twice in the list: $(uniq -d "$work/expected" | head -5)"
awk '{ print $1, $2 }' "$work/told" | uniq -d > "$work/twice"
while read -r test; do say "reported twice: $test"; done < "$work/twice"
while read -r test; do say "not reported: $test"; done < <(
  comm -23 "$work/expected" <(awk '{ print $1, $2 }' "$work/told" | sort -u))
while read -r test; do say "reported, but in no list: $test"; done < <(
  comm -13 "$work/expected" <(awk '{ print $1, $2 }' "$work/told" | sort -u))
while read -r program test verdict; do say "$verdict: $program $test"; done < <(awk '$3 != "passed"' "$work/told")
while read -r program status; do say "$program ended with status $status"; done < <(
  awk -v mark="@$token" '$1 == mark && $2 == "end" && $4 != "0" { print $3, $4 }' "$work/console")
grep -qFx "@$token done" "$work/console" || say "the guest did not come to its end (it hung, or the kernel panicked)"
if [ $good = no ]; then
  grep '^| ' "$work/console" >&2 || true
  echo "guest: the console's last lines:" >&2
  tail -n 40 "$work/console" | sed 's/^/    /' >&2
  exit 1
fi
echo "$(wc -l < "$work/told") tests passed, $(wc -l < "$work/expected") were to run"
