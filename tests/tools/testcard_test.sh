#!/usr/bin/env bash
# Runs the sprig tool as a user would and checks its outputs and exit codes.
# Usage: SPRIG=path/to/sprig testcard_test.sh WORKDIR
set -u
source "$(dirname "$0")/lib.sh" "$1"

expect_status 0 "$SPRIG" --help
grep -q testcard "$work/out.txt" || fail "--help does not list testcard"
expect_status 0 "$SPRIG" testcard --help
expect_status 2 "$SPRIG" no-such-command

# The test card is a PNG of the asked size.
expect_status 0 "$SPRIG" testcard "$work/card.png" --width 200 --height 150
[ "$(head -c 8 "$work/card.png" | od -An -tx1 | tr -d ' \n')" = "89504e470d0a1a0a" ] \
    || fail "testcard did not write a PNG"
[ "$(od -An -tx1 -j16 -N8 "$work/card.png" | tr -d ' \n')" = "000000c800000096" ] \
    || fail "testcard PNG is not 200 x 150"
[ "$(stat -c %a "$work/card.png")" != 600 ] || fail "output file kept private permissions"

# Bad arguments and unwritable outputs: one line, non-zero, nothing left behind.
expect_status 1 "$SPRIG" testcard "$work/x.png" --width 12
expect_one_line_error "bad --width"
expect_status 1 "$SPRIG" testcard "$work/missing-dir/card.png"
grep -q "missing-dir/card.png" "$work/err.txt" || fail "unwritable output: error does not name the file"
[ -z "$(ls "$work" | grep -v -E '^(card.png|out.txt|err.txt)$')" ] || fail "stray files left: $(ls "$work")"

finish
