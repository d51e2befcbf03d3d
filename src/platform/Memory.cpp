#include "platform/Memory.h"

#include <malloc.h>

namespace kelvora::platform {

void returnLargeBlocksWhenFreed() {
    // The allocator's own default value; setting it at all is what stops it from moving.
    constexpr int kOwnMappingFrom = 128 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, kOwnMappingFrom);
}

}  // namespace kelvora::platform
