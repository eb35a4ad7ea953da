// Spares and solid-pixel masks, kept beside the pictures in one table keyed
// by the picture's address. A picture's entry is erased by its destructor,
// so an address reused by a new picture starts with nothing kept.
//
// Spares: a picture caches one derived copy (Resize, ResetOpacity). When it
// is asked for another scale or opacity, the copy it had is set aside here
// instead of being destroyed, and a later request for it takes it back. A
// copy is rebuilt from the same packed pixels by the same code every time,
// so a kept copy has exactly the pixels a rebuild would give. Copies come
// back as a build leaves them: native set, no derived copy of their own
// (that one was set aside among their spares with them).
//
// Spares are bounded: kMaxSpares per picture and kSpareBudget bytes of
// packed pixels in all, the least recently used going first. What the
// current operation has touched is never evicted by it, so a version handed
// out stays valid until the next operation.
//
// Masks: one bit per pixel, set where the alpha is not 0, rows of `stride`
// 64-bit words with a spare word at the end so that 64 bits can be read from
// any column of the row.
#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <unordered_map>
#include <vector>

#include "images/picture_versions_p.h"
#include "sprig/packing.h"

namespace {

constexpr size_t kMaxSpares = 8;
constexpr uint64_t kSpareBudget = uint64_t{64} << 20;
// Larger pictures are tested from their expanded rows instead.
constexpr size_t kMaxMaskWords = size_t{1} << 17;

struct Spare
{
    CImage* copy;
    VersionKind kind;
    int32_t parameter;
    uint64_t used;
};

struct SolidMask
{
    size_t stride;
    std::vector<uint64_t> bits;
    // The smallest rectangle holding every solid pixel (all 0 when there is
    // none): left <= x < right, top <= y < bottom.
    int32_t left, top, right, bottom;
};

struct Kept
{
    // How this picture was made from another, when it was made here.
    const CImage* maker = nullptr;
    VersionKind kind = VersionKind::kScaled;
    int32_t parameter = 0;
    std::vector<Spare> spares;
    std::unique_ptr<SolidMask> mask;
    bool maskTooLarge = false;
};

using KeptTable = std::unordered_map<const CImage*, Kept>;

// Never destroyed: pictures of the global pool are destroyed at exit, after
// or before any table of this unit would be.
KeptTable& Table()
{
    static KeptTable* table = new KeptTable;
    return *table;
}

uint64_t gClock = 0;
uint64_t gDestroyed = 0;
// Spares used after this tick belong to the current operation.
uint64_t gPinned = 0;
uint64_t gSpareBytes = 0;

void BeginOperation()
{
    gPinned = gClock;
}

Kept* Find(const CImage* picture)
{
    KeptTable& table = Table();
    if (table.empty())
        return nullptr;
    const auto found = table.find(picture);
    return found == table.end() ? nullptr : &found->second;
}

bool MadeAs(const CImage* copy, const CImage* maker, VersionKind kind, int32_t parameter)
{
    const Kept* k = Find(copy);
    return k && k->maker == maker && k->kind == kind && k->parameter == parameter;
}

// The fields a copy of that kind has when built.
bool FieldsAsBuilt(const CImage* copy, VersionKind kind, int32_t parameter)
{
    if (kind == VersionKind::kScaled)
        return copy->scale == static_cast<uint32_t>(parameter) && copy->opacity == 255;
    return copy->scale == 40 && copy->opacity == parameter;
}

Spare* FindSpare(Kept* owner, VersionKind kind, int32_t parameter)
{
    if (!owner)
        return nullptr;
    for (Spare& s : owner->spares) {
        if (s.kind == kind && s.parameter == parameter)
            return &s;
    }
    return nullptr;
}

// Destroys spare `index` of owner.
void DropSpare(Kept& owner, size_t index)
{
    CImage* copy = owner.spares[index].copy;
    owner.spares.erase(owner.spares.begin() + static_cast<ptrdiff_t>(index));
    gSpareBytes -= copy->size;
    delete copy;
}

// The least recently used spare of owner that the current operation has not
// touched, or -1.
ptrdiff_t OldestSpare(const Kept& owner)
{
    ptrdiff_t oldest = -1;
    for (size_t i = 0; i < owner.spares.size(); i++) {
        const uint64_t used = owner.spares[i].used;
        if (used <= gPinned &&
            (oldest < 0 || used < owner.spares[static_cast<size_t>(oldest)].used))
            oldest = static_cast<ptrdiff_t>(i);
    }
    return oldest;
}

void KeepWithinBounds(Kept& owner)
{
    while (owner.spares.size() > kMaxSpares) {
        const ptrdiff_t oldest = OldestSpare(owner);
        if (oldest < 0)
            break;
        DropSpare(owner, static_cast<size_t>(oldest));
    }
    while (gSpareBytes > kSpareBudget) {
        Kept* from = nullptr;
        ptrdiff_t oldest = -1;
        for (auto& entry : Table()) {
            const ptrdiff_t i = OldestSpare(entry.second);
            if (i >= 0 && (!from || entry.second.spares[static_cast<size_t>(i)].used <
                                        from->spares[static_cast<size_t>(oldest)].used)) {
                from = &entry.second;
                oldest = i;
            }
        }
        if (!from)
            break;
        DropSpare(*from, static_cast<size_t>(oldest));
    }
}

void AddSpare(CImage* owner, CImage* copy, VersionKind kind, int32_t parameter)
{
    Kept& kept = Table()[owner];
    kept.spares.push_back(Spare{copy, kind, parameter, ++gClock});
    gSpareBytes += copy->size;
    KeepWithinBounds(kept);
}

// Sets aside a copy that was owner's derived copy, with its own derived
// copy set aside among its spares; a copy not made here, or whose fields
// were changed, is destroyed as a replacement destroys it.
void SetAside(CImage* owner, CImage* copy)
{
    const Kept* made = Find(copy);
    if (!made || made->maker != owner || !FieldsAsBuilt(copy, made->kind, made->parameter) ||
        FindSpare(Find(owner), made->kind, made->parameter)) {
        delete copy;
        return;
    }
    const VersionKind kind = made->kind;
    const int32_t parameter = made->parameter;
    if (CImage* below = copy->derived) {
        copy->derived = nullptr;
        SetAside(copy, below);
    }
    AddSpare(owner, copy, kind, parameter);
}

void NoteMaker(const CImage* copy, const CImage* maker, VersionKind kind, int32_t parameter)
{
    Kept& kept = Table()[copy];
    kept.maker = maker;
    kept.kind = kind;
    kept.parameter = parameter;
}

// owner's version of that kind, from its derived copy or its spares, or
// built and kept among its spares.
CImage* VersionOf(CImage* owner, VersionKind kind, int32_t parameter)
{
    if (owner->derived && MadeAs(owner->derived, owner, kind, parameter))
        return owner->derived;
    if (Spare* s = FindSpare(Find(owner), kind, parameter)) {
        s->used = ++gClock;
        return s->copy;
    }
    std::unique_ptr<CImage> copy(kind == VersionKind::kScaled
                                     ? BuildScaled(*owner, static_cast<uint32_t>(parameter))
                                     : BuildFaded(*owner, parameter));
    NoteMaker(copy.get(), owner, kind, parameter);
    CImage* made = copy.release();
    AddSpare(owner, made, kind, parameter);
    return made;
}

const SolidMask* MaskOf(CImage* picture)
{
    Kept& kept = Table()[picture];
    if (kept.mask || kept.maskTooLarge)
        return kept.mask.get();
    const size_t width = static_cast<size_t>(picture->width);
    const size_t height = static_cast<size_t>(picture->height);
    const size_t stride = width / 64 + 2;
    if (height > kMaxMaskWords / stride) {
        kept.maskTooLarge = true;
        return nullptr;
    }
    std::unique_ptr<SolidMask> mask(
        new SolidMask{stride, std::vector<uint64_t>(stride * height), 0, 0, 0, 0});
    std::vector<uint32_t> row(width ? width : 1);
    int32_t left = INT32_MAX, top = INT32_MAX, right = 0, bottom = 0;
    for (size_t y = 0; y < height; y++) {
        UncompressRow(picture->data, static_cast<uint32_t>(y), static_cast<uint32_t>(width),
                      row.data());
        uint64_t* bits = mask->bits.data() + y * stride;
        for (size_t x = 0; x < width; x++) {
            // [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
            if (row[x] & 0xFF) {
                bits[x >> 6] |= uint64_t{1} << (x & 63);
                left = std::min(left, static_cast<int32_t>(x));
                right = std::max(right, static_cast<int32_t>(x) + 1);
                top = std::min(top, static_cast<int32_t>(y));
                bottom = static_cast<int32_t>(y) + 1;
            }
        }
    }
    if (right > 0) {
        mask->left = left;
        mask->top = top;
        mask->right = right;
        mask->bottom = bottom;
    }
    kept.mask = std::move(mask);
    return kept.mask.get();
}

// 64 pixels of a mask row from column x on. The second word is shifted in
// two steps so that a shift of 0 takes nothing from it.
inline uint64_t BitsAt(const uint64_t* row, int32_t x)
{
    const int32_t word = x >> 6;
    const int32_t shift = x & 63;
    return (row[word] >> shift) | ((row[word + 1] << 1) << (63 - shift));
}

// The masks of the two pictures last asked for: a collision test asks for
// the same two again and again.
struct RecentMask
{
    const CImage* picture;
    const SolidMask* mask;
};
RecentMask gRecent[2] = {};

const SolidMask* RecentMaskOf(CImage* picture)
{
    for (RecentMask& r : gRecent) {
        if (r.picture == picture)
            return r.mask;
    }
    const SolidMask* mask = MaskOf(picture);
    gRecent[1] = gRecent[0];
    gRecent[0] = RecentMask{picture, mask};
    return mask;
}

// The plain test on expanded rows, for pictures too large for a mask.
bool RowsMeet(CImage* a, int32_t ax, int32_t ay, CImage* b, int32_t bx, int32_t by, int32_t columns,
              int32_t rows)
{
    std::vector<uint32_t> rowA(static_cast<size_t>(a->width));
    std::vector<uint32_t> rowB(static_cast<size_t>(b->width));
    for (int32_t i = 0; i < rows; i++) {
        UncompressRow(a->data, static_cast<uint32_t>(ay + i), static_cast<uint32_t>(a->width),
                      rowA.data());
        UncompressRow(b->data, static_cast<uint32_t>(by + i), static_cast<uint32_t>(b->width),
                      rowB.data());
        for (int32_t j = 0; j < columns; j++) {
            if ((rowA[static_cast<size_t>(ax + j)] & 0xFF) &&
                (rowB[static_cast<size_t>(bx + j)] & 0xFF))
                return true;
        }
    }
    return false;
}

} // namespace

