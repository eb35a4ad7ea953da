/** @file
 * sprig: packed pictures, the library's run-length coded picture format.
 *
 * A packed picture is one block of little-endian 32-bit words:
 *
 *     word 0       size of the whole picture in bytes
 *     words 1-2    signature: "Format01" for the current row encoding; any
 *                  other eight bytes (older pictures carry "Compress") select
 *                  the older row encoding
 *     word 3       0
 *     word 4, 5    width, height (signed)
 *     word 6...    row table, one word per row, then the rows
 *
 * Pixels are stored with their four bytes reversed (blue, green, red, alpha
 * from the lowest address); the decoders reverse them back into pixel words.
 *
 * Current encoding: a table entry is the word offset of the row's first
 * packet. A packet is a control word [run:1][last:1][count:30] followed by
 * one stored pixel (run, repeated count times) or count stored pixels
 * (literal). The counts of a row add up to its width; exactly the row's last
 * packet has the last bit set.
 *
 * Older encoding: a table entry with bit 31 clear is the word offset of the
 * row's items; with bit 31 set the entry itself is a stored pixel that fills
 * the whole row. An item is one stored pixel (bit 31 clear) or a run header
 * [1][last:1][count:30] and a stored pixel; bit 30 marks the row's last
 * item. Alpha of every pixel the older encoding produces is mapped: a stored
 * alpha byte a with (a & 0x3F) == 1 gives 0, a == 0 gives 255, a == 255
 * gives 1, anything else stays.
 *
 * Sixteen-bit packed picture: width, height and size (bytes after this
 * 12-byte header) as little-endian 32-bit words, a row table of byte offsets
 * counted from the end of the table, then rows of byte packets:
 * [run:1][count - 1:7] followed by one 16-bit x1r5g5b5 value (run) or count
 * values (literal), each low byte first. 0xFFFE and 0xFFFF are transparent.
 *
 * Checked and trusting calls. CheckPackedPicture and CheckPackedPicture16
 * take a length and read nothing outside it; the picture pool's
 * SetCompressedImage (sprig/images.h) checks with CheckPackedPicture before
 * it stores a picture. The decoders and CompositePackedPicture take only a
 * pointer and trust the picture: they read wherever its header, row table
 * and packets point. Each stops a row at its width and never writes outside
 * the row or buffer it is given, but a damaged picture makes it read past
 * the picture's bytes. A picture from outside the process goes through
 * CheckPackedPicture (or CheckPackedPicture16) first: one that passes
 * decodes without reading outside its bytes. */
#ifndef SPRIG_PACKING_H
#define SPRIG_PACKING_H

#include <stddef.h>

#include <vector>

#include "sprig/types.h"

/** What the check calls learn about a picture. */
enum
{
    kPackedCurrent = 1, /**< 32-bit layout, "Format01" */
    kPackedOlder = 2,   /**< 32-bit layout, "Compress" */
    kPacked16 = 3       /**< sixteen-bit layout */
};

/** What CheckPackedPicture and CheckPackedPicture16 report. */
typedef struct PackedPictureInfo
{
    uint32_t encoding;   /**< kPackedCurrent, kPackedOlder or kPacked16; 0 if unknown */
    int32_t width;       /**< pixels */
    int32_t height;      /**< pixels */
    uint32_t size;       /**< bytes of the picture, header included */
    uint32_t runs;       /**< run packets (older encoding: run items) */
    uint32_t literals;   /**< literal packets (older encoding: single-pixel items) */
    uint32_t filledRows; /**< older encoding: rows filled from their table entry */
    char reason[120];    /**< empty when the picture is well formed */
} PackedPictureInfo;

SPRIG_EXTERN_C_BEGIN

/** @{ */
/** "Format01" and "Compress", each NUL-terminated. */
SPRIG_EXPORT extern const char Signature[9];
SPRIG_EXPORT extern const char OldSignature[9];
/** @} */

/** @{ */
/** Two 8192-byte buffers kept for the host; the library never touches them. */
SPRIG_EXPORT extern uint32_t packline[2048];
SPRIG_EXPORT extern uint32_t packline2[2048];
/** @} */

/** Expands a packed picture into a new buffer of height rows of 32-bit pixels,
 * rowBytes (4 x width) apart; release it with delete[]. Width, height and
 * row bytes are stored through the out-arguments. A negative width or height,
 * or a width too large for 32-bit row bytes, gives null. Trusts the picture:
 * check one from outside with CheckPackedPicture first. */
SPRIG_EXPORT uint32_t* Uncompress(uint32_t* picture, int32_t* width, int32_t* height,
                                  int32_t* rowBytes);

/** Expands a packed picture into a new 32-bit world (DisposeGWorld), whose
 * pixels are left locked; null when the world cannot be made. Trusts the
 * picture: check one from outside with CheckPackedPicture first. */
SPRIG_EXPORT GWorldPtr UncompressGWorld(uint32_t* picture, int32_t* width, int32_t* height,
                                        int32_t* rowBytes);

