#!/usr/bin/env bash
# Mutation check: how much of the library's exact arithmetic the test suite
# guards. Each mutant below is one small edit to the code; the script applies
# them one at a time, rebuilds the tests (and the tool, whose tests run the
# tool), runs them and counts the mutant as caught when anything fails. A
# mutant that survives is a fault the suite would let through.
#
#   scripts/mutate.sh               every mutant
#   scripts/mutate.sh 3 7 clip-     mutants by number or by name (a name
#                                   part matches every name containing it)
#   scripts/mutate.sh --list        the table, numbered
#   scripts/mutate.sh --check       only that each original text occurs
#                                   exactly once in its file
#   scripts/mutate.sh --matrix ...  runs every gtest test on every mutant (no
#                                   stopping at the first failure; the tool
#                                   tests only when none fails) and lists
#                                   the tests that catch each one, in
#                                   $MUTATE_BUILD/mutate-logs/matrix.txt: the
#                                   tests a consolidation must keep
#
# MUTATE_FILTER, a gtest filter, runs a part of the suite (say, without a
# test about to be merged away): what it still catches.
# MUTATE_BUILD (build-mutate) is the build folder, MUTATE_TIMEOUT (240) the
# seconds each test run may take; a run that times out counts as caught.
set -uo pipefail
cd "$(dirname "$0")/.."

