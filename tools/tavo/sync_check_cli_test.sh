#!/usr/bin/env bash
# End-to-end checks of tavo sync-check: a synthetic isolated recording found in sync, and the exit
# statuses for bad input.
# Usage: sync_check_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"

run sync-check --record 4 "$work/session"
check "a synthetic isolated recording is in sync" 0 $? out_has '"inSync":true'
check "every source has its file" 0 0 test -f "$work/session/Offset.mov" -a -f "$work/session/Jump.mov" \
  -a -f "$work/session/Restart.mov" -a -f "$work/session/Voice.m4a"

run sync-check "$work/session/Jump.mov" "$work/session/Voice.m4a"
check "files given one by one" 0 $? out_has '"Voice.m4a":'

run sync-check --record 2 "$work/lavfi" --source "Bars=lavfi:testsrc2=size=320x180:rate=30" \
  --source "Tone=lavfi:sine=frequency=440:sample_rate=48000"
check "FFmpeg sources record to files of their own" 0 $? test -f "$work/lavfi/Bars.mov" -a -f "$work/lavfi/Tone.m4a"
check "and have no sync marks" 0 0 out_has '"inSync":false'

run sync-check --record 2 "$work/bad" --source "Nothing=$work/missing.mov"
check "a source that cannot be opened" 66 $? err_has 'source "Nothing"'

run sync-check --record 2 "$work/bad" --source "no-url"
check "a source without a URL" 64 $? err_has "expected NAME=URL"

run sync-check "$work/missing.mov"
check "a missing file" 66 $? err_has "missing.mov"

mkdir -p "$work/empty"
run sync-check "$work/empty"
check "a folder without recordings" 66 $? err_has "no recorded files"

echo "not a movie" >"$work/text.mov"
run sync-check "$work/text.mov"
check "a file that is not media" 65 $? err_has "text.mov"

echo "sync-check: $passed passed, $failed failed"
[[ $failed -eq 0 ]]
