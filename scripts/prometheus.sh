#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Unpacks Debian's prometheus package (promtool and prometheus) into a folder, for the tests of the rules and of the
# dashboard. Nothing is installed into this system and no service is started: the package is fetched with a package
# state of its own and unpacked without its installation scripts.
#
#   scripts/prometheus.sh DIRECTORY
set -euo pipefail

package=prometheus
programs=(promtool prometheus)

root=${1:?usage: prometheus.sh DIRECTORY}
mkdir -p "$root"
root=$(cd "$root" && pwd)
stamp=$root/.complete
if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$package" ] &&
   [ -x "$root/usr/bin/${programs[0]}" ] && [ -x "$root/usr/bin/${programs[1]}" ]; then
  exit 0
fi
rm -f "$stamp"

state=$root/.apt
rm -rf "$state"
mkdir -p "$state/lists/partial" "$state/cache/archives/partial" "$state/log"
: > "$state/status"
apt=(apt-get -qq -y -o APT::Sandbox::User=root -o Dir::State="$state" -o Dir::State::Lists="$state/lists"
     -o Dir::State::status="$state/status" -o Dir::Cache="$state/cache" -o Dir::Log="$state/log"
     -o Debug::NoLocking=true)

echo "prometheus: fetching Debian's package $package (only into $(basename "$root"))"
for attempt in 1 2 3; do
  "${apt[@]}" update && break
  [ "$attempt" = 3 ] && { echo "prometheus: no package lists could be fetched; check the package sources" >&2; exit 1; }
  sleep 3
done
for attempt in 1 2 3; do
  (cd "$state/cache/archives" && "${apt[@]}" download "$package") && break
  [ "$attempt" = 3 ] && { echo "prometheus: the package $package could not be fetched" >&2; exit 1; }
  sleep 3
done
dpkg-deb -x "$state"/cache/archives/"$package"_*.deb "$root"
rm -rf "$state"

for program in "${programs[@]}"; do
  "$root/usr/bin/$program" --version > /dev/null 2>&1 || {
    echo "prometheus: the package holds no $program that runs here" >&2
    exit 1
  }
done
printf '%s\n' "$package" > "$stamp"
echo "prometheus: ready"
