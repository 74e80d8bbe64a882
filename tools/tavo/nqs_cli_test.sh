#!/usr/bin/env bash
# End-to-end checks of "tavo nqs": refused bases, bad arguments and an unreachable service, without
# touching any address but loopback.
# Usage: nqs_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"
out_is_empty() { [[ ! -s "$work/out" ]]; }

run nqs ping --base http://example.org/
check "plain http off loopback is refused" 64 $? err_has 'refused base URL "http://example.org/"'

run nqs send-event no.such.event --base http://127.0.0.1:9/
check "unknown event type" 64 $? err_has 'unknown event type "no.such.event"'

run nqs send-event video.played --field nokey --base http://127.0.0.1:9/
check "field without =" 64 $? err_has 'is not KEY=VALUE'

# Port 9 (discard) is closed on a test machine: the connection is refused.
run nqs send-event video.played --field uid=intro --field count=3 --base http://127.0.0.1:9/
check "unreachable service" 69 $? out_has '"kind":"cannotConnectToHost","isURLLoadingError":true'
check "the request is shown" 69 69 out_has '"method":"POST","url":"http://127.0.0.1:9/nqs/app_events"'
check "the payload is under data.object" 69 69 out_has '"type":"video.played","data":{"object":{"uid":"intro","count":3}},"date_created":'

TAV_NQS_BASE_URL=http://127.0.0.1:9/ "$tavo" nqs ping >"$work/out" 2>"$work/err"
check "base from the environment" 69 $? out_has '"url":"http://127.0.0.1:9/nqs/app_session"'

echo "nqs_cli_test: $passed passed, $failed failed"
[[ $failed -eq 0 ]]
