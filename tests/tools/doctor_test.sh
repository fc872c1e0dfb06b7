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

# shows RESULT CHECK TEXT [VARIABLE=VALUE...] [-- OPTION...]: the row of a run that ends with 5 where
# something failed, else with 0.
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
        grep "^$result  *$check  *" "$folder/said" | grep -qF -- "$text"
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

shows FAILED tinyalsa "loads no plugins" ZEL_FAULT=no_plugins
[ "$(grep -c "^- .* not tried without" "$folder/said")" -eq 12 ]

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

mkdir "$folder/mute"
cp "$odd/bare/$library" "$folder/mute/libsndcardparser.so"
shows FAILED "card definition" "has no snd_card_ops" "LD_LIBRARY_PATH=$folder/mute:${LD_LIBRARY_PATH:-}"
shows FAILED "card definition" "others do not" ZEL_FAULT=search
grep -q "> export LD_LIBRARY_PATH=/" "$folder/said"

shows FAILED library "$folder/mixer.so" "$cards" "ZEL_ODD_CARDS=mixer-so-name=$folder/mixer.so/$library"
shows FAILED library "$folder/$library" "$cards" "ZEL_ODD_CARDS=so-name=$folder/$library"
shows FAILED library "exports no res_coeff" "$cards" "ZEL_ODD_CARDS=so-name=$odd/bare/$library"
shows FAILED version "table has 12 operations" "$cards" "ZEL_ODD_CARDS=so-name=$odd/short/$library"
shows FAILED "voice utility" "no capture device \"Loopback Capture_I2S\"" "$cards" ZEL_ODD_CARDS=open=0

shows FAILED "card controls" "does not open: Permission denied" ZEL_FAULT=card_mixer
shows FAILED "card controls" "there is no \"PCM Slave Rate\"" ZEL_FAULT=missing_control
shows FAILED "card controls" "\"PCM Slave Channels\" is enumerated, not integer" ZEL_FAULT=kind
shows FAILED "card controls" "format 3" ZEL_FAULT=format
shows FAILED "control numbers" "\"PCM Channel Layout\" is number 8, the library watches 6" \
    ZEL_FAULT=numbers
shows FAILED mirroring "\"Loopback Volume\" is boolean" ZEL_FAULT=boolean
grep -q "^FAILED  *mixer of card 70" "$folder/said"
shows FAILED mirroring "\"PCM Channel Layout\" has no text for item 8" ZEL_FAULT=item

shows FAILED "mixing file" "No such file or directory" "ZEL_VOICE_CONFIG_DIR=$folder"
grep -q "^warning  *sound  *a second of silence" "$folder/said"
mkdir "$folder/files"
echo '{"a": ' >"$folder/files/voice_channel_mixing_coef.json"
cp "$ZEL_VOICE_CONFIG_DIR/voice_channel_delay_coef.json" "$folder/files"
shows warning "mixing file" "is not JSON" "ZEL_VOICE_CONFIG_DIR=$folder/files"
shows warning "mixing file" "has no entry for 8 channels (7.1) to 3" -- -c 3
shows warning "delay file" "has no entry for 11 channels" "ZEL_LOOPBACK_CARD=PCM Slave Channels=11"
sed 's/true/false/' "$ZEL_VOICE_CONFIG_DIR/voice_channel_delay_coef.json" \
    >"$folder/files/voice_channel_delay_coef.json"
shows warning "delay file" "is disabled, or its entry" "ZEL_VOICE_CONFIG_DIR=$folder/files"

shows FAILED open "cannot set hw params" "ZEL_LOOPBACK_CARD=Sim Fault Open=1000"
shows warning open "16000 Hz, 2 channels, 16 bits, in " ZEL_FAULT=slow_open
# tinyalsa forgets a handle whose close failed, as that of a card that holds the worker.
held=LSAN_OPTIONS=detect_leaks=0
shows FAILED "first block" "none in 2" "ZEL_LOOPBACK_CARD=Sim Pacing=Step" $held
shows warning "first block" "after " "ZEL_LOOPBACK_CARD=Sim Fault Stall=300"
shows FAILED timestamps "they do not advance" ZEL_FAULT=no_time
shows FAILED timestamps "by 8.0 ms" ZEL_FAULT=half_time "ZEL_LOOPBACK_CARD=Sim Pacing=Clock"  # halved for the library, and for its client
shows FAILED sound "the card stopped" "ZEL_LOOPBACK_CARD=Sim Pacing=Step;Sim Granted Frames=15360" $held
shows warning sound "a second of silence" "ZEL_LOOPBACK_CARD=Loopback Signal=Silence"
shows FAILED rights "/dev/snd/pcmC0D0c: Permission denied" ZEL_FAULT=rights
shows FAILED rights "/dev/snd/controlC0: No such file or directory; /dev/snd/pcmC0D0c: No" ZEL_FAULT=nodes
shows FAILED pace "of audio took" ZEL_FAULT=slow
shows FAILED client "32000 Hz of a card at 48000 Hz" -- -r 32000 -b 32
shows FAILED client "8000 Hz of a card at 48000 Hz" -- -r 8000
shows warning client "play 48 dB down" "ZEL_LOOPBACK_CARD=PCM Slave Format=6"
shows FAILED doctor 'the check after "voice utility" crashes, signal' ZEL_FAULT=crash
grep -q "^Card 70 does not work here: 1 of 6 checks failed" "$folder/said"
run env ZEL_FAULT=crash "$doctor" --json
python3 -c 'import json, sys; sys.exit(len(json.load(sys.stdin)["checks"]) != 6)' <"$folder/said"
"$doctor" --version | grep -q "^zel-fc-doctor [0-9.]*$"
head -c 2000000 /dev/zero | tr '\0' ' ' >"$folder/files/voice_channel_mixing_coef.json"
shows warning "mixing file" "is larger than 1 MiB" "ZEL_VOICE_CONFIG_DIR=$folder/files"
# Other programs have no samples beside them.
run env -u ZEL_VOICE_CONFIG_DIR "$zel_fc" doctor
grep -A1 "^FAILED  *mixing file  */vendor" "$folder/said" | grep -q "Or: export ZEL_VOICE_CONFIG_DIR=/"
