# SPDX-License-Identifier: MIT
# shellcheck shell=bash
#
# Fetching Debian packages into a folder without touching this system; for scripts to source.

# private_apt STATE [OPTION...]: sets the array `apt` to an apt-get whose package state and cache lie in the new
# directory STATE; archives come to STATE/cache/archives.
private_apt()
{
  local state=$1
  shift
  rm -rf "$state"
  mkdir -p "$state/lists/partial" "$state/cache/archives/partial" "$state/log"
  : > "$state/status"
  apt=(apt-get -qq -y "$@" -o APT::Sandbox::User=root -o Dir::State="$state" -o Dir::State::Lists="$state/lists"
       -o Dir::State::status="$state/status" -o Dir::Cache="$state/cache" -o Dir::Log="$state/log"
       -o Debug::NoLocking=true)
}

# three_times TEXT COMMAND...: until the command succeeds; otherwise says TEXT and ends the script with 1.
three_times()
{
  local text=$1 attempt
  shift
  for attempt in 1 2 3; do
    "$@" && return 0
    [ "$attempt" = 3 ] || sleep 3
  done
  echo "$text" >&2
  exit 1
}
