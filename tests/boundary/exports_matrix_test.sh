#!/bin/sh
# SPDX-License-Identifier: MIT
#
# One golden list for every compiler and optimisation level: configures and builds the library alone with each and
# compares. What an unoptimised build emits out of line is exactly what a careless export list lets through.
#
# usage: exports_matrix_test.sh SOURCE_DIR WORK_DIR NM READELF
set -eu
. "$(dirname "$0")/../support/script.sh"

source=$1 work=$2 nm=$3 readelf=$4
mkdir -p "$work"
launcher=
if have ccache; then launcher=-DCMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
for compiler in g++ clang++; do
    if ! have "$compiler"; then
        echo "$compiler is not installed: left out"
        continue
    fi
    for type in Debug Release; do
        build=$work/$compiler-$type
        cmake -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=$type $launcher \
            -DBUILD_TESTING=OFF -DSCENARIO_NUMA_TOOLS=OFF -DSCENARIO_NUMA_BENCH=OFF > "$work/log" 2>&1 &&
            cmake --build "$build" --target scenario_numa >> "$work/log" 2>&1 || {
            cat "$work/log" >&2
            fail "$compiler $type: the library does not build"
        }
        echo "$compiler $type:"
        UPDATE_GOLDEN= sh "$(dirname "$0")/exports_test.sh" "$nm" "$readelf" "$source/tests/golden" none \
            "$build/lib/libscenario_numa.so"
    done
done
