#!/usr/bin/env bash
# End-to-end checks of "tavo feedback" and "tavo config fetch": bad arguments, missing attachments,
# refused bases and an unreachable service, without touching any address but loopback.
# Usage: feedback_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"
printf 'line 1\n' >"$work/studio.log"

run feedback --attach "$work/studio.log" --base http://127.0.0.1:9/
check "the message is required" 64 $? err_has '--message is required'

run feedback --message hi --attach "$work/missing.log" --base http://127.0.0.1:9/
check "a missing attachment is named" 66 $? err_has "cannot open attachment \"$work/missing.log\": No such file or directory"
check "and nothing is sent" 66 66 out_is_empty

run feedback --message hi --source bogus --base http://127.0.0.1:9/
check "unknown source" 64 $? err_has 'unknown source "bogus"'

run feedback --message hi --base http://example.org/
check "plain http off loopback is refused" 64 $? err_has 'refused base URL "http://example.org/"'

# Port 9 (discard) is closed on a test machine: the connection is refused.
run feedback --message "It froze" --email me@example.com --attach "$work/studio.log" --base http://127.0.0.1:9/
check "unreachable service" 69 $? err_has 'feedback not sent: POST http://127.0.0.1:9/nqs/app_feedbacks'
check "the feedback record is shown" 69 69 out_has '"feedback":{"user_email":"me@example.com","comments":"It froze","source":"adHoc"},"attachments":["studio.log"]'
check "the exchange is shown" 69 69 out_has '"error":{"kind":"cannotConnectToHost","isURLLoadingError":true'
check "and it was not sent" 69 69 out_has '"sent":false}'

run config fetch --base http://127.0.0.1:9/
check "config: unreachable service" 69 $? err_has "Couldn't fetch config: POST http://127.0.0.1:9/nqs/app_session"
check "config: nothing on standard output" 69 69 out_is_empty

run config fetch --base http://example.org/
check "config: plain http off loopback is refused" 64 $? err_has 'refused base URL "http://example.org/"'

run config
check "config needs a sub-command" 64 $? always

echo "feedback_cli_test: $passed passed, $failed failed"
[[ $failed -eq 0 ]]
