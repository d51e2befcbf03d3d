// The quicksort that orders a search's files largest first. Its order among files of equal
// size decides which file heads a group, so every list it sorts (the walk's compact records
// and the File records alike) goes through this one implementation.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

namespace kelvora {

// Sorts list[low..high] by sizeOf(item), largest first, exactly as the left-first Lomuto
// quicksort with the last item as pivot does; stops early (leaving any order) once stop()
// is true.
template <class List, class SizeOf, class Stop>
void sortBySizeDescending(List& list, std::int64_t low, std::int64_t high, const SizeOf& sizeOf,
                          const Stop& stop) {
    // The two parts of a partition never touch each other, so sorting the smaller one first
    // by recursion and the larger one by the loop gives the same order as the left-first
    // quicksort while the stack stays logarithmic in the list's length.
    //
    // The quicksort takes quadratic time where each partition splits off a single file: a
    // part already in descending order (a long run of equal sizes is one) or in strictly
    // ascending order. Its result there is known without running it: on a part that never
    // grows, each run of equal sizes ends up with its last file first and the others after it
    // in their order; a strictly ascending part ends up reversed.
    const auto nonIncreasing = [&](std::int64_t from, std::int64_t to) {
        for (std::int64_t k = from; k < to; ++k) {
            if (sizeOf(list[k]) < sizeOf(list[k + 1])) return false;
        }
        return true;
    };
    const auto strictlyIncreasing = [&](std::int64_t from, std::int64_t to) {
        for (std::int64_t k = from; k < to; ++k) {
            if (sizeOf(list[k]) >= sizeOf(list[k + 1])) return false;
        }
        return true;
    };
    while (low < high) {
        if (stop()) return;
        if (nonIncreasing(low, high)) {
            for (std::int64_t begin = low; begin <= high;) {
                std::int64_t end = begin;
                while (end < high && sizeOf(list[end + 1]) == sizeOf(list[begin])) ++end;
                std::rotate(list.begin() + begin, list.begin() + end, list.begin() + end + 1);
                begin = end + 1;
            }
            return;
        }
        if (strictlyIncreasing(low, high)) {
            std::reverse(list.begin() + low, list.begin() + high + 1);
            return;
        }
        const auto pivot = sizeOf(list[high]);
        std::int64_t s = low;
        for (std::int64_t k = low; k < high; ++k) {
            if (sizeOf(list[k]) > pivot) {
                std::swap(list[k], list[s]);
                ++s;
            }
        }
        std::swap(list[s], list[high]);
        if (s - low < high - s) {
            sortBySizeDescending(list, low, s - 1, sizeOf, stop);
            low = s + 1;
        } else {
            sortBySizeDescending(list, s + 1, high, sizeOf, stop);
            high = s - 1;
        }
    }
}

}  // namespace kelvora
