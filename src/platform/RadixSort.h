// A stable sort by a 64-bit key, a byte at a time from the lowest, skipping the bytes that
// are the same in every key. For many items whose keys span few bytes (inodes, positions in
// a list) it takes a fraction of a comparison sort's time, and every pass reads and writes
// memory from one end to the other, where scattering items at random would miss the caches
// and the page tables at nearly every item.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/Memory.h"

namespace kelvora::platform {

template <class T, class KeyOf>
void radixSort(std::vector<T>& items, const KeyOf& keyOf) {
    if (items.size() < 2) return;
    std::array<std::array<std::size_t, 256>, 8> counts{};
    for (const T& item : items) {
        const std::uint64_t key = keyOf(item);
        for (unsigned byte = 0; byte < 8; ++byte) ++counts[byte][key >> (8 * byte) & 0xff];
    }
    const std::uint64_t first = keyOf(items.front());
    std::vector<T> sorted;
    for (unsigned byte = 0; byte < 8; ++byte) {
        std::array<std::size_t, 256>& count = counts[byte];
        if (count[first >> (8 * byte) & 0xff] == items.size()) continue;
        if (sorted.empty()) {
            reservePopulated(sorted, items.size());
            sorted.resize(items.size());
        }
        std::size_t at = 0;
        for (std::size_t& slot : count) at += std::exchange(slot, at);
        for (T& item : items) sorted[count[keyOf(item) >> (8 * byte) & 0xff]++] = std::move(item);
        items.swap(sorted);
    }
}

}  // namespace kelvora::platform
