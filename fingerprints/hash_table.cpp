// The process-wide fingerprint table and the UTF-16 conversions of its keys.
//
// States: no table (at load, after FreeAllHashMemory, or after an OpenHash
// that found no room) -> open (after OpenHash: entries being added) ->
// closed (after CloseHash: storage shrunk to the entries, read-only).
// OpenHash from any state discards the old table. Lookups answer from the
// open and closed tables and return 0 when there is no table.
//
// Capacity: an open table starts with room for 5000 entries and doubles its
// room when an add finds it full, so a host with more pictures loses none.
// An add that finds no room to grow into, or that comes while the table is
// closed or absent, is refused and leaves the table as it was: nothing is
// ever written outside the table's storage.
//
// Keys are stored as zero-terminated UTF-8 byte strings; they are ASCII
// hexadecimal digits in practice, for which UTF-8 gives the same bytes as
// any encoding that maps ASCII one to one.
#include <iconv.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "fingerprints/hash_table_p.h"
#include "sprig/fingerprints.h"

namespace {

constexpr int32_t kInitialEntries = 5000;
constexpr size_t kShortKeyUnits = 17; // 16 digits and a terminating zero
constexpr size_t kLongKeyUnits = 33;  // 32 digits and a terminating zero

struct HashEntry
{
    char shortKey[kShortKeyUnits]; // no terminator when all 17 bytes are characters
    char longKey[kLongKeyUnits];   // no terminator when all 33 bytes are characters
    uint32_t value;
};

enum class TableState
{
    kNone,
    kOpen,
    kClosed
};

HashEntry* HashTable = nullptr;
int32_t HashTableOffset = 0; // entries in use
int32_t gHashTableRoom = 0;  // entries the storage holds
TableState gTableState = TableState::kNone;

void* StandardRealloc(void* block, size_t size)
{
    return std::realloc(block, size);
}

sprig::HashTableReallocFunction gRealloc = StandardRealloc;

// Code units arrive in native byte order.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr const char* kNativeUtf16 = "UTF-16BE";
#else
constexpr const char* kNativeUtf16 = "UTF-16LE";
#endif

const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);

// One descriptor per direction, opened on first use and reset before each
// conversion. The table is single-threaded, and so are these.
iconv_t Converter(bool toUtf8)
{
    static iconv_t toUtf8Converter = iconv_open("UTF-8", kNativeUtf16);
    static iconv_t fromUtf8Converter = iconv_open(kNativeUtf16, "UTF-8");
    iconv_t cd = toUtf8 ? toUtf8Converter : fromUtf8Converter;
    if (cd != kNoConverter)
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
    return cd;
}

// Converts units[0..count) into at most room bytes at out and returns the
// bytes written. A unit that cannot be converted (an unpaired surrogate)
// becomes '?'; conversion stops before the first character that does not fit.
size_t UnitsToUtf8(const uint16_t* units, size_t count, char* out, size_t room)
{
    iconv_t cd = Converter(true);
    if (cd == kNoConverter) {
        // Without a converter, ASCII still comes through exactly.
        size_t n = count < room ? count : room;
        for (size_t i = 0; i < n; i++)
            out[i] = units[i] < 0x80 ? static_cast<char>(units[i]) : '?';
        return n;
    }
    char* in = const_cast<char*>(reinterpret_cast<const char*>(units));
    size_t inLeft = count * sizeof(uint16_t);
    char* outPtr = out;
    size_t outLeft = room;
    while (inLeft > 0) {
        if (iconv(cd, &in, &inLeft, &outPtr, &outLeft) != static_cast<size_t>(-1))
            break;
        if (errno != EILSEQ && errno != EINVAL)
            break; // E2BIG: the next character does not fit
        if (outLeft == 0)
            break;
        *outPtr++ = '?';
        outLeft--;
        in += sizeof(uint16_t);
        inLeft -= sizeof(uint16_t);
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
    }
    return static_cast<size_t>(outPtr - out);
}

// Converts the UTF-8 string of at most maxBytes bytes at text into exactly
// room units at out: its characters, then zero units. A byte that does not
// begin a valid character becomes '?'.
void Utf8ToUnits(const char* text, size_t maxBytes, uint16_t* out, size_t room)
{
    const size_t length = strnlen(text, maxBytes);
    size_t written = 0;
    iconv_t cd = Converter(false);
    if (cd == kNoConverter) {
        for (; written < length && written < room; written++) {
            const auto byte = static_cast<unsigned char>(text[written]);
            out[written] = byte < 0x80 ? byte : '?';
        }
    } else {
        char* in = const_cast<char*>(text);
        size_t inLeft = length;
        char* outPtr = reinterpret_cast<char*>(out);
        size_t outLeft = room * sizeof(uint16_t);
        while (inLeft > 0) {
            if (iconv(cd, &in, &inLeft, &outPtr, &outLeft) != static_cast<size_t>(-1))
                break;
            if (errno != EILSEQ && errno != EINVAL)
                break;
            if (outLeft < sizeof(uint16_t))
                break;
            const uint16_t question = '?';
            std::memcpy(outPtr, &question, sizeof question);
            outPtr += sizeof question;
            outLeft -= sizeof question;
            in++;
            inLeft--;
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
        }
        written = static_cast<size_t>(outPtr - reinterpret_cast<char*>(out)) / sizeof(uint16_t);
    }
    for (size_t i = written; i < room; i++)
        out[i] = 0;
}

