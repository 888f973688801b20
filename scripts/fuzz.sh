#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the fuzz targets and runs them on their kept corpora, two at a time. New finds stay below build/fuzz; the
# kept corpora are not changed.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]     each target for SECONDS (60)
#   scripts/fuzz.sh --long DIR [TARGET...]    each target for 10^8 inputs (config_yaml 10^7, process_pattern 10^5), in
#                                             chunks; goes on where an earlier run with DIR stopped. Made for speed:
#                                             without AddressSanitizer, which gets what was found at the end
#   scripts/fuzz.sh --progress DIR            what the long run has done so far
#   scripts/fuzz.sh --keep TARGET             adds to the kept corpus what build/fuzz/corpus reaches beyond it
set -euo pipefail
cd "$(dirname "$0")/.."

# Longest input: what the text is in life, and a bit more. Longer kept inputs are cut.
declare -A longest=([command_line]=192 [config_yaml]=1024 [list_splitter]=64 [metrics_file]=1300 [number_address]=80
                    [pmu_description]=160 [proc_stat]=400 [process_pattern]=96 [procfs_text]=400 [recording]=500
                    [score_differential]=256)

options_of() {
  local name=${1%_fuzz} dictionary=tests/fuzz/dict/${1%_fuzz}.dict
  echo "-max_len=${longest[$name]:-512} -timeout=10 -rss_limit_mb=2048 -print_final_stats=1"
  [ ! -f "$dictionary" ] || echo "-dict=$dictionary"
}

# Inputs that a target made; those that it only read from its corpora do not count.
inputs_in() {
  awk '$2 == "INITED" {read = substr($1, 2)} /number_of_executed_units/ {made = $2} END {print made - read}' "$1"
}

# One target for a while; $2 is the time.
run_one() {
  local target=$1 kept=tests/fuzz/corpus/${1%_fuzz} work=build/fuzz/corpus/${1%_fuzz} log=build/fuzz/$1.log
  mkdir -p "$work"
  # shellcheck disable=SC2046
  if ! "build/fuzz/bin/$target" -max_total_time="$2" $(options_of "$target") -artifact_prefix="build/fuzz/$target-" \
       "$work" "$kept" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "fuzz: $target FAILED, input kept in build/fuzz/$target-*"
    return 1
  fi
  echo "fuzz: $target $(inputs_in "$log") inputs in $2 s"
}

wanted_of() {
  case "$1" in
    config_yaml_fuzz) echo 10000000 ;;
    process_pattern_fuzz) echo 100000 ;; # many patterns take all the time that a match may have
    *) echo 100000000 ;;
  esac
}

# Inputs of a target that the long run in $1 has made.
done_of() { awk -v target="$2" '$2 == target && $3 == "inputs" {sum += $4} END {printf "%d\n", sum}' "$1/progress"; }

failed_in() { grep -q " $2 FAILED" "$1/progress"; }

# One chunk of the long run: its inputs are counted when it is over, so that no count is lost but the last chunk's.
run_chunk() {
  local dir=$1 target=$2 name=${2%_fuzz} log=$1/$2.log start=$SECONDS
  local chunk=$(($(wanted_of "$target") / 40))
  mkdir -p "$dir/corpus/$name"
  # Time for an input is wall-clock time, of which a run at nice 19 on a busy machine may have little use.
  # shellcheck disable=SC2046
  if ! "$dir/bin/$target" -runs="$chunk" $(options_of "$target") -timeout=300 -artifact_prefix="$dir/$target-" \
       "$dir/corpus/$name" "tests/fuzz/corpus/$name" >"$log" 2>&1; then
    cp "$log" "$log.failed"
    echo "$(date -u +%FT%TZ) $target FAILED, see $log.failed and $dir/$target-*" >>"$dir/progress"
    return 0
  fi
  echo "$(date -u +%FT%TZ) $target inputs $(inputs_in "$log") seconds $((SECONDS - start))" >>"$dir/progress"
}

# Goes round its targets chunk by chunk until each has its inputs.
work_through() {
  local dir=$1 busy=1 target
  shift
  while [ "$busy" -eq 1 ]; do
    busy=0
    for target in "$@"; do
      if ! failed_in "$dir" "$target" && [ "$(done_of "$dir" "$target")" -lt "$(wanted_of "$target")" ]; then
        run_chunk "$dir" "$target"
        busy=1
      fi
    done
  done
}

progress() {
  local target
  for target in $(awk '{print $2}' "$1/progress" | sort -u); do
    echo "fuzz: $target $(done_of "$1" "$target") of $(wanted_of "$target") inputs$(failed_in "$1" "$target" && echo ', FAILED')"
  done
}

# The targets that are named behind the directory, or all in it.
targets_of() {
  if [ $# -gt 1 ]; then
    printf '%s\n' "${@:2}"
  else
    (cd "$1" && ls ./*_fuzz | sed 's|^\./||')
  fi
}

case "${1:-}" in
  --progress)
    progress "${2:?fuzz: --progress wants the directory of the long run}"
    exit 0
    ;;
  --keep)
    name=${2:?fuzz: --keep wants a target}
    name=${name%_fuzz}
    # shellcheck disable=SC2046
    exec "build/fuzz/bin/${name}_fuzz" -merge=1 -artifact_prefix=build/fuzz/ $(options_of "${name}_fuzz") "tests/fuzz/corpus/$name" "build/fuzz/corpus/$name"
    ;;
esac

if [ "${1:-}" = --long ]; then
  dir=$(realpath -m "${2:?fuzz: --long wants a directory for logs, counts and finds}")
  shift 2
  # Programs of its own, so that the tree can be built anew meanwhile, and the same ones when it goes on.
  if [ ! -d "$dir/bin" ]; then
    scripts/preset.sh fuzz-long
    mkdir -p "$dir"
    cp -r build/fuzz-long/bin "$dir/bin"
  fi
  mapfile -t targets < <(targets_of "$dir/bin" "$@")
  touch "$dir/progress"
  evens=()
  odds=()
  for ((i = 0; i < ${#targets[@]}; ++i)); do
    if ((i % 2)); then odds+=("${targets[i]}"); else evens+=("${targets[i]}"); fi
  done
  work_through "$dir" "${evens[@]}" &
  work_through "$dir" "${odds[@]}" &
  wait
  progress "$dir"
  if grep -q FAILED "$dir/progress"; then exit 1; fi
  scripts/preset.sh fuzz
  for target in "${targets[@]}"; do
    "build/fuzz/bin/$target" -runs=0 "$dir/corpus/${target%_fuzz}" >"$dir/$target.asan.log" 2>&1 || {
      tail -n 60 "$dir/$target.asan.log"
      echo "fuzz: $target FAILED under AddressSanitizer"
      exit 1
    }
    echo "fuzz: $target, what was found passes under AddressSanitizer, too"
  done
  exit
fi

scripts/preset.sh fuzz
seconds=${1:-60}
shift || true
mapfile -t targets < <(targets_of build/fuzz/bin "$@")
[ ${#targets[@]} -gt 0 ] || { echo "fuzz: no target was built" >&2; exit 1; }
failed=0
for ((i = 0; i < ${#targets[@]}; i += 2)); do
  pids=()
  for target in "${targets[@]:i:2}"; do
    run_one "$target" "$seconds" &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do
    wait "$pid" || failed=1
  done
done
exit $failed
