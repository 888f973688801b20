#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Stands in for a script test that this build leaves out.
#
# usage: skip.sh REASON
set -eu
. "$(dirname "$0")/script.sh"
skip "$1"