void ReplaceDerived(CImage* owner, CImage* copy, VersionKind kind, int32_t parameter)
{
    BeginOperation();
    NoteMaker(copy, owner, kind, parameter);
    CImage* old = owner->derived;
    owner->derived = copy;
    if (old)
        SetAside(owner, old);
}

bool HasSpare(const CImage* owner, VersionKind kind, int32_t parameter)
{
    return FindSpare(Find(owner), kind, parameter) != nullptr;
}

bool RestoreSpare(CImage* owner, VersionKind kind, int32_t parameter)
{
    BeginOperation();
    Kept* kept = Find(owner);
    Spare* s = FindSpare(kept, kind, parameter);
    if (!s)
        return false;
    CImage* copy = s->copy;
    kept->spares.erase(kept->spares.begin() + (s - kept->spares.data()));
    gSpareBytes -= copy->size;
    copy->native = true;
    CImage* old = owner->derived;
    owner->derived = copy;
    if (old)
        SetAside(owner, old);
    return true;
}

CImage* PictureVersion(CImage* natural, int32_t size, short opacity)
{
    BeginOperation();
    CImage* p = natural;
    if (size != 40)
        p = VersionOf(p, VersionKind::kScaled, size);
    if (opacity != 255)
        p = VersionOf(p, VersionKind::kFaded, opacity);
    return p;
}

