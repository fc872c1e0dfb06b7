#!/usr/bin/env bash
# usage: machine_output_test.sh ZEL_FC CONFIG_DIR. What the tool prints for programs.
set -euo pipefail
zel_fc=$1
export ZEL_VOICE_CONFIG_DIR=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# holds CODE EXPRESSION ARGUMENT...: the exit code, and a Python expression of the JSON `j`, which
# must be all that is on the standard output.
holds() {
    local code=$1 expression=$2 got=0
    shift 2
    "$zel_fc" "$@" >"$folder/json" 2>"$folder/errors" || got=$?
    if [ "$got" -ne "$code" ] || ! python3 -c '
import json, sys
text = open(sys.argv[1]).read()
j = [json.loads(line) for line in text.splitlines()] if sys.argv[3] == "lines" else json.loads(text)
sys.exit(not eval("(" + sys.argv[2] + ")"))' "$folder/json" "$expression" "${form:-whole}"; then
        echo "zel-fc $*: exit code $got instead of $code, or not: $expression"
        cat "$folder/json" "$folder/errors"
        exit 1
    fi
}

out=$folder/out.wav
holds 0 'j["frames"] == 16000 and j["chain"]["mixing"]["in_use"] == "file" and
    len(j["levels"]) == 2 and j["events"][0] == "0.51 s: PCM Slave Format = 2" and
    j["events"][1].endswith("the capture was restarted") and j["restarts"] == 1 and
    j["chain"]["card"]["word_bits"] == 16' \
    capture "$out" --fast -s 1 --json --change "0.5:PCM Slave Format=2" -q
[ -z "$(grep -v "^pcm_plug_open: dlopen successful" "$folder/errors")" ]  # that is tinyalsa's own
holds 0 'j["in"]["frames"] == 16000 and j["chain"]["card"]["rate"] == 16000 and
    j["out"]["levels"][0]["peak_dbfs"] is not None' convert "$out" "$folder/again.wav" --json
# Of a file that is played it is known which samples the weights take beyond full scale.
echo '{"MixingCoefficientEnable": true, "MixingWeighting": [{"InputChannel": 2,
    "InputChannelLayout": "2.0", "OutputChannel": 2, "Parameters": [9, 0, 0, 9]}]}' >"$folder/loud.json"
for weights in "0 $2/voice_channel_mixing_coef.json" "1 $folder/loud.json"; do
    holds 0 "(j[\"overloads\"] > 1000) == ${weights%% *}" capture "$folder/loud.wav" --fast -s 1 --json -q \
        --wav "$out" --mixing "${weights#* }" --card-rate 48000
done
grep -qF "mixed samples are beyond full scale" "$folder/errors"
holds 0 'j["limits"]["channels"] == {"min": 1, "max": 8} and
    j["limits"]["rate"] == {"min": 16000, "max": 48000} and
    j["controls"]["PCM Channel Layout"] == "5.1" and len(j["matrix"]) == 2 and
    len(j["matrix"][0]) == 6 and j["delay_frames"] == [48, 48, 96, 0, 240, 240] and
    j["chain"]["stages"]["rate_conversion"] and not j["chain"]["stages"]["padding"] and
    j["mixing_file"].endswith("voice_channel_mixing_coef.json")' \
    info --json --card-channels 6 --card-layout 5.1
cp "$2/voice_channel_mixing_coef.json" "$folder/$(printf 'a  b\xff.json')"
holds 0 'j["mixing_file"].endswith("a  b\ufffd.json") and
    j["controls"]["FC delay coef file"] == j["delay_file"] and
    j["controls"]["Loopback Volume"] == [100, 100] and sum(map(sum, j["matrix"])) > 1' \
    info --json --mixing "$folder/$(printf 'a  b\xff.json')"
holds 5 'j["files"][0]["file"].endswith("b\ufffd.json")' \
    check --json --as delay "$folder/$(printf 'a  b\xff.json')"
holds 0 'j["chain"]["mixing"] == {"in_use": "identity", "file": j["mixing_file"],
    "reason": "8(7.1) => 3 mixing coefficient not found"} and
    j["matrix"] == [[int(i == o) for i in range(8)] for o in range(3)]' info --json -c 3
holds 2 'not j["opens"] and j["chain"] == {}' info --json --card-rate 44100
grep -qF "the library says: sample rate is not 16 48Khz" "$folder/errors"

holds 0 'j[2] == {"number": 2, "name": "FC log level", "type": "ENUM", "count": 1, "value": "Info",
    "items": ["None", "Fatal", "Error", "Warn", "Info", "Trace", "All"]} and
    j[3]["value"] == [100, 100] and j[3]["max"] == 100' controls list --json
form=lines holds 0 '[e["changed"] for e in j] == [{"PCM Slave Channels": 6}] and
    j[0]["event"] == "restart" and 0.1 <= j[0]["seconds"] < 5' \
    controls watch --json -s 1.5 --change "0.1:PCM Slave Channels=6" --change "0.1:Loopback Volume=100"
form=lines holds 1 'len(j) == 0' controls watch --json --change "0:Loopback Volume=101"
form=lines holds 2 'len(j) == 0' controls watch --json --card 5
! command -v groff >/dev/null || ! groff -ww -man -Tascii <("$zel_fc" --man) 2>&1 >/dev/null | grep .
