#!/usr/bin/env bash
# usage: capture_test.sh ZEL_FC CONFIG_DIR. Records with the tool and looks at files and exit codes.
set -euo pipefail
zel_fc=$1
export ZEL_VOICE_CONFIG_DIR=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
out=$folder/out.wav

# expect CODE TEXT ARGUMENT...: the exit code and a text in what is printed.
expect() {
    local code=$1 text=$2 got=0
    shift 2
    "$zel_fc" "$@" >"$folder/said" 2>&1 || got=$?
    if [ "$got" -ne "$code" ] || ! grep -qF -- "$text" "$folder/said"; then
        echo "zel-fc $*: exit code $got instead of $code, or without \"$text\":"
        cat "$folder/said"
        exit 1
    fi
}

# bytes of a WAV file with SECONDS x RATE x CHANNELS x BYTES of audio and a header of 44 bytes
expect_size() {
    local wanted=$1 got
    got=$(stat -c %s "$out")
    if [ "$got" -lt "$wanted" ] || [ "$got" -gt $((wanted + 100)) ]; then
        echo "$out has $got bytes instead of $wanted"
        exit 1
    fi
}

expect 0 "160000 frames, 10.000 s" capture "$out" --fast --seconds 10
expect_size $((44 + 10 * 16000 * 2 * 2))
grep -qF "timestamp gaps: 0   overruns: 0   frames lost: 0" "$folder/said"
expect 0 "48000 frames" capture "$out" --fast -s 1 -r 48000 -c 8 -b 32
expect_size $((44 + 48000 * 8 * 4))
expect 0 "8000 frames" capture "$out" -s 0.5 --card-channels 2 --card-layout 2.0
# What was recorded is played again.
expect 0 "16000 frames" capture "$folder/again.wav" --fast -s 1 --wav "$out"

expect 1 "" capture "$out" --bits 24
expect 1 "" capture "$out" --wav /nowhere.wav
expect 1 "" record
expect 2 "cannot open card 70" capture "$out" --channels 9
expect 2 "no \"3.0\" for \"PCM Channel Layout\"" capture "$out" --card-layout 3.0
expect 2 "cannot open card 70" capture "$out" --card-rate 44100
expect 4 "/nowhere/out.wav" capture /nowhere/out.wav

# An interrupt leaves a valid file.
"$zel_fc" capture "$out" --seconds 60 >"$folder/said" 2>&1 &
sleep 1
kill -INT $!
wait $!
grep -qF "interrupted" "$folder/said"
[ "$(stat -c %s "$out")" -gt 20000 ]
