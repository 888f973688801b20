#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the RPM packages into DIRECTORY with this machine's rpmbuild and checks what they hold. Dependencies are not
# checked: this is no RPM distribution. With --unoptimised they are compiled in less time, to be looked at and not to be
# installed.
#
#   scripts/rpm-package.sh [--unoptimised] DIRECTORY
set -euo pipefail
options=()
if [ "${1:-}" = --unoptimised ]; then
  options=(--define 'build_type None' --define 'optflags -O0')
  shift
fi
result=${1:?usage: rpm-package.sh [--unoptimised] DIRECTORY}
scripts=$(cd "$(dirname "$0")" && pwd)
spec=$scripts/../packaging/rpm/scenario_numa.spec
mkdir -p "$result"
result=$(cd "$result" && pwd)

version=$(sed -n 's/^Version: *//p' "$spec")
project=$(sed -n 's/^project(scenario_numa VERSION \([0-9.]*\) .*/\1/p' "$scripts/../CMakeLists.txt")
if [ "$version" != "$project" ]; then
  echo "rpm: scenario_numa.spec has version $version, CMakeLists.txt has $project; they must agree" >&2
  exit 1
fi
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

rm -rf "$result/top" "$result"/*.rpm
mkdir -p "$result/top/SOURCES" "$result/tree"
rm -rf "$result/tree"
"$scripts/source-tree.sh" "$result/tree/scenario_numa-$version"
tar --create --gzip --file="$result/top/SOURCES/scenario_numa-$version.tar.gz" --directory="$result/tree" \
  "scenario_numa-$version"
rm -rf "$result/tree"
if ! rpmbuild -bb --nodeps --define "_topdir $result/top" "${options[@]}" "$spec" > "$result/rpmbuild.log" 2>&1; then
  tail -n 60 "$result/rpmbuild.log" >&2
  echo "rpm: the build failed; all of it is in $result/rpmbuild.log" >&2
  exit 1
fi
mv "$result"/top/RPMS/*/*.rpm "$result"
rm -rf "$result/top"

# expect PACKAGE PATH...: PACKAGE holds every PATH.
expect()
{
  local package=$1 files path
  shift
  files=$(rpm -qpl "$result/$package"-"$version"-*.rpm)
  for path in "$@"; do
    grep -qx -- "$path" <<< "$files" || { echo "rpm: $package has no $path" >&2; exit 1; }
  done
  echo "rpm: $package, $(wc -l <<< "$files") files"
}
expect scenario_numa '/usr/lib64/libscenario_numa.so' '/usr/lib64/Kovari-plugin/libscenario_numa.so'
expect scenario_numa-devel '/usr/include/scenario_numa/scenario/framework.h' \
  '/usr/lib64/cmake/scenario_numa/scenario_numa-config.cmake' '/usr/lib64/pkgconfig/scenario_numa.pc'
expect tarnix /etc/tarnix.yaml /usr/sbin/tarnix /usr/bin/tnstat /usr/bin/tarnix-config /usr/bin/numa-score \
  /usr/lib/systemd/system/tarnix.service /usr/lib/systemd/system/tnstat-exporter.service \
  /usr/lib/sysusers.d/tarnix.conf /usr/lib/tmpfiles.d/tarnix.conf /etc/logrotate.d/tarnix \
  '/usr/share/man/man8/tarnix.8.*'
config=$(rpm -qpc "$result/tarnix-$version"-*.rpm)
grep -qx /etc/tarnix.yaml <<< "$config" || { echo "rpm: /etc/tarnix.yaml is no configuration file" >&2; exit 1; }
