#!/usr/bin/env bash
# sprig fingerprint on real picture files: one line per picture with the
# pixel fingerprint, the MD5 of the file and its name; bad files reported one
# line each while the others are still done.
# Usage: SPRIG=path/to/sprig fingerprint_test.sh WORKDIR
set -u
source "$(dirname "$0")/lib.sh" "$1"

expect_status 0 "$SPRIG" fingerprint --help
grep -q FILE "$work/out.txt" || fail "fingerprint --help shows no usage"

# Small PNGs written byte by byte (RGBA, 8 bits a channel). one.png is one
# pixel with alpha 164, red 140, green 36, blue 77: 16-bit value 0x1234, fed
# as 0x12 then 0x34. two.png has that pixel in its bottom row under a
# transparent black one, and the bottom row goes first.
printf '\x89\x50\x4e\x47\x0d\x0a\x1a\x0a\x00\x00\x00\x0d\x49\x48\x44\x52\x00\x00\x00\x01\x00\x00\x00\x01\x08\x06\x00\x00\x00\x1f\x15\xc4\x89\x00\x00\x00\x0d\x49\x44\x41\x54\x78\xda\x63\xe8\x51\xf1\x5d\x02\x00\x03\xdf\x01\xa2\x15\x09\xc7\xd9\x00\x00\x00\x00\x49\x45\x4e\x44\xae\x42\x60\x82' >"$work/one.png"
printf '\x89\x50\x4e\x47\x0d\x0a\x1a\x0a\x00\x00\x00\x0d\x49\x48\x44\x52\x00\x00\x00\x01\x00\x00\x00\x02\x08\x06\x00\x00\x00\x99\x81\xb6\x27\x00\x00\x00\x0f\x49\x44\x41\x54\x78\xda\x63\x60\x00\x81\x1e\x15\x86\x25\x00\x03\x4a\x01\x55\x92\x84\xbb\xe3\x00\x00\x00\x00\x49\x45\x4e\x44\xae\x42\x60\x82' >"$work/two.png"
# A transparent black picture 4093 pixels wide: one more than a world holds.
printf '\x89\x50\x4e\x47\x0d\x0a\x1a\x0a\x00\x00\x00\x0d\x49\x48\x44\x52\x00\x00\x0f\xfd\x00\x00\x00\x01\x08\x06\x00\x00\x00\x86\x9d\x5c\x58\x00\x00\x00\x27\x49\x44\x41\x54\x78\xda\xed\xc1\x31\x01\x00\x00\x00\xc2\xa0\xf5\x4f\x6d\x0c\x1f\xa0\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x80\x8b\x01\x3f\xf5\x00\x01\x45\x91\x11\x8c\x00\x00\x00\x00\x49\x45\x4e\x44\xae\x42\x60\x82' >"$work/wide.png"

md5() { md5sum "$1" | cut -d' ' -f1 | tr a-f A-F; }

expect_status 0 "$SPRIG" fingerprint "$work/one.png" "$work/two.png"
[ "$(sed -n 1p "$work/out.txt")" = "3412000000000000 $(md5 "$work/one.png") $work/one.png" ] \
    || fail "one.png: $(sed -n 1p "$work/out.txt")"
[ "$(sed -n 2p "$work/out.txt")" = "0000341200000000 $(md5 "$work/two.png") $work/two.png" ] \
    || fail "two.png: $(sed -n 2p "$work/out.txt")"
[ "$(wc -l <"$work/out.txt")" -eq 2 ] || fail "expected two lines: $(cat "$work/out.txt")"
[ ! -s "$work/err.txt" ] || fail "good files wrote to standard error: $(cat "$work/err.txt")"

# Test cards: the MD5 is that of the file, the pixel fingerprint that of the
# pixels. Bytes after the PNG's end change the MD5 but not the pixels; a
# picture of another size has other pixels.
"$SPRIG" testcard "$work/card.png" >/dev/null || fail "testcard failed"
"$SPRIG" testcard "$work/small.png" --width 64 --height 96 >/dev/null || fail "testcard failed"
cp "$work/card.png" "$work/tail.png" && printf 'trailing bytes' >>"$work/tail.png"
expect_status 0 "$SPRIG" fingerprint "$work/card.png" "$work/tail.png" "$work/small.png"
read -r card_pixels card_md5 card_name < <(sed -n 1p "$work/out.txt")
read -r tail_pixels tail_md5 _ < <(sed -n 2p "$work/out.txt")
read -r small_pixels small_md5 _ < <(sed -n 3p "$work/out.txt")
[[ "$card_pixels" =~ ^[0-9A-F]{16}$ ]] || fail "card.png: not 16 digits: '$card_pixels'"
[ "$card_pixels" != 0000000000000000 ] || fail "card.png: fingerprint of nothing"
[ "$card_md5" = "$(md5 "$work/card.png")" ] || fail "card.png: MD5 $card_md5 is not the file's"
[ "$card_name" = "$work/card.png" ] || fail "card.png: name '$card_name'"
[ "$tail_pixels" = "$card_pixels" ] || fail "trailing bytes changed the pixel fingerprint"
[ "$tail_md5" = "$(md5 "$work/tail.png")" ] && [ "$tail_md5" != "$card_md5" ] \
    || fail "tail.png: MD5 $tail_md5 is not the file's"