// Copies a converted key into a fixed field: at most size bytes, zeros after
// the string's end, no terminator when the string fills the field.
void StoreKey(char* field, size_t size, const char* key)
{
    const size_t length = strnlen(key, size);
    std::memcpy(field, key, length);
    std::memset(field + length, 0, size - length);
}

// The index of the first entry whose short key matches, or -1.
int32_t FindShortKey(const uint16_t* shortKey)
{
    if (gTableState == TableState::kNone || HashTableOffset < 1)
        return -1;
    char key[kShortKeyUnits + 1];
    Uni2String(shortKey, key, kShortKeyUnits);
    for (int32_t i = 0; i < HashTableOffset; i++) {
        if (std::strncmp(key, HashTable[i].shortKey, kShortKeyUnits) == 0)
            return i;
    }
    return -1;
}

} // namespace

namespace sprig {

HashTableReallocFunction SetHashTableRealloc(HashTableReallocFunction f)
{
    HashTableReallocFunction previous = gRealloc;
    gRealloc = f ? f : StandardRealloc;
    return previous;
}

} // namespace sprig

extern "C" {

void Uni2String(const uint16_t* units, char* out, int32_t n)
{
    if (n < 0)
        return;
    size_t count = 0;
    if (units) {
        while (count < static_cast<size_t>(n) && units[count] != 0)
            count++;
    }
    const size_t written = UnitsToUtf8(units, count, out, static_cast<size_t>(n));
    out[written] = 0;
}

int32_t OpenHash(void)
{
    FreeAllHashMemory();
    void* block = gRealloc(nullptr, sizeof(HashEntry) * kInitialEntries);
    if (!block)
        return 1;
    HashTable = static_cast<HashEntry*>(block);
    gHashTableRoom = kInitialEntries;
    gTableState = TableState::kOpen;
    return 1;
}

int32_t AddHash(const uint16_t* shortKey, const uint16_t* longKey, uint32_t value)
{
    if (gTableState != TableState::kOpen)
        return 1;
    if (HashTableOffset == gHashTableRoom) {
        if (gHashTableRoom > INT32_MAX / 2)
            return 1;
        const int32_t room = gHashTableRoom * 2;
        void* block = gRealloc(HashTable, sizeof(HashEntry) * static_cast<size_t>(room));
        if (!block)
            return 1;
        HashTable = static_cast<HashEntry*>(block);
        gHashTableRoom = room;
    }
    HashEntry& entry = HashTable[HashTableOffset];
    char key[kLongKeyUnits + 1];
    Uni2String(longKey, key, kLongKeyUnits);
    StoreKey(entry.longKey, kLongKeyUnits, key);
    Uni2String(shortKey, key, kShortKeyUnits);
    StoreKey(entry.shortKey, kShortKeyUnits, key);
    entry.value = value;
    HashTableOffset++;
    return 1;
}

int32_t CloseHash(void)
{
    if (gTableState != TableState::kOpen)
        return 1;
    if (HashTableOffset == 0) {
        std::free(HashTable);
        HashTable = nullptr;
        gHashTableRoom = 0;
    } else if (HashTableOffset < gHashTableRoom) {
        // Should the block not shrink, the larger one serves as well.
        void* block = gRealloc(HashTable, sizeof(HashEntry) * static_cast<size_t>(HashTableOffset));
        if (block) {
            HashTable = static_cast<HashEntry*>(block);
            gHashTableRoom = HashTableOffset;
        }
    }
    gTableState = TableState::kClosed;
    return 1;
}

void FreeAllHashMemory(void)
{
    std::free(HashTable);
    HashTable = nullptr;
    HashTableOffset = 0;
    gHashTableRoom = 0;
    gTableState = TableState::kNone;
}

uint32_t HashLookup16(const uint16_t* shortKey)
{
    const int32_t i = FindShortKey(shortKey);
    return i < 0 ? 0 : HashTable[i].value;
}

uint32_t HashLookup32(const uint16_t* longKey)
{
    if (gTableState == TableState::kNone || HashTableOffset < 1)
        return 0;
    char key[kLongKeyUnits + 1];
    Uni2String(longKey, key, kLongKeyUnits);
    for (int32_t i = 0; i < HashTableOffset; i++) {
        if (std::strncmp(key, HashTable[i].longKey, kLongKeyUnits) == 0)
            return HashTable[i].value;
    }
    return 0;
}

int32_t HashTranslate(const uint16_t* shortKey, uint16_t* out)
{
    const int32_t i = FindShortKey(shortKey);
    if (i < 0)
        return 0;
    Utf8ToUnits(HashTable[i].longKey, kLongKeyUnits, out, kLongKeyUnits);
    return 1;
}

} // extern "C"
