#!/usr/bin/env bash
# End-to-end checks of `tavo record --source/--isolated`: two lavfi sources composed on the canvas and
# each recorded to its own file in the session folder, read back with `tavo probe` and `tavo sync-check`;
# a canvas whose picture and sound are the sources'; a file source that ends the run; the synthetic
# sources when no --source is given, lined up and with the pause cut out; a stop by SIGTERM that
# finishes every file; and the refusals of bad sources. About 20 s.
# Usage: record_sources_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"
probe_has() { "$tavo" probe "$1" | grep -qF -- "$2"; }

mkdir -p "$work/lavfi" "$work/synthetic"

run record --seconds 3 --source "cam=lavfi:testsrc2=size=320x240:rate=30" \
  --source "mic=lavfi:sine=frequency=440" --isolated --size 640x360 --out "$work/lavfi" --json
status=$?
canvas="$(sed -n 's/.*"path":"\([^"]*\)".*/\1/p' "$work/out")"
session="$(dirname "$canvas")"
check "the run saves the canvas" 0 $status test -f "$canvas"
check "the isolated files are reported" 0 0 out_has "\"isolatedPaths\":[\"$session/cam.mov\",\"$session/mic.m4a\"]"
check "the canvas is the grid's size" 0 0 probe_has "$canvas" '"width":640,"height":360'
check "the canvas carries the mixed audio" 0 0 probe_has "$canvas" '"mediaType":"audio"'
check "the camera has its own video file" 0 0 probe_has "$session/cam.mov" '"width":320,"height":240'
check "the microphone has its own audio file" 0 0 probe_has "$session/mic.m4a" '"mediaType":"audio"'
check "the microphone file has no video" 0 0 bash -c "! \"$tavo\" probe \"$session/mic.m4a\" | grep -qF '\"mediaType\":\"video\"'"

run sync-check "$session"
check "sync-check reads the session folder" 0 $? out_has "\"file\":\"$session/cam.mov\""
check "sync-check sees the canvas too" 0 0 out_has "\"file\":\"$canvas\""

# What the canvas shows and plays is the sources': a lone source of the canvas's proportions fills it, so
# its white flash once a second is a flash of the canvas, and the beep of the second source is in the mix.
mkdir -p "$work/marks"
run record --seconds 2.5 --size 320x180 --out "$work/marks" \
  --source "flash=lavfi:color=c=black:s=320x180:r=30,drawbox=c=white:t=fill:enable='lt(mod(t,1),0.1)'" \
  --source "beep=lavfi:sine=frequency=1000:beep_factor=1"
marks="$(head -1 "$work/out")"
run sync-check "$marks"
check "the grid draws the source's picture on the canvas" 0 $? grep -qE '"flashes":\[[^],]+,[^]]+\]' "$work/out"
check "the mix carries the source's audio" 0 0 grep -qE '"beeps":\[[^],]+,[^]]+\]' "$work/out"

# A file is a source too; without --isolated the run saves the composed canvas alone, and it stops when
# its only source has played out rather than after the 20 seconds asked for.
mkdir -p "$work/file"
run record --seconds 20 --size 320x180 --source "clip=$canvas" --out "$work/file" --json
check "a file source is composed and ends the run" 0 $? err_has "every source has ended"
check "without --isolated only the canvas is saved" 0 0 bash -c "! grep -qF isolatedPaths \"$work/out\" &&
  test \"\$(find \"$work/file\" -name '*.mov' | wc -l)\" -eq 1"

run record --seconds 4 --isolated --size 320x180 --pause-at 2 --resume-at 2.5 --out "$work/synthetic"
status=$?
check "without --source the synthetic sources are recorded" 0 $status out_has "/Offset.mov"
synthetic="$(dirname "$(head -1 "$work/out")")"
check "each synthetic source has its file" 0 0 test -f "$synthetic/Jump.mov" -a -f "$synthetic/Restart.mov" \
  -a -f "$synthetic/Voice.m4a"
check "a synthetic source is recorded at its cell's size" 0 0 probe_has "$synthetic/Jump.mov" '"width":160,"height":90'
# The sources flash together once a host second, each stamping on a clock of its own. Their files line
# up to within a frame, and the half-second pause is cut from them: two flashes are not a whole second
# apart. (Not "inSync": a pause that cuts through a beep leaves a partial beep that pairs badly.)
run sync-check "$synthetic/Offset.mov" "$synthetic/Jump.mov" "$synthetic/Restart.mov" "$synthetic/Voice.m4a"
status=$?
max_offset="$(sed -n 's/.*"maxOffset":\([-0-9.e]*\).*/\1/p' "$work/out")"
flashes="$(sed -n 's/.*Offset.mov","hasVideo":true,"hasAudio":true,"flashes":\[\([^]]*\)\].*/\1/p' "$work/out")"
check "the synthetic files line up across sources" 0 $status awk -v m="$max_offset" 'BEGIN { exit !(m != "" && m <= 1 / 30) }'
check "the pause is cut from the isolated files" 0 0 awk -v f="$flashes" 'BEGIN {
  n = split(f, t, ","); cut = 0
  for (i = 2; i <= n; ++i) { gap = t[i] - t[i - 1]; if (gap - int(gap + 0.5) > 0.2 || int(gap + 0.5) - gap > 0.2) cut = 1 }
  exit !cut }'

mkdir -p "$work/term"
"$tavo" record --seconds 30 --size 160x90 --isolated --source "bars=lavfi:testsrc2=size=160x120:rate=30" \
  --out "$work/term" >"$work/out" 2>"$work/err" &
pid=$!
# Stop once the source's own file has been started, however slow the build.
for _ in $(seq 200); do
  compgen -G "$work/term/*/bars.mov" >/dev/null && break
  sleep 0.1
done
sleep 0.5
kill -TERM "$pid"
wait "$pid"
status=$?
check "SIGTERM finishes the canvas and the isolated file" 0 $status out_has "/bars.mov"
check "and the isolated file has media" 0 0 probe_has "$(grep -F /bars.mov "$work/out")" '"mediaType":"video"'

run record --seconds 1 --source "no-url"
check "a source without a URL is a usage error" 64 $? err_has "--source no-url: expected NAME=URL"
run record --seconds 1 --source "a=lavfi:sine" --source "a=lavfi:testsrc2"
check "a name given twice is a usage error" 64 $? err_has 'the name "a" is given twice'
before="$(find "$work" -name '*.mov' | wc -l)"
run record --seconds 1 --source "gone=$work/missing.mov" --out "$work"
check "a source that cannot be opened names its URL" 66 $? err_has "$work/missing.mov"
check "and leaves no file behind" 0 0 test "$(find "$work" -name '*.mov' | wc -l)" -eq "$before"

echo "record sources: $passed passed, $failed failed"
[[ $failed -eq 0 ]]
