#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the Debian packages from a clean copy of the sources into DIRECTORY and runs lintian over them. With --twice
# they are built once more, elsewhere, and have to come out the same, byte for byte.
#
#   scripts/packages.sh [--twice] DIRECTORY
set -euo pipefail
twice=
if [ "${1:-}" = --twice ]; then
  twice=yes
  shift
fi
result=${1:?usage: packages.sh [--twice] DIRECTORY}
scripts=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$result"
result=$(cd "$result" && pwd)

version=$(dpkg-parsechangelog -l "$scripts/../debian/changelog" -S Version)
project=$(sed -n 's/^project(scenario_numa VERSION \([0-9.]*\) .*/\1/p' "$scripts/../CMakeLists.txt")
if [ "${version%%[+~]*}" != "$project" ]; then
  echo "packages: debian/changelog has version $version, CMakeLists.txt has $project; they must agree" >&2
  exit 1
fi

# debhelper gives the build a home directory of its own: the compiler cache is named.
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache
  CCACHE_DIR=$(ccache --get-config cache_dir)
  CCACHE_MAXSIZE=$(ccache --get-config max_size)
  export CCACHE_DIR CCACHE_MAXSIZE
fi
# The tests are the business of ./test and of the presets.
export DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)"

# build_packages DIRECTORY: sources in DIRECTORY/scenario-numa-VERSION, packages in DIRECTORY.
build_packages()
{
  local log=$1.log
  rm -rf "$1"
  mkdir -p "$1"
  cp --archive "$result/source" "$1/scenario-numa-$version"
  if ! (cd "$1/scenario-numa-$version" && dpkg-buildpackage --build=binary --no-sign) > "$log" 2>&1; then
    tail -n 60 "$log" >&2
    echo "packages: the build failed; all of it is in $log" >&2
    exit 1
  fi
  rm -rf "$1/scenario-numa-$version"
}

rm -rf "$result"/*.deb "$result"/*.changes "$result"/*.buildinfo "$result/source"
"$scripts/source-tree.sh" "$result/source"
build_packages "$result/first"
mv "$result"/first/*.deb "$result"/first/*.changes "$result"/first/*.buildinfo "$result"
rmdir "$result/first"
(cd "$result" && ls -1s --block-size=1K -- *.deb)

lintian --allow-root --display-info --pedantic --fail-on=error,warning,info,pedantic "$result"/*.changes
echo "lintian: nothing found but what debian/*.lintian-overrides gives reasons for"

# The library and the programs as they come out of the packages.
rm -rf "$result/contents"
for package in "$result"/*.deb; do
  case $package in *-dbgsym_*) ;; *) dpkg-deb --extract "$package" "$result/contents" ;; esac
done
mapfile -t programs < <(find "$result/contents" -type f \( -name '*.so' -o -path '*bin/*' \) | sort)
[ ${#programs[@]} -ge 5 ] || { echo "packages: ${#programs[@]} libraries and programs; expected at least 5" >&2; exit 1; }
"$scripts/check-hardening.sh" readelf objdump "${programs[@]}"
rm -rf "$result/contents"

if [ -n "$twice" ]; then
  build_packages "$result/second/elsewhere"
  for package in "$result"/*.deb; do
    cmp "$package" "$result/second/elsewhere/$(basename "$package")" || {
      echo "packages: two builds of $(basename "$package") differ; compare them with diffoscope" >&2
      exit 1
    }
  done
  rm -rf "$result/second" "$result/second.log"
  echo "packages: two builds in two directories gave the same bytes"
fi
rm -rf "$result/source"
