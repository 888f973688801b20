#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Configures, builds and, where the preset has tests, tests one preset.
#
#   scripts/preset.sh NAME
set -euo pipefail
cd "$(dirname "$0")/.."
command -v ccache >/dev/null && export CXX_LAUNCHER=ccache
echo "== $1"
exec cmake --workflow --preset "$1"
