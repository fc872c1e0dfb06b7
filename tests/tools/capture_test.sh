#!/usr/bin/env bash
# usage: capture_test.sh ZEL_FC CONFIG_DIR. Records with the tool and looks at files and exit codes.
set -euo pipefail
zel_fc=$1
export ZEL_VOICE_CONFIG_DIR=$2
# shellcheck source-path=SCRIPTDIR source=expect.sh
. "$(dirname "$0")/expect.sh"
out=$folder/out.wav

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
# Every line of a message has the log's own beginning.
grep -qE '^D/zel_tinyalsa_format_converter\( *[0-9]+\):         channel_mixing 1$' "$folder/said"
expect 0 "48000 frames" capture "$out" --fast -s 1 -r 48000 -c 8 -b 32
expect_size $((44 + 48000 * 8 * 4))
expect 0 "8000 frames" capture "$out" -s 0.5 --card-channels 2 --card-layout 2.0
# The card changes while it is recorded; times are those of the recording.
expect 0 "restarts: 2" capture "$out" --fast -s 3 \
    --change "2:PCM Slave Format=2" --change "1:PCM Slave Channels=6" --change "1.5:FC log level=None"
expect_size $((44 + 3 * 16000 * 2 * 2))
# What cannot be done is told before anything is written.
cp "$out" "$folder/kept"
for change in "1:Volume=3" "9:FC log level=Loud" "9:PCM Slave Channels=99" "9:FC delay coef file=hex:0"; do
    expect 1 "\": " capture "$out" --fast --change "$change"
    expect 1 "\": " controls watch --change "$change" -s 0.1
done
cmp "$out" "$folder/kept"
expect 1 "is not SECONDS:CONTROL=VALUE" capture "$out" --change "soon:Volume=3"
# What was recorded is played again, by a card like the file.
expect 0 "card: 2 channels, 16-bit words, 16000 Hz, layout 2.0" capture "$folder/again.wav" --fast \
    -s 1 --wav "$out"
expect 0 "8 channels, 32-bit words, 48000 Hz, layout 5.1.2" capture "$folder/again.wav" --fast -s 0.1 \
    --card-layout 5.1.2
expect 1 "" capture "$out" --bits 24
# tinyalsa would raise it, and the file would play at half the speed.
expect 1 "--rate" capture "$out" --fast -s 0.1 --rate 8000
expect 1 "" capture "$out" --wav /nowhere.wav
expect 2 "cannot open card 70" capture "$out" --channels 9
expect 2 "no \"3.0\" for \"PCM Channel Layout\"" capture "$out" --card-layout 3.0
expect 2 "cannot open card 70" capture "$out" --card-rate 44100
expect 4 "/nowhere/out.wav" capture /nowhere/out.wav

expect 0 "$ZEL_VOICE_CONFIG_DIR/voice_channel_delay_coef.json" controls get 0
expect 0 "Loopback Volume = 10 20" controls set "Loopback Volume" 10 20
expect 0 "Loopback Tuning = hex:01ff00" controls set "Loopback Tuning" hex:01ff
expect 2 "cannot open the mixer of card 5" controls list --card 5
expect 4 "the card refuses 101, it takes 0 to 100" controls set "Loopback Volume" 101
expect 4 "has 17 bytes, the control has 16" controls set "Loopback Calibration" 12345678901234567
expect 4 "the card refuses \"$(printf '%0128d' 0)\"" controls set 0 "$(printf '%0128d' 0)"

# No command writes onto what it reads.
mixing="$folder/m  n.json"
cp "$2/voice_channel_mixing_coef.json" "$mixing"
ln "$out" "$folder/same.wav"
cp "$out" "$folder/kept"
while read -r arguments; do
    eval "expect 1 'the output would overwrite' $arguments"
done <<'END'
capture "$out" --wav "$out"
capture "$mixing" --fast -s 0.1 --mixing "$mixing"
capture "$mixing" --fast -s 0.1 --delay "$mixing"
convert "$out" "$folder/./same.wav"
convert "$out" "$mixing" --mixing "$mixing"
plot recording "$out" "$out"
plot matrix "$mixing" "$mixing"
END
ZEL_LOOPBACK_CARD="Sim WAV File=$out" expect 1 "the output would overwrite" capture "$out"
cmp "$mixing" "$2/voice_channel_mixing_coef.json"
cmp "$out" "$folder/kept"
rm "$folder/same.wav"
# Nor is anything lost without a word.
for arguments in "capture $folder/again.wav --fast -s 0.1" "convert $out $folder/again.wav" info \
    "controls list" "check $2/voice_channel_mixing_coef.json" "plot filter $folder/plot.svg" --help; do
    code=0
    $zel_fc $arguments >/dev/full 2>"$folder/said" || code=$?
    [ "$code" -eq 4 ] && grep -qF "standard output: No space left" "$folder/said" ||
        { echo "$arguments to a full disk: $code"; exit 1; }
done
for arguments in "capture $folder/again.wav --fast -s 2" "convert $out $folder/again.wav --tail 9"; do
    code=0
    (trap '' XFSZ && ulimit -f 16 && exec $zel_fc $arguments) >"$folder/said" 2>&1 || code=$?
    [ "$code" -eq 4 ] && grep -qF "again.wav: File too large" "$folder/said" && ! grep -q inf "$folder/said" ||
        { echo "$arguments onto a full disk: $code"; cat "$folder/said"; exit 1; }
done
expect 0 "process's own" controls set "FC log level" Trace
expect 0 "zel-fc 1." --version
(unset ZEL_VOICE_CONFIG_DIR && expect 0 "in use: file" info)
expect 0 "plot.svg" plot recording "$out" "$folder/plot.svg"
grep -qF "channel 1</text>" "$folder/plot.svg"
for text in "500" "dBFS" "-100"; do grep -qF -- ">$text</text>" "$folder/plot.svg"; done
expect 0 "plot.svg" plot filter "$folder/plot.svg"
expect 0 "plot.svg" plot matrix "$2/voice_channel_mixing_coef.json" "$folder/plot.svg"
[ "$(grep -c -- '-12.9</text>' "$folder/plot.svg")" -eq 6 ]
for text in "voice_channel_mixing_coef.json" "3 LFE" "client 1 R" "sum"; do
    grep -qF -- "$text</text>" "$folder/plot.svg"
done
expect 0 "the mixing file is not in use" plot matrix "$0" "$folder/plot.svg"
grep -qF "not of the file: the identity matrix" "$folder/plot.svg"
# What cannot be converted leaves the output as it was.
cp "$folder/again.wav" "$folder/kept"
expect 2 "Format not recognised" convert "$0" "$folder/again.wav"
expect 2 "channel num 9 out of limit 8" convert "$out" "$folder/again.wav" -c 9
cmp "$folder/again.wav" "$folder/kept"
expect 2 "Format not recognised" plot recording "$0" "$folder/plot.svg"

# An interrupt leaves a valid file, with just what the summary says.
"$zel_fc" capture "$out" --seconds 60 --channels 3 >"$folder/said" 2>&1 &
until [ "$(grep -c ' s of 60.00 s' "$folder/said")" -ge 2 ]; do sleep 0.1; done
kill -INT $!
wait $!
grep -qF "interrupted" "$folder/said"
frames=$(sed -n 's/.*out.wav: \([0-9]*\) frames.*/\1/p' "$folder/said")
[ "$frames" -gt 8000 ]
expect_size $((44 + frames * 3 * 2))
expect 0 "$frames frames" convert "$out" "$folder/again.wav" -r 16000 -c 3 --tail 0
