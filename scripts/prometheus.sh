#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Unpacks Debian's prometheus package (promtool and prometheus) into a folder, for the tests of the rules and of the
# dashboard. Nothing is installed into this system and no service is started: the package is fetched with a package
# state of its own and unpacked without its installation scripts.
#
#   scripts/prometheus.sh DIRECTORY
set -euo pipefail
. "$(dirname "$0")/debian-fetch.sh"

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
private_apt "$state"
fetch() { (cd "$state/cache/archives" && "${apt[@]}" download "$package"); }
echo "prometheus: fetching Debian's package $package (only into $(basename "$root"))"
three_times "prometheus: no package lists could be fetched; check the package sources" "${apt[@]}" update
three_times "prometheus: the package $package could not be fetched" fetch
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
