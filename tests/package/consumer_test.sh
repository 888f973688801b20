#!/bin/sh
# SPDX-License-Identifier: MIT
#
# An installation for whoever builds against the library: a program of somebody else's is built with the installed
# headers, once through the CMake package configuration and once through pkg-config, and runs with the installed
# library. What is exported has an installed header, and every installed header stands alone.
#
# usage: consumer_test.sh SOURCE_DIR BUILD_DIR WORK_DIR CXX LIBRARY_DIR VERSION
set -eu
. "$(dirname "$0")/../support/script.sh"

source=$1 build=$2 work=$3 compiler=$4 libdir=$5 version=$6
case $libdir in
    /*) skip "an absolute library directory is not moved with the prefix" ;;
esac

launcher=
if have ccache; then launcher=ccache; fi
rm -rf "$work"
mkdir -p "$work/headers"
stage=$work/stage
prefix=/opt/numa
tree=$stage$prefix
for component in plugin development; do
    DESTDIR=$stage cmake --install "$build" --prefix "$prefix" --component "$component" > "$work/log" 2>&1 ||
        { cat "$work/log" >&2; fail "cmake --install of $component"; }
done
[ -f "$tree/$libdir/libscenario_numa.so" ] || fail "no library in $tree/$libdir"
if grep -r "$stage" "$tree/$libdir/cmake" "$tree/$libdir/pkgconfig"; then fail "installed files name the staging directory"; fi
if grep -rF "$source" "$tree/$libdir/cmake" "$tree/$libdir/pkgconfig"; then fail "installed files name the source directory"; fi

run_consumer()
{
    LD_LIBRARY_PATH=$tree/$libdir "$1" "$work/metrics.bin" > "$work/log" 2>&1 ||
        { cat "$work/log" >&2; fail "$2: the consumer ends with a status other than 0"; }
    [ "$(grep -c 'as expected$' "$work/log")" -ge 8 ] || { cat "$work/log" >&2; fail "$2: the consumer checked too little"; }
    LD_LIBRARY_PATH=$tree/$libdir ldd "$1" | grep -q "$tree/$libdir/libscenario_numa.so" ||
        fail "$2: the consumer does not run with the installed library"
    echo "$2: the consumer builds and runs"
}

# CMake.
configure()
{
    cmake -S "$source/tests/consumer" -B "$1" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
        "-DCMAKE_CXX_COMPILER_LAUNCHER=$launcher" "-DCMAKE_PREFIX_PATH=$tree" > "$work/log" 2>&1
}
configure "$work/cmake" && cmake --build "$work/cmake" >> "$work/log" 2>&1 ||
    { cat "$work/log" >&2; fail "the consumer does not build with CMake"; }
run_consumer "$work/cmake/consumer" "CMake $version"

# The example plug-in, which needs the headers alone; the host of this build says what it is worth.
cmake -S "$source/examples" -B "$work/example" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    "-DCMAKE_CXX_COMPILER_LAUNCHER=$launcher" "-DCMAKE_PREFIX_PATH=$tree" > "$work/log" 2>&1 &&
    cmake --build "$work/example" >> "$work/log" 2>&1 || { cat "$work/log" >&2; fail "the example does not build"; }
if [ -x "$build/bin/numa-score" ]; then
    "$build/bin/numa-score" check "$work/example/example_score.so" > "$work/log" ||
        { cat "$work/log" >&2; fail "the example fails a rule"; }
    echo "example plug-in: $(tail -n 1 "$work/log")"
else
    echo "example plug-in: builds; numa-score is not built and does not check it"
fi

# What it needs is named when it is not there.
mkdir "$work/empty"
if PKG_CONFIG_LIBDIR=$work/empty configure "$work/without"; then fail "the package is found without log4cplus and yaml-cpp"; fi
tr -s ' \n' ' ' < "$work/log" | grep -q "liblog4cplus-dev libyaml-cpp-dev" ||
    { cat "$work/log" >&2; fail "nothing is said about what is missing"; }

# pkg-config. The prefix in the file is that of the installation; DESTDIR stands before it as the system root.
file=$tree/$libdir/pkgconfig/scenario_numa.pc
grep -qx "prefix=$prefix" "$file" || { cat "$file" >&2; fail "the prefix in scenario_numa.pc is not $prefix"; }
export PKG_CONFIG_PATH="$tree/$libdir/pkgconfig"
found=$(pkg-config --modversion scenario_numa)
[ "$found" = "$version" ] || fail "pkg-config gives version $found, expected $version"
export PKG_CONFIG_SYSROOT_DIR="$stage"
flags=$(pkg-config --cflags scenario_numa)
libraries=$(pkg-config --libs scenario_numa)
unset PKG_CONFIG_PATH PKG_CONFIG_SYSROOT_DIR
# shellcheck disable=SC2086
"$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror "-DEXPECTED_VERSION=\"$version\"" $flags \
    "$source/tests/consumer/consumer.cpp" -o "$work/consumer" $libraries ||
    fail "the consumer does not build with: $flags $libraries"
run_consumer "$work/consumer" "pkg-config $found"

# Headers.
include=$tree/include/scenario_numa
( cd "$source" && grep -l 'SCENARIO_NUMA_EXPORT' scenario/*.h common/*.h config/*.h ) > "$work/exporting"
while read -r header; do
    [ -f "$include/$header" ] || fail "$header declares what the library exports and is not installed"
done < "$work/exporting"
( cd "$include" && find . -name '*.h' | sed 's,^\./,,' | LC_ALL=C sort ) > "$work/installed"
while read -r header; do
    unit=$work/headers/$(echo "$header" | tr '/' '_').cpp
    printf '#include <%s>\n' "$header" > "$unit"
    echo "$unit"
done < "$work/installed" > "$work/units"
# shellcheck disable=SC2086
xargs -P "$(nproc)" -I UNIT $launcher "$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror $flags -c UNIT -o UNIT.o \
    < "$work/units" || fail "an installed header does not stand alone"
echo "$(wc -l < "$work/installed") headers, $(wc -l < "$work/exporting") of them export something"
