#!/usr/bin/env bash
# usage: never_destroyed_test.sh READELF OBJECT... What the library's files register for the end of
# the process, when clients may still be inside it: the worker's end and nothing else.
set -euo pipefail
readelf=$1
shift
found=$(for object; do
    count=$("$readelf" -W --relocs "$object" | grep -c '_atexit\b' || true)
    [ "$count" -eq 0 ] || echo "$(basename "$object" .o): $count"
done)
[ "$found" = "zel_format_converter_api.cpp: 1" ] || {
    echo "destroyed when the process ends: $found"
    exit 1
}
