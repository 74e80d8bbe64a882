#!/usr/bin/env bash
# End-to-end checks of the tavo command line: outputs, messages and exit statuses.
# Usage: tavo_cli_test.sh TAVO DATA_DIR
set -u
tavo="$1"
data="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
passed=0
failed=0

check() {  # check NAME EXPECTED_STATUS ACTUAL_STATUS [CONDITION...]
  local name="$1" expected="$2" actual="$3"
  shift 3
  if [[ "$actual" == "$expected" ]] && "$@"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "FAIL: $name (status $actual, expected $expected)"
    sed 's/^/  stderr: /' "$work/err" | head -5
  fi
}
run() { "$tavo" "$@" >"$work/out" 2>"$work/err"; }
out_is_empty() { [[ ! -s "$work/out" ]]; }
err_is() { [[ "$(cat "$work/err")" == "$1" ]]; }
out_has() { grep -qF -- "$1" "$work/out"; }
always() { true; }

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

echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
