#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Unpacks Debian's arm64 packages that the project builds against into a folder, for the cross-build. Nothing is
# installed into this system: the packages are resolved and fetched with a package state of their own.
#
#   scripts/aarch64-sysroot.sh DIRECTORY
set -euo pipefail
. "$(dirname "$0")/debian-fetch.sh"

packages=(libc6-dev libstdc++-12-dev liblog4cplus-dev libsafec-dev libyaml-cpp-dev libnuma-dev libgtest-dev
          libgmock-dev libcli11-dev nlohmann-json3-dev libmicrohttpd-dev prometheus-cpp-dev libssl-dev)

root=${1:?usage: aarch64-sysroot.sh DIRECTORY}
mkdir -p "$root"
root=$(cd "$root" && pwd)
stamp=$root/.complete
wanted=$(printf '%s\n' "${packages[@]}")
if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$wanted" ]; then
  exit 0
fi
rm -f "$stamp"

state=$root/.apt
private_apt "$state" -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o APT::Install-Recommends=false
echo "aarch64 sysroot: fetching ${packages[*]} for arm64 (only into $(basename "$root"))"
three_times "aarch64 sysroot: no arm64 package lists could be fetched; check the package sources" "${apt[@]}" update
three_times "aarch64 sysroot: the arm64 packages could not be fetched" \
  "${apt[@]}" install --download-only "${packages[@]}"
for package in "$state"/cache/archives/*.deb; do
  dpkg-deb -x "$package" "$root"
done
rm -rf "$state"

# Absolute links inside the packages would lead out of the folder.
find "$root" -type l -lname '/*' | while read -r link; do
  ln -sfn "$(realpath -ms --relative-to="$(dirname "$link")" "$root$(readlink "$link")")" "$link"
done
printf '%s\n' "$wanted" > "$stamp"
echo "aarch64 sysroot: ready"
