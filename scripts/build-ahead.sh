#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds presets, one after another, with the processor time that nobody else wants: tests wait a good deal. What
# scripts/preset.sh has taken, now or ever, is left alone: build/NAME.lock says so. Whether a build succeeds is for
# scripts/preset.sh to say, which makes it again; each one's words are in build/NAME.ahead.log.
#
#   scripts/build-ahead.sh NAME...
set -euo pipefail
cd "$(dirname "$0")/.."
command -v ccache >/dev/null && export CXX_LAUNCHER=ccache
mkdir -p build
for preset in "$@"; do
  flock --close "build/$preset.lock" nice -n 19 sh -c '
    [ -s "build/$1.lock" ] || { cmake --preset "$1" && exec cmake --build --preset "$1"; }
  ' sh "$preset" > "build/$preset.ahead.log" 2>&1 || true
done
