#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The service as it is installed: systemd takes the units, their exposure is at most 3.0, the users and directories
# come from sysusers.d and tmpfiles.d, and settings that are there already are kept.
#
# usage: units_test.sh BUILD_DIR PREFIX BINDIR SBINDIR UNIT_DIR CONFIG_DIR TARNIX TNSTAT
set -eu
. "$(dirname "$0")/../support/script.sh"

build=$1 prefix=$2 bindir=$3 sbindir=$4 units=$5 config=$6 tarnix=$7 tnstat=$8
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT

install_service()
{
    DESTDIR=$stage cmake --install "$build" --component service > "$stage/log" 2>&1 ||
        { cat "$stage/log" >&2; fail "cmake --install of the service"; }
}
absolute()
{
    case $1 in
        /*) echo "$1" ;;
        *) echo "$prefix/$1" ;;
    esac
}
install_service
units=$stage$(absolute "$units")
bindir=$(absolute "$bindir")
sbindir=$(absolute "$sbindir")

# A second installation leaves the administrator's settings alone and renews the rest.
echo "log-level: debug" > "$stage$config/tarnix.yaml"
echo "not a unit" > "$units/tarnix.service"
touch -d 2020-01-01 "$units/tarnix.service"  # files of about the same age pass for the same
install_service
grep -qx "log-level: debug" "$stage$config/tarnix.yaml" || fail "an installation overwrites $config/tarnix.yaml"
grep -q '^ExecStart=' "$units/tarnix.service" || fail "an installation does not renew the unit"
for file in logrotate.d/tarnix default/tarnix default/tnstat-exporter; do
    [ -f "$stage$config/$file" ] || fail "$config/$file is not installed"
done
if grep -rnE '@[A-Z]+@' "$units" "$stage$config/logrotate.d"; then fail "words were left unreplaced"; fi

# Of a unit: the program, the capability, the calls.
expect_line() # FILE LINE
{
    grep -qxF -- "$2" "$units/$1" || fail "$1 has no line \"$2\""
}
expect_line tarnix.service "ExecStart=$sbindir/tarnix \$TARNIX_OPTIONS"
expect_line tarnix.service "AmbientCapabilities=CAP_PERFMON"
expect_line tarnix.service "CapabilityBoundingSet=CAP_PERFMON"
expect_line tarnix.service "EnvironmentFile=-$config/default/tarnix"
expect_line tnstat-exporter.service "ExecStart=$bindir/tnstat --export node_exporter --ip \${TNSTAT_IP} --port \${TNSTAT_PORT}"
expect_line tnstat-exporter.service "CapabilityBoundingSet="

have systemd-analyze || skip "systemd-analyze is not installed (Debian: systemd)"

# The programs of this build stand in for the installed ones.
sed -i "s,$sbindir/tarnix,$tarnix," "$units/tarnix.service"
sed -i "s,$bindir/tnstat,$tnstat," "$units/tnstat-exporter.service"
for unit in tarnix tnstat-exporter; do
    file=$units/$unit.service
    said=$(systemd-analyze verify --man=no "$file" 2>&1) || fail "$unit.service: $said"
    [ -z "$said" ] || fail "$unit.service: $said"
    said=$(systemd-analyze security --offline=yes --threshold=30 "$file") || fail "$unit.service: $said"
    echo "$said" | tail -n 1
done
sed 's/^Protect/#&/;s/^Restrict/#&/;s/^SystemCall/#&/' "$units/tarnix.service" > "$units/loose.service"
if systemd-analyze security --offline=yes --threshold=30 "$units/loose.service" > "$stage/log" 2>&1; then
    fail "a unit without protection passes"
fi
grep -q "exposure level" "$stage/log" || { cat "$stage/log" >&2; fail "the unit without protection was not judged"; }
sed 's/^Type=.*/Type=notifyy/' "$units/tarnix.service" > "$units/wrong.service"
[ -n "$(systemd-analyze verify --man=no "$units/wrong.service" 2>&1)" ] || fail "a unit with a wrong type passes"

have systemd-sysusers && have systemd-tmpfiles || skip "systemd-sysusers or systemd-tmpfiles is not installed"
mkdir -p "$stage/usr" "$stage/etc"
if [ "$prefix" != /usr ]; then cp -a "$stage$prefix/lib" "$stage/usr/"; fi
systemd-sysusers --root="$stage" tarnix.conf > "$stage/log" 2>&1 || { cat "$stage/log" >&2; fail "systemd-sysusers"; }
for user in tarnix tnstat; do
    grep "^$user:" "$stage/etc/passwd" | grep -q nologin || fail "no system user $user: $(cat "$stage/etc/passwd")"
    grep -q "^$user:" "$stage/etc/group" || fail "no group $user"
done
if [ "$(id -u)" -ne 0 ]; then
    echo "not root: the directory of tmpfiles.d is not made"
    exit 0
fi
systemd-tmpfiles --root="$stage" --create tarnix.conf > "$stage/log" 2>&1 || { cat "$stage/log" >&2; fail "systemd-tmpfiles"; }
owner=$(sed -n 's/^tarnix:[^:]*:\([0-9]*:[0-9]*\):.*/\1/p' "$stage/etc/passwd")
made=$(stat -c '%u:%g %a' "$stage/var/log/tarnix")
[ "$made" = "$owner 750" ] || fail "/var/log/tarnix is $made, expected $owner 750"
echo "users and directories as expected"
