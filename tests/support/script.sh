# SPDX-License-Identifier: MIT
# shellcheck shell=sh
#
# What the script tests share. CTest takes SKIPPED for a test that could not run here.

SKIPPED=77

# skip REASON: ends the test without a verdict.
skip()
{
    echo "skipped: $1"
    exit "$SKIPPED"
}

# fail TEXT: ends the test.
fail()
{
    echo "FAILED: $1" >&2
    exit 1
}

# have COMMAND
have()
{
    command -v "$1" >/dev/null 2>&1
}
