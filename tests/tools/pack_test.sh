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

# The pixel limit, checked from the header. huge.packed is a well-formed
# 32767 x 32767 picture of 131 KB whose rows share one run; head.png is only
# the header of a 30000 x 30000 PNG. Where the sanitizers allow it, the
# commands run with too little memory to decode either.
python3 - "$work" <<'END'
import struct, sys, zlib
side = 32767
body = (b"Format01" + struct.pack("<3i", 0, side, side) + struct.pack("<I", 6 + side) * side
        + struct.pack("<2I", 0xC0000000 | side, 0))
open(sys.argv[1] + "/huge.packed", "wb").write(struct.pack("<I", 4 + len(body)) + body)
ihdr = b"IHDR" + struct.pack(">2I5B", 30000, 30000, 8, 6, 0, 0, 0)
open(sys.argv[1] + "/head.png", "wb").write(
    b"\x89PNG\r\n\x1a\n" + struct.pack(">I", 13) + ihdr + struct.pack(">I", zlib.crc32(ihdr)))
END
memory_cap="ulimit -v 1000000"
(eval "$memory_cap" && "$SPRIG" --help) >/dev/null 2>&1 || memory_cap=:
capped() { (cd "$work" && eval "$memory_cap" && exec "$@"); }
for args in "check huge.packed" "info huge.packed" "unpack huge.packed x.png" \
    "show huge.packed x.png" "fingerprint huge.packed" "pack head.png x.packed" \
    "fingerprint head.png" "pack --max-pixels 28799 card.png x.packed"; do
    # shellcheck disable=SC2086
    expect_status 1 capped "$SPRIG" $args
    expect_one_line_error "$args"
    grep -q "pixels, more than the limit of [0-9]* (see --max-pixels)$" "$work/err.txt" ||
        fail "$args: $(cat "$work/err.txt")"
done
expect_status 0 "$SPRIG" pack --max-pixels 28800 "$work/card.png" "$work/x.packed"
expect_status 0 "$SPRIG" check --max-pixels 1073676289 "$work/huge.packed"
expect_status 1 "$SPRIG" fingerprint --max-pixels 1073676289 "$work/head.png"
grep -q "head.png: 30000 pixels wide" "$work/err.txt" || fail "head.png: $(cat "$work/err.txt")"
for value in 0 -1 1073676290 12x ""; do
    expect_status 1 "$SPRIG" check --max-pixels "$value" "$work/card.packed"
    expect_one_line_error "--max-pixels '$value'"
done

# Endless inputs end after their header, or after as much as it allows.
endless() { # COMMAND FILE: FILE's bytes, then zeros without end, as COMMAND's input
    cat "$2" /dev/zero | timeout 60 "$SPRIG" "$1" /dev/stdin
}
head -c 33 "$work/card.png" >"$work/card-head.png"
for args in "check /dev/zero" "fingerprint /dev/zero" "unpack /dev/zero $work/x.png" \
    "pack /dev/zero $work/x.packed" "endless check $work/card.packed" \
    "endless fingerprint $work/card-head.png"; do
    case $args in endless*) run=() ;; *) run=(timeout 60 "$SPRIG") ;; esac
    # shellcheck disable=SC2086
    expect_status 1 "${run[@]}" $args
    expect_one_line_error "$args"
done
grep -q "/dev/stdin: more than the [0-9]* bytes the tool reads for a 240 x 120 picture" \
    "$work/err.txt" || fail "endless PNG: $(cat "$work/err.txt")"

# Outputs. The input itself, by whatever path, is refused and kept.
cp "$work/card.packed" "$work/kept.packed"
ln -s card.packed "$work/link.packed" && ln "$work/card.packed" "$work/hard.packed"
for out in card.packed ./card.packed link.packed hard.packed; do
    expect_status 1 "$SPRIG" unpack "$work/card.packed" "$work/$out"
    expect_one_line_error "unpack onto its input as $out"
done
cmp -s "$work/card.packed" "$work/kept.packed" || fail "the input was overwritten"
# - is standard output, with nothing else on it; a FIFO and /dev/stdout on a
# pipe are written in place.
expect_status 0 "$SPRIG" unpack "$work/card.packed" -
cmp -s "$work/out.txt" "$work/back.png" || fail "unpack to - differs"
mkfifo "$work/fifo"
cat "$work/fifo" >"$work/from-fifo.png" &
expect_status 0 "$SPRIG" unpack "$work/card.packed" "$work/fifo"
wait $!
[ -p "$work/fifo" ] && cmp -s "$work/from-fifo.png" "$work/back.png" || fail "unpack to a FIFO"
"$SPRIG" unpack "$work/card.packed" /dev/stdout | cat >"$work/piped.png"
cmp -s "$work/piped.png" "$work/back.png" || fail "unpack to /dev/stdout on a pipe"
# A file replaced through a symbolic link stays linked and keeps its mode.
echo old >"$work/target.png" && chmod 640 "$work/target.png"
ln -s target.png "$work/to-target.png"
expect_status 0 "$SPRIG" unpack "$work/card.packed" "$work/to-target.png"
[ -L "$work/to-target.png" ] && [ "$(stat -c %a "$work/target.png")" = 640 ] &&
    cmp -s "$work/target.png" "$work/back.png" || fail "unpack through a symbolic link"
# A write that fails half-way (past the file size limit) keeps the old file.
echo old >"$work/limited.png"
expect_status 1 bash -c 'ulimit -f 1 && exec "$@"' - "$SPRIG" testcard "$work/limited.png" \
    --width 640 --height 480
expect_one_line_error "write past the file size limit"
[ "$(cat "$work/limited.png")" = old ] || fail "a failed write replaced the file"
# Stopped while it waits for its input (a FIFO held open), pack leaves its
# output as it was and no temporary file. A script's background jobs ignore
# SIGINT unless job control (set -m) is on.
mkfifo "$work/in.fifo" && exec 3<>"$work/in.fifo"
for signal in TERM HUP INT; do
    echo old >"$work/stopped.packed"
    [ "$signal" = INT ] && set -m
    "$SPRIG" pack "$work/in.fifo" "$work/stopped.packed" &
    pid=$!
    set +m
    for _ in $(seq 600); do
        compgen -G "$work/stopped.packed.??????" >/dev/null && break
        sleep 0.05
    done
    compgen -G "$work/stopped.packed.??????" >/dev/null || fail "SIG$signal: no temporary file"
    kill "-$signal" "$pid"
    wait "$pid" 2>/dev/null
    status=$?
    [ "$status" -eq $((128 + $(kill -l "$signal"))) ] || fail "SIG$signal: exit status $status"
    [ "$(cat "$work/stopped.packed")" = old ] || fail "SIG$signal: the output was replaced"
    ! compgen -G "$work/stopped.packed.*" >/dev/null || fail "SIG$signal: temporary file left"
done
exec 3<&-
[ -z "$(ls "$work" | grep -E 'XXXXXX|\.packed\.|\.png\.')" ] || fail "stray files: $(ls "$work")"

finish
