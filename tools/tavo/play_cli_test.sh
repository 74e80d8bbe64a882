#!/usr/bin/env bash
# End-to-end checks of `tavo play`: a short bounce in real time with its JSON summary, frames written
# as PNG, and the exit statuses of files that cannot play.
# Usage: play_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"
json_number() { sed -n "s/.*\"$1\":\([0-9.e+-]*\).*/\1/p" "$work/out"; }
frames_between() { local n; n="$(json_number frames)"; [[ -n "$n" ]] && ((n >= $1 && n <= $2)); }
reversed_some() { local n; n="$(json_number reverseFrames)"; [[ -n "$n" ]] && ((n > 10)); }
pngs_are() { [[ "$(find "$work/frames" -name 'frame-*.png' | wc -l)" == "$1" ]]; }

ffmpeg -nostdin -v error -y -f lavfi -i "testsrc2=s=160x96:r=30:d=1" -f lavfi -i "sine=d=1" \
  -c:v libx264 -preset ultrafast -g 10 -c:a aac -shortest "$work/clip.mp4"

# One second forward, one back: about 60 frames at 30 fps on any machine that keeps up.
run play "$work/clip.mp4" --looping bounce --seconds 2.2 --json
check "bounce summary" 0 $? frames_between 40 70
check "bounce runs backwards" 0 0 reversed_some
check "summary keys" 0 0 out_has '"peakDecodedFrameMemory":'

run play "$work/clip.mp4" --seconds 1.2 --frames-out "$work/frames" --every 10
check "every 10th frame as PNG" 0 $? pngs_are 3
check "progress each second" 0 0 err_has "tavo: 1 s: "

run play "$work/clip.mp4" --looping sideways
check "unknown looping mode" 64 $? err_has "playOnce, loop or bounce"

run play "$work/missing.mp4"
check "missing file" 66 $? err_has "missing.mp4"

echo "not a movie" >"$work/words.mp4"
run play "$work/words.mp4"
check "not a movie" 65 $? err_has "words.mp4"

ffmpeg -nostdin -v error -y -f lavfi -i "sine=d=0.5" -c:a aac "$work/sound.m4a"
run play "$work/sound.m4a"
check "no video track" 65 $? err_has "no video track"

echo "play: $passed passed, $failed failed"
[[ "$failed" == 0 ]]