/** Writes row `row` of the picture as `width` pixels (the picture's width)
 * at dst, in either encoding. A row outside the picture writes nothing.
 * Trusts the picture: check one from outside with CheckPackedPicture. */
SPRIG_EXPORT void UncompressRow(uint32_t* picture, uint32_t row, uint32_t width, uint32_t* dst);

/** Packs width x height pixels of a world, top-left corner (left, top), into a
 * new packed picture of the current encoding; release it with free. The
 * world's pixels are left locked. swap leaves the result unchanged. */
SPRIG_EXPORT uint32_t* Compress(GWorldPtr gw, int32_t left, int32_t top, int32_t width,
                                int32_t height, bool swap);

/** Packs width x height pixels of a plain buffer whose rows are rowBytes
 * apart (a multiple of 4, at least 4 x width), exactly as Compress packs a
 * world; release the result with free. Null for sizes that cannot be packed
 * or when memory runs out. */
SPRIG_EXPORT uint32_t* CompressBuffer(const uint32_t* pixels, int32_t width, int32_t height,
                                      int32_t rowBytes);

/** Draws the srcRect area of a packed picture over the same-size dstRect of a
 * world, straight from its packets: exactly what expanding the picture and
 * compositing its pixels with MyMixColors gives, visiting only the pixels
 * drawn. dstRect is clipped to the world; srcRect must lie inside the
 * picture. With a tint, black pixels take the tint's colour (keeping their
 * alpha) and every other pixel is left out, as for a colorized picture.
 * Trusts the picture, and reads each row's packets up to the width without
 * any check: use it only on pictures that passed CheckPackedPicture (every
 * picture of the pool has). */
SPRIG_EXPORT void CompositePackedPicture(const uint32_t* picture, const Rect* srcRect,
                                         GWorldPtr dst, const Rect* dstRect, const RGBColor* tint);

/** Expands a sixteen-bit packed picture, given from its row table on, into a
 * new 32-bit world of width x height (DisposeGWorld); null when the world
 * cannot be made. Trusts the picture and the sizes: check a picture from
 * outside, header included, with CheckPackedPicture16 and pass the width
 * and height it reports. */
SPRIG_EXPORT GWorldPtr Uncompress16(char* picture, int32_t width, int32_t height);

/** Checks `length` bytes holding a 32-bit packed picture (either encoding),
 * reading nothing outside them: the signature ("Format01" or "Compress";
 * the decoders read any other as the older encoding, the check refuses it),
 * width and height (1 to 32767: a picture without pixels is refused), the
 * size word (a multiple of 4, from 24 up to length), every row table entry
 * and packet inside the size word's bytes, no packet of 0 pixels, packet
 * counts adding up to the width and exactly one last flag per row. Returns
 * 1 when the picture is well formed, 0 otherwise (also for null bytes);
 * info (may be null) receives what was learnt and, on failure, a one-line
 * reason. */
SPRIG_EXPORT Boolean CheckPackedPicture(const void* bytes, size_t length, PackedPictureInfo* info);

/** The same for a sixteen-bit packed picture, header included. */
SPRIG_EXPORT Boolean CheckPackedPicture16(const void* bytes, size_t length,
                                          PackedPictureInfo* info);

SPRIG_EXTERN_C_END

/** The older encoding's row decoder (UncompressRow hands such rows to it).
 * Trusts the picture: check one from outside with CheckPackedPicture. */
SPRIG_EXPORT void UncompressRowCompress(uint32_t* picture, uint32_t row, uint32_t width,
                                        uint32_t* dst);

/** The picture's size in words (word 0 / 4); the picture is left unchanged.
 * Reads word 0 only: the picture must hold at least 4 bytes. */
SPRIG_EXPORT int32_t SwapBuffer(uint32_t* picture);

/** The control word, without its last flag, of the packet Compress writes at
 * pixels, with `remaining` (at least 1) pixels left in the row: a run of
 * equal neighbours (bit 31 set), or a literal that stops before the first
 * pair of equal neighbours and, at the row's end, one pixel short of it. */
SPRIG_EXPORT uint32_t GetCountPixels(uint32_t* pixels, uint32_t remaining);

/** Expands one row of a sixteen-bit packed picture from its first packet into
 * dst; returns the number of pixels written, at most width. Trusts the row:
 * reads packets until they cover the width. Check a picture from outside
 * with CheckPackedPicture16 first. */
SPRIG_EXPORT int32_t UncompressRow16(char* row, int32_t width, uint32_t* dst);

/** The sixteen-bit writer. */

class CPicture;

/** The 12-byte header: width, height and the size of what follows it. */
class SPRIG_EXPORT CHeader
{
  public:
    CHeader();
    /** A header with the given fields. */
    CHeader(uint32_t width, uint32_t height, uint32_t size);

