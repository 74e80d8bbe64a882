#!/usr/bin/env bash
# End-to-end checks of tavo against hostile or unlucky input: numbers past double range, directories and
# special files given as documents, settings that cannot be saved, profile files that cannot be read.
# Usage: hostile_input_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"
# A FIFO given as input must not hang: every command here gets 20 seconds.
run() { timeout 20 "$tavo" "$@" >"$work/out" 2>"$work/err"; }

# --- numbers past double range ---------------------------------------------------------------------
printf '{"id":"x","name":"y","isTemplate":false,"elements":[],"backgroundOpacity":1e400}' >"$work/huge.json"
run scene normalize "$work/huge.json"
check "scene: a number past double range is invalid input naming its path" 65 $? bash -c \
  "[[ ! -s '$work/out' ]] && grep -qF 'tavo: $work/huge.json: backgroundOpacity: number out of range' '$work/err'"

printf '{"sources":[{"id":"scene","name":"S","settings":{"items":[{"name":"A","pos":{"x":-1e999,"y":0}}]}}]}' >"$work/huge-obs.json"
run obs inspect "$work/huge-obs.json"
check "obs: a number past double range is invalid input naming its path" 65 $? bash -c \
  "[[ ! -s '$work/out' ]] && grep -qF 'sources[0].settings.items[0].pos.x: number out of range' '$work/err'"

# Finite geometry whose translation to another aspect overflows: the written document must read back.
printf '%s' '{"id":"x","name":"y","isTemplate":false,"elements":[{"id":"0C5E1B8A-3F2D-4E6A-9B7C-1D2E3F4A5B6C","settings":{"xPosition":1.7e308,"yPosition":-1.7e308,"width":1.7e308,"height":1.7e308},"type":{"shape":{"_0":{"shape":"rectangle"}}}}]}' >"$work/edge.json"
run scene add-format --aspect portrait --from landscape "$work/edge.json"
check "add-format near the top of double range: written, and it reads back" 0 $? bash -c \
  "'$tavo' scene normalize '$work/out' >/dev/null && grep -qF 'e+308' '$work/out'"

pdefaults="$work/defaults-huge.json"
printf '{"OTHER":"kept","BAD":[1e400]}' >"$pdefaults"
run profiles --defaults "$pdefaults" add "Desk cam" 1280x720 30
check "profiles add: a settings file holding 1e400 still saves, keeping the other keys" 0 $? bash -c \
  "grep -qF '\"name\":\"Desk cam\"' '$work/out' && grep -qF '\"OTHER\":\"kept\"' '$pdefaults' && grep -qF 'Desk cam' '$pdefaults' && grep -qF 'BAD' '$work/err'"

# --- directories and special files as input ----------------------------------------------------------
mkdir "$work/a-directory"
run scene normalize "$work/a-directory"
check "scene: a directory as input is 66, named" 66 $? bash -c \
  "[[ ! -s '$work/out' ]] && grep -qF 'tavo: $work/a-directory: is a directory' '$work/err'"
run obs inspect "$work/a-directory"
check "obs: a directory as input is 66, named" 66 $? err_has "tavo: $work/a-directory: is a directory"
mkfifo "$work/a-fifo"
run scene info "$work/a-fifo"
check "scene: a FIFO as input is 66 at once, named" 66 $? err_has "tavo: $work/a-fifo: not a regular file"
run scene info /dev/null
check "scene: a device as input is 66, named" 66 $? err_has "tavo: /dev/null: not a regular file"

# --- settings that cannot be saved ------------------------------------------------------------------
mkdir "$work/settings-dir"
run profiles --defaults "$work/settings-dir" add "Desk cam" 1280x720 30
check "profiles add: a settings path that is a directory exits 73, named" 73 $? bash -c \
  "[[ ! -s '$work/out' ]] && grep -qF 'tavo: $work/settings-dir: cannot create output' '$work/err'"
run profiles --defaults "$work/settings-dir" select DEFAULT_PROFILE_720_30
check "profiles select: the same, 73" 73 $? out_is_empty
if [[ $(id -u) -ne 0 ]]; then
  mkdir "$work/locked"
  printf '{}' >"$work/locked/defaults.json"
  chmod 0500 "$work/locked"
  run profiles --defaults "$work/locked/defaults.json" add "Desk cam" 1280x720 30
  check "profiles add: a folder that cannot be written exits 73, named" 73 $? \
    err_has "tavo: $work/locked/defaults.json: cannot create output"
  chmod 0700 "$work/locked"
else
  echo "SKIP: permission checks do not hold for root"
fi

# --- profile folders that cannot be read ---------------------------------------------------------------
mkdir -p "$work/profile/basic.ini"
run obs inspect "$data/obs/sample-collection.json" --profile-dir "$work/profile"
check "obs: a basic.ini that is a directory is named in a warning" 0 $? \
  err_has "tavo: warning: $work/profile/basic.ini: cannot be read"

summary
