#!/usr/bin/env bash
# End-to-end checks of tavo library, tavo history and tavo lut: outputs, messages and exit statuses.
# Usage: library_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"

# --- library ----------------------------------------------------------------------------------------
defaults="$work/defaults.json"
printf '%s' '{"FavouriteFilters":["warm"],"ColourFilterCollections":[{"id":"OLD","title":"Film","_objects":["kodak"],"type":{"custom":{}}}]}' >"$defaults"
run library list --kind filter --defaults "$defaults"
check "library list moves the older filter layout over" 0 $? bash -c \
  "grep -qF '\"id\":\"FAVOURITE_FILTERS\",\"title\":\"Favourites\",\"type\":\"favourites\",\"objects\":[\"warm\"]' '$work/out' && grep -qF '\"title\":\"Film\",\"type\":\"custom\",\"objects\":[\"kodak\"]' '$work/out'"
run library favourite intro --defaults "$defaults"
check "library favourite adds a scene" 0 $? out_has '["intro"]'
run library favourite intro --remove --defaults "$defaults"
check "library favourite --remove takes it out" 0 $? out_has '[]'
run library collect intro Openers --defaults "$defaults"
check "library collect makes the collection by title" 0 $? out_has '"title":"Openers","_objects":["intro"]'
run library collect outro Openers --defaults "$defaults"
check "library collect adds to the same collection" 0 $? out_has '"_objects":["intro","outro"]'
run library list --defaults "$defaults"
check "library list shows every kind, the library from what is named" 0 $? bash -c \
  "grep -qF '\"kind\":\"background\"' '$work/out' && grep -qF '\"id\":\"LIBRARY_COLLECTION\",\"title\":\"All\",\"type\":\"all\",\"objects\":[\"intro\",\"outro\"]' '$work/out'"
run library list --kind stickers --defaults "$defaults"
check "library list: an unknown kind" 64 $? err_has 'not a kind of library object: "stickers"'

# --- history ----------------------------------------------------------------------------------------
run history show "$data/sample-history.json"
check "history show summarises for people" 0 $? bash -c \
  "grep -qx 'duration: 1h 30m 46s' '$work/out' && grep -qx 'peak viewers: 275' '$work/out' && grep -qx 'chat rate: 31.0 messages a minute on average, 44 at most' '$work/out' && grep -qx '  twitch NightSynth (4411), peak 212 viewers, last event ended' '$work/out'"
run history migrate "$data/sample-history.json"
check "history migrate writes the current form" 0 $? bash -c \
  "grep -qF '\"connectionEvents\":[{\"t\":785000002,\"kind\":\"connected\"},{\"t\":785005440,\"kind\":\"stopped\"}]' '$work/out' && grep -qF '\"tiktok\":12' '$work/out'"
sed 's/"schemaVersion": 2/"schemaVersion": 3/' "$data/sample-history.json" >"$work/newer.json"
run history migrate "$work/newer.json"
check "history: a newer schema is refused" 65 $? err_has 'schemaVersion: 3 is newer than this version reads (2)'
sed 's/"title": "Friday night synth jam",//' "$data/sample-history.json" >"$work/untitled.json"
run history show "$work/untitled.json"
check "history: a missing required key names its path" 65 $? err_has 'untitled.json: title: missing required key'
run history show "$work/none.json"
check "history: a missing file" 66 $? true

# --- lut --------------------------------------------------------------------------------------------
{
  echo "LUT_3D_SIZE 2"
  for b in 1 0; do for g in 1 0; do for r in 1 0; do echo "$r $g $b"; done; done; done
} >"$work/invert.cube"
run lut apply "$work/invert.cube" "$data/sampleFilter.png" --out "$work/preview.png"
check "lut apply writes the preview" 0 $? bash -c "[[ -s '$work/preview.png' ]] && grep -qF '(400x225)' '$work/err'"
printf 'LUT_3D_SIZE 1000000\n0 0 0\n' >"$work/huge.cube"
run lut apply "$work/huge.cube" "$data/sampleFilter.png" --out "$work/x.png"
check "lut: a declared size of a million is refused" 65 $? err_has 'line 1: LUT_3D_SIZE 1000000 is outside 2...256'
run lut apply "$work/invert.cube" "$work/invert.cube" --out "$work/x.png"
check "lut: an image that is not a picture" 65 $? err_has 'not a picture'
run lut apply "$work/invert.cube" "$data/sampleFilter.png" --out "$work/no/such/dir/x.png"
check "lut: an output that cannot be written" 73 $? err_has "$work/no/such/dir/x.png"

summary
