#include "platform/CacheEntries.h"

#include <algorithm>
#include <cstring>

namespace kelvora::platform {

namespace {

constexpr std::uint16_t kInodeBits = (1u << kBucketShift) - 1;
// An entry as packed: the inode's place in its bucket and the flags (2 bytes, little-endian),
// the day it was last met (2 bytes, left out when it is the day of the entry before), the size,
// the modification time less that of the entry before and the change time less that of the
// entry before (left out when it is the file's own modification time), as varints, and the
// signature (8 bytes). A bucket holds its entries in inode order, followed by the MD5 digests
// (16 bytes each) of those that have one, in the same order. Neighbouring inodes were mostly
// written together, with close times, and few files are large: the 191,000 entries of a first
// search of the mixed 200k tree took 4.0 MB rather than 7.8 with every number in 8 bytes, and
// its log 4.3 MB rather than 8.2.
constexpr std::size_t kDigestBytes = 16;
constexpr std::uint16_t kHasMd5 = 0x8000;
constexpr std::uint16_t kChangedAsModified = 0x4000;
constexpr std::uint16_t kSeenAsBefore = 0x2000;
constexpr std::uint16_t kKnownBits = kHasMd5 | kChangedAsModified | kSeenAsBefore | kInodeBits;

void put64(unsigned char* at, std::uint64_t value) {
    for (int b = 0; b < 8; ++b) at[b] = static_cast<unsigned char>(value >> (8 * b));
}
void put16(unsigned char* at, std::uint16_t value) {
    at[0] = static_cast<unsigned char>(value);
    at[1] = static_cast<unsigned char>(value >> 8);
}
std::uint64_t get64(const unsigned char* at) {
    std::uint64_t value = 0;
    for (int b = 7; b >= 0; --b) value = value << 8 | at[b];
    return value;
}
std::uint16_t get16(const unsigned char* at) {
    return static_cast<std::uint16_t>(at[0] | at[1] << 8);
}
// Seven bits a byte, the lowest first; the top bit says another byte follows.
unsigned char* putVarint(unsigned char* at, std::uint64_t value) {
    while (value >= 0x80) {
        *at++ = static_cast<unsigned char>(value | 0x80);
        value >>= 7;
    }
    *at++ = static_cast<unsigned char>(value);
    return at;
}
// False when the bytes end first or say more than 64 bits.
bool getVarint(const unsigned char*& at, const unsigned char* end, std::uint64_t& value) {
    value = 0;
    for (unsigned shift = 0; shift < 64 && at < end; shift += 7) {
        const unsigned char byte = *at++;
        if (shift == 63 && byte > 1) return false;
        value |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
        if (byte < 0x80) return true;
    }
    return false;
}
// A time less the one before, as an unsigned number that is small when the difference is
// small either way. Computed modulo 2^64, so that every pair of times gives their difference
// back exactly.
std::uint64_t zigzag(std::int64_t value, std::int64_t before) {
    const std::uint64_t difference =
        static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(before);
    return difference << 1 ^ (0 - (difference >> 63));
}
std::int64_t unzigzag(std::uint64_t coded, std::int64_t before) {
    const std::uint64_t difference = coded >> 1 ^ (0 - (coded & 1));
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(before) + difference);
}

// An entry at its longest: flags, day, three varints of ten bytes, signature.
constexpr std::size_t kMostEntryBytes = 2 + 2 + 3 * 10 + 8;

}  // namespace

bool unpackEntries(std::uint64_t device, std::uint64_t bucket, const void* bytes,
                   std::size_t length, std::int64_t count, std::vector<CacheEntry>& entries) {
    entries.clear();
    if (bytes == nullptr || count <= 0 || count > kInodeBits + 1) return false;
    entries.reserve(static_cast<std::size_t>(count));
    const auto* at = static_cast<const unsigned char*>(bytes);
    const unsigned char* const end = at + length;
    std::int64_t modified = 0;
    std::int64_t changed = 0;
    std::size_t digests = 0;
    for (std::int64_t k = 0; k < count; ++k) {
        if (end - at < 2) return false;
        const std::uint16_t word = get16(at);
        at += 2;
        const std::uint16_t place = word & kInodeBits;
        if ((word & ~kKnownBits) != 0 ||
            (k > 0 && place <= (entries.back().key.inode & kInodeBits)) ||
            (k == 0 && (word & kSeenAsBefore) != 0)) {
            return false;
        }
        CacheEntry& entry = entries.emplace_back();
        if ((word & kSeenAsBefore) != 0) {
            entry.seen = entries[entries.size() - 2].seen;
        } else {
            if (end - at < 2) return false;
            entry.seen = get16(at);
            at += 2;
        }
        std::uint64_t size = 0;
        std::uint64_t coded = 0;
        if (!getVarint(at, end, size) || !getVarint(at, end, coded)) return false;
        modified = unzigzag(coded, modified);
        if ((word & kChangedAsModified) != 0) {
            changed = modified;
        } else {
            if (!getVarint(at, end, coded)) return false;
            changed = unzigzag(coded, changed);
        }
        if (end - at < 8) return false;
        entry.key = {device, bucket << kBucketShift | place, size, modified, changed};
        entry.facts.signature = get64(at);
        at += 8;
        entry.facts.hasMd5 = (word & kHasMd5) != 0;
        digests += entry.facts.hasMd5;
    }
    if (static_cast<std::size_t>(end - at) != digests * kDigestBytes) return false;
    for (CacheEntry& entry : entries) {
        if (!entry.facts.hasMd5) continue;
        std::memcpy(entry.facts.md5.data(), at, kDigestBytes);
        at += kDigestBytes;
    }
    return true;
}

void packEntries(const std::vector<CacheEntry>& entries, std::vector<unsigned char>& bytes) {
    std::size_t digests = 0;
    for (const CacheEntry& entry : entries) digests += entry.facts.hasMd5;
    bytes.resize(entries.size() * kMostEntryBytes + digests * kDigestBytes);
    unsigned char* at = bytes.data();
    std::int64_t modified = 0;
    std::int64_t changed = 0;
    std::uint16_t seenBefore = 0;
    for (std::size_t k = 0; k < entries.size(); ++k) {
        const CacheEntry& entry = entries[k];
        // Days since 1970 fit in two bytes until 2149.
        const auto seen =
            static_cast<std::uint16_t>(std::clamp<std::int64_t>(entry.seen, 0, 0xffff));
        const bool seenAsBefore = k > 0 && seen == seenBefore;
        seenBefore = seen;
        const bool changedAsModified = entry.key.changed == entry.key.modified;
        put16(at, static_cast<std::uint16_t>((entry.key.inode & kInodeBits) |
                                             (entry.facts.hasMd5 ? kHasMd5 : 0) |
                                             (seenAsBefore ? kSeenAsBefore : 0) |
                                             (changedAsModified ? kChangedAsModified : 0)));
        at += 2;
        if (!seenAsBefore) {
            put16(at, seen);
            at += 2;
        }
        at = putVarint(at, entry.key.size);
        at = putVarint(at, zigzag(entry.key.modified, modified));
        if (!changedAsModified) at = putVarint(at, zigzag(entry.key.changed, changed));
        modified = entry.key.modified;
        changed = entry.key.changed;
        put64(at, entry.facts.signature);
        at += 8;
    }
    for (const CacheEntry& entry : entries) {
        if (!entry.facts.hasMd5) continue;
        std::memcpy(at, entry.facts.md5.data(), kDigestBytes);
        at += kDigestBytes;
    }
    bytes.resize(static_cast<std::size_t>(at - bytes.data()));
}

}  // namespace kelvora::platform
