#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Installs the Debian packages that the project needs and that this machine lacks, and prints which.
#
#   scripts/setup.sh build|test|guest|ci
set -euo pipefail

build=(g++ cmake ninja-build pkg-config ca-certificates liblog4cplus-dev libnuma-dev libsafec-dev libyaml-cpp-dev libcli11-dev nlohmann-json3-dev
       libmicrohttpd-dev prometheus-cpp-dev libssl-dev)
test=(libgtest-dev libgmock-dev libbenchmark-dev libspdlog-dev binutils ccache valgrind clang procps strace)
guest=(g++-aarch64-linux-gnu qemu-user-static qemu-system-arm cpio)
ci=(git gcovr libclang-rt-14-dev chromium python3
    debhelper dpkg-dev lintian mandoc mmdebstrap rpm systemd)

case "${1:-}" in
  build) wanted=("${build[@]}") ;;
  test) wanted=("${build[@]}" "${test[@]}") ;;
  guest) wanted=("${build[@]}" ccache "${guest[@]}") ;;
  ci) wanted=("${build[@]}" "${test[@]}" "${guest[@]}" "${ci[@]}") ;;
  *) echo "usage: setup.sh build|test|guest|ci" >&2; exit 2 ;;
esac

missing=()
for package in "${wanted[@]}"; do
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup: missing packages, and neither root nor sudo to install them: ${missing[*]}" >&2
    exit 1
  fi
  root=(sudo)
fi
echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
install() { "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends "$@"; }
for attempt in 1 2 3; do
  "${root[@]}" apt-get update -qq || true
  install "${missing[@]}" >/dev/null && exit 0
  sleep 3
done
echo "setup: apt-get could not install ${missing[*]}" >&2
exit 1
