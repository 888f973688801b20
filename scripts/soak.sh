#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Runs the plug-in and the runtime services for as long as servers do: 10^7 publish periods, bare and through the host's
# pump; 10^6 dumps with four readers; 10^4 reloads; 10^7 log lines from eight threads under rotation; 10^3 loads and
# unloads, also with a running watchdog. Prints the figures of each; fails when memory grew by more than 1 MiB from the
# end of the warm-up (a tenth of the run), when a descriptor or a thread is left, or when anything was wrong on the way.
#
#   scripts/soak.sh [--short] [PROGRAMS]
#
# --short makes a few seconds of each; PROGRAMS is a directory with the programs, which are built otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."

divisor=1
if [ "${1:-}" = --short ]; then
  divisor=500
  shift
fi
case "$#${1:-}" in
  0|1[!-]*) ;;
  *) echo "usage: soak.sh [--short] [PROGRAMS]" >&2; exit 2 ;;
esac
programs=${1:-build/soak/bin}

if [ $# -eq 0 ]; then
  command -v ccache >/dev/null && export CXX_LAUNCHER=ccache
  cmake -S . -B build/soak -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=g++ \
        -DCMAKE_CXX_COMPILER_LAUNCHER="${CXX_LAUNCHER:-}" -DSCENARIO_NUMA_WERROR=ON >/dev/null
  cmake --build build/soak --target soak_programs
fi

failed=0
run() { # program, name, rounds, the fewest that mean something
  local rounds=$(($3 / divisor))
  "$programs/$1" "$2" $((rounds > $4 ? rounds : $4)) || failed=1
}
run plugin_soak bare 10000000 1000
run plugin_soak pump 10000000 1000
run service_soak dumps 1000000 1000
run service_soak reloads 10000 50
run service_soak log 10000000 10000
run plugin_soak load 1000 60
run plugin_soak watchdog 1000 60
[ "$failed" -eq 0 ] && echo "soak: all good" || echo "soak: FAILED" >&2
exit $failed
