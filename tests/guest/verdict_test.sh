#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The judge of the guest's console lets nothing pass that did not pass.
#
#   verdict_test.sh SOURCE_DIR
set -euo pipefail
here=${1:?usage: verdict_test.sh SOURCE_DIR}/tests/guest
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

printf '%s\n' 'a_test One.Works' 'a_test One.Fails' 'b_test Two.Works/0' > "$work/expected"
console() { printf '%s\r\n' '[    0.0] Booting' '@T booted after 1 s' "$@"; }
good=('@T begin a_test' '@T test a_test One.Works passed 0.1' '@T test a_test One.Fails passed 0' '@T end a_test 0'
      '@T begin b_test' '@T test b_test Two.Works/0 passed 0' '@T end b_test 0')

# judge STATUS TEXT NAME LINE...: the verdict on a console of these lines, and a text that has to be in it.
judge()
{
  local status=$1 text=$2 name=$3 got=0
  shift 3
  console "$@" > "$work/console"
  bash "$here/verdict.sh" T "$work/expected" "$work/console" > "$work/out" 2>&1 || got=$?
  if [ "$got" != "$status" ] || ! grep -qF -- "$text" "$work/out"; then
    echo "FAILED: $name: status $got, expected $status and \"$text\" in:" >&2
    cat "$work/out" >&2
    exit 1
  fi
}

judge 0 '3 tests passed, 3 were to run' good "${good[@]}" '@T done'
judge 1 'did not come to its end' 'without an end' "${good[@]}"
judge 1 'Kernel panic' 'a panic is shown' "${good[@]}" 'Kernel panic - not syncing'
judge 1 'not reported: b_test Two.Works/0' 'a missing line' "${good[@]:0:5}" '@T end b_test 0' '@T done'
judge 1 'not reported: a_test One.Fails' 'a broken line' "${good[@]:0:2}" '@T test a_test One.Fa' "${good[@]:3}" '@T done'
judge 1 'failed: a_test One.Fails' 'a failure' "${good[@]:0:2}" '@T test a_test One.Fails failed 0' "${good[@]:3}" '@T done'
judge 1 'skipped: a_test One.Fails' 'a skipped test' "${good[@]:0:2}" '@T test a_test One.Fails skipped 0' "${good[@]:3}" '@T done'
judge 1 'b_test ended with status 137' 'a program that was killed' "${good[@]:0:6}" '@T end b_test 137' '@T done'
judge 1 'not reported: a_test One.Works' 'a forged token' '@U test a_test One.Works passed 0' "${good[@]:2}" '@T done'
judge 1 'not reported: a_test One.Works' 'text of a test' '| @T test a_test One.Works passed 0' "${good[@]:2}" '@T done'
judge 1 'reported twice: a_test One.Works' 'twice' "${good[@]}" "${good[1]}" '@T done'
judge 1 'in no list: c_test Three.Works' 'a stranger' "${good[@]}" '@T test c_test Three.Works passed 0' '@T done'
judge 1 '| why' 'output of a failure is shown' "${good[@]:0:6}" '| why' '@T end b_test 1' '@T done'
: > "$work/expected"
judge 1 'the list is empty' 'nothing to run' '@T done'

# What GoogleTest writes becomes those lines.
cat > "$work/result.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<testsuites tests="4" failures="1" name="AllTests">
  <testsuite name="One" tests="3">
    <testcase name="Works" file="a.cpp" line="1" status="run" result="completed" time="0.25" timestamp="t" classname="One" />
    <testcase name="Fails" file="a.cpp" line="2" status="run" result="completed" time="1." timestamp="t" classname="One">
      <failure message="a&#x0A;b" type=""><![CDATA[a.cpp:3
    </testcase of text]]></failure>
    </testcase>
    <testcase name="Skips" file="a.cpp" line="2" status="run" result="skipped" time="0." timestamp="t" classname="One">
      <skipped message="no"><![CDATA[no]]></skipped>
    </testcase>
    <testcase name="Off/0" value_param="1" file="a.cpp" line="2" status="notrun" result="suppressed" time="0." timestamp="t" classname="One" />
  </testsuite>
</testsuites>
XML
awk -v prefix='@T test a' -f "$here/results.awk" "$work/result.xml" > "$work/out"
printf '%s\n' '@T test a One.Works passed 0.25' '@T test a One.Fails failed 1.' '@T test a One.Skips skipped 0.' \
  '@T test a One.Off/0 skipped 0.' | diff - "$work/out"
echo "verdicts are right"
