// A bucket of the digest cache packed and read back: what a search keeps must come back bit
// for bit, whatever the times and sizes, and bytes that are not what was packed must be refused.
#include "platform/CacheEntries.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace kelvora::platform {
namespace {

constexpr std::uint64_t kDevice = 0xfd00'0000'0000'0001ULL;  // negative to SQLite
constexpr std::uint64_t kBucket = 77;

CacheEntry entry(std::uint64_t place, std::uint64_t size, std::int64_t modified,
                 std::int64_t changed, std::int64_t seen, bool withDigest) {
    CacheEntry made;
    made.key = {kDevice, kBucket << kBucketShift | place, size, modified, changed};
    made.facts.signature = 0x0123'4567'89ab'cdefULL ^ place;
    made.facts.hasMd5 = withDigest;
    if (withDigest) {
        for (std::size_t b = 0; b < made.facts.md5.size(); ++b) {
            made.facts.md5[b] = static_cast<std::uint8_t>(place + b);
        }
    }
    made.seen = seen;
    return made;
}

bool same(const CacheEntry& a, const CacheEntry& b) {
    return a.key == b.key && a.facts.signature == b.facts.signature &&
           a.facts.hasMd5 == b.facts.hasMd5 && (!a.facts.hasMd5 || a.facts.md5 == b.facts.md5) &&
           a.seen == b.seen;
}

std::vector<CacheEntry> unpacked(const std::vector<unsigned char>& bytes, std::int64_t count) {
    std::vector<CacheEntry> entries;
    if (!unpackEntries(kDevice, kBucket, bytes.data(), bytes.size(), count, entries)) return {};
    return entries;
}

TEST(CacheEntries, whatIsPackedComesBackWhateverItsTimesAndSizes) {
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kNow = 1'764'000'000'123'456'789;
    const std::vector<CacheEntry> entries = {
        // The first of a bucket, and one like it: times only nanoseconds apart.
        entry(0, 0, kNow, kNow, 20'400, true),
        entry(1, 1, kNow + 1, kNow + 1, 20'400, false),
        // Times that go back, and a change time of its own that is far from the modification.
        entry(2, 4096, kNow - 86'400'000'000'000, kNow + 5, 20'401, false),
        // The extremes of every number, next to each other: differences that wrap.
        entry(3, std::numeric_limits<std::uint64_t>::max(), kMost, kLeast, 0, true),
        entry(4, 1ULL << 63, kLeast, kMost, 0xffff, false),
        entry(5, 127, -1, 0, 0xffff, true),
        entry(511, 128, 0, -1, 1, true),
    };
    std::vector<unsigned char> bytes;
    packEntries(entries, bytes);
    const std::vector<CacheEntry> back = unpacked(bytes, static_cast<std::int64_t>(entries.size()));
    ASSERT_EQ(back.size(), entries.size());
    for (std::size_t k = 0; k < entries.size(); ++k) {
        EXPECT_TRUE(same(back[k], entries[k])) << "entry " << k;
    }

    // Files written together pack small: the same day, close times, small sizes.
    std::vector<CacheEntry> together;
    for (std::uint64_t place = 0; place < 400; ++place) {
        const std::int64_t written = kNow + static_cast<std::int64_t>(place) * 150'000;
        together.push_back(entry(place, 3000 + place, written, written, 20'400, place % 3 == 0));
    }
    packEntries(together, bytes);
    EXPECT_LE(bytes.size(), 400 * 16 + 134 * 16u);
    EXPECT_EQ(unpacked(bytes, 400).size(), 400u);
}

TEST(CacheEntries, bytesThatAreNotWhatWasPackedAreRefused) {
    const std::vector<CacheEntry> entries = {entry(3, 10, 5, 5, 9, true),
                                             entry(9, 20, 6, 7, 9, false)};
    std::vector<unsigned char> bytes;
    packEntries(entries, bytes);
    ASSERT_EQ(unpacked(bytes, 2).size(), 2u);

    // A count other than the row's, none, or more than a bucket holds.
    for (const std::int64_t count : {1, 3, 0, -1, 513}) EXPECT_TRUE(unpacked(bytes, count).empty());
    // Cut short anywhere, or with a byte too many.
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        const std::vector<unsigned char> shorter(bytes.begin(), bytes.begin() + cut);
        EXPECT_TRUE(unpacked(shorter, 2).empty()) << cut;
    }
    std::vector<unsigned char> longer = bytes;
    longer.push_back(0);
    EXPECT_TRUE(unpacked(longer, 2).empty());
    // A flag it does not know, the second entry before the first, and a first entry that says
    // its day is that of the entry before it.
    std::vector<unsigned char> flagged = bytes;
    flagged[1] |= 0x10;
    EXPECT_TRUE(unpacked(flagged, 2).empty());
    std::vector<CacheEntry> backwards = entries;
    backwards[1].key.inode = kBucket << kBucketShift | 3;
    packEntries(backwards, bytes);
    EXPECT_TRUE(unpacked(bytes, 2).empty());
    packEntries({entries[0]}, bytes);
    bytes[1] |= 0x20;
    EXPECT_TRUE(unpacked(bytes, 1).empty());
    // A size of eleven bytes, and one of ten that says more than 64 bits.
    for (const unsigned char last : {0xff, 0x02}) {
        std::vector<unsigned char> endless = {0x03, 0x00, 9, 0};
        endless.insert(endless.end(), 9, 0xff);
        endless.push_back(last);
        endless.insert(endless.end(), 10, 0);  // the times and the signature
        EXPECT_TRUE(unpacked(endless, 1).empty()) << int{last};
    }
}

}  // namespace
}  // namespace kelvora::platform
