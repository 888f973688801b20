#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The manual pages: all are there, none gives the formatters cause for a warning, they name each other by the right
# sections, and the daemon's says first that it only observes.
#
# usage: man_pages_test.sh SOURCE_DIR
set -eu
. "$(dirname "$0")/../support/script.sh"

man=$1/man
have mandoc || skip "mandoc is not installed (Debian: mandoc)"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expected='libscenario_numa.3 numa-score.1 tarnix-config.1 tarnix.8 tarnix.yaml.5 tnstat.1'
found=$(cd "$man" && printf '%s\n' * | LC_ALL=C sort | tr '\n' ' ')
[ "$found" = "$expected " ] || fail "the pages are $found, expected $expected"

# faults PAGE: prints what the formatters have to say about it.
faults()
{
    mandoc -T lint -W warning "$1" 2>&1 || true
    if have groff; then groff -mandoc -Tutf8 -ww -z "$1" 2>&1 || true; fi
}
have groff || echo "groff is not installed: mandoc alone reads the pages"

for page in $expected; do
    told=$(faults "$man/$page")
    [ -z "$told" ] || fail "$page: $told"

    # Its head, its name, and what every page has.
    name=${page%.*} section=${page##*.}
    grep -qix ".Dt $name $section" "$man/$page" || fail "$page: its .Dt names another page"
    for heading in NAME SYNOPSIS DESCRIPTION EXAMPLES 'SEE ALSO'; do
        grep -qx ".Sh $heading" "$man/$page" || fail "$page: no section $heading"
    done
    case $section in
        1 | 8) grep -qx '.Sh EXIT STATUS' "$man/$page" || fail "$page: no section EXIT STATUS" ;;
    esac

    # References to other pages of ours have the right section.
    grep -oE '(\.|, |^)Xr [^ ]+ [0-9]' "$man/$page" | sed 's/.*Xr //' | while read -r other number; do
        for known in $expected; do
            if [ "${known%.*}" = "$other" ] && [ "${known##*.}" != "$number" ]; then
                fail "$page: refers to $other($number), the page is $known"
            fi
        done
    done
done

LC_ALL=C mandoc -T ascii "$man/tarnix.8" | sed 's/.\x08//g' | grep -A1 -x DESCRIPTION | tail -n 1 > "$work/first"
grep -q 'tarnix migrates nothing and binds nothing: it only observes\.' "$work/first" ||
    fail "tarnix.8: DESCRIPTION begins with: $(cat "$work/first")"

# The check can fail.
sed 's/^\.Sh SEE ALSO$/.Xx SEE ALSO/' "$man/tarnix.8" > "$work/tarnix.8"
[ -n "$(faults "$work/tarnix.8")" ] || fail "a page with an unknown macro passes"
