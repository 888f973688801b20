#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the fuzz targets and runs each for SECONDS (default 60) on its kept corpus, two at a time. New finds stay in
# build/fuzz/corpus; the kept corpus is not changed.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
scripts/preset.sh fuzz
targets=("$@")
[ ${#targets[@]} -gt 0 ] || mapfile -t targets < <(cd build/fuzz/bin && ls ./*_fuzz | sed 's|^\./||')
[ ${#targets[@]} -gt 0 ] || { echo "fuzz: no target was built" >&2; exit 1; }

run_one() {
  local target=$1 kept=tests/fuzz/corpus/${1%_fuzz} work=build/fuzz/corpus/${1%_fuzz} log=build/fuzz/$1.log
  mkdir -p "$work"
  if ! "build/fuzz/bin/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
       -artifact_prefix="build/fuzz/$target-" "$work" "$kept" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "fuzz: $target FAILED, input kept in build/fuzz/$target-*"
    return 1
  fi
  echo "fuzz: $target $(awk '/number_of_executed_units/{print $2}' "$log") inputs in $seconds s"
}

failed=0
for ((i = 0; i < ${#targets[@]}; i += 2)); do
  pids=()
  for target in "${targets[@]:i:2}"; do
    run_one "$target" &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do
    wait "$pid" || failed=1
  done
done
exit $failed