bool SolidPixelsMeet(CImage* a, int32_t ax, int32_t ay, CImage* b, int32_t bx, int32_t by,
                     int32_t columns, int32_t rows)
{
    const SolidMask* maskA = RecentMaskOf(a);
    const SolidMask* maskB = RecentMaskOf(b);
    if (!maskA || !maskB)
        return RowsMeet(a, ax, ay, b, bx, by, columns, rows);
    // Only where both pictures have solid pixels: often nothing, when the
    // rectangles meet in transparent margins.
    const int32_t firstRow = std::max({0, maskA->top - ay, maskB->top - by});
    const int32_t firstColumn = std::max({0, maskA->left - ax, maskB->left - bx});
    rows = std::min({rows, maskA->bottom - ay, maskB->bottom - by}) - firstRow;
    columns = std::min({columns, maskA->right - ax, maskB->right - bx}) - firstColumn;
    if (rows <= 0 || columns <= 0)
        return false;
    ax += firstColumn;
    bx += firstColumn;
    ay += firstRow;
    by += firstRow;
    const uint64_t* rowA = maskA->bits.data() + static_cast<size_t>(ay) * maskA->stride;
    const uint64_t* rowB = maskB->bits.data() + static_cast<size_t>(by) * maskB->stride;
    if (columns <= 64) {
        // One word of each row: the usual overlap of two sprites.
        const uint64_t within = columns == 64 ? ~uint64_t{0} : (uint64_t{1} << columns) - 1;
        for (int32_t i = 0; i < rows; i++, rowA += maskA->stride, rowB += maskB->stride) {
            if (BitsAt(rowA, ax) & BitsAt(rowB, bx) & within)
                return true;
        }
        return false;
    }
    for (int32_t i = 0; i < rows; i++, rowA += maskA->stride, rowB += maskB->stride) {
        for (int32_t c = 0; c < columns; c += 64) {
            uint64_t both = BitsAt(rowA, ax + c) & BitsAt(rowB, bx + c);
            if (columns - c < 64)
                both &= (uint64_t{1} << (columns - c)) - 1;
            if (both)
                return true;
        }
    }
    return false;
}

uint64_t PicturesDestroyed()
{
    return gDestroyed;
}

void NotePictureDestroyed()
{
    gDestroyed++;
}

void ForgetPicture(const CImage* picture)
{
    for (RecentMask& r : gRecent) {
        if (r.picture == picture)
            r = RecentMask{nullptr, nullptr};
    }
    KeptTable& table = Table();
    if (table.empty())
        return;
    const auto found = table.find(picture);
    if (found == table.end())
        return;
    std::vector<Spare> spares = std::move(found->second.spares);
    table.erase(found);
    for (const Spare& s : spares) {
        gSpareBytes -= s.copy->size;
        delete s.copy;
    }
}

int32_t SpareCount(const CImage* picture)
{
    const Kept* kept = Find(picture);
    return kept ? static_cast<int32_t>(kept->spares.size()) : 0;
}

uint64_t SpareBytes()
{
    return gSpareBytes;
}
