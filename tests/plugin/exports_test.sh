#!/usr/bin/env bash
# usage: exports_test.sh READELF LIBRARY FORTIFIED COMPILER. What the library shows to the dynamic
# linker, and that it is hardened; FORTIFIED is 1 in a release build.
set -euo pipefail
readelf=$1 library=$2 fortified=$3 compiler=$4

fail() {
    echo "$library: $*"
    exit 1
}

# symbols PATTERN: names of the dynamic symbols whose section index matches.
symbols() {
    "$readelf" -W --dyn-syms "$library" |
        awk -v section="$1" '$7 ~ section && $8 != "" { sub(/@.*/, "", $8); print $8 }' | sort -u
}

exported=$(symbols '^[0-9]+$|^ABS$' | tr '\n' ' ')
[ "$exported" = "mixer_plugin_ops pcm_plugin_ops res_coeff res_order " ] || fail "exports $exported"

segments=$("$readelf" -W --segments "$library")
grep -q 'GNU_RELRO' <<<"$segments" || fail "its relocated data stays writable"
grep -q 'GNU_STACK .* RW ' <<<"$segments" || fail "its stack is executable"
! grep ' RWE ' <<<"$segments" || fail "a segment is writable and executable"
dynamic=$("$readelf" -W --dynamic "$library")
grep -q '(FLAGS) .*BIND_NOW' <<<"$dynamic" || fail "it binds lazily"
grep -q '(FLAGS_1) .*NODELETE' <<<"$dynamic" || fail "it is unloaded with its last handle"

if [ "$fortified" = 1 ]; then
    used=$(symbols '^UND$')
    grep -qx '__stack_chk_fail' <<<"$used" || fail "no stack is guarded"
    # Of our calls, g++ leaves fprintf's to be checked at run time; clang cannot check that one.
    [ "$compiler" != GNU ] || grep -q '_chk$' <<<"$used" || fail "no call is fortified"
fi
