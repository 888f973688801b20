#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The whole chain as `./run --all` starts it: the page answers, and whatever ends it leaves nothing behind.
#
# usage: run_all_test.sh SCRIPT BINARIES
set -u
. "$(dirname "$0")/../support/script.sh"

script=$1 binaries=$2
work=$(mktemp -d)
export TMPDIR=$work/tmp
mkdir "$TMPDIR"
started=
trap '[ -n "$started" ] && kill -TERM "$started" 2>/dev/null; rm -rf "$work"' EXIT

# until COMMAND...: tries for up to 30 s.
eventually()
{
  local i
  for i in $(seq 300); do
    "$@" && return 0
    sleep 0.1
  done
  return 1
}
# get PORT PATH: prints the answer.
get()
{
  (exec 3<>"/dev/tcp/127.0.0.1/$1" && printf 'GET %s HTTP/1.0\r\n\r\n' "$2" >&3 && cat <&3) 2>/dev/null
}
serves() { get "$1" /metrics | grep -q '^tarnix_up 1$'; }
is_empty() { [ -z "$(ls -A "$TMPDIR")" ]; }
has_ended() { ! kill -0 "$1" 2>/dev/null; }
nobody_is_left() { ! pgrep -a -s "$1" > "$work/left"; }

have pgrep || skip "pgrep is not installed (Debian: procps)"

# In a session of its own, as a terminal's interrupt reaches all of it.
start()
{
  setsid "$script" "$binaries" "$1" > "$work/out" 2> "$work/err" &
  started=$!
}

port=0
for try in $(seq 20); do
  port=$((20000 + RANDOM % 30000))
  start "$port"
  eventually eval 'grep -q "^Ctrl-C ends it" "$work/out" || has_ended "$started"' || fail "no start: $(cat "$work/err")"
  has_ended "$started" || break
  grep -q 'choose another port' "$work/err" || fail "ended: $(cat "$work/err")"
done
eventually serves "$port" || fail "no metrics on port $port: $(cat "$work/out" "$work/err")"
get "$port" / | grep -qi '<html' || fail "no page on port $port"
grep -q "^page:    http://127.0.0.1:$port/\$" "$work/out" || fail "the address of the page is not printed"

# A second one on the same port ends with 1 and leaves the first alone.
TMPDIR=$work/second
mkdir "$TMPDIR"
"$script" "$binaries" "$port" > "$work/out2" 2> "$work/err2"
status=$?
[ "$status" = 1 ] || fail "a busy port ended it with $status"
grep -q '^run: choose another port: ./run --all PORT$' "$work/err2" || fail "no remedy: $(cat "$work/err2")"
is_empty || fail "a busy port left files: $(ls -R "$TMPDIR")"
TMPDIR=$work/tmp
serves "$port" || fail "the first one was ended too"

kill -INT -- "-$started"
eventually has_ended "$started" || fail "an interrupt does not end it"
eventually nobody_is_left "$started" || fail "an interrupt left processes: $(cat "$work/left")"
started=
is_empty || fail "an interrupt left files: $(ls -R "$TMPDIR")"

for wrong in x -1 9.9; do
  "$script" "$binaries" "$wrong" > "$work/out3" 2> "$work/err3" && fail "port '$wrong' is taken"
  grep -q "^run: the port is '$wrong', expected a number" "$work/err3" || fail "$(cat "$work/err3")"
done
echo "the page answered on port $port"
