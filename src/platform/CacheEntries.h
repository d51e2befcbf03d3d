// How the digest cache keeps the entries of one bucket of neighbouring inodes: packed in one
// value of the file, which only this Kelvora reads, and so must check before it trusts it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/DigestCache.h"

namespace kelvora::platform {

// Entries are packed in buckets of neighbouring inodes, one row per bucket: SQLite's cost goes
// by the row, and the files a search meets together were mostly made together, with inodes
// close to each other (200,000 entries: a look-up took 44 ms as a row each, 4 ms packed).
constexpr unsigned kBucketShift = 9;

struct CacheEntry {
    DigestCache::Key key;
    DigestCache::Facts facts;
    std::int64_t seen = 0;  // the day it was last met, in days since the epoch
};

// The entries of one bucket, in inode order, as the cache keeps them.
void packEntries(const std::vector<CacheEntry>& entries, std::vector<unsigned char>& bytes);
// What packEntries wrote for count entries of the bucket, into entries; false when the bytes
// are anything else: entries out of inode order, unknown flags, a digest missing or too many,
// bytes left over or too few.
bool unpackEntries(std::uint64_t device, std::uint64_t bucket, const void* bytes,
                   std::size_t length, std::int64_t count, std::vector<CacheEntry>& entries);

}  // namespace kelvora::platform
