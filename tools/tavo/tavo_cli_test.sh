#!/usr/bin/env bash
# End-to-end checks of the tavo command line: outputs, messages and exit statuses.
# Usage: tavo_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"

run --version
check "version" 0 $? out_has "tavo "

run --help
check "help lists scene" 0 $? out_has "scene"

run scene normalize "$data/sample-scene.json"
check "normalize sample" 0 $? out_has '"studioNotes":"Keys this version does not know are kept and written back."'
cp "$work/out" "$work/once.json"

run scene normalize - <"$work/once.json"
check "normalize is stable through standard input" 0 $? cmp -s "$work/out" "$work/once.json"

"$tavo" scene normalize <"$work/once.json" >"$work/out" 2>"$work/err"
check "normalize reads standard input without FILE" 0 $? cmp -s "$work/out" "$work/once.json"

run scene info "$data/sample-scene.json"
check "info shows formats and titles" 0 $? bash -c "grep -q 'portrait (9:16): 3 layers' '$work/out' && grep -q 'unknown top-level keys kept: studioNotes' '$work/out'"

run scene info "$data/sample-scene.json"
check "info shows the transition, and that there is no audio" 0 $? bash -c \
  "grep -qx 'transition: Dissolve, 0.5s' '$work/out' && grep -qx 'audio sources: none set' '$work/out'"

printf '%s' '{"id":"x","name":"y","isTemplate":false,"audioConfiguration":{"outputVolume":1,"outputMuted":false,"outputChannels":2,"outputAudioDelay":0,"sampleRate":48000,"sources":[]}}' >"$work/bare.json"
run scene info "$work/bare.json"
check "info without transition or sources says so" 0 $? bash -c \
  "grep -qx 'transition: none set' '$work/out' && grep -qx 'audio sources: none' '$work/out'"

printf '%s\n' 'audio sources:' '  Desk Mic (USB-DESK-MIC): volume 0.8, not muted' \
  '  System Audio (SYSTEM_AUDIO): volume 0.5, muted' '  Slides (com.example.slides1): volume 1, not muted' \
  >"$work/expected-audio"
run scene info "$data/studio-scene.json"
check "info shows the transition and each audio source" 0 $? bash -c \
  "grep -qx 'transition: Dissolve, 0.5s' '$work/out' && grep -A3 -x 'audio sources:' '$work/out' | cmp -s - '$work/expected-audio'"

run scene normalize "$data/studio-scene.json"
check "studio document keeps audio and transition, drops the devices' old backgroundColor" 0 $? bash -c \
  "grep -qF '\"transitionConfig\":{\"type\":\"dissolve\",\"duration\":0.5}' '$work/out' \
  && grep -qF '\"sampleRate\":48000,\"effects\":{\"noiseReduction\":{\"isEnabled\":false}}' '$work/out' \
  && grep -qF '\"deviceConfiguration\":{\"backgroundMode\":\"blur\",\"filter\":\"warm\",\"filterIntensity\":0.6}' '$work/out' \
  && ! grep -qF 'backgroundColor' '$work/out'"
cp "$work/out" "$work/studio.json"
run scene normalize "$work/studio.json"
check "studio document is stable" 0 $? cmp -s "$work/out" "$work/studio.json"

printf '%s' '{"id":"x","name":"y","isTemplate":false,"elements":[{"id":"0C5E1B8A-3F2D-4E6A-9B7C-1D2E3F4A5B6C","settings":{"cornerRadius":"big"}}]}' >"$work/bad.json"
run scene normalize "$work/bad.json"
check "bad document: 65, path on standard error, nothing on standard output" 65 $? \
  bash -c "[[ ! -s '$work/out' ]] && [[ \"\$(cat '$work/err')\" == 'tavo: $work/bad.json: elements[0].settings.cornerRadius: expected an integer' ]]"

printf '%s' '{"id":"x","name":"y"}' >"$work/missing.json"
run scene info "$work/missing.json"
check "missing required key" 65 $? err_is "tavo: $work/missing.json: isTemplate: missing required key"

printf '%s' '{"id":' >"$work/truncated.json"
run scene normalize "$work/truncated.json"
check "truncated text" 65 $? out_is_empty

run scene normalize "$work/does-not-exist.json"
check "unreadable file" 66 $? out_is_empty

run scene frobnicate
check "unknown command" 64 $? out_is_empty

run scene normalize a b
check "too many arguments" 64 $? out_is_empty

run scene tree "$data/damaged-scene.json"
check "tree shows folders, split roles, frames and masks" 0 $? bash -c "grep -q '\[folder\] Titles' '$work/out' && grep -q 'split background of 50000000' '$work/out' && grep -q 'frame, column, 1 member' '$work/out'"

