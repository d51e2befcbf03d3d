// How the process's allocator gives memory back.
#pragma once

namespace kelvora::platform {

// A search frees large blocks while it allocates its results. By default the allocator
// raises its threshold for mapping blocks of their own to the largest block freed, so that
// afterwards even large blocks come from its heaps, which rarely shrink: the process keeps
// memory it no longer uses. Called once at startup, this keeps the threshold fixed, so
// large blocks are returned to the system as soon as they are freed.
void returnLargeBlocksWhenFreed();

}  // namespace kelvora::platform
