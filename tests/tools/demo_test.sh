#!/usr/bin/env bash
# Runs `sprig demo` as a user would: its frames, animation and checksums,
# the same pixels on every run, its options and its errors.
# Usage: SPRIG=path/to/sprig demo_test.sh WORKDIR
set -u
source "$(dirname "$0")/lib.sh" "$1"

expect_status 0 "$SPRIG" --help
grep -q "demo" "$work/out.txt" || fail "--help does not list demo"
expect_status 0 "$SPRIG" demo --help
grep -q -- "--frames" "$work/out.txt" || fail "demo --help does not describe its options"

# A short run at stage size, twice, and once with more frames.
expect_status 0 "$SPRIG" demo --frames 6 --zoom 1 --out "$work/a"
grep -q "wrote 6 frames of 480 x 360" "$work/out.txt" || fail "no report of the frames written: $(cat "$work/out.txt")"
grep -q "rendering frame 6/6" "$work/err.txt" || fail "no progress line: $(cat "$work/err.txt")"
for i in 000 001 002 003 004 005; do
    [ -s "$work/a/frame_$i.png" ] || fail "frame $i missing"
done
[ -e "$work/a/frame_006.png" ] && fail "a frame too many"
[ "$(wc -l <"$work/a/checksums.txt")" -eq 6 ] || fail "checksums.txt does not list 6 frames"
expect_status 0 "$SPRIG" demo --frames 6 --zoom 1 --out "$work/b"
cmp -s "$work/a/checksums.txt" "$work/b/checksums.txt" || fail "two runs drew different pixels"
cmp -s "$work/a/frame_005.png" "$work/b/frame_005.png" || fail "two runs wrote different frames"
cmp -s "$work/a/demo.png" "$work/b/demo.png" || fail "two runs wrote different animations"

# The default zoom doubles the view.
expect_status 0 "$SPRIG" demo --frames 2 --out "$work/zoomed"
grep -q "wrote 2 frames of 960 x 720" "$work/out.txt" || fail "default zoom is not 2: $(cat "$work/out.txt")"

# Look at the files: each frame's pixels give the checksum the demo took of
# the view, the animation is a well-formed APNG with every frame, and the
# last frame shows the pen trails, stamps and sprites over the sky.
if command -v python3 >/dev/null; then
    PYTHONPATH="$(dirname "$0")" python3 - "$work/a" 6 <<'PY' || fail "demo output: see above"
import struct, sys, zlib
import png_rows
from png_rows import chunks, rows_of

folder, frames = sys.argv[1], int(sys.argv[2])
problems = []
def check(what, ok):
    if not ok:
        problems.append(what)

def read_png(path):
    width, height, channels, rows, good = png_rows.read_png(path)
    check(path + ": bad CRC", good)
    check(path + ": not RGBA", channels == 4)
    return width, height, rows

def fnv(width, rows):
    # Over the pixel words' bytes in memory order: alpha, red, green, blue.
    h = 1469598103934665603
    for row in rows:
        for x in range(width):
            r, g, b, a = row[4 * x:4 * x + 4]
            for byte in (a, r, g, b):
                h = ((h ^ byte) * 1099511628211) & 0xFFFFFFFFFFFFFFFF
    return "%016x" % h

listed = dict(line.split() for line in open(folder + "/checksums.txt"))
for frame in (0, frames - 1):
    name = "frame_%03d.png" % frame
    width, height, rows = read_png(folder + "/" + name)
    check(name + " is not 480 x 360", (width, height) == (480, 360))
    check(name + ": pixels differ from the view's checksum", fnv(width, rows) == listed.get(name))
    if frame == frames - 1:
        last = rows