run scene repair "$data/damaged-scene.json"
check "repair drops the empty folder and gathers folders" 0 $? bash -c "! grep -q '\"Empty\"' '$work/out'"
cp "$work/out" "$work/repaired.json"
run scene tree --aspect landscape "$work/repaired.json"
check "repaired folders are contiguous and frames sit before their frame" 0 $? bash -c \
  "sed -n '2,5p' '$work/out' | grep -q 'Badge' && sed -n '11p' '$work/out' | grep -q 'Card A'"
run scene repair "$work/repaired.json"
check "repair is stable" 0 $? cmp -s "$work/out" "$work/repaired.json"

run scene tree --aspect portrait "$data/damaged-scene.json"
check "tree of a missing format" 65 $? out_is_empty
run scene tree --aspect wide "$data/damaged-scene.json"
check "tree of an unknown aspect" 64 $? out_is_empty

run scene add-format --aspect square --from landscape "$data/sample-scene.json"
check "add-format copies a format under new ids" 0 $? bash -c "grep -qF '\"square\"' '$work/out'"
cp "$work/out" "$work/with-square.json"
run scene tree --aspect square "$work/with-square.json"
check "add-format: the new format has the seed's layers and folder, none of its ids" 0 $? bash -c \
  "sed -n '1p' '$work/out' | grep -qx 'square (1:1), 6 layers' && grep -q '\[folder\] Lower third' '$work/out' && ! grep -q 'A1B2C3D4\|0C5E1B8A\|3F8B4EBD' '$work/out'"
run scene normalize "$work/with-square.json"
check "add-format writes a document that reads back the same" 0 $? cmp -s "$work/out" "$work/with-square.json"
run scene add-format --aspect portrait --from landscape "$data/sample-scene.json"
check "add-format refuses an existing format" 65 $? bash -c \
  "[[ ! -s '$work/out' ]] && grep -qF 'tavo: the scene already has a portrait format' '$work/err'"
run scene add-format --aspect square --from threeByFour "$data/sample-scene.json"
check "add-format from a missing format makes an empty one and says so" 0 $? bash -c \
  "grep -qF 'no threeByFour format to seed from' '$work/err' && '$tavo' scene info '$work/out' | grep -qx '  square (1:1): 0 layers'"
run scene add-format --aspect wide "$data/sample-scene.json"
check "add-format of an unknown aspect" 64 $? out_is_empty
run scene add-format "$data/sample-scene.json"
check "add-format without --aspect" 64 $? out_is_empty

# --- tavo obs inspect ---------------------------------------------------------------------------
obs="$data/obs/sample-collection.json"
run obs inspect "$obs" --profile-dir "$data/obs/profile"
check "obs inspect: name, canvas from basic.ini, first scene's first item with its placement" 0 $? out_has \
  '{"name":"Studio Zoë – Wochenshow","canvas":{"width":1920,"height":1080,"origin":"profile"},"scenes":[{"name":"Hauptszene 🎬","entries":[{"entry":"item","item":"Hintergrund","depth":0,"source":"Hintergrund","kind":"color","isHidden":false,"isLocked":false,"placement":{"xPosition":0,"yPosition":0,"width":1,"height":1,"rotation":0},"sizeFrom":"source"},'
check "obs inspect: a group member is placed through its group" 0 0 out_has \
  '{"entry":"item","item":"Balken","depth":1,"source":"Balken","kind":"color","isHidden":false,"isLocked":false,"placement":{"xPosition":0.052083333333333336,"yPosition":0.8148148148148148,"width":0.4166666666666667,"height":0.1111111111111111,"rotation":0},"sizeFrom":"source"}'
check "obs inspect: the group's backup items are skipped" 0 0 bash -c "[[ \$(grep -o '\"item\":\"Balken\"' '$work/out' | wc -l) -eq 1 ]]"
check "obs inspect: a group entry, a missing source and a hidden nested scene" 0 0 bash -c \
  "grep -qF '{\"entry\":\"group\",\"item\":\"Bauchbinde\",\"depth\":0}' '$work/out' && grep -qF '{\"entry\":\"unresolved\",\"item\":\"Gelöschte Quelle\",\"depth\":0}' '$work/out' && grep -qF '\"item\":\"Pause ☕\",\"depth\":0,\"source\":\"Pause ☕\",\"kind\":\"scene\",\"isHidden\":true,\"isLocked\":false,\"placement\":{\"xPosition\":0,\"yPosition\":0,\"width\":1,\"height\":1,\"rotation\":0},\"sizeFrom\":\"canvas\"}' '$work/out'"
check "obs inspect: scenes in scene order, inherited lock" 0 0 out_has \
  '{"name":"Pause ☕","entries":[{"entry":"item","item":"Hintergrund","depth":0,"source":"Hintergrund","kind":"color","isHidden":false,"isLocked":true,'

