#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Installs, upgrades, removes and purges the Debian packages in DIRECTORY in a clean Debian system of its own, a folder
# made from this machine's package sources, with nothing in it but what the packages say they need. The programs run in it.
#
#   scripts/package-root-test.sh DIRECTORY
set -euo pipefail
packages=$(cd "${1:?usage: package-root-test.sh DIRECTORY}" && pwd)
if [ "$(id -u)" -ne 0 ]; then
  exec sudo "$0" "$packages"
fi
work=$packages/root-test
root=$work/root
names=(scenario-numa-plugin tarnix libscenario-numa-dev)

fail()
{
  echo "package-root-test: $1" >&2
  exit 1
}

# deb NAME: the one package file of that name.
deb()
{
  local files=("$packages/$1"_[0-9]*.deb)
  [ ${#files[@]} -eq 1 ] && [ -f "${files[0]}" ] || fail "expected one package $1 in $packages, got: ${files[*]}"
  echo "${files[0]}"
}

# needs: the first choice of everything that the packages depend on or recommend, without each other and without versions.
needs()
{
  local name
  for name in "${names[@]}"; do
    dpkg-deb --field "$(deb "$name")" Pre-Depends Depends Recommends | sed 's/^[A-Za-z-]*: //'
  done | tr ',' '\n' | sed 's/|.*//;s/(.*//;s/ //g' | grep -v -x -F "$(printf '%s\n' "${names[@]}")" | sort -u | grep .
}

# make_base FILE: a minimal system with these as an archive; kept as long as the list stays the same.
make_base()
{
  local wanted options=() sources
  wanted=$(needs)
  if [ -f "$1" ] && [ "$(cat "$1.holds" 2>/dev/null)" = "$wanted" ]; then
    return
  fi
  sources=$(apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Origin: Debian' 'Created-By: Packages' |
    sort -u)
  [ -n "$sources" ] || fail "this machine has no package source of Debian; run apt-get update"
  while read -r option; do options+=("--aptopt=$option"); done < <(apt-config dump | grep '^Acquire::.*Proxy' || true)
  echo "package-root-test: making a system with $(tr '\n' ' ' <<< "$wanted")"
  for _ in 1 2 3; do
    if mmdebstrap --quiet --variant=minbase --include="$(paste -sd, <<< "$wanted")" "${options[@]}" \
      "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$1" - <<< "$sources" > "$work/mmdebstrap.log" 2>&1; then
      echo "$wanted" > "$1.holds"
      return
    fi
    sleep 3
  done
  cat "$work/mmdebstrap.log" >&2
  fail "mmdebstrap made no system"
}

# inside COMMAND...: runs it in the system, with its own processes and mounts, which go with it.
inside()
{
  unshare --mount --pid --fork -- sh -c '
    mount -t proc proc "$0/proc" && mount --rbind /sys "$0/sys" && mount -t tmpfs tmpfs "$0/run" &&
    mount --bind /dev/null "$0/dev/null" && exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C \
      DEBIAN_FRONTEND=noninteractive "$@"' "$root" "$@"
}

# quietly TEXT COMMAND...: shows what the command says when it fails.
quietly()
{
  local what=$1
  shift
  "$@" > "$work/log" 2>&1 || { cat "$work/log" >&2; fail "$what"; }
}

# expect TEXT VALUE EXPECTED
expect()
{
  [ "$2" = "$3" ] || fail "$1 is \"$2\", expected \"$3\""
}

# Everything in the system but what package management writes down, and the caches of directories and libraries.
listing()
{
  (cd "$root" && find . -mindepth 1 \( -path ./var/lib/dpkg -o -path ./var/cache -o -path ./run -o -path ./proc \
    -o -path ./sys -o -path ./packages \) -prune -o -printf '%p\n' | LC_ALL=C sort |
    grep -v -x -e './var/log/\(dpkg\|alternatives\)\.log' -e './etc/\(passwd\|group\|shadow\|gshadow\)-' -e './etc/\.pwd\.lock')
}

# newer_package FILE TO: the same package with a higher version and, where it has them, changed configuration files.
newer_package()
{
  local tree=$work/newer
  rm -rf "$tree"
  dpkg-deb --raw-extract "$1" "$tree"
  sed -i "s/^Version: .*/Version: $new/;s/(= $old)/(= $new)/" "$tree/DEBIAN/control"
  if [ -e "$tree/etc/tarnix.yaml" ]; then
    echo "# of the new version" >> "$tree/etc/tarnix.yaml"
    echo "# of the new version" >> "$tree/etc/default/tarnix"
  fi
  dpkg-deb --root-owner-group --build "$tree" "$2/$(basename "$1" | sed "s/_${old}_/_${new}_/")" >/dev/null
  rm -rf "$tree"
}

mkdir -p "$work"
base=$work/base.tar
make_base "$base"
rm -rf "$root"
mkdir "$root"
tar --extract --file="$base" --directory="$root" --exclude='./dev/*'
: > "$root/dev/null"
old=$(dpkg-deb --field "$(deb tarnix)" Version)
new=$old+1
mkdir -p "$root/packages/old" "$root/packages/new"
for name in "${names[@]}"; do
  cp "$(deb "$name")" "$root/packages/old"
  newer_package "$(deb "$name")" "$root/packages/new"
done
before=$(listing)
accounts=$(sort "$root/etc/passwd" "$root/etc/group")

echo "install $old"
quietly "the packages cannot be installed" inside sh -c 'dpkg --install /packages/old/*.deb'
expect "dpkg --audit" "$(inside dpkg --audit)" ""
expect "dpkg --verify" "$(inside dpkg --verify "${names[@]}")" ""
for file in usr/sbin/tarnix usr/bin/tnstat usr/bin/tarnix-config usr/bin/numa-score etc/tarnix.yaml etc/default/tarnix \
  etc/logrotate.d/tarnix lib/systemd/system/tarnix.service lib/systemd/system/tnstat-exporter.service \
  usr/include/scenario_numa/scenario/framework.h; do
  [ -f "$root/$file" ] || fail "/$file is not installed"
done
expect "the plug-in link" "$(inside readlink -e /usr/lib64/Kovari-plugin/libscenario_numa.so)" \
  "$(inside sh -c 'readlink -e /usr/lib/*/libscenario_numa.so')"
for user in tarnix tnstat; do
  expect "the shell of $user" "$(inside getent passwd "$user" | cut -d: -f7)" /usr/sbin/nologin
done
expect "/var/log/tarnix" "$(inside stat -c '%U:%G %a' /var/log/tarnix)" "tarnix:tarnix 750"
for unit in tarnix tnstat-exporter; do
  [ -L "$root/etc/systemd/system/multi-user.target.wants/$unit.service" ] || fail "$unit.service is not enabled"
done
inside dpkg-query --show --showformat='${Conffiles}\n' tarnix | cut -d' ' -f2 | grep -qx /etc/tarnix.yaml ||
  fail "/etc/tarnix.yaml is no conffile"

echo "the programs"
inside tnstat --version | grep -q "^tnstat ${old%%[+~]*}" || fail "tnstat --version"
inside tarnix --version | grep -q "^tarnix version: ${old%%[+~]*}" || fail "tarnix --version"
inside pkg-config --modversion scenario_numa | grep -qx "${old%%[+~]*}" || fail "pkg-config scenario_numa"
inside numa-score --version | grep -q "${old%%[+~]*}" || fail "numa-score --version"
quietly "tarnix-config finds faults in the installed file" inside tarnix-config check
quietly "numa-score does not find the plug-in" inside numa-score demo --duration 1 --speed max --quiet
expect "the status of tnstat without a metrics file" "$(inside tnstat > /dev/null 2>&1 || echo $?)" 3

# A day of the service, in short and without systemd: the daemon as its user, a dump, a rotation, the end.
cat > "$root/packages/day.sh" <<'DAY'
set -eu
mkdir --mode=0755 /run/tarnix
chown tarnix:tarnix /run/tarnix
log=/var/log/tarnix/tarnix.log
TARNIX_SOURCE=demo setpriv --reuid=tarnix --regid=tarnix --clear-groups sh -c \
  "umask 0027; exec tarnix --sampling-times 2 --snapshot-interval 1 --log-file $log" &
wait_for()
{
  for i in $(seq 100); do
    if "$@"; then return 0; fi
    sleep 0.1
  done
  echo "no success within 10 s: $*"
  return 1
}
wait_for test -s /var/log/tarnix/metrics.bin
setpriv --reuid=tnstat --regid=tnstat --groups=tarnix tnstat > /packages/report
[ "$(stat -c '%U:%G %a' /var/log/tarnix/metrics.bin)" = "tarnix:tarnix 640" ]
wait_for test -s $log
logrotate --force --verbose --state /run/logrotate.status /etc/logrotate.d/tarnix > /packages/rotation 2>&1 || { cat /packages/rotation; exit 1; }
[ -f $log.1 ]
wait_for test -s $log
[ "$(stat -c '%U:%G %a' $log)" = "tarnix:tarnix 640" ]
kill %1 2>/dev/null || kill $!
wait $!
DAY
quietly "the daemon does not do its day" inside sh /packages/day.sh
grep -q 'NUMA\|numa' "$root/packages/report" || fail "tnstat shows no report: $(cat "$root/packages/report")"

echo "upgrade to $new"
echo "log-level: debug" > "$root/etc/tarnix.yaml"
quietly "the packages cannot be upgraded" inside sh -c 'dpkg --install --force-confdef --force-confold /packages/new/*.deb'
expect "the version after the upgrade" "$(inside dpkg-query --show --showformat='${Version}' tarnix)" "$new"
expect "the changed configuration" "$(cat "$root/etc/tarnix.yaml")" "log-level: debug"
tail -n 1 "$root/etc/tarnix.yaml.dpkg-dist" | grep -q "of the new version" || fail "the new configuration is not beside it"
tail -n 1 "$root/etc/default/tarnix" | grep -q "of the new version" || fail "an unchanged conffile is not renewed"
quietly "tarnix-config check after the upgrade" inside tarnix-config check
[ -f "$root/var/log/tarnix/metrics.bin" ] || fail "the metrics file went with the upgrade"

echo "remove"
quietly "the packages cannot be removed" inside dpkg --remove "${names[@]}"
for file in usr/sbin/tarnix usr/bin/tnstat usr/lib64/Kovari-plugin lib/systemd/system/tarnix.service usr/include/scenario_numa; do
  [ ! -e "$root/$file" ] && [ ! -L "$root/$file" ] || fail "/$file is still there"
done
expect "the configuration after the removal" "$(cat "$root/etc/tarnix.yaml")" "log-level: debug"
[ -f "$root/var/log/tarnix/metrics.bin" ] || fail "the metrics file went with the removal"

echo "purge"
quietly "the packages cannot be purged" inside dpkg --purge "${names[@]}"
left=$(diff <(echo "$before") <(listing) || true)
expect "what is left, or gone" "$left" ""
expect "the accounts" "$(diff <(echo "$accounts") <(sort "$root/etc/passwd" "$root/etc/group") || true)" ""
rm -rf "$root"
echo "package-root-test: installed, ran, upgraded, removed and purged"
