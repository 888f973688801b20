#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Configures, builds and, where the preset has tests, tests one preset. Waits while scripts/build-ahead.sh builds it.
#
#   scripts/preset.sh NAME
set -euo pipefail
cd "$(dirname "$0")/.."
command -v ccache >/dev/null && export CXX_LAUNCHER=ccache
mkdir -p build
# From now on the preset is this script's. The lock is not kept: programs that are tested would have it open.
flock "build/$1.lock" sh -c 'echo taken > "$1"' sh "build/$1.lock"
echo "== $1"
exec cmake --workflow --preset "$1"