# name @ file @ exact original text @ replacement @ what it breaks
# (\n in a text stands for a line break; each original must occur exactly
# once in its file, so an entry the code has moved away from fails loudly.)
read -r -d '' TABLE <<'MUTANTS'
blend-opaque-round @ include/sprig/blend.h @ out |= (n / 255) << shift; @ out |= ((n + 127) / 255) << shift; @ the exact integer blend over an opaque pixel rounds instead of truncating
blend-opaque-alpha @ include/sprig/blend.h @ out = 0xFF;\n @ out = 0xFE;\n @ a blend over an opaque pixel is no longer opaque
blend-factor @ include/sprig/blend.h @ const uint32_t k = 255 - a; @ const uint32_t k = 256 - a; @ the share of the under pixel
blend-alpha-trunc @ include/sprig/blend.h @ return out | static_cast<uint32_t>(A > 0.0f ? A : 0.0f); @ return out | static_cast<uint32_t>(A + 0.5f); @ the general blend's alpha is rounded, not truncated
blend-bare-under @ include/sprig/blend.h @ if (underAlpha == 0)\n        return paint; @ if (underAlpha == 0)\n        return paint | 0xFF; @ the shortcut over a transparent pixel
row-sse-round @ paint/blend_row.cpp @ _mm_add_epi16(_mm_add_epi16(n, _mm_set1_epi16(1)), _mm_srli_epi16(n, 8)); @ _mm_add_epi16(_mm_add_epi16(n, _mm_set1_epi16(0)), _mm_srli_epi16(n, 8)); @ the SSE2 division by 255
row-sse-skip @ paint/blend_row.cpp @ if ((_mm_movemask_epi8(_mm_cmpeq_epi8(s, zero)) & 0x1111) == 0x1111)\n        return false; @ if ((_mm_movemask_epi8(_mm_cmpeq_epi8(s, zero)) & 0x0111) == 0x0111)\n        return false; @ an SSE2 group is skipped when three of four sources are transparent
row-sse-general @ paint/blend_row.cpp @ const __m128i c = _mm_cvttps_epi32(_mm_div_ps(n, A)); @ const __m128i c = _mm_cvtps_epi32(_mm_div_ps(n, A)); @ the SSE2 general blend rounds instead of truncating
decode-literal-skip @ packing/decoder.cpp @ at += 1 + size_t{count}; @ at += size_t{count}; @ the position after a literal packet
decode-last-bit @ packing/decoder.cpp @ if (control & kLastBit)\n            break; @ if (control & 0)\n            break; @ a row's last packet does not end the row
decode-run-clip @ packing/decoder.cpp @ if (count > room)\n                count = room; @ if (count > room + 1)\n                count = room; @ a run longer than the row is cut one pixel late
decode-zero-rest @ packing/decoder.cpp @ if (from < width)\n        std::memset @ if (from + 1 < width)\n        std::memset @ the pixels a short row leaves are not all cleared
decode-signature @ packing/decoder.cpp @ std::memcmp(picture.words + kSignatureWord, Signature, 8) == 0; @ std::memcmp(picture.words + kSignatureWord, Signature, 7) == 0; @ the signature's last byte is not compared
decode-signature-text @ packing/decoder.cpp @ const char Signature[9] = "Format01"; @ const char Signature[9] = "Format02"; @ the current encoding's signature bytes
decode-older-alpha @ packing/decoder.cpp @ if ((a & 0x3F) == 1) @ if ((a & 0x7F) == 1) @ the older encoding's alpha mapping
decode-older-white @ packing/decoder.cpp @ a = 255;\n    else if (a == 255)\n        a = 1; @ a = 255;\n    else if (a == 255)\n        a = 255; @ the older encoding's alpha 255 becomes 1
decode-older-row @ packing/decoder.cpp @ if (entry & kRunBit) {\n        Fill @ if (entry & 0) {\n        Fill @ a whole-row table entry of the older encoding
decode-row-range @ packing/decoder.cpp @ return height > 0 && row < static_cast<uint32_t>(height); @ return height > 0 && row <= static_cast<uint32_t>(height); @ a row past the picture is decoded
decode-world-limit @ packing/decoder.cpp @ w > INT16_MAX || h > INT16_MAX) @ w > INT16_MAX || h >= INT16_MAX) @ the largest expandable world height
pack-run-start @ packing/compressor.cpp @ if (p[0] == p[1]) { @ if (p[0] == p[1] && remaining > 2) { @ two equal pixels at the row's end do not make a run
pack-run-length @ packing/compressor.cpp @ while (k < remaining && p[k] == p[k - 1]) @ while (k + 1 < remaining && p[k] == p[k - 1]) @ a run stops one short of the row's end
pack-literal-end @ packing/compressor.cpp @ return remaining - 1; @ return remaining; @ a literal reaching the row's end keeps its last pixel
pack-literal-pair @ packing/compressor.cpp @ return k - 1; @ return k; @ a literal swallows the first pixel of the next run
pack-last-bit @ packing/compressor.cpp @ *lastControl |= kLastBit; @ *lastControl |= 0; @ a row's last packet is not marked
pack-size-word @ packing/compressor.cpp @ block[kSizeWord] = static_cast<uint32_t>(length); @ block[kSizeWord] = static_cast<uint32_t>(length + 4); @ the size word
pack-row-bytes @ packing/compressor.cpp @ int64_t{rowBytes} < 4 * int64_t{width}) @ int64_t{rowBytes} <= 4 * int64_t{width}) @ rows exactly a row of pixels apart are refused
redisplay-merge @ engine/redisplay_p.h @ Put(list.mRects[i], _mm_setzero_si128()); @ (void)0; @ a merged slot is not freed
redisplay-clip @ engine/redisplay_p.h @ mark = HasArea(cut) ? cut : _mm_setzero_si128(); @ (void)cut; @ marks are not cut to the stage
redisplay-reuse @ engine/redisplay_p.h @ if (firstEmpty >= 0)\n        slot = &list.mRects[firstEmpty]; @ if (false)\n        slot = &list.mRects[firstEmpty]; @ a freed slot is not reused
redisplay-full @ engine/redisplay_p.h @ list.mRectCount < CSpriteList::kMaxRects) @ list.mRectCount < CSpriteList::kMaxRects - 1) @ the table holds 139 slots
redisplay-slots @ include/sprig/engine.h @ kMaxRects = 140 @ kMaxRects = 141 @ the table holds 141 slots
redisplay-growth @ engine/sprite_list.cpp @ if (growth < bestGrowth) { @ if (growth <= bestGrowth) { @ a full table merges into the last of equal growths, not the first
redisplay-factor @ engine/sprite_list.cpp @ r.bottom = Times(r.bottom, mFactor); @ r.bottom = Times(r.bottom, 1); @ the bottom of a mark is not zoomed
zorder-ties @ engine/sprite_sequence.cpp @ const uint32_t place = FirstBelow(z); @ const uint32_t place = FirstBelow(z + 1); @ a sprite goes behind those of equal z
clip-left @ engine/moves.cpp @ by = by + (ay - by) * (left - bx) / (ax - bx); @ by = by + (ay - by) * (left - bx) / (ax - bx + 1); @ ClipLine at the left edge
clip-top @ engine/moves.cpp @ if (top > by && by != ay) { @ if (top > by + 1 && by != ay) { @ ClipLine misses a line just above the top
clip-right @ engine/moves.cpp @ if (bx > right && bx != ax) { @ if (bx > right + 1 && bx != ax) { @ ClipLine misses a line just past the right
clip-bottom @ engine/moves.cpp @ bx = bx + (ax - bx) * (bottom - by) / (ay - by); @ bx = bx + (ax - bx) * (bottom - by) / (ay - by + 1); @ ClipLine at the bottom edge
clip-side-column @ engine/moves.cpp @ const int32_t lastColumn = stage.right - 1; @ const int32_t lastColumn = stage.right; @ an end on the last column plus one does not wrap
clip-side-top @ engine/moves.cpp @ if (top > y2)\n        side |= kSideTop; @ if (top >= y2)\n        side |= kSideTop; @ an end on the top row wraps
wrap-shift @ engine/moves.cpp @ b.y += stage.Height(); @ b.y += stage.Width(); @ a line leaving by the top comes back by the wrong height
wrap-last-piece @ engine/moves.cpp @ WrapCoordinate(end.x, stage.left, stage.right); @ WrapCoordinate(end.x, stage.left, stage.right - 1); @ a cut-short line's last piece
pen-dot @ engine/moves.cpp @ q = {p.x + dot, p.y + dot}; @ q = {p.x + dot, p.y}; @ a line of no length draws its dot
pen-centre @ engine/moves.cpp @ penSize % 2 != 0) ? 0.5 : 0.0; @ penSize % 2 != 0) ? 0.5 : 0.5; @ even pen widths run through pixel centres
pen-mark @ engine/moves.cpp @ std::fmax(s.x, e.x) + penSize, std::fmax(s.y, e.y) + penSize); @ std::fmax(s.x, e.x) + penSize, std::fmax(s.y, e.y) + penSize - 1); @ the mark of a line is a pixel short
stage-margin @ engine/stage_drawing.cpp @ InsetRect(&r, -2, -2); @ InsetRect(&r, 0, 0); @ the area cleared and handed on has no pixels to spare around a sprite
stage-cover-rows @ engine/stage_drawing.cpp @ row <= (r.bottom - 1) / kCell; row++) { @ row < (r.bottom - 1) / kCell; row++) { @ the cover leaves out the last row of cells a sprite meets
stage-box-factor @ engine/stage_drawing.cpp @ HandToView(enlarged, context, view, cover.Boxes(mFactor)); @ HandToView(enlarged, context, view, cover.Boxes(1)); @ the boxes handed on are not zoomed
stage-region @ engine/stage_drawing.cpp @ r.top >= extent.bottom || !RectMeetsRgn(&r, area))\n                continue;\n            sprite->Output(mSpriteWorld); @ r.top >= extent.bottom)\n                continue;\n            sprite->Output(mSpriteWorld); @ sprites beside the event's region but within its bounds are drawn
stage-view-size @ engine/stage_drawing.cpp @ viewBounds->size.width == bounds.right - bounds.left && @ viewBounds->size.width == viewBounds->size.width && @ boxes are handed on to a view of another width
stage-clear @ engine/stage_drawing.cpp @ std::memset(base, 0, @ std::memset(base, 1, @ the sprite surface is not cleared to transparent
stage-context-origin @ engine/stage_drawing.cpp @ clip.left = x >= 1000 ? 0 : static_cast<int16_t>(x / 1000); @ clip.left = static_cast<int16_t>(x / 1000); @ UpdateContext's area at an origin of 1000 units or more
hit-solid @ images/picture_versions.cpp @ if (row[x] & 0xFF) {\n                bits[x >> 6] @ if ((row[x] & 0xFF) > 1) {\n                bits[x >> 6] @ a pixel of alpha 1 does not collide
hit-second-version @ engine/hit_tests.cpp @ if (other->mImage == mImage && (other->mSize != mSize || other->mOpacity != mOpacity)) { @ if (false) { @ two sizes of one picture collide as one size
hit-offset @ engine/hit_tests.cpp @ const int32_t bx = s.left - b.left, by = s.top - b.top; @ const int32_t bx = s.left - b.left, by = s.top - mRect.top; @ the second picture's rows in a collision
hit-visible @ engine/hit_tests.cpp @ if (!mVisible || !other->mVisible) @ if (!mVisible) @ a hidden sprite collides
hit-radius @ engine/hit_tests.cpp @ if (radius <= 0 || x <= -radius @ if (radius < 0 || x <= -radius @ a radius of 0 hits
mix-table @ paint/mix.cpp @ table[63 - std::min<uint32_t>(mask[i], 63)]; @ table[63 - std::min<uint32_t>(mask[i], 62)]; @ full coverage reads the wrong table entry
mix-erase @ paint/mix.cpp @ ((((p & 0xFF) * (255 - amount)) >> 8) & 0xFF); @ ((((p & 0xFF) * (255 - amount)) / 255) & 0xFF); @ erasing scales alpha by 255ths, not 256ths
mix-opaque @ paint/mix.cpp @ dst[i] = a == 255 ? colour | 0xFF : @ dst[i] = a >= 254 ? colour | 0xFF : @ a nearly opaque entry is painted as opaque
mix-diff @ paint/mix.cpp @ static_cast<float>(1 + difference / -255.0); @ static_cast<float>(1 + difference / -256.0); @ the coverage a text shape's pair of renderings gives
mix-clamp @ paint/mix.cpp @ return v > 255 ? 255 : LowByte(v); @ return v > 256 ? 255 : LowByte(v); @ channels between 255 and 256 wrap to 0
mix-text-alpha @ paint/mix.cpp @ Clamp255(static_cast<float>(std::sqrt(static_cast<double>(m)) * 255)); @ Clamp255(static_cast<float>(static_cast<double>(m) * 255)); @ the alpha of a recovered text colour
digest-tap @ fingerprints/digest.cpp @ ^ (state >> 56) ^ byte) @ ^ (state >> 48) ^ byte) @ a tap of the shift register
digest-shift @ fingerprints/digest.cpp @ return (state << 8) | c; @ return (state << 7) | c; @ the register shifts by a byte
digest-green @ fingerprints/digest.cpp @ (uint32_t{RGBToWord[pixel[1]]} << 5) @ (uint32_t{RGBToWord[pixel[1]]} << 6) @ the 16-bit colour fed to the register
digest-rows @ fingerprints/digest.cpp @ for (int v = bounds.bottom - 1; v >= 0; v--) { @ for (int v = 0; v < bounds.bottom; v++) { @ rows are fed bottom to top
digest-hex @ fingerprints/digest.cpp @ 'A' + nibble - 10 @ 'a' + nibble - 10 @ digests are upper-case hex
cg-mul-round @ platform/cg_pixels_p.h @ const uint32_t t = c * a + 128; @ const uint32_t t = c * a + 127; @ cairo's rounded product (premultiplying, OVER)
cg-span-round @ platform/cg_pixels_p.h @ const uint32_t t = c * m + 127; @ const uint32_t t = c * m + 128; @ cairo's span mixing rounds a half down
cg-over-saturate @ platform/cg_pixels_p.h @ out |= (c > 255 ? 255 : c) << shift; @ out |= (c & 255) << shift; @ OVER saturates at 255
cg-sse-mul @ platform/cg_direct.cpp @ _mm_add_epi16(_mm_mullo_epi16(x, y), _mm_set1_epi16(0x80)); @ _mm_add_epi16(_mm_mullo_epi16(x, y), _mm_set1_epi16(0x7F)); @ the SSE2 OVER's rounding
cg-sse-opaque16 @ platform/cg_direct.cpp @ if (SameAlphas(all, ones) == 0x1111) { @ if (SameAlphas(all, ones) == 0x0111) { @ sixteen pixels are copied when one group is not opaque
cg-avx-mul @ platform/cg_direct.cpp @ return _mm256_mulhi_epu16(t, _mm256_set1_epi16(257)); @ return _mm256_mulhi_epu16(t, _mm256_set1_epi16(256)); @ the AVX2 OVER's rounding
cg-stroke-full @ platform/cg_context.cpp @ if (share == 255)\n                row[h] = colour; @ if (share >= 254)\n                row[h] = colour; @ a stroke's nearly full coverage is painted solid
cg-stroke-skip @ platform/cg_context.cpp @ eight == 0)) @ (eight & 0xFFFFFFFFFFFFFFull) == 0)) @ eight shares are passed over when only the first seven are 0
cg-stroke-reach @ platform/cg_context.cpp @ reach *= cairo_get_line_width(cr) / 2; @ reach *= cairo_get_line_width(cr) / 3; @ the area a stroke may touch is cut short
seq-minz @ engine/sprite_sequence.cpp @ n.minZ = std::min(n.minZ, c.minZ); @ n.minZ = std::max(n.minZ, c.minZ); @ a subtree's smallest z is wrong, so sprites are placed by z in the wrong place
hit-mask-right @ images/picture_versions.cpp @ right = std::max(right, static_cast<int32_t>(x) + 1); @ right = std::max(right, static_cast<int32_t>(x)); @ the solid pixels' bounds leave out the rightmost column
cg-sse-shown @ platform/cg_direct.cpp @ *shown = MultiplyLanes(d16, _mm_sub_epi16(ff, a)); @ *shown = MultiplyLanes(d16, _mm_sub_epi16(_mm_set1_epi16(256), a)); @ the SSE2 OVER keeps too much of the host's pixel
stage-region-deferred @ engine/stage_drawing.cpp @ r.top >= extent.bottom || !RectMeetsRgn(&r, area))\n                continue;\n            SpriteDraw draw; @ r.top >= extent.bottom)\n                continue;\n            SpriteDraw draw; @ a frame drawn only where the view reads it draws sprites beside the clip but within its bounds
deferred-lock @ platform/worlds.cpp @ Boolean LockPixels(PixMapHandle pm)\n{\n    CompletePendingWork(*pm); @ Boolean LockPixels(PixMapHandle pm)\n{ @ locking a sprite surface does not finish the frame put off outside the view
deferred-picture @ images/image.cpp @ CompleteAllPendingWork();\n    NotePictureDestroyed(); @ NotePictureDestroyed(); @ a picture is destroyed before the frame put off that reads it is finished
MUTANTS

# The table split into its fields: NAME, FILE, FROM, TO and WHAT, by number - 1.
NAME=() FILE=() FROM=() TO=() WHAT=()
while IFS= read -r line; do
    rest=$line
    for f in NAME FILE FROM TO; do
        eval "$f+=(\"\${rest%% @ *}\")"
        rest=${rest#* @ }
    done
    WHAT+=("$rest")
done <<<"$TABLE"
COUNT=${#NAME[@]}

# Replaces the original text by the replacement in a file, or fails when the
# original does not occur exactly once.
edit() {
    python3 - "$@" <<'PY'
import sys
path, original = sys.argv[1], sys.argv[2].replace("\\n", "\n")
text = open(path).read()
n = text.count(original)
if n != 1:
    sys.exit(f"{path}: the original text occurs {n} times (expected once): {sys.argv[2]}")
open(path, "w").write(text.replace(original, sys.argv[3].replace("\\n", "\n")))
PY
}

# Fails, naming them, when some original texts do not occur exactly once.
check_all() {
    local args=() i
    for ((i = 0; i < COUNT; i++)); do
        args+=("$((i + 1)) ${NAME[i]}" "${FILE[i]}" "${FROM[i]}")
    done
    python3 - "${args[@]}" <<'PY'
import sys
a, bad = sys.argv[1:], 0
for i in range(0, len(a), 3):
    n = open(a[i + 1]).read().count(a[i + 2].replace("\\n", "\n"))
    if n != 1:
        print(f"  stale mutant {a[i]}: {a[i + 1]} holds its original text {n} times, not once")
        bad = 1
sys.exit(bad)
PY
}

case "${1:-}" in
--list)
    for ((i = 0; i < COUNT; i++)); do
        printf '%3d  %-22s %-28s %s\n' $((i + 1)) "${NAME[i]}" "${FILE[i]}" "${WHAT[i]}"
    done
    exit 0
    ;;
--check)
    check_all && echo "all $COUNT original texts occur exactly once"
    exit
    ;;
esac

matrix=0
if [ "${1:-}" = --matrix ]; then
    matrix=1
    shift
fi

# The mutants asked for: all, or those named by number or name part.
selected=()
for ((i = 1; i <= COUNT; i++)); do
    name=${NAME[i - 1]}
    if [ $# -eq 0 ]; then
        selected+=("$i")
        continue
    fi
    for want in "$@"; do
        if [ "$want" = "$i" ] || { [[ ! $want =~ ^[0-9]+$ ]] && [[ $name == *"$want"* ]]; }; then
            selected+=("$i")
            break
        fi
    done
done
[ ${#selected[@]} -gt 0 ] || { echo "no mutant matches: $*" >&2; exit 2; }
check_all || { echo "the table has stale entries; fix them first" >&2; exit 2; }

build=${MUTATE_BUILD:-build-mutate}
limit=${MUTATE_TIMEOUT:-240}
log=$build/mutate-logs
targets=(sprig_tests sprig_tool)
if [ ! -f "$build/build.ninja" ]; then
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_CXX_COMPILER_LAUNCHER=ccache >/dev/null || exit 2
fi
mkdir -p "$log"
echo "== building the unmutated code and checking that the suite passes"
cmake --build "$build" --target "${targets[@]}" -j 2 >"$log/build.txt" 2>&1 || { echo "the build fails" >&2; exit 2; }

# The gtest binary first (stopping at the first failure), then the tool tests.
# In the matrix, both whole, and the names of the failing tests kept.
run_suite() {
    local gtest=("$build/tests/sprig_tests" --gtest_brief=1 --gtest_filter="${MUTATE_FILTER:-*}")
    local tools=(ctest --test-dir "$build" -R '^tool_' -j 2)
    if [ $matrix -eq 0 ]; then
        timeout "$limit" "${gtest[@]}" --gtest_fail_fast >"$1" 2>&1 &&
            timeout "$limit" "${tools[@]}" >>"$1" 2>&1
        return
    fi
    # The tool tests take most of a run; they are asked only about mutants
    # that no gtest test catches.
    timeout "$limit" "${gtest[@]}" >"$1" 2>&1 && timeout "$limit" "${tools[@]}" >>"$1" 2>&1
}
# The tests a run's log names as failed (gtest's and ctest's).
failed_tests() {
    sed -n -e 's/^\[  FAILED  \] \([A-Za-z0-9_./]*\) (.*/\1/p' \
        -e 's/^[[:space:]]*[0-9]* - \([a-z_0-9]*\) .*/\1/p' "$1" | sort -u | tr '\n' ' '
}
run_suite "$log/unmutated.txt" || { echo "the suite fails without any mutant: $log/unmutated.txt" >&2; exit 2; }

current=""
restore() {
    if [ -n "$current" ]; then
        git checkout -- "$current"
        current=""
    fi
}
trap 'restore; exit 130' INT TERM
trap restore EXIT

caught=0
survivors=()
broken=()
[ $matrix -eq 0 ] || : >"$log/matrix.txt"
for n in "${selected[@]}"; do
    name=${NAME[n - 1]}
    file=${FILE[n - 1]}
    if ! git diff --quiet -- "$file"; then
        echo "$file has changes of its own; commit them first" >&2
        exit 2
    fi
    current=$file
    edit "$file" "${FROM[n - 1]}" "${TO[n - 1]}" || exit 2
    start=$SECONDS
    if ! cmake --build "$build" --target "${targets[@]}" -j 2 >"$log/$n.txt" 2>&1; then
        verdict="DOES NOT BUILD"
        broken+=("$n $name")
    elif run_suite "$log/$n.txt"; then
        verdict="SURVIVES"
        survivors+=("$n $name: ${WHAT[n - 1]}")
    else
        verdict="caught"
        caught=$((caught + 1))
    fi
    restore
    printf '%3d  %-22s %-15s %4ds\n' "$n" "$name" "$verdict" $((SECONDS - start))
    if [ $matrix -eq 1 ]; then
        echo "$n $name: $(failed_tests "$log/$n.txt")" >>"$log/matrix.txt"
    fi
done
# Rebuild the unmutated code, so the build folder matches the sources.
cmake --build "$build" --target "${targets[@]}" -j 2 >"$log/build.txt" 2>&1

echo "== caught $caught of $((${#selected[@]} - ${#broken[@]}))"
for s in "${broken[@]}"; do
    echo "  does not build (fix its entry): $s"
done
for s in "${survivors[@]}"; do
    echo "  survives: $s"
done
[ ${#survivors[@]} -eq 0 ] && [ ${#broken[@]} -eq 0 ]
