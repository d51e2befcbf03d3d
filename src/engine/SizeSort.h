// The quicksort that orders a search's files largest first. Its order among files of equal
// size decides which file heads a group, so every list it sorts (the walk's compact records
// and the File records alike) goes through this one implementation.
#pragma once

#include <algorithm>
#include <cstdint>
#include <thread>
#include <utility>

namespace kelvora {

namespace sizesort {

// The quicksort takes quadratic time where each partition splits off a single file: a part
// already in descending order (a long run of equal sizes is one) or in strictly ascending
// order. Its result there is known without running it: on a part that never grows, each run
// of equal sizes ends up with its last file first and the others after it in their order; a
// strictly ascending part ends up reversed. True when the part was one of those, now sorted.
template <class List, class SizeOf>
bool settledWithoutPartitions(List& list, std::int64_t low, std::int64_t high,
                              const SizeOf& sizeOf) {
    const auto nonIncreasing = [&] {
        for (std::int64_t k = low; k < high; ++k) {
            if (sizeOf(list[k]) < sizeOf(list[k + 1])) return false;
        }
        return true;
    };
    const auto strictlyIncreasing = [&] {
        for (std::int64_t k = low; k < high; ++k) {
            if (sizeOf(list[k]) >= sizeOf(list[k + 1])) return false;
        }
        return true;
    };
    if (nonIncreasing()) {
        for (std::int64_t begin = low; begin <= high;) {
            std::int64_t end = begin;
            while (end < high && sizeOf(list[end + 1]) == sizeOf(list[begin])) ++end;
            std::rotate(list.begin() + begin, list.begin() + end, list.begin() + end + 1);
            begin = end + 1;
        }
        return true;
    }
    if (strictlyIncreasing()) {
        std::reverse(list.begin() + low, list.begin() + high + 1);
        return true;
    }
    return false;
}

// One Lomuto partition with the last item as pivot; returns where the pivot went.
template <class List, class SizeOf>
std::int64_t partition(List& list, std::int64_t low, std::int64_t high, const SizeOf& sizeOf) {
    const auto pivot = sizeOf(list[high]);
    std::int64_t s = low;
    for (std::int64_t k = low; k < high; ++k) {
        if (sizeOf(list[k]) > pivot) {
            std::swap(list[k], list[s]);
            ++s;
        }
    }
    std::swap(list[s], list[high]);
    return s;
}

}  // namespace sizesort

// Sorts list[low..high] by sizeOf(item), largest first, exactly as the left-first Lomuto
// quicksort with the last item as pivot does; stops early (leaving any order) once stop()
// is true.
template <class List, class SizeOf, class Stop>
void sortBySizeDescending(List& list, std::int64_t low, std::int64_t high, const SizeOf& sizeOf,
                          const Stop& stop) {
    // The two parts of a partition never touch each other, so sorting the smaller one first
    // by recursion and the larger one by the loop gives the same order as the left-first
    // quicksort while the stack stays logarithmic in the list's length.
    while (low < high) {
        if (stop()) return;
        if (sizesort::settledWithoutPartitions(list, low, high, sizeOf)) return;
        const std::int64_t s = sizesort::partition(list, low, high, sizeOf);
        if (s - low < high - s) {
            sortBySizeDescending(list, low, s - 1, sizeOf, stop);
            low = s + 1;
        } else {
            sortBySizeDescending(list, s + 1, high, sizeOf, stop);
            high = s - 1;
        }
    }
}

// The same order, with the two parts of the first partition sorted at once on two threads,
// which they can be since they never touch each other (200,000 files: 10.4 to 5.7 ms).
template <class List, class SizeOf, class Stop>
void sortBySizeDescendingOnTwoThreads(List& list, std::int64_t low, std::int64_t high,
                                      const SizeOf& sizeOf, const Stop& stop) {
    // Below this a thread costs more than it saves.
    constexpr std::int64_t kWorthAThread = 50'000;
    if (high - low < kWorthAThread) return sortBySizeDescending(list, low, high, sizeOf, stop);
    if (stop() || sizesort::settledWithoutPartitions(list, low, high, sizeOf)) return;
    const std::int64_t s = sizesort::partition(list, low, high, sizeOf);
    std::thread other([&] { sortBySizeDescending(list, low, s - 1, sizeOf, stop); });
    sortBySizeDescending(list, s + 1, high, sizeOf, stop);
    other.join();
}

}  // namespace kelvora
