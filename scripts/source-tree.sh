#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Copies the sources, as they are now, into an empty directory: what git knows or would take (nothing that is ignored),
# with the revision that a source archive would carry, every file dated like the newest entry of debian/changelog.
#
#   scripts/source-tree.sh DIRECTORY
set -euo pipefail
to=${1:?usage: source-tree.sh DIRECTORY}
mkdir -p "$to"
to=$(cd "$to" && pwd)
cd "$(dirname "$0")/.."
if [ -n "$(ls -A "$to")" ]; then
  echo "source-tree: $to is not empty; give a new directory" >&2
  exit 1
fi

if [ -e .git ]; then
  git ls-files -z --cached --others --exclude-standard |
    while IFS= read -r -d '' file; do [ ! -e "$file" ] || printf '%s\0' "$file"; done |
    tar --null --files-from=- --create | tar --extract --directory="$to"
  git describe --always --dirty --abbrev=12 --tags > "$to/.git_archival.txt"
else
  tar --create --exclude=./build --exclude=./.cache . | tar --extract --directory="$to"
fi
date=$(dpkg-parsechangelog -l debian/changelog -S Timestamp)
find "$to" -exec touch --no-dereference --date="@$date" {} +
