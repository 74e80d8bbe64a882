#!/usr/bin/env bash
# End-to-end checks of `tavo record`: real files of one and two canvases, read back with `tavo probe`,
# a stop by SIGINT that still saves, and the refusals of bad arguments.
# Usage: record_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"
probe_has() { "$tavo" probe "$1" | grep -qF -- "$2"; }

mkdir -p "$work/one" "$work/two" "$work/stop"

run record --seconds 1 --size 160x90 --out "$work/one"
one="$(head -1 "$work/out")"
check "one canvas saves one file" 0 $? [ -f "$one" ]
check "one canvas has no canvas tag" 0 0 bash -c "! \"$tavo\" probe \"$one\" | grep -qF tavo-canvas"
check "one canvas holds video and audio" 0 0 probe_has "$one" '"mediaType":"audio"'

run record --seconds 1.5 --size 160x90 --canvases 2 --pause-at 0.5 --resume-at 1 --out "$work/two" --json
check "two canvases report two files" 0 $? out_has '"numberOfFiles":2'
check "the save location is the --out folder" 0 0 grep -q '"locationTitle":"[^"]* - two"' "$work/out"
second="$(sed -n 's/.*"paths":\["[^"]*","\([^"]*\)".*/\1/p' "$work/out")"
check "the second canvas is tagged" 0 0 probe_has "$second" '"common/type":"tavo-canvas.secondary"'
check "the second canvas is portrait" 0 0 probe_has "$second" '"width":90,"height":160'

"$tavo" record --seconds 30 --size 160x90 --out "$work/stop" >"$work/out" 2>"$work/err" &
pid=$!
# Interrupt once the file has been started (its first frame written), however slow the build.
for _ in $(seq 200); do
  compgen -G "$work/stop/*.mov" >/dev/null && break
  sleep 0.1
done
sleep 0.5
kill -INT "$pid"
wait "$pid"
check "SIGINT finishes the file" 0 $? out_has ".mov"

run record --size 17x9
check "odd size is a usage error" 64 $? err_has "--size 17x9"
run record --pause-at 2 --resume-at 1
check "resume before pause is a usage error" 64 $? err_has "pauses must be in order"
run record --seconds 1 --out "$work/missing"
check "missing folder" 66 $? err_has "not a folder"

echo "record: $passed passed, $failed failed"
[[ $failed -eq 0 ]]
