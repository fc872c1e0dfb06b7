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
