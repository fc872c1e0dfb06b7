#!/usr/bin/env bash
# usage: tinyalsa_choice_test.sh CMAKE PROJECT. Which tinyalsa a build folder takes that is configured
# for one after the other.
set -euo pipefail
cmake=$1 project=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/include/tinyalsa" "$work/lib"

# installed HEADER LIBRARY...: what the two files of a tinyalsa have in them.
installed() {
    echo "$1" >"$work/include/tinyalsa/plugin.h"
    printf '%s\n' "${@:2}" >"$work/lib/libtinyalsa.so"
}

# takes CODE TEXT CHOICE: how the configuration ends, and what it says.
takes() {
    local got=0
    "$cmake" -G Ninja -S "$project" -B "$work/build" -DZEL_BUILD_TESTS=OFF -DZEL_TINYALSA="$3" \
        -DCMAKE_PREFIX_PATH="$work" >"$work/said" 2>&1 || got=$?
    if [ "$got" -ne "$1" ] || ! tr -s '\n ' ' ' <"$work/said" | grep -qF "$2"; then
        echo "$3: exit code $got instead of $1, or without \"$2\":"
        cat "$work/said"
        exit 1
    fi
}

takes 1 'is "sytem", but must be system, bundled or auto' sytem
plugins='no device (hw/plugin)'
installed 'int (*drain)(struct pcm_plugin *plugin);' "$plugins" pcm_drain
takes 0 "tinyalsa: $work/lib/libtinyalsa.so" auto
takes 0 "our own layer" bundled
takes 0 "tinyalsa: $work/lib/libtinyalsa.so" system
installed 'int (*drain)(struct pcm_plugin *plugin);' pcm_drain
takes 0 "loads no plugins" auto
takes 1 "loads no plugins" system
installed 'int (*drain)(struct pcm_plugin *plugin);' "$plugins"
takes 1 "is of another version than the headers" system
installed 'int (*start)(struct pcm_plugin *plugin);' "$plugins"
takes 0 "is older than August 2023" auto
takes 0 "tinyalsa: $work/lib/libtinyalsa.so" system
rm "$work/lib/libtinyalsa.so"
takes 0 "our own layer" auto
takes 1 "no tinyalsa >= 2 with tinyalsa/plugin.h is installed" system
