#!/bin/sh
# SPDX-License-Identifier: MIT
#
# What an installation of the library puts where: the file in the library directory, a symbolic link to it in the
# framework's plug-in directory, and both below DESTDIR when that is set.
#
# usage: install_test.sh BUILD_DIR LIBRARY PREFIX LIBRARY_DIR PLUGIN_DIR
set -eu
. "$(dirname "$0")/../support/script.sh"

build=$1 library=$2 prefix=$3 directory=$4 plugins=$5
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT

# check_tree DESTDIR PREFIX
check_tree()
{
    case $directory in
        /*) installed=$directory/libscenario_numa.so ;;
        *) installed=$2/$directory/libscenario_numa.so ;;
    esac
    [ -f "$1$installed" ] || fail "$installed is missing below $1: $(find "$1" | tr '\n' ' ')"
    [ ! -L "$1$installed" ] || fail "$installed is a link"
    cmp "$library" "$1$installed" || fail "$installed is not the library that was built"
    link=$1$plugins/libscenario_numa.so
    [ -L "$link" ] || fail "$link is no symbolic link"
    [ "$(readlink "$link")" = "$installed" ] || fail "$link leads to $(readlink "$link"), expected $installed"
    entries=$(find "$1" ! -type d | wc -l)
    [ "$entries" = 2 ] || fail "expected the library and the link, got $entries files"
    echo "$installed, and a link to it in $plugins"
}

DESTDIR=$stage/a cmake --install "$build" --component plugin > "$stage/log" || { cat "$stage/log"; fail "cmake --install"; }
check_tree "$stage/a" "$prefix"

# A second installation over the first one, and a prefix that is chosen only now.
DESTDIR=$stage/a cmake --install "$build" --component plugin > "$stage/log" || { cat "$stage/log"; fail "a second cmake --install"; }
check_tree "$stage/a" "$prefix"
DESTDIR=$stage/b cmake --install "$build" --component plugin --prefix /opt/numa > "$stage/log" || { cat "$stage/log"; fail "cmake --install --prefix"; }
check_tree "$stage/b" /opt/numa
