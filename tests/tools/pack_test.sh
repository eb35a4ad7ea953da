#!/usr/bin/env bash
# sprig pack, unpack, info and check, run as a user would: round trips of
# real PNG files, hand-made pictures of each layout, and damaged files.
# Usage: SPRIG=path/to/sprig pack_test.sh WORKDIR
set -u
source "$(dirname "$0")/lib.sh" "$1"

# patch FILE OFFSET HEXBYTES: overwrites bytes of a file in place.
patch() {
    printf "$(echo "$3" | sed 's/\(..\)/\\x\1/g')" |
        dd of="$1" bs=1 seek="$2" conv=notrunc status=none
}
# hex HEXBYTES > FILE
hex() { printf "$(echo "$1" | tr -d ' \n' | sed 's/\(..\)/\\x\1/g')"; }

expect_status 0 "$SPRIG" --help
for command in pack unpack info check; do
    grep -q "^  $command " "$work/out.txt" || fail "--help does not list $command"
done
for command in pack unpack info check; do
    expect_status 0 "$SPRIG" "$command" --help
    grep -q "usage: sprig $command" "$work/out.txt" || fail "$command --help prints no usage"
done

# A real PNG with soft alpha, packed and unpacked: the pixels survive, so
# packing the unpacked PNG again gives the same bytes.
expect_status 0 "$SPRIG" testcard "$work/card.png" --width 240 --height 120
expect_status 0 "$SPRIG" pack "$work/card.png" "$work/card.packed"
expect_status 0 "$SPRIG" check "$work/card.packed"
grep -q "well formed" "$work/out.txt" || fail "check of a good file: $(cat "$work/out.txt")"
expect_status 0 "$SPRIG" info "$work/card.packed"
grep -q "^encoding: current (Format01)" "$work/out.txt" || fail "info: no encoding line"
grep -q "^width: *240$" "$work/out.txt" || fail "info: width"
grep -q "^height: *120$" "$work/out.txt" || fail "info: height"
grep -q "^bytes: *$(stat -c %s "$work/card.packed")$" "$work/out.txt" || fail "info: bytes"
grep -q "^packets: *[0-9]* runs, [0-9]* literals$" "$work/out.txt" || fail "info: packets"
grep -q "^ratio: *0\.[0-9]* of the raw 32-bit size (115200 bytes)$" "$work/out.txt" \
    || fail "info: ratio: $(cat "$work/out.txt")"
[ "$(od -An -tu4 -N4 "$work/card.packed" | tr -d ' ')" = "$(stat -c %s "$work/card.packed")" ] \
    || fail "pack: the file is not exactly the packed picture"
expect_status 0 "$SPRIG" unpack "$work/card.packed" "$work/back.png"
expect_status 0 "$SPRIG" pack "$work/back.png" "$work/back.packed"
cmp -s "$work/card.packed" "$work/back.packed" || fail "pack/unpack round trip changed pixels"

# The sixteen-bit layout: 5 bits a channel, which survive a second round.
expect_status 0 "$SPRIG" pack --sixteen "$work/card.png" "$work/card16.packed"
expect_status 0 "$SPRIG" info "$work/card16.packed"
grep -q "^layout: *sixteen-bit" "$work/out.txt" || fail "info: sixteen-bit layout"
expect_status 0 "$SPRIG" unpack "$work/card16.packed" "$work/back16.png"
expect_status 0 "$SPRIG" pack --sixteen "$work/back16.png" "$work/back16.packed"
cmp -s "$work/card16.packed" "$work/back16.packed" || fail "sixteen-bit round trip changed pixels"

# Hand-made pictures: 4 x 2 of the current encoding (a run of 3, then
# literals), the older encoding with a row filled from its table entry, and
# a sixteen-bit picture of 3 x 1.
hex "48000000 466f726d61743031 00000000 04000000 02000000 08000000 0c000000
     03000080 0000ffff 01000040 80332211 03000000 0000ffff 80332211 00ffffff
     01000040 01563412" >"$work/example.packed"
expect_status 0 "$SPRIG" info "$work/example.packed"
grep -q "^packets: *1 runs, 3 literals$" "$work/out.txt" || fail "example: $(cat "$work/out.txt")"
expect_status 0 "$SPRIG" unpack "$work/example.packed" "$work/example.png"
expect_status 0 "$SPRIG" pack "$work/example.png" "$work/example2.packed"
cmp -s "$work/example.packed" "$work/example2.packed" || fail "worked example does not round-trip"
hex "2c000000 436f6d7072657373 00000000 03000000 02000000 ffffff81 08000000
     01000000 020000c0 05000000" >"$work/older.packed"
expect_status 0 "$SPRIG" info "$work/older.packed"
grep -q "^encoding: older (Compress)" "$work/out.txt" || fail "older: $(cat "$work/out.txt")"
grep -q "1 rows filled from the row table" "$work/out.txt" || fail "older: filled rows"
expect_status 0 "$SPRIG" unpack "$work/older.packed" "$work/older.png"
hex "03000000 01000000 0a000000 00000000 811f00 00007c" >"$work/small16.packed"
expect_status 0 "$SPRIG" check "$work/small16.packed"
expect_status 0 "$SPRIG" unpack "$work/small16.packed" "$work/small16.png"

# Damaged files: one line naming the file, exit 1, no output written.
broken() { # NAME: copies card.packed to NAME.packed for damage
    cp "$work/card.packed" "$work/$1.packed"
}
broken truncated
head -c 1000 "$work/card.packed" >"$work/truncated.packed"
broken signature; patch "$work/signature.packed" 4 "58"
broken width; patch "$work/width.packed" 16 "00800000"
broken entry; patch "$work/entry.packed" 24 "ffffff00"
broken count; patch "$work/count.packed" "$((4 * $(od -An -tu4 -j24 -N4 "$work/card.packed")))" \
    "ffffff3f"
broken trailing; printf 'xyz' >>"$work/trailing.packed"
: >"$work/empty.packed"
mkdir -p "$work/folder.packed"
for name in truncated signature width entry count trailing empty folder missing; do
    file="$work/$name.packed"
    expect_status 1 "$SPRIG" check "$file"
    expect_one_line_error "check $name"
    grep -q "$name.packed" "$work/err.txt" || fail "check $name: the error does not name the file"
    expect_status 1 "$SPRIG" unpack "$file" "$work/out-$name.png"
    expect_one_line_error "unpack $name"
    [ ! -e "$work/out-$name.png" ] || fail "unpack $name left an output file"
    expect_status 1 "$SPRIG" info "$file"
done
expect_status 1 "$SPRIG" check "$work/count.packed"
grep -q "row 0:" "$work/err.txt" || fail "count: $(cat "$work/err.txt")"

# Bad inputs and unwritable outputs for pack.
expect_status 1 "$SPRIG" pack "$work/card.packed" "$work/x.packed"
expect_one_line_error "pack of a non-PNG"
expect_status 1 "$SPRIG" pack "$work/card.png" "$work/missing-dir/x.packed"
expect_one_line_error "pack to a missing folder"
grep -q "missing-dir/x.packed" "$work/err.txt" || fail "unwritable output: error does not name it"
expect_status 1 "$SPRIG" unpack "$work/card.packed" "$work/missing-dir/x.png"
expect_one_line_error "unpack to a missing folder"
expect_status 1 "$SPRIG" pack "$work/card.png"
expect_one_line_error "pack with one argument"
[ -z "$(ls "$work" | grep -E 'XXXXXX|\.packed\.|\.png\.')" ] || fail "stray files: $(ls "$work")"

finish
