// Fuzz target for sixteen-bit packed pictures.
//
// Any input goes through the bounded row decoder, which must stay inside the
// bytes it is given and inside its row. An input that passes
// CheckPackedPicture16 goes, held in a block of exactly its size, through
// Uncompress16 and UncompressRow16, which must agree. Finally the input's
// bytes, read as 16-bit values, are packed with CPackedPict; the result must
// pass the check and expand to the values it was made from.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "packing/packing_p.h"
#include "sprig/foundation.h"
#include "sprig/packing.h"

namespace {

constexpr uint64_t kMaxPixels = 1 << 18;

uint32_t Load32(const uint8_t* p)
{
    uint32_t word;
    std::memcpy(&word, p, 4);
    return word;
}

uint32_t Expanded(uint32_t v)
{
    if (v >= 0xFFFE)
        return 0xFF7FFF00;
    return (uint32_t{WordToRGB[v & 31]} << 24) | (uint32_t{WordToRGB[(v >> 5) & 31]} << 16) |
           (uint32_t{WordToRGB[(v >> 10) & 31]} << 8) | 0xFF;
}

void DecodeBounded(const std::vector<uint8_t>& bytes)
{
    if (bytes.size() < 12)
        return;
    const uint32_t width = Load32(bytes.data());
    const uint32_t height = Load32(bytes.data() + 4);
    if (width == 0 || width > 32767 || height > 32767 || uint64_t(width) * height > kMaxPixels)
        return;
    const ByteSpan span{bytes.data() + 12, bytes.size() - 12};
    std::vector<uint32_t> row(width + 1);
    for (uint32_t r = 0; r < height && span.Has(4 * size_t{r}, 4); r++) {
        row[width] = 0x5EA1C0DE;
        const size_t at = 4 * size_t{height} + Load32(span.bytes + 4 * size_t{r});
        Require(DecodeRow16(span, at, int32_t(width), row.data()) <= int32_t(width));
        Require(row[width] == 0x5EA1C0DE);
    }
}

void DecodeValid(const uint8_t* data, const PackedPictureInfo& info)
{
    std::vector<uint8_t> exact(data, data + info.size);
    exact.shrink_to_fit();
    const int32_t width = info.width;
    const int32_t height = info.height;
    char* table = reinterpret_cast<char*>(exact.data() + 12);
    const char* rows = table + 4 * size_t(height);
    std::vector<uint32_t> pixels(size_t(width) * height);
    for (int32_t r = 0; r < height; r++) {
        const uint32_t entry = Load32(exact.data() + 12 + 4 * size_t(r));
        Require(UncompressRow16(const_cast<char*>(rows + entry), width,
                                pixels.data() + size_t(r) * width) == width);
    }
    if (width <= 4092) {
        GWorldPtr world = Uncompress16(table, width, height);
        Require(world != nullptr);
        PixMapHandle pm = GetGWorldPixMap(world);
        const auto* base = reinterpret_cast<const uint8_t*>(GetPixBaseAddr(pm));
        for (int32_t r = 0; r < height; r++)
            Require(std::memcmp(base + size_t(r) * GetPixRowBytes(pm),
                                pixels.data() + size_t(r) * width, 4 * size_t(width)) == 0);
        DisposeGWorld(world);
    }
}

void PackValues(const uint8_t* data, size_t size)
{
    if (size < 2)
        return;
    const uint32_t width = 1 + (data[0] | (uint32_t{data[1]} << 8)) % 600;
    std::vector<uint32_t> values((size - 2) / 2);
    for (size_t i = 0; i < values.size(); i++)
        values[i] = data[2 + 2 * i] | (uint32_t{data[3 + 2 * i]} << 8);
    const uint32_t height = static_cast<uint32_t>(values.size() / width);
    CPackedPict pict(static_cast<int32_t>(width), static_cast<int32_t>(height),
                     static_cast<int32_t>(width), values.data());
    uint32_t packedSize = 0;
    std::unique_ptr<uint32_t, decltype(&std::free)> packed(pict.GetPackedData(packedSize),
                                                           &std::free);
    Require(packed != nullptr);
    if (height == 0)
        return;
    Require(CheckPackedPicture16(packed.get(), packedSize, nullptr));
    const auto* bytes = reinterpret_cast<const uint8_t*>(packed.get());
    std::vector<uint32_t> row(width);
    for (uint32_t r = 0; r < height; r++) {
        const uint32_t entry = Load32(bytes + 12 + 4 * size_t{r});
        char* start = const_cast<char*>(reinterpret_cast<const char*>(bytes)) + 12 +
                      4 * size_t{height} + entry;
        Require(UncompressRow16(start, int32_t(width), row.data()) == int32_t(width));
        for (uint32_t x = 0; x < width; x++)
            Require(row[x] == Expanded(values[size_t{r} * width + x]));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<uint8_t> bytes(data, data + size);
    bytes.shrink_to_fit();
    DecodeBounded(bytes);
    PackedPictureInfo info;
    if (CheckPackedPicture16(data, size, &info) &&
        uint64_t(info.width) * uint64_t(info.height) <= kMaxPixels)
        DecodeValid(data, info);
    PackValues(data, size);
    return 0;
}
