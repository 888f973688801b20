#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The same results whatever the compiler and its optimisation: g++ and clang++, each at -O0 and at -O3.
#
#   scripts/optimisation-levels.sh          the score: its unit tests at every level, with every score to the bit
#   scripts/optimisation-levels.sh --all    the library and the programs at every level, what they write compared byte
#                                           for byte: scores of the demo and of every recording, reports of the
#                                           configuration, report and CSV of a metrics file
set -euo pipefail
cd "$(dirname "$0")/.."
source=$PWD
case "${1:-}" in
  '' | --all) ;;
  *) echo "usage: optimisation-levels.sh [--all]" >&2; exit 2 ;;
esac
scripts/setup.sh test
work=$source/build/levels
mkdir -p "$work"
launcher=
if command -v ccache >/dev/null; then launcher=ccache; fi
levels=(g++:-O0 g++:-O3 clang++:-O0 clang++:-O3)

# score COMPILER LEVEL DIRECTORY: the engine and its tests, all of it at LEVEL.
score() {
  local compiler=$1 level=$2 directory=$3 flags name
  flags=(-std=c++17 "$level" -ffp-contract=off -DNDEBUG "-DSOURCE_DIR=\"$source\"" -I"$source")
  mapfile -t -O "${#flags[@]}" flags < <(pkg-config --cflags gmock log4cplus | xargs -n 1)
  $launcher "$compiler" "${flags[@]}" -c scenario/numa_scenario.cpp -o "$directory/engine.o"
  for name in numa_scenario_test numa_scenario_batch_test event_name_test; do
    $launcher "$compiler" "${flags[@]}" -c "tests/unit/scenario/$name.cpp" -o "$directory/$name.o"
    "$compiler" -o "$directory/$name" "$directory/$name.o" "$directory/engine.o" -pthread -lgtest_main -lgtest
    "$directory/$name" --gtest_brief=1 > "$directory/$name.log" 2>&1 || { tail -n 40 "$directory/$name.log" >&2; return 1; }
  done
}

# programs COMPILER LEVEL DIRECTORY
programs() {
  local compiler=$1 level=$2 directory=$3
  cmake -S "$source" -B "$directory/build" -G Ninja -DCMAKE_BUILD_TYPE=Level -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS_LEVEL="$level" -DBUILD_TESTING=OFF -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" > "$directory/log"
  ninja -C "$directory/build" scenario_numa numa-score tarnix-config tnstat >> "$directory/log" 2>&1 ||
    { tail -n 40 "$directory/log" >&2; return 1; }
}

# keep FILE COMMAND...: what the command writes, but for the times of calls, and how it ends.
keep() {
  local file=$1 status=0
  shift
  "$@" > "$file" 2>&1 || status=$?
  sed -i -E 's/^(plug-in +[0-9]+ calls), [0-9.]+ us on average, longest .*/\1/' "$file"
  echo "exit status $status" >> "$file"
}

# outputs DIRECTORY: into DIRECTORY/out; paths in them are the same for every build.
outputs() {
  local bin=$1/build/bin out=$1/out plugin=$1/build/lib/libscenario_numa.so file name
  rm -rf "$out"
  mkdir -p "$out"
  export LC_ALL=C.UTF-8 COLUMNS=80
  for name in table csv json; do
    keep "$out/demo.$name" "$bin/numa-score" demo --plugin "$plugin" --speed max --per-pmu --format "$name"
  done
  for file in tests/fixtures/recordings/*.csv tests/fixtures/recordings/*.txt; do
    keep "$out/replay.$(basename "$file")" "$bin/numa-score" replay "$file" --plugin "$plugin" --format csv
  done
  find packaging/tarnix.yaml tests/fuzz/corpus/config_yaml -type f | LC_ALL=C sort > "$1/configurations"
  while read -r file; do
    name=$(echo "$file" | tr / .)
    for command in check show diff hash; do
      keep "$out/config.$name.$command" "$bin/tarnix-config" "$command" "$file"
    done
  done < "$1/configurations"
  for name in report csv; do
    keep "$out/tnstat.$name" env TARNIX_METRICS_FILE=tests/golden/metrics.bin "$bin/tnstat" --export "$name"
  done
}

first=
for entry in "${levels[@]}"; do
  compiler=${entry%%:*} level=${entry##*:}
  directory=$work/$compiler$level
  mkdir -p "$directory"
  if [ "${1:-}" = --all ]; then
    programs "$compiler" "$level" "$directory"
    outputs "$directory"
    if [ -z "$first" ]; then
      first=$directory
      [ "$(grep -lx 'exit status 0' "$first"/out/* | wc -l)" -ge 20 ] ||
        { echo "levels: fewer than 20 commands ended well with $compiler $level" >&2; exit 1; }
    elif ! diff -r "$first/out" "$directory/out"; then
      echo "levels: $compiler $level writes something else than ${levels[0]/:/ }" >&2
      exit 1
    fi
    echo "levels: $compiler $level: $(find "$directory/out" -type f | wc -l) outputs, the same"
  else
    # Nothing of an earlier run can stand in for what does not compile any more.
    rm -f "$directory"/*.o "$directory"/*.log
    echo "levels: $compiler $level"
    score "$compiler" "$level" "$directory"
    echo "levels: $compiler $level: $(awk '/PASSED/ { sum += $4 } END { print sum + 0 }' "$directory"/*.log) tests of the score passed"
  fi
done