# The animation: acTL counts the frames; fcTL/fdAT sequence numbers run
# 0, 1, 2, ... without a gap; the first frame is the IDAT; each frame
# decompresses to the frame's own rows.
sequence, controls, idat, fdat, plays = [], 0, b"", {}, None
for kind, body, good in chunks(open(folder + "/demo.png", "rb").read()):
    check("demo.png: bad CRC in " + kind.decode(), good)
    if kind == b"acTL":
        count, plays = struct.unpack(">II", body)
        check("acTL frame count", count == frames)
    elif kind == b"fcTL":
        seq, w, h, x, y, num, den, dispose, blend = struct.unpack(">IIIIIHHBB", body)
        sequence.append(seq)
        controls += 1
        check("fcTL size", (w, h, x, y) == (480, 360, 0, 0))
        check("fcTL delay", den > 0 and num > 0)
    elif kind == b"IDAT":
        check("IDAT after the first frame", controls == 1)
        idat += body
    elif kind == b"fdAT":
        seq, = struct.unpack(">I", body[:4])
        sequence.append(seq)
        fdat[controls - 1] = fdat.get(controls - 1, b"") + body[4:]
check("frames in demo.png", controls == frames)
check("sequence numbers %s" % sequence, sequence == list(range(len(sequence))))
check("loops forever", plays == 0)
first = rows_of(zlib.decompress(idat), 480, 360, 4)
check("first animation frame is frame_000", fnv(480, first) == listed["frame_000.png"])
final = rows_of(zlib.decompress(fdat[frames - 1]), 480, 360, 4)
check("last animation frame is the last frame", fnv(480, final) == listed["frame_%03d.png" % (frames - 1)])

# What the last frame shows: opaque everywhere (the sky), the star's red
# pen, the spiral's blue, the wave's green, the stamped gold.
colours = {}
for row in last:
    for x in range(480):
        colours[tuple(row[4 * x:4 * x + 4])] = colours.get(tuple(row[4 * x:4 * x + 4]), 0) + 1
check("not opaque everywhere", all(c[3] == 255 for c in colours))
check("no red pen trail", colours.get((0xE0, 0x30, 0x30, 255), 0) > 300)
check("no blue spiral", colours.get((0x20, 0x50, 0xD0, 255), 0) > 50)
check("no green wave", sum(n for c, n in colours.items() if c[1] > 120 and c[0] < 80 and c[2] < 110) > 100)
check("no gold stamp", sum(n for c, n in colours.items() if c[0] > 230 and 150 < c[1] < 220 and c[2] < 120) > 50)
check("too few colours for a picture", len(colours) > 500)
for p in problems:
    print("demo:", p)
sys.exit(1 if problems else 0)
PY
fi

# Bad options: one line, non-zero, nothing written.
expect_status 1 "$SPRIG" demo --frames 0 --out "$work/x"
expect_one_line_error "--frames 0"
expect_status 1 "$SPRIG" demo --frames many --out "$work/x"
expect_one_line_error "--frames many"
expect_status 1 "$SPRIG" demo --zoom 9 --out "$work/x"
expect_one_line_error "--zoom 9"
expect_status 1 "$SPRIG" demo --zoom
expect_one_line_error "--zoom without a value"
expect_status 1 "$SPRIG" demo --bogus
expect_one_line_error "unknown option"
[ -e "$work/x" ] && fail "a bad option still made the output folder"

# Output folders that cannot be written: a file in the way, a folder
# without write permission (unless running as root, who may write anyway).
echo "not a folder" >"$work/file"
expect_status 1 "$SPRIG" demo --frames 1 --out "$work/file"
expect_one_line_error "output is a file"
grep -q "$work/file" "$work/err.txt" || fail "error does not name the folder: $(cat "$work/err.txt")"
expect_status 1 "$SPRIG" demo --frames 1 --out "$work/file/sub"
expect_one_line_error "output under a file"
if [ "$(id -u)" -ne 0 ]; then
    mkdir "$work/locked" && chmod 555 "$work/locked"
    expect_status 1 "$SPRIG" demo --frames 1 --out "$work/locked"
    expect_one_line_error "read-only folder"
    chmod 755 "$work/locked"
fi

finish
