# Shared by the tavo end-to-end checks (tools/tavo/*_cli_test.sh): a scratch folder, the check and run
# helpers, and the summary. Source it with TAVO and DATA_DIR as $1 and $2.
set -u
tavo="$1"
data="$2"
work="$(mktemp -d)"
trap 'chmod -R u+rwx "$work" 2>/dev/null; rm -rf "$work"' EXIT
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
err_has() { grep -qF -- "$1" "$work/err"; }
out_has() { grep -qF -- "$1" "$work/out"; }
always() { true; }

summary() {
  echo "$passed passed, $failed failed"
  [[ $failed -eq 0 ]]
}
