// How the process's allocator gives memory back.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace kelvora::platform {

// A search frees large blocks while it allocates its results. By default the allocator
// raises its threshold for mapping blocks of their own to the largest block freed, so that
// afterwards even large blocks come from its heaps, which rarely shrink: the process keeps
// memory it no longer uses. Called once at startup, this keeps the threshold fixed, so
// large blocks are returned to the system as soon as they are freed.
void returnLargeBlocksWhenFreed();

// Gives the whole pages of a block just allocated their memory now, in one call, instead of
// one page fault each as bytes first reach them: where faults are dear (a virtual machine
// can make one cost as much as a dozen system calls) a block that will be filled anyway is
// had for a fraction. Best effort: on a kernel without it, the pages fault in as usual.
void populate(void* data, std::size_t length);

// An array of count elements, left uninitialised, its pages populated.
template <typename T>
std::unique_ptr<T[]> populatedArray(std::size_t count) {
    auto array = std::make_unique_for_overwrite<T[]>(count);
    populate(array.get(), count * sizeof(T));
    return array;
}

// Room for count elements in an empty vector, its pages populated: filling it up to count
// neither moves it nor faults.
template <typename T>
void reservePopulated(std::vector<T>& vector, std::size_t count) {
    vector.reserve(count);
    populate(vector.data(), vector.capacity() * sizeof(T));
}

}  // namespace kelvora::platform
