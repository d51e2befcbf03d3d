// Feeds arbitrary bytes to the reading of the digest cache's packed buckets, as a damaged or
// foreign cache file would hand them over: they are refused or read, never a crash or a read
// out of bounds, and what is read packs again into bytes that read back the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "platform/CacheEntries.h"

using kelvora::platform::CacheEntry;

namespace {

bool same(const std::vector<CacheEntry>& a, const std::vector<CacheEntry>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t k = 0; k < a.size(); ++k) {
        if (!(a[k].key == b[k].key) || a[k].facts.signature != b[k].facts.signature ||
            a[k].facts.hasMd5 != b[k].facts.hasMd5 || a[k].seen != b[k].seen ||
            (a[k].facts.hasMd5 && a[k].facts.md5 != b[k].facts.md5)) {
            return false;
        }
    }
    return true;
}

}  // namespace

// The first two bytes are the count the bucket's row gives, the rest its packed entries.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::int64_t count = data[0] | data[1] << 8;
    constexpr std::uint64_t kDevice = 0x8000'0000'0000'0803ULL;
    constexpr std::uint64_t kBucket = (std::uint64_t{1} << 55) - 1;  // the highest inodes
    std::vector<CacheEntry> entries;
    if (!kelvora::platform::unpackEntries(kDevice, kBucket, data + 2, size - 2, count, entries)) {
        return 0;
    }
    std::vector<unsigned char> packed;
    kelvora::platform::packEntries(entries, packed);
    std::vector<CacheEntry> again;
    if (!kelvora::platform::unpackEntries(kDevice, kBucket, packed.data(), packed.size(), count,
                                          again) ||
        !same(entries, again) || packed.size() > size - 2) {
        std::abort();
    }
    return 0;
}
