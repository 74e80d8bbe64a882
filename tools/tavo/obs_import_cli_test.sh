#!/usr/bin/env bash
# End-to-end checks of "tavo obs import" and of what "tavo obs inspect" tells of canvases and sizes.
# Usage: obs_import_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"

# A collection as OBS on Linux writes it before "resolution" existed: a picture file that is on this
# machine, one that is not, a camera in a bounding box, global audio, a group, and two scenes of one name.
cat >"$work/linux.json" <<JSON
{"name":"Linux","DesktopAudioDevice1":{"id":"pulse_output_capture","name":"Desktop Audio","uuid":"da"},
 "scene_order":[{"name":"Main"},{"name":"Main/2"},{"name":"Main"}],
 "sources":[
  {"id":"scene","name":"Main","settings":{"items":[
    {"name":"Logo","pos":{"x":100,"y":50},"scale":{"x":2,"y":2}},
    {"name":"Gone picture","pos":{"x":0,"y":0}},
    {"name":"Cam","pos":{"x":960,"y":540},"bounds_type":2,"bounds":{"x":640,"y":360},"align":0,"locked":true},
    {"name":"Desktop Audio"},
    {"name":"Box","visible":false}]}},
  {"id":"scene","name":"Main/2","settings":{"items":[{"name":"Main"},{"name":"Box"}]}},
  {"id":"image_source","name":"Logo","settings":{"file":"$data/sample-animation.gif"}},
  {"id":"image_source","name":"Gone picture","settings":{"file":"$work/nowhere.png"}},
  {"id":"v4l2_input","name":"Cam","settings":{"device_id":"/dev/video9"}},
  {"id":"color_source","name":"Bar","settings":{"color":4278190335,"width":1920,"height":100}}],
 "groups":[{"id":"group","name":"Box","settings":{"items":[{"name":"Bar","pos":{"x":0,"y":980}}]}}]}
JSON

run obs inspect "$work/linux.json" --profile-dir "$work/no-profile"
check "obs inspect: a missing profile is a warning; the canvas falls back to 1920x1080" 0 $? bash -c \
  "grep -qF '\"canvas\":{\"width\":1920,\"height\":1080,\"origin\":\"fallback\"}' '$work/out' && grep -qF 'tavo: warning: $work/no-profile/basic.ini: cannot be read' '$work/err'"
check "obs inspect: a picture on this machine is placed by its file's size" 0 0 out_has \
  '"kind":"image","isHidden":false,"isLocked":false,"placement":{"xPosition":0.052083333333333336,"yPosition":0.046296296296296294,"width":0.016666666666666666,"height":0.022222222222222223,"rotation":0},"sizeFrom":"file"}'
check "obs inspect: a camera is placed by its bounds, a missing file says why" 0 0 bash -c \
  "grep -qF '\"sizeFrom\":\"bounds\"' '$work/out' && grep -qF '\"noPlacement\":\"its file \\\"$work/nowhere.png\\\" is not on this machine or cannot be read\"' '$work/out'"
mkdir -p "$work/obs-config"
printf '[Basic]\nProfile=Gone\nProfileDir=Gone\n' >"$work/obs-config/user.ini"
run obs inspect "$work/linux.json" --profile-dir "$work/obs-config"
check "obs inspect: a user.ini naming a missing profile is a warning" 0 $? bash -c \
  "grep -qF '\"origin\":\"fallback\"' '$work/out' && grep -qF 'tavo: warning: $work/obs-config/basic/profiles/Gone/basic.ini: cannot be read' '$work/err'"
check "obs inspect: global audio resolves" 0 0 out_has '"item":"Desktop Audio","depth":0,"source":"Desktop Audio","kind":"audio"'

run obs import "$work/linux.json" --out "$work/docs" --canvas 1280x720
check "obs import: a report of what was imported, approximated and left out" 0 $? bash -c \
  "grep -qF '\"canvas\":{\"width\":1280,\"height\":720,\"origin\":\"--canvas\"},\"aspectRatio\":\"landscape\"' '$work/out' && grep -qF '\"leftOut\":[{\"item\":\"Desktop Audio\",\"entry\":\"item\",\"kind\":\"audio\",\"obsKind\":\"pulse_output_capture\",\"reasons\":[' '$work/out' && grep -qF '\"warnings\":[\"scene \\\"Main\\\" is named more than once; it is imported once\"]' '$work/out'"
check "obs import: one document per scene, names made safe" 0 0 test -s "$work/docs/Main.json" -a -s "$work/docs/Main_2.json"
check "obs import: the picture is stored beside the documents" 0 0 bash -c "ls '$work/docs/assets' | grep -q ."
for doc in "$work/docs/Main.json" "$work/docs/Main_2.json"; do
  run scene normalize "$doc"
  check "obs import: $(basename "$doc") is unchanged by normalize" 0 $? cmp -s "$work/out" "$doc"
  run scene repair "$doc"
  check "obs import: $(basename "$doc") is unchanged by repair" 0 $? cmp -s "$work/out" "$doc"
done
run scene tree "$work/docs/Main.json"
check "obs import: the group is a folder, the layers front to back" 0 $? bash -c "grep -q 'Box' '$work/out' && grep -q 'Logo' '$work/out'"

run obs import "$work/linux.json" --scene "Main/2" --out "$work/one"
check "obs import: --scene picks one scene" 0 $? bash -c "[[ \$(ls '$work/one' | grep -c json) -eq 1 ]] && grep -qF '\"entry\":\"item\",\"kind\":\"scene\"' '$work/out'"
run obs import "$work/linux.json" --scene "Nope" --out "$work/none"
check "obs import: an unknown scene is named" 65 $? bash -c "[[ ! -s '$work/out' ]] && grep -qF 'no scene named \"Nope\"' '$work/err'"
run obs import "$work/linux.json" --canvas 0x5
check "obs import: a bad canvas is a usage error" 64 $? out_is_empty

summary