run obs inspect --canvas 1280x720 "$obs" --profile-dir "$data/obs/profile"
check "obs inspect: --canvas wins over the profile" 0 $? out_has \
  '"canvas":{"width":1280,"height":720,"origin":"--canvas"},"scenes":[{"name":"Hauptszene 🎬","entries":[{"entry":"item","item":"Hintergrund","depth":0,"source":"Hintergrund","kind":"color","isHidden":false,"isLocked":false,"placement":{"xPosition":0,"yPosition":0,"width":1.5,"height":1.5,"rotation":0},"sizeFrom":"source"}'

mkdir -p "$work/obs-config/basic/profiles/Live_Show"
printf '[General]\nLanguage=de-DE\n\n[Basic]\nProfile=Live Show\nProfileDir=Live_Show\n' >"$work/obs-config/user.ini"
printf '[Video]\nBaseCX=2560\nBaseCY=1440\n' >"$work/obs-config/basic/profiles/Live_Show/basic.ini"
run obs inspect "$obs" --profile-dir "$work/obs-config"
check "obs inspect: the active profile of OBS's configuration directory" 0 $? out_has '"canvas":{"width":2560,"height":1440,"origin":"profile"}'

run obs inspect "$obs"
check "obs inspect: no canvas known: 1920x1080 and placements on it" 0 $? bash -c "grep -qF '\"canvas\":{\"width\":1920,\"height\":1080,\"origin\":\"fallback\"},' '$work/out' && grep -q placement '$work/out'"

printf '{"resolution":{"x":1280,"y":720},"scene_order":[{"name":"S"},{"name":"Gone"}],"sources":[{"id":"scene","name":"S","settings":{"items":[{"name":"G"}]}}],"groups":[{"id":"group","name":"G","uuid":"g","settings":{"items":[{"name":"G"}]}}]}' >"$work/cycle.json"
run obs inspect - <"$work/cycle.json"
check "obs inspect: canvas from the collection, a self-containing group is cut, standard input" 0 $? err_is "" 
check "obs inspect: exact output of a small collection" 0 0 bash -c "[[ \"\$(cat '$work/out')\" == '{\"name\":null,\"canvas\":{\"width\":1280,\"height\":720,\"origin\":\"collection\"},\"scenes\":[{\"name\":\"S\",\"entries\":[{\"entry\":\"group\",\"item\":\"G\",\"depth\":0},{\"entry\":\"cyclicGroup\",\"item\":\"G\",\"depth\":1}]},{\"name\":\"Gone\",\"entries\":[]}]}' ]]"

run obs inspect "$work/does-not-exist.json"
check "obs inspect: unreadable collection" 66 $? out_is_empty
run obs inspect "$obs" --profile-dir "$work/no-profile"
check "obs inspect: an unreadable basic.ini is a warning" 0 $? bash -c "grep -qF '\"origin\":\"fallback\"' '$work/out' && grep -qF 'tavo: warning: $work/no-profile/basic.ini: cannot be read' '$work/err'"
printf '{"name": 5, "sources": []}' >"$work/bad-name.json"
run obs inspect "$work/bad-name.json"
check "obs inspect: a wrongly typed name" 65 $? bash -c "[[ ! -s '$work/out' ]] && grep -qF 'not an OBS scene collection: name: expected a string' '$work/err'"
run obs inspect "$data/sample-scene.json"
check "obs inspect: a scene document is no OBS collection" 65 $? bash -c "[[ ! -s '$work/out' ]] && grep -qF 'not an OBS scene collection' '$work/err'"
printf '[1, 2' >"$work/not-json.json"
run obs inspect "$work/not-json.json"
check "obs inspect: text that is not JSON" 65 $? out_is_empty
run obs inspect "$obs" --canvas 1920by1080
check "obs inspect: a malformed --canvas" 64 $? out_is_empty
# --- end of tavo obs inspect ----------------------------------------------------------------------

# --- tavo profiles ---------------------------------------------------------------------------------
pdefaults="$work/profiles-defaults.json"
run profiles --defaults "$pdefaults" list
check "profiles list: first launch has the six built-in profiles, Meetings HD active" 0 $? bash -c \
  "grep -qF '{\"active\":\"DEFAULT_PROFILE_1080_30\",\"aspectRatio\":\"landscape\",\"profiles\":[{\"id\":\"DEFAULT_PROFILE_1080_30\",\"name\":\"Meetings HD\"' '$work/out' && [[ \$(grep -o '\"_isTemplate\":true' '$work/out' | wc -l) -eq 6 ]]"
