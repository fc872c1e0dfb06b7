#!/usr/bin/env bash
# usage: install_test.sh CMAKE BUILD_DIR C_COMPILER [EMULATOR]. Installs into an empty prefix, moves it,
# and uses it from there: the tool, and host programs against the pkg-config file and the CMake
# package. The compiler may have options, the emulator arguments.
set -euo pipefail
cmake=$1 build=$2
read -ra cc <<<"$3"
read -ra emulator <<<"${4:-}"
source=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$cmake" --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix"
prefix=$work/prefix

fail() {
    echo "$*"
    exit 1
}

# Nothing may come from the build tree or by a variable of the caller's.
run() {
    env -i PATH=/usr/bin:/bin "${emulator[@]}" "$@"
}

# expect TEXT COMMAND...: a text in what it prints.
expect() {
    local text=$1
    shift
    "$@" >"$work/said" 2>&1 || { cat "$work/said"; fail "failed: $*"; }
    grep -qF -- "$text" "$work/said" || { cat "$work/said"; fail "no \"$text\": $*"; }
}

# Libraries find each other relative to where they lie.
while IFS= read -r file; do
    paths=$(readelf -d "$file" 2>/dev/null | sed -n 's/.*R[UN]*PATH.*\[\(.*\)\]/\1/p')
    for path in ${paths//:/ }; do
        case $path in '$ORIGIN'*) ;; *) fail "$file looks for libraries in $path" ;; esac
    done
done < <(find "$prefix" -type f \( -name '*.so*' -o -path '*/bin/*' \))
# and nothing of the text files names the folder it was built or first installed in.
if grep -rlF -e "$build" -e "$work/first" "$prefix" --include='*.pc' --include='*.cmake'; then
    fail "these name a folder of this machine"
fi

for package in zel-format-converter{,-tools,-dev,-doc}; do
    [ -s "$prefix/share/doc/$package/copyright" ] || fail "$package has no licence"
done
[ "$(find "$prefix/share/doc" -name 'copyright.*' | wc -l)" -eq 4 ] || fail "a licence lacks in zel-fc's package"
"$source/../docs/links_test.sh" "$prefix/share/doc/zel-format-converter"

expect "use mixing coefficient 8(7.1) => 2" \
    run "$prefix/bin/zel-fc" capture "$work/out.wav" --fast --seconds 0.5
expect "FC log level" run "$prefix/bin/zel-fc" controls
[ "$(stat -c %s "$work/out.wav")" -ge 32044 ] || fail "the recording is too short"

pc=$(dirname "$(find "$prefix" -name zel-format-converter.pc)")
flags=$(env -i PATH=/usr/bin:/bin PKG_CONFIG_PATH="$pc" pkg-config --cflags --libs zel-format-converter)
# shellcheck disable=SC2086  # words of their own
"${cc[@]}" "$source/client/client.c" -o "$work/client" $flags
expect '512 frames, control 2 is "FC log level"' run "$work/client"

"$cmake" -G Ninja -S "$source/client" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_COMPILER="${cc[0]}" -DCMAKE_C_FLAGS="${cc[*]:1}" >/dev/null
"$cmake" --build "$work/build" >/dev/null
expect '512 frames, control 2 is "FC log level"' run "$work/build/client"
