#!/usr/bin/env bash
# usage: doctor_test.sh ZEL_FC FAULTY_DOCTOR ODD_FOLDER CONFIG_DIR [emulated]. Each check fails once.
set -euo pipefail
zel_fc=$1 doctor=$2 odd=$3
export ZEL_VOICE_CONFIG_DIR=$4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
library=libzel_tinyalsa_format_converter_plugin.so

# A loaded machine loses audio or opens late, and the doctor says so: one run in six must be on time.
# An emulator translates the first blocks for longer than the card keeps them.
good='^ok '
[ -z "${5:-}" ] || good='^ok \|^warning  *timestamps  *a block advances them by 32.0 ms '
in_some_run() {
    local run
    for run in 1 2 3 4 5 6; do
        ! "$@" || return 0
    done
    echo "$*: exit code $got, and"
    cat "$folder/said" "$folder/log"
    exit 1
}

run() { got=0; "$@" >"$folder/said" 2>"$folder/log" || got=$?; }

# shows RESULT CHECK PATTERN [VARIABLE=VALUE...] [-- OPTION...]: the row, "SEEN > REMEDY", of a run that
# ends with 5 where something failed, else with 0.
shows() {
    in_some_run has_row "$@"
}

has_row() {
    local result=$1 check=$2 text=$3 expected=0 variables=()
    shift 3
    while [ $# -gt 0 ] && [ "$1" != -- ]; do
        variables+=("$1")
        shift
    done
    shift || true
    # What fails anyway needn't take its time.
    [ "$result" != FAILED ] || expected=5 variables=("ZEL_LOOPBACK_CARD=Sim Pacing=Fast" "${variables[@]}")
    run env "${variables[@]}" "$doctor" "$@"
    [ "$got" -eq "$expected" ] &&
        sed -z 's/\n  *> / > /g' "$folder/said" | grep "^$result  *$check  *" | grep -q -- "$text"
}

is_whole() {
    run "$zel_fc" doctor
    [ "$got" -eq 0 ] && [ "$(grep -c "$good" "$folder/said")" -eq 18 ] &&
        grep -q "^Card 70 works here: 0 of 18 checks failed, [01] warning" "$folder/said"
}

is_whole_as_json() {
    run "$doctor" --json
    [ "$got" -eq 0 ] && python3 -c 'import json, sys
j = json.load(sys.stdin)
good = [c["result"] == "pass" for c in j["checks"]]
sys.exit(not (j["works"] and len(good) == 18 and sum(good) >= 17))' <"$folder/said"
}

# A whole card: by both programs, and as JSON.
in_some_run is_whole
in_some_run is_whole_as_json
shows ok "mixing file" "entry 11: 8 channels (7.1) to 2"
shows ok open "48000 Hz, 8 channels, 32 bits" -- -r 48000 -c 8 -b 32
[ "$("$doctor" -c 0 2>&1 >/dev/null | head -c 6)" = usage: ]
[ "$("$doctor" --version)" = "$("$zel_fc" --version | sed 's/fc/fc-doctor/')" ]
true_library=$("$doctor" -r 48000 2>/dev/null | sed -n 's/^ok  *library  *//p')

shows FAILED tinyalsa "loads no plugins" ZEL_FAULT=no_plugins
[ "$(grep -c "^- .* not tried without" "$folder/said")" -eq 12 ]
shows FAILED "other programs" "parser.so > export LD_LIBRARY_PATH=${true_library%/*}" ZEL_FAULT=no_definitions
grep -q "^ok  *mixer of card 70" "$folder/said"

# A child that ends or stays away is told like a check, to programs too.
shows FAILED end "crashes: Aborted" ZEL_FAULT=crash
run env ZEL_FAULT=hang "$doctor" --json
[ "$got" -eq 5 ]
grep -q "the next check gives no answer in 10 s" "$folder/said"

cards=LD_LIBRARY_PATH=$odd/cards:${LD_LIBRARY_PATH:-}
shows FAILED "card definition" "card 70 is not defined" "$cards" ZEL_ODD_CARDS=open=70
shows FAILED "card definition" "card 70 has no PCM device 70" "$cards" ZEL_ODD_CARDS=pcm=
shows FAILED "card definition" "card 70 has no mixer" "$cards" ZEL_ODD_CARDS=mixer=
shows FAILED "card definition" "of type 0, not 1" "$cards" ZEL_ODD_CARDS=type=0
shows FAILED "card definition" "does not capture" "$cards" ZEL_ODD_CARDS=capture=0
shows FAILED "card definition" "names libother.so" "$cards" ZEL_ODD_CARDS=so-name=libother.so
mkdir "$folder/bad"
echo "no library" >"$folder/bad/libsndcardparser.so"
shows FAILED "card definition" libsndcardparser.so "LD_LIBRARY_PATH=$folder/bad:${LD_LIBRARY_PATH:-}"
cp "$odd/bare/$library" "$folder/bad/libsndcardparser.so"
shows FAILED "card definition" "ops > That file is no" "LD_LIBRARY_PATH=$folder/bad:${LD_LIBRARY_PATH:-}"

shows FAILED library "$folder/$library" "$cards" "ZEL_ODD_CARDS=so-name=$folder/$library"
shows FAILED library "exports no res_coeff" "$cards" "ZEL_ODD_CARDS=so-name=$odd/bare/$library"
grep -q "^warning  *version  *the library's file does not tell it" "$folder/said"
shows FAILED library "$folder/$library" "$cards" "ZEL_ODD_CARDS=mixer-so=$folder/$library"
# marked OPERATIONS ACTIVE LAYOUT: the library as another build, by the mark in its file.
marked() {
    local file=$folder/marked/$library at
    mkdir -p "$folder/marked"
    cp "$true_library" "$file"
    at=$(grep -abom1 "format converter of card 70, version " "$file" | head -1)
    printf "\\x$1\\0\\0\\0\\x$2\\0\\0\\0\\x$3\\0\\0\\0" |
        dd of="$file" bs=1 seek=$((${at%%:*} + 48)) conv=notrunc status=none
}
other=ZEL_ODD_CARDS=so-name=$folder/marked/$library
marked 0c 1 6
shows FAILED version "table has 12 operations" "$cards" "$other"
marked 10 3 8
shows FAILED "control numbers" "\"PCM Slave Active\" is number 1, the library watches 3" "$cards" "$other"
shows ok "control numbers" "\"PCM Slave Active\" is number 3; " ZEL_FAULT=numbers "$cards" "$other"
run env "$cards" ZEL_ODD_CARDS=open=0 "$zel_fc" capture "$folder/none.wav" -q
[ "$got" -eq 2 ] # no simulated card is no crash
shows FAILED "voice utility" "no capture device \"Loopback Capture_I2S\"" "$cards" ZEL_ODD_CARDS=open=0

shows FAILED "card controls" "Permission denied > See the log of the card" ZEL_FAULT=card_mixer
shows FAILED "card controls" "Permission denied > See the row on rights" "ZEL_FAULT=card_mixer rights"
shows FAILED "card controls" "there is no \"PCM Slave Rate\"" ZEL_FAULT=missing_control
shows FAILED "card controls" "\"PCM Slave Channels\" is enumerated, not integer" ZEL_FAULT=kind
shows FAILED "card controls" "format 3" ZEL_FAULT=format
shows FAILED "control numbers" "\"PCM Channel Layout\" is number 8, the library watches 6" \
    ZEL_FAULT=numbers
shows FAILED mirroring "\"Loopback Volume\" is boolean" ZEL_FAULT=boolean
grep -q "^FAILED  *mixer of card 70" "$folder/said"
shows FAILED mirroring "\"PCM Channel Layout\" has no text for item 8" ZEL_FAULT=item

samples=$(realpath -s "${true_library%/*}/../share/zel_format_converter")
shows FAILED "mixing file" "No such file .*export ZEL_VOICE_CONFIG_DIR=$samples" "ZEL_VOICE_CONFIG_DIR=$folder"
grep -q "^warning  *sound  *a second of silence" "$folder/said"
mkdir "$folder/files"
echo '{"a": ' >"$folder/files/voice_channel_mixing_coef.json"
cp "$ZEL_VOICE_CONFIG_DIR/voice_channel_delay_coef.json" "$folder/files"
shows warning "mixing file" "is not JSON" "ZEL_VOICE_CONFIG_DIR=$folder/files"
printf '{}%2000000s' '' >"$folder/files/voice_channel_mixing_coef.json"
shows warning "mixing file" "is larger than 1 MiB" "ZEL_VOICE_CONFIG_DIR=$folder/files"
shows warning "mixing file" "is disabled or has no entry for 8 channels (7.1) to 3" -- -c 3
shows warning "delay file" "is disabled or has no entry for 11 channels" "ZEL_LOOPBACK_CARD=PCM Slave Channels=11"
sed 's/true/false/' "$ZEL_VOICE_CONFIG_DIR/voice_channel_delay_coef.json" \
    >"$folder/files/voice_channel_delay_coef.json"
shows warning "delay file" "is disabled or has no" "ZEL_VOICE_CONFIG_DIR=$folder/files"

refusing="ZEL_LOOPBACK_CARD=Sim Fault Open=1000"
shows FAILED open "cannot set hw params.*zel-fc doctor --log" "$refusing"
shows FAILED open "> Process 4711 has the card's capture device" "$refusing" ZEL_FAULT=busy
shows warning open "16000 Hz, 2 channels, 16 bits, in " ZEL_FAULT=slow_open
shows FAILED "first block" "the card delivers nothing, for 2" "ZEL_LOOPBACK_CARD=Sim Pacing=Step"
shows FAILED "first block" "only after pcm_prepare and pcm_start" ZEL_FAULT=unstarted
shows warning "first block" "after " "ZEL_LOOPBACK_CARD=Sim Fault Stall=300"
shows FAILED timestamps "they do not advance" ZEL_FAULT=no_time
shows FAILED timestamps "by 8.0 ms" ZEL_FAULT=half_time "ZEL_LOOPBACK_CARD=Sim Pacing=Clock"  # halved for the library, and for its client
clock="ZEL_LOOPBACK_CARD=Sim Pacing=Clock"
shows warning timestamps "too far" ZEL_FAULT=lost_time
shows ok timestamps " to 37.0 ms)" ZEL_FAULT=late_time
shows FAILED pace "of audio in .* > The card's clock does not" ZEL_FAULT=slow_card
shows FAILED sound "the card stopped" "ZEL_LOOPBACK_CARD=Sim Pacing=Step;Sim Granted Frames=15360"
# What the two formats make of the stream, as zel-fc info has it.
of_48="of a card at 48000 Hz the converter makes 48000 or 16000 Hz"
shows FAILED sound "peak .* > 50 % of each block is silence: $of_48" "$clock" -- -r 32000 -b 32
shows FAILED sound "a second of silence > all blocks are silence: $of_48" "$clock" -- -r 32000
shows FAILED open "at 44100 Hz is delivered at that rate alone" "ZEL_LOOPBACK_CARD=PCM Slave Rate=44100"
shows FAILED pace "that for 8000 Hz: ask for -r 16000" "$clock" -- -r 8000
shows warning sound "play 48 dB down" "ZEL_LOOPBACK_CARD=PCM Slave Format=6"
shows warning sound "a second of silence" "ZEL_LOOPBACK_CARD=Loopback Signal=Silence"
shows ok rights "the card opens for user" ZEL_FAULT=rights
shows FAILED rights "/dev/snd/pcmC0D0c: Permission denied" ZEL_FAULT=rights "$refusing"
