#!/usr/bin/env bash
# sprig show: a packed picture drawn through the pool at a scale, an opacity
# and a tint. Usage: SPRIG=path/to/sprig show_test.sh WORKDIR
set -u
source "$(dirname "$0")/lib.sh" "$1"

png_size() { od -An -tx1 -j16 -N8 "$1" | tr -d ' \n'; }

expect_status 0 "$SPRIG" testcard "$work/card.png" --width 100 --height 96
expect_status 0 "$SPRIG" pack "$work/card.png" "$work/card.sprig"

expect_status 0 "$SPRIG" show "$work/card.sprig" "$work/natural.png"
[ "$(png_size "$work/natural.png")" = "0000006400000060" ] || fail "natural size is not 100 x 96"
expect_status 0 "$SPRIG" show "$work/card.sprig" "$work/double.png" --scale 80 --opacity 128
[ "$(png_size "$work/double.png")" = "000000c8000000c0" ] || fail "scale 80 is not 200 x 192"
expect_status 0 "$SPRIG" show "$work/card.sprig" "$work/tint.png" --tint 00FF00 --scale 20
[ "$(png_size "$work/tint.png")" = "0000003200000030" ] || fail "scale 20 is not 50 x 48"
cmp -s "$work/natural.png" "$work/double.png" && fail "scaling and fading changed nothing"

expect_status 1 "$SPRIG" show "$work/card.sprig" "$work/x.png" --tint 12345
expect_one_line_error "bad tint"
expect_status 1 "$SPRIG" show "$work/card.sprig" "$work/x.png" --scale 0
expect_status 1 "$SPRIG" show "$work/missing.sprig" "$work/x.png"
expect_one_line_error "missing input"
expect_status 1 "$SPRIG" show "$work/card.png" "$work/x.png"
expect_one_line_error "PNG given as a packed picture"
expect_status 1 "$SPRIG" show "$work/card.sprig" "$work/no-dir/x.png"
[ -e "$work/x.png" ] && fail "a failed show left an output behind"
finish
