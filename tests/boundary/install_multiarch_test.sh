#!/bin/sh
# SPDX-License-Identifier: MIT
#
# A distribution's installation: with prefix /usr the library lies in the multiarch directory, and the plug-in
# directory is what the option says.
#
# usage: install_multiarch_test.sh SOURCE_DIR WORK_DIR CXX
set -eu
. "$(dirname "$0")/../support/script.sh"

source=$1 work=$2 compiler=$3
[ -e /etc/debian_version ] || skip "no multiarch directories on this distribution"
triplet=$("$compiler" -print-multiarch) || skip "$compiler does not name a multiarch directory"
[ -n "$triplet" ] || skip "$compiler does not name a multiarch directory"

launcher=
if have ccache; then launcher=-DCMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
mkdir -p "$work"
for plugins in default /opt/framework/plugins; do
    option=
    directory=/usr/lib64/Kovari-plugin
    if [ "$plugins" != default ]; then
        option=-DSCENARIO_NUMA_PLUGIN_DIR=$plugins
        directory=$plugins
    fi
    build=$work/$(basename "$plugins")
    cmake -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_INSTALL_PREFIX=/usr $option $launcher \
        -DBUILD_TESTING=OFF -DSCENARIO_NUMA_TOOLS=OFF > "$work/log" 2>&1 &&
        cmake --build "$build" --target scenario_numa >> "$work/log" 2>&1 || {
        cat "$work/log" >&2
        fail "the library does not build"
    }
    sh "$(dirname "$0")/install_test.sh" "$build" "$build/lib/libscenario_numa.so" /usr "lib/$triplet" "$directory"
done
