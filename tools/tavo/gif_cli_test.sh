#!/usr/bin/env bash
# End-to-end checks of "tavo gif ..." and "tavo scene new": outputs, messages and exit statuses.
# Usage: gif_cli_test.sh TAVO DATA_DIR
source "$(dirname "$0")/cli_test_support.sh"

run gif info "$data/sample-animation.gif"
check "gif info" 0 $? out_has '"colorModel":"RGB","depth":8,"hasAlpha":false,"pixelWidth":16,"pixelHeight":12,"frameDurations":[0.2,0.2,0.2]'

run gif frames "$data/sample-animation.gif" --out "$work/frames"
check "gif frames" 0 $? test -s "$work/frames/frame-0002.png"

{ printf 'GIF89a\377\377\377\377'; tail -c +11 "$data/sample-animation.gif"; } >"$work/huge.gif"
run gif info "$work/huge.gif"
check "gif info of a canvas its data can't fill" 65 $? err_has "huge.gif: the GIF canvas 65535x65535 is larger than"

run gif info "$work/missing.gif"
check "gif info of a missing file" 66 $? err_has "missing.gif: no such file"

run scene new --aspect portrait
check "scene new without layers is the stock scene" 0 $? out_has '"id":"DEFAULT_SCENE_portrait"'

run scene new --aspect landscape --name Show --add text=Hello --add circle --add web https://example.com/ --add feed
check "scene new with layers" 0 $? out_has '"name":"Show"'
check "scene new puts the last layer in front" 0 0 grep -qE '"elements":\[\{[^]]*"feed"' "$work/out"

run scene new --aspect landscape --add image "$data/sample-animation.gif"
check "scene new with an image" 0 $? out_has '"isAnimated":true'

run scene new --aspect landscape --add sparkles
check "scene new with an unknown kind" 64 $? err_has 'unknown layer kind "sparkles"'

summary