[ "$small_pixels" != "$card_pixels" ] || fail "different pictures share a fingerprint"
[ "$small_md5" = "$(md5 "$work/small.png")" ] || fail "small.png: MD5 is not the file's"
# The same picture written again gives the same line.
"$SPRIG" testcard "$work/again.png" >/dev/null
expect_status 0 "$SPRIG" fingerprint "$work/again.png"
[ "$(cut -d' ' -f1-2 "$work/out.txt")" = "$card_pixels $card_md5" ] || fail "again.png differs"

# Packed pictures with the same pixels as one.png and two.png, checked and
# expanded into a world. cur.pict is two.png in the current encoding: header
# (size 48, "Format01", 0, width 1, height 2), row table (word offsets 8 and
# 10), and one run packet per row (control 0xC0000001: run, last, count 1)
# with its stored pixel, bytes blue, green, red, alpha. old.pict is one.png
# in the older encoding: its one row table entry, bit 31 set, is the pixel
# that fills the row.
printf '\x30\x00\x00\x00Format01\x00\x00\x00\x00\x01\x00\x00\x00\x02\x00\x00\x00\x08\x00\x00\x00\x0a\x00\x00\x00\x01\x00\x00\xc0\x00\x00\x00\x00\x01\x00\x00\xc0\x4d\x24\x8c\xa4' >"$work/cur.pict"
printf '\x1c\x00\x00\x00Compress\x00\x00\x00\x00\x01\x00\x00\x00\x01\x00\x00\x00\x4d\x24\x8c\xa4' >"$work/old.pict"
# The same as cur.pict but 4093 pixels wide, and cur.pict cut short.
printf '\x30\x00\x00\x00Format01\x00\x00\x00\x00\xfd\x0f\x00\x00\x02\x00\x00\x00\x08\x00\x00\x00\x0a\x00\x00\x00\xfd\x0f\x00\xc0\x00\x00\x00\x00\xfd\x0f\x00\xc0\x4d\x24\x8c\xa4' >"$work/wide.pict"
head -c 40 "$work/cur.pict" >"$work/cut.pict"
expect_status 0 "$SPRIG" fingerprint "$work/cur.pict" "$work/old.pict"
[ "$(sed -n 1p "$work/out.txt")" = "0000341200000000 $(md5 "$work/cur.pict") $work/cur.pict" ] \
    || fail "cur.pict: $(sed -n 1p "$work/out.txt")"
[ "$(sed -n 2p "$work/out.txt")" = "3412000000000000 $(md5 "$work/old.pict") $work/old.pict" ] \
    || fail "old.pict: $(sed -n 2p "$work/out.txt")"
expect_status 1 "$SPRIG" fingerprint "$work/cut.pict" "$work/wide.pict" "$work/cur.pict"
grep -q "cut.pict: damaged packed picture" "$work/err.txt" || fail "cut packed picture not reported"
grep -q "wide.pict: 4093 pixels wide" "$work/err.txt" || fail "wide packed picture not reported"
[ "$(wc -l <"$work/err.txt")" -eq 2 ] || fail "expected two error lines: $(cat "$work/err.txt")"
[ "$(cut -d' ' -f1 "$work/out.txt")" = 0000341200000000 ] || fail "cur.pict after bad ones"

# A sixteen-bit packed picture has the pixels of the PNG it unpacks to.
"$SPRIG" pack --sixteen "$work/card.png" "$work/card16.pict" >/dev/null || fail "pack failed"
"$SPRIG" unpack "$work/card16.pict" "$work/card16.png" >/dev/null || fail "unpack failed"
expect_status 0 "$SPRIG" fingerprint "$work/card16.pict" "$work/card16.png"
read -r pict16_pixels pict16_md5 _ < <(sed -n 1p "$work/out.txt")
read -r png16_pixels _ _ < <(sed -n 2p "$work/out.txt")
[ "$pict16_pixels" = "$png16_pixels" ] && [ "$pict16_pixels" != "$card_pixels" ] ||
    fail "card16.pict: $(cat "$work/out.txt")"
[ "$pict16_md5" = "$(md5 "$work/card16.pict")" ] || fail "card16.pict: MD5 is not the file's"

# Bad files: one line each on standard error naming the file, the good files
# still printed, exit status 1 at the end.
echo "not a picture" >"$work/text.txt"
head -c 100 "$work/card.png" >"$work/cut.png"
: >"$work/empty"
expect_status 1 "$SPRIG" fingerprint "$work/text.txt" "$work/one.png" "$work/missing.png" \
    "$work/cut.png" "$work/wide.png" "$work/empty" "$work/two.png"
[ "$(wc -l <"$work/err.txt")" -eq 5 ] || fail "expected five error lines: $(cat "$work/err.txt")"
grep -q "text.txt: not a PNG or packed picture" "$work/err.txt" || fail "text file not reported"
grep -q "missing.png" "$work/err.txt" || fail "missing file not reported"
grep -q "cut.png" "$work/err.txt" || fail "cut PNG not reported"
grep -q "wide.png: 4093 pixels wide" "$work/err.txt" || fail "wide PNG not reported"
grep -q "empty: not a PNG or packed picture" "$work/err.txt" || fail "empty file not reported"
[ "$(cut -d' ' -f1 "$work/out.txt" | tr '\n' ' ')" = "3412000000000000 0000341200000000 " ] \
    || fail "good files among bad ones: $(cat "$work/out.txt")"

expect_status 1 "$SPRIG" fingerprint
expect_one_line_error "no files"
expect_status 1 "$SPRIG" fingerprint --bogus "$work/one.png"
expect_one_line_error "unknown option"

finish
