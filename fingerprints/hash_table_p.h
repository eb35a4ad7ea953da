// The fingerprint table's one point of allocation, replaceable so that the
// tests can make an allocation fail.
#ifndef SPRIG_FINGERPRINTS_HASH_TABLE_P_H
#define SPRIG_FINGERPRINTS_HASH_TABLE_P_H

#include <cstddef>

namespace sprig {

// Has the contract of realloc: (null, size) allocates, (block, size) resizes,
// and null means no room (the old block is then untouched).
using HashTableReallocFunction = void* (*)(void* block, size_t size);

// Installs f (null puts back the standard realloc) and returns the previous.
HashTableReallocFunction SetHashTableRealloc(HashTableReallocFunction f);

} // namespace sprig

#endif