    uint32_t Width() const { return width; }   /**< width */
    uint32_t Height() const { return height; } /**< height */
    uint32_t Size() const { return size; }     /**< size */
    uint32_t GetSize() const { return 12; }    /**< bytes the header takes: 12 */

    uint32_t width;  /**< pixels */
    uint32_t height; /**< pixels */
    uint32_t size;   /**< bytes of the whole picture */
};

/** Row r's byte offset from the end of the table. */
class SPRIG_EXPORT CRowTable
{
  public:
    /** A table of count zeroed entries. */
    explicit CRowTable(uint32_t count);
    /** The table of the picture's rows, each the sum of the lengths before it. */
    explicit CRowTable(CPicture& picture);
    ~CRowTable();
    CRowTable(const CRowTable&) = delete;
    CRowTable& operator=(const CRowTable&) = delete;

    uint32_t* entries; /**< one offset a row, owned */
    uint32_t count;    /**< rows */
};

/** A packet is made in place, with placement new, at a byte of an output
 * buffer; its constructor writes its bytes there. */
class SPRIG_EXPORT CPacket
{
  public:
    CPacket();

  protected:
    uint8_t header; /**< the packet's first byte */
};

/** A run: [1][count - 1:7] and one value, low byte first. */
class SPRIG_EXPORT CSequencePacket : public CPacket
{
  public:
    /** Writes the run of count values (1 to 128). */
    CSequencePacket(uint32_t value, uint32_t count);
    uint32_t Size() const; /**< bytes written */
};

/** A literal: [0][count - 1:7] and count values, low byte first. */
class SPRIG_EXPORT CSimplePacket : public CPacket
{
  public:
    /** Writes the count values (1 to 128). */
    CSimplePacket(const uint32_t* values, uint32_t count);
    uint32_t Size() const; /**< bytes written */
};

/** One row of a sixteen-bit picture, packed. */
class SPRIG_EXPORT CPackedRow
{
  public:
    /** @{ */
    /** Packs the row into the row buffer `out` and keeps a copy of its bytes. */
    CPackedRow(uint32_t* values, uint32_t width, uint32_t* literals, uint16_t* out);
    ~CPackedRow();
    CPackedRow(const CPackedRow&) = delete;
    CPackedRow& operator=(const CPackedRow&) = delete;
    /** @} */

    uint32_t GetSize() const { return size; } /**< bytes of the packed row */

    /** Writes the row's packets at out (nothing when out is null) and returns
     * their length in bytes. Runs hold at most 128 values, literals 127, or
     * 128 when one value of the row would be left over. */
    uint32_t PackRow(uint32_t* values, uint32_t width, uint32_t* literals, uint32_t* out);

    uint32_t size; /**< bytes of data */
    uint8_t* data; /**< the packets, owned */
};

/** The packed rows of a sixteen-bit picture. */
class SPRIG_EXPORT CPicture
{
  public:
    /** @{ */
    /** values: one 16-bit value in the low bits of each word, rows stride
     * words apart. */
    CPicture(uint32_t width, uint32_t height, uint32_t stride, uint32_t* values);
    ~CPicture();
    CPicture(const CPicture&) = delete;
    CPicture& operator=(const CPicture&) = delete;
    /** @} */

    /** The sum of the rows' lengths. */
    uint32_t GetSize() const;

    std::vector<CPackedRow*> rows; /**< the rows, owned */
    uint32_t rowCount;             /**< rows */
};

/** A whole sixteen-bit packed picture: header, row table and rows. */
class SPRIG_EXPORT CPackedPict
{
  public:
    /** Packs the pixels as CPicture takes them. */
    CPackedPict(int32_t width, int32_t height, int32_t stride, uint32_t* values);
    ~CPackedPict();
    CPackedPict(const CPackedPict&) = delete;
    CPackedPict& operator=(const CPackedPict&) = delete;

    /** A new malloc block holding the whole sixteen-bit packed picture; its
     * length in bytes goes to size. */
    uint32_t* GetPackedData(uint32_t& size);

    CPicture* picture;   /**< the rows, owned */
    CRowTable* rowTable; /**< the row table, owned */
    CHeader* header;     /**< the header, owned */
};

/** @{ */
/** Stream operators: each reads or writes at the cursor and moves it past
 * what it read or wrote. The readers trust the buffer to hold what they
 * read (12 bytes, or 4 x count bytes). */
SPRIG_EXPORT uint32_t* operator<<(uint32_t*& cursor, CHeader& header);
SPRIG_EXPORT uint32_t* operator>>(uint32_t*& cursor, CHeader& header);
SPRIG_EXPORT uint32_t* operator<<(uint32_t*& cursor, CRowTable& table);
SPRIG_EXPORT uint32_t* operator>>(uint32_t*& cursor, CRowTable& table);
SPRIG_EXPORT uint32_t* operator<<(uint32_t*& cursor, CPackedRow& row);
SPRIG_EXPORT uint32_t* operator<<(uint32_t*& cursor, CPicture& picture);
/** @} */

#endif
