#include "platform/Memory.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace kelvora::platform {

void returnLargeBlocksWhenFreed() {
    // The allocator's own default value; setting it at all is what stops it from moving.
    constexpr int kOwnMappingFrom = 128 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, kOwnMappingFrom);
}

void populate(void* data, std::size_t length) {
#ifdef MADV_POPULATE_WRITE
    static const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(data);
    // Only the pages wholly inside the block: the ones it shares belong to its neighbours
    // too, and are most likely mapped already.
    const std::uintptr_t first = (begin + page - 1) & ~(page - 1);
    const std::uintptr_t end = (begin + length) & ~(page - 1);
    if (end > first) {
        ::madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE);
    }
#else
    (void)data;
    (void)length;
#endif
}

}  // namespace kelvora::platform
