/** @file
 * sprig: fingerprints of bitmaps, and a process-wide table from fingerprints
 * to values chosen by the host.
 *
 * Fingerprint text is uppercase hexadecimal, two digits per byte, high nibble
 * first. A 16-digit fingerprint comes from the pixels of a 32-bit world
 * reduced to 16-bit colour (GetHashBitmap16); a 32-digit one is the MD5 of a
 * byte buffer (GetHashBitmap32).
 *
 * The table pairs a 16-digit key, a 32-digit key and a 32-bit value. The host
 * fills it once (OpenHash, AddHash for each entry, CloseHash) and then asks
 * for the value or the 32-digit key belonging to a key. Keys arrive as UTF-16
 * code units in native byte order, zero-terminated: 17 units for a short key,
 * 33 for a long one. They are kept as zero-terminated UTF-8 byte strings.
 * The table is one unguarded object per process: call it from one thread. */
#ifndef SPRIG_FINGERPRINTS_H
#define SPRIG_FINGERPRINTS_H

#include "sprig/types.h"

SPRIG_EXTERN_C_BEGIN

/** Writes the 16-digit fingerprint of the world's pixels and a terminating
 * zero into out (17 bytes). Rows are taken bottom row first; each pixel
 * becomes the 16-bit value (RGBToWord[green] << 10) | (RGBToWord[red] << 5)
 * | RGBToWord[alpha] (blue plays no part), fed high byte first into an
 * 8-byte shift register. Row padding plays no part. Returns 1. A null world
 * counts as an empty one and gives sixteen zeros. */
SPRIG_EXPORT int32_t GetHashBitmap16(GWorldPtr world, char* out);

/** Writes the MD5 of the length bytes at data as 32 digits and a terminating
 * zero into out (33 bytes) and returns out. Should the digest be unavailable
 * (a crypto library that refuses MD5), out is the empty string. */
SPRIG_EXPORT char* GetHashBitmap32(const void* data, uint32_t length, char* out);

/** Writes the two digits of byte into out[0] and out[1]; no terminator. */
SPRIG_EXPORT void binhex(unsigned char* out, unsigned char byte);

/** Converts n UTF-16 units, up to the first zero unit, into a zero-terminated
 * UTF-8 string in out, which has room for n + 1 bytes. Characters that do not
 * fit are left off whole; an unpaired surrogate becomes '?'. */
SPRIG_EXPORT void Uni2String(const uint16_t* units, char* out, int32_t n);

/** Discards any table and starts an empty one with room for 5000 entries.
 * Returns 1 (also when no room could be had: the table is then absent, adds
 * are refused and lookups answer 0). */
SPRIG_EXPORT int32_t OpenHash(void);

/** Appends an entry to the open table; a key added twice occupies two
 * entries. The table grows past 5000 entries as needed. An add while no
 * table is open (before OpenHash, after CloseHash or FreeAllHashMemory) is
 * refused and changes nothing. Returns 1. */
SPRIG_EXPORT int32_t AddHash(const uint16_t* shortKey, const uint16_t* longKey, uint32_t value);

/** Shrinks the table to its entries and makes it read-only. Returns 1. */
SPRIG_EXPORT int32_t CloseHash(void);

/** Frees the table; every lookup answers 0 until the next OpenHash. */
SPRIG_EXPORT void FreeAllHashMemory(void);

/** The value of the first entry with this short (17-unit) key, or 0. */
SPRIG_EXPORT uint32_t HashLookup16(const uint16_t* shortKey);

/** The value of the first entry with this long (33-unit) key, or 0. */
SPRIG_EXPORT uint32_t HashLookup32(const uint16_t* longKey);

/** Finds the first entry with this short key and writes its long key into out
 * as 33 UTF-16 units, zero units after its characters. Returns 1, or 0 with
 * out untouched when no entry has the key. */
SPRIG_EXPORT int32_t HashTranslate(const uint16_t* shortKey, uint16_t* out);

SPRIG_EXTERN_C_END

#endif
