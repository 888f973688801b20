#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The completions, each in a bash that has nothing but its file: what they offer, that they know what the programs'
# help lists and nothing else, and that nothing on the command line is executed.
#
# usage: completion_test.sh SOURCE_DIR [NAME=PROGRAM...]
set -euo pipefail
# shellcheck source=tests/support/script.sh
. "$(dirname "$0")/../support/script.sh"

completions=$1/packaging/completion
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/here"
touch "$work/here/a file.yaml"

# Calls the function that FILE registers for NAME, with the words of a command line whose last one is completed.
# shellcheck disable=SC2016
driver='
    file=$1 name=$2
    shift
    . "$file" || exit 9
    asked=()
    compopt() { asked+=("$*"); }
    registered=$(complete -p -- "$name") || exit 8
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    [[ $registered =~ -F\ ([A-Za-z0-9_]+)\  ]] || exit 7
    "${BASH_REMATCH[1]}" "$name" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    for option in "${asked[@]}"; do printf "%s\n" "[$option]"; done
    for reply in "${COMPREPLY[@]}"; do printf "%s\n" "$reply"; done
'

# offered FILE NAME WORD...: what the completion of NAME in FILE offers, sorted, in one line; "[-o default]" stands
# for the files that bash itself completes.
offered()
{
    local file=$1
    shift
    (cd "$work/here" && env -i PATH="$PATH" bash --norc --noprofile -c "$driver" driver "$file" "$@") > "$work/out" \
        2> "$work/err" || fail "$*: the completion ended with $?: $(cat "$work/err")"
    [ ! -s "$work/err" ] || fail "$*: said $(cat "$work/err")"
    LC_ALL=C sort "$work/out" | paste -sd ' ' -
}

# check EXPECTED NAME WORD...
check()
{
    local expected=$1 found
    shift
    found=$(offered "$completions/$1" "$@")
    [ "$found" = "$expected" ] || fail "$*: offered \"$found\", expected \"$expected\""
}

files='[-o default]'
directories='[-o dirnames]'

check '--export' tnstat --ex
check '--export --help --ip --port --repeat --version' tnstat ''
check 'csv node_exporter report' tnstat --export ''
check 'csv node_exporter report' tnstat -e ''
check 'csv' tnstat -e c
check 'csv' tnstat --export = c
check 'csv node_exporter report' tnstat --export =
check '--export=csv' tnstat --export=c
check '' tnstat --port ''
check '' tnstat --ip 1
check '' tnstat --repeat = ''
check '--help --ip --port --repeat --version' tnstat --export csv --
check '' tnstat csv

check 'base cgroup' tarnix --policy ''
check 'base cgroup' tarnix -p ''
check 'debug' tarnix --log-level d
check '--load-way --log-file --log-level' tarnix --lo
check 'cmd yaml' tarnix -h ''
check 'cmd yaml' tarnix --help ''
check "$files" tarnix --log-file ''
check "$files" tarnix --log-file = /var/l
check '' tarnix --sampling-times ''
check '' tarnix --whitelist re
check '--reload' tarnix --rel
check '' tarnix --watchdog
check '' tarnix --process

check 'check demo doctor list live replay' numa-score ''
check 'demo doctor' numa-score d
check 'check demo doctor list live replay' numa-score --format csv ''
check 'csv json table' numa-score --format ''
check 'csv json table' numa-score live --format ''
check 'always auto never' numa-score demo --color ''
check 'max' numa-score replay --speed ''
check "$files" numa-score replay ''
check "$files" numa-score check ''
check "$files" numa-score check --rule leaks ''
check "$files" numa-score replay before.csv --compare ''
check "$files" numa-score --out ''
check "$directories" numa-score doctor --sysfs-root ''
check '' numa-score demo --seed ''
check '--seed' numa-score demo --se
check '--separator' numa-score replay --se
check '' numa-score live --se
check '--map' numa-score live --map a=b/c/ --ma
check '--sysfs-root' numa-score --out demo list --sy

check 'check diff hash show' tarnix-config ''
check 'check' tarnix-config c
check '--help --version' tarnix-config -
check '--help --kovari' tarnix-config check -
check "$files" tarnix-config check ''
check "$files" tarnix-config show --kovari /etc/

# What a program's help lists is what its completion offers.
lists() { sed -nE 's/^ +(-[a-zA-Z], ?)?(--[a-z][a-z-]*).*/\2/p' | LC_ALL=C sort | paste -sd ' ' -; }
commands() { sed -nE '/^Subcommands:/,/^$/s/^  ([a-z]+) .*/\1/p' | LC_ALL=C sort | paste -sd ' ' -; }
# alike NAME EXPECTED WORD...
alike()
{
    local name=$1 expected=$2
    shift 2
    [ -n "$expected" ] || fail "$name $*: its help lists nothing"
    check "$expected" "$name" "$@"
}
for program in "$@"; do
    name=${program%%=*} path=${program#*=}
    case $name in
        tarnix) alike "$name" "$("$path" -h cmd | lists)" -- ;;
        tnstat) alike "$name" "$({ "$path" --help; echo '  --version'; } | lists)" -- ;;
        *)
            alike "$name" "$("$path" --help | lists)" --
            alike "$name" "$("$path" --help | commands)" ''
            for command in $("$path" --help | commands); do
                alike "$name" "$("$path" "$command" --help | lists)" "$command" --
            done
            ;;
    esac
    echo "$name: as its help"
done

# Nothing that stands on the line is executed, wherever it stands.
trap_file=$work/here/executed
# shellcheck disable=SC2016
hostile=('$(touch executed)' '`touch executed`' '--export=$(touch executed)' '--format=`touch executed`'
    '"; touch executed; "' '; touch executed' '${x:=$(touch executed)}' 'a[$(touch executed)]' '*' '?' '-' '--='
    $'a\nb' '\' "'" '' '/etc/$(touch executed)')
for name in tarnix tnstat numa-score tarnix-config; do
    for word in "${hostile[@]}"; do
        for line in "$name" "$name --export" "$name --format" "$name replay --out" "$name check"; do
            # shellcheck disable=SC2086
            offered "$completions/$name" $line "$word" > /dev/null
            # shellcheck disable=SC2086
            offered "$completions/$name" $line "$word" '' > /dev/null
            # shellcheck disable=SC2086
            offered "$completions/$name" $line "$word" -- > /dev/null
            [ ! -e "$trap_file" ] || fail "$line: $word was executed"
        done
    done
done

# The check can fail.
cat > "$work/careless" <<'CARELESS'
_careless() { COMPREPLY=($(compgen -W "${COMP_WORDS[COMP_CWORD]}" --)); }
complete -F _careless careless
CARELESS
# shellcheck disable=SC2016
offered "$work/careless" careless '$(touch executed)' > /dev/null
[ -e "$trap_file" ] || fail "a completion that executes a word passes"
