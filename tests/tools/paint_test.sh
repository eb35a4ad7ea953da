#!/usr/bin/env bash
# Runs `sprig paint` as a user would and looks at the picture it writes.
# Usage: SPRIG=path/to/sprig paint_test.sh WORKDIR
set -u
source "$(dirname "$0")/lib.sh" "$1"

expect_status 0 "$SPRIG" --help
grep -q "paint" "$work/out.txt" || fail "--help does not list paint"
expect_status 0 "$SPRIG" paint --help
grep -q "erase" "$work/out.txt" || fail "paint --help does not describe the picture"

# The default size, and the picture is the same on every run.
expect_status 0 "$SPRIG" paint "$work/a.png"
grep -q "wrote $work/a.png (320 x 240)" "$work/out.txt" || fail "no report of the written file"
[ "$(od -An -tx1 -j16 -N8 "$work/a.png" | tr -d ' \n')" = "00000140000000f0" ] \
    || fail "paint PNG is not 320 x 240"
expect_status 0 "$SPRIG" paint "$work/b.png"
cmp -s "$work/a.png" "$work/b.png" || fail "two runs painted different pictures"
expect_status 0 "$SPRIG" paint "$work/small.png" --width 64 --height 48
[ "$(od -An -tx1 -j16 -N8 "$work/small.png" | tr -d ' \n')" = "0000004000000030" ] \
    || fail "paint PNG is not 64 x 48"

# Look at the pixels: opaque paper in the corner, the brush's blue, the
# spray's green, the ellipse's texture, the outline's purple, soft edges,
# and a transparent track where the eraser went.
if command -v python3 >/dev/null; then
    PYTHONPATH="$(dirname "$0")" python3 - "$work/a.png" <<'PY' || fail "the painting does not show the tools: see above"
import sys
from png_rows import read_png

width, height, channels, rows, _ = read_png(sys.argv[1])

def px(x, y):
    p = rows[y][x * channels:(x + 1) * channels]
    return tuple(p) if channels == 4 else tuple(p) + (255,)

problems = []
def check(what, ok):
    if not ok:
        problems.append(what)

all_px = [px(x, y) for y in range(height) for x in range(width)]
check("paper corner is not opaque warm paper", px(2, 2) == (250, 244, 228, 255))
check("no brush blue", any(p == (30, 60, 160, 255) for p in all_px))
check("no spray green", sum(p == (40, 150, 70, 255) for p in all_px) > 200)
check("no purple outline", any(p == (120, 40, 140, 255) for p in all_px))
check("ellipse centre is not the orange texture", px(232, 170)[0] == 255 and px(232, 170)[2] < 80)
check("no soft edges", len({p for p in all_px if p[3] == 255}) > 500)
check("no transparent eraser track", sum(p[3] == 0 for p in all_px) > 300)
check("no half-erased edge", any(0 < p[3] < 255 for p in all_px))
for p in problems:
    print("paint picture:", p)
sys.exit(1 if problems else 0)
PY
fi

# Bad arguments and unwritable outputs: one line, non-zero, nothing left behind.
expect_status 1 "$SPRIG" paint "$work/x.png" --width 10
expect_one_line_error "bad --width"
expect_status 1 "$SPRIG" paint "$work/x.png" --bogus
expect_one_line_error "unknown option"
expect_status 1 "$SPRIG" paint "$work/missing-dir/p.png"
expect_one_line_error "unwritable output"
grep -q "missing-dir/p.png" "$work/err.txt" || fail "unwritable output: error does not name the file"
[ -z "$(ls "$work" | grep -v -E '^(a.png|b.png|small.png|out.txt|err.txt)$')" ] \
    || fail "stray files left: $(ls "$work")"

finish