run profiles --defaults "$pdefaults" switch-aspect portrait
check "profiles switch-aspect: Meetings HD to portrait finds Vertical HD" 0 $? out_has '"id":"DEFAULT_PROFILE_1920_30","name":"Vertical HD"'
run profiles --defaults "$pdefaults" select DEFAULT_PROFILE_1080_60
check "profiles select: a built-in profile" 0 $? out_has '"id":"DEFAULT_PROFILE_1080_60","name":"Streaming"'
run profiles switch-aspect portrait --defaults "$pdefaults"
check "profiles switch-aspect: makes Streaming (9:16) at 1080x1920 and 60" 0 $? out_has \
  '"name":"Streaming (9:16)","resolution":{"width":1080,"height":1920},"frameRate":{"value":60},"_isTemplate":false}'
run profiles --defaults "$pdefaults" add "Desk cam" 1280x720 29.97
check "profiles add: a new profile" 0 $? out_has '"name":"Desk cam","resolution":{"width":1280,"height":720},"frameRate":{"value":29.97},"_isTemplate":false}'
run profiles --defaults "$pdefaults" list
check "profiles list: eight profiles, the made one active" 0 $? bash -c \
  "grep -qF '\"aspectRatio\":\"portrait\"' '$work/out' && [[ \$(grep -o '\"frameRate\"' '$work/out' | wc -l) -eq 8 ]]"
run profiles --defaults "$pdefaults" add x 1280by720 30
check "profiles add: a malformed resolution" 64 $? out_is_empty
run profiles --defaults "$pdefaults" select NO_SUCH_ID
check "profiles select: an unknown id" 65 $? out_is_empty
run profiles --defaults "$pdefaults" switch-aspect wide
check "profiles switch-aspect: an unknown aspect" 64 $? out_is_empty
printf '{"OTHER":"kept","USER_PROFILES":[{"id":"A"' >"$work/profiles-torn.json"
run profiles --defaults "$work/profiles-torn.json" list
check "profiles list: a torn settings file gives the built-in profiles and a clear message" 0 $? bash -c \
  "grep -qF '\"active\":\"DEFAULT_PROFILE_1080_30\"' '$work/out' && grep -qF 'is damaged' '$work/err' && ls '$work'/profiles-torn.json.corrupt-* >/dev/null"
printf '{"OTHER":"kept","USER_PROFILES":{"id":"A"}}' >"$work/profiles-shape.json"
run profiles --defaults "$work/profiles-shape.json" select DEFAULT_PROFILE_720_30
check "profiles select: unreadable profiles read as built-ins, other settings kept" 0 $? bash -c \
  "grep -qF 'USER_PROFILES' '$work/err' && grep -qF '\"OTHER\":\"kept\"' '$work/profiles-shape.json' && grep -qF '\"ACTIVE_PROFILE\":\"DEFAULT_PROFILE_720_30\"' '$work/profiles-shape.json'"
# --- end of tavo profiles -------------------------------------------------------------------------

# --- tavo probe -------------------------------------------------------------------------------------
if command -v ffmpeg >/dev/null; then
  movie="$work/probe-fragmented.mov"
  ffmpeg -v error -f lavfi -i testsrc=size=320x240:rate=30 -f lavfi -i sine=frequency=440:sample_rate=48000 \
    -t 3 -c:v libx264 -preset ultrafast -g 30 -bf 0 -c:a aac -ac 2 \
    -metadata title=Probed -movflags +frag_keyframe+empty_moov+default_base_moof "$movie"
  run probe "$movie"
  check "probe: a fragmented movie's tracks, fragments and metadata" 0 $? bash -c \
    "grep -qF '\"codec\":\"h264\",\"codecTag\":\"avc1\",\"width\":320,\"height\":240,' '$work/out' && grep -qF '\"packetCount\":90,' '$work/out' && grep -qF '\"mediaType\":\"audio\",\"codec\":\"aac\",\"codecTag\":\"mp4a\",\"sampleRate\":48000,\"channels\":2' '$work/out' && grep -qF '\"fragmentCount\":3' '$work/out' && grep -qF '\"title\":\"Probed\"' '$work/out'"
  head -c 2000 /dev/urandom >"$work/noise.mov"
  run probe "$work/noise.mov"
  check "probe: a file that is not a movie" 65 $? bash -c "[[ ! -s '$work/out' ]] && grep -q '^tavo: .*is not a movie' '$work/err'"
else
  echo "SKIP: probe checks need the ffmpeg command"
fi
run probe "$work/no-such.mov"
check "probe: a missing file" 66 $? bash -c "[[ ! -s '$work/out' ]] && grep -q '^tavo: cannot open' '$work/err'"
run probe
check "probe: no file given" 64 $? out_is_empty
# --- end of tavo probe ----------------------------------------------------------------------------

summary
