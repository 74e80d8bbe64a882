#!/usr/bin/env bash
# tavo specs: the eight log lines in order, the extra lines, and the same as one JSON object.
# Usage: specs_cli_test.sh TAVO DATA_DIR
set -u
tavo="$1"
failed=0
fail() { echo "FAIL: $1"; failed=$((failed + 1)); }

text="$("$tavo" specs)" || fail "specs exits 0"
keys="$(printf '%s\n' "$text" | sed -n 's/^- \([^:]*\): .*/\1/p' | tr '\n' '|')"
[[ "$keys" == "OS|Model|RAM|Cores|Uptime|Thermal State|SentryUID|Host name|CPU|Architecture|GPU|Kernel|" ]] ||
  fail "text keys in order: $keys"
printf '%s\n' "$text" | grep -Eq '^- Cores: [0-9]+ active / [0-9]+$' || fail "cores line"

json="$("$tavo" specs --json)" || fail "specs --json exits 0"
[[ "$json" == '{"OS":'*'"Host name":'*'"Kernel":'*'}' ]] || fail "json object: $json"

"$tavo" specs --bogus >/dev/null 2>&1
[[ $? == 64 ]] || fail "unknown option is a usage error"

[[ $failed == 0 ]] && echo "specs: all passed"
exit $((failed > 0))
