#!/usr/bin/env bash
# usage: check_test.sh ZEL_FC PROJECT. `zel-fc check` from the command line: exit codes and streams.
set -euo pipefail
zel_fc=$1
# shellcheck source-path=SCRIPTDIR source=expect.sh
. "$(dirname "$0")/expect.sh"
cd "$2"
mixing=config/voice_channel_mixing_coef.json
delay=config/voice_channel_delay_coef.json
bad=config/known-bad

expect 0 "16 entries, no problems" check "$mixing" "$delay"
expect 0 "6 channels at 16000 Hz: entry 3" check "$delay" --card-channels 6 --card-rate 16000
expect 0 " 5 BR           5       80" check "$delay" --card-channels 6 --card-rate 16000
expect 5 "syntax_comment.json:4:8: error: " check "$mixing" "$bad/mixing/syntax_comment.json" "$delay"
expect 3 "client hears silence" check /nowhere/mixing.json --card-channels 6
expect 3 "no delay (bypass)" check "$bad/delay/disabled.json" /nowhere/delay.json --card-channels 6
expect 5 "unknown_kind" check CMakePresets.json
expect 0 "no problems" check --as mixing "$mixing"
expect 5 "body_missing" check --as delay "$mixing"

expect 1 "file" check # no file
expect 1 "no channel count" check "$mixing" --card-layout stereo
expect 1 "--as" check "$mixing" --as matrix

# The log is held back, and nothing is printed but the report.
"$zel_fc" check "$bad/mixing/weight_count.json" --card-layout 5.1 >"$folder/out" 2>"$folder/error" || true
[ ! -s "$folder/error" ] || { echo "on the standard error stream:"; cat "$folder/error"; exit 1; }
[ "$(grep -c "search_coefficient" "$folder/out")" -eq 0 ]

# Every report is JSON, whatever stands in the file.
printf '{"MixingCoefficientEnable":true,"MixingWeighting":[{"InputChannel":2,"InputChannelLayout":"\xff\x01\\u001b[2J","OutputChannel":2}]}' >"$folder/odd.json"
"$zel_fc" check --json --card-channels 2 "$bad"/*/*.json "$mixing" "$folder/odd.json" /nowhere >"$folder/json" || true
python3 - "$folder/json" <<'END'
import json, sys
files = json.load(open(sys.argv[1]))["files"]
assert len(files) > 60
assert files[-1]["readable"] is False and files[-1]["findings"][0]["kind"] == "not_readable"
assert sum("decision" in file for file in files) == len(files) - 1
END
[ "$("$zel_fc" check "$folder/odd.json" --card-channels 2 --all | grep -c "$(printf '[\001\033\377]')")" -eq 0 ]
