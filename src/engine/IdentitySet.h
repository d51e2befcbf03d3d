// The file-system objects a walk has met, by device and inode. One entry per file found, so
// it is an open-addressing table of 16-byte slots rather than a node per entry.
#pragma once

#include <cstdint>
#include <vector>

namespace kelvora {

class IdentitySet {
public:
    // False when the object was already in.
    bool insert(std::uint64_t device, std::uint64_t inode) {
        if ((count_ + 1) * 10 > slots_.size() * 7) grow();
        if (!place(slots_, {device, inode})) return false;
        ++count_;
        return true;
    }
    bool contains(std::uint64_t device, std::uint64_t inode) const {
        if (slots_.empty()) return false;
        const Slot wanted{device, inode};
        for (std::size_t i = indexOf(wanted, slots_.size());; i = (i + 1) & (slots_.size() - 1)) {
            if (slots_[i] == wanted) return true;
            if (slots_[i].empty()) return false;
        }
    }
    std::size_t size() const { return count_; }

private:
    struct Slot {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;  // 0 never names a file, so it marks a free slot
        bool empty() const { return inode == 0 && device == 0; }
        bool operator==(const Slot&) const = default;
    };

    static std::size_t indexOf(const Slot& slot, std::size_t capacity) {
        std::uint64_t h =
            slot.inode * 0x9E3779B97F4A7C15ULL ^ (slot.device + 0x632BE59BD9B4E019ULL);
        h ^= h >> 29;
        return static_cast<std::size_t>(h) & (capacity - 1);
    }
    static bool place(std::vector<Slot>& table, const Slot& slot) {
        for (std::size_t i = indexOf(slot, table.size());; i = (i + 1) & (table.size() - 1)) {
            if (table[i] == slot) return false;
            if (table[i].empty()) {
                table[i] = slot;
                return true;
            }
        }
    }
    void grow() {
        std::vector<Slot> larger(slots_.empty() ? 64 : slots_.size() * 2);
        for (const Slot& slot : slots_) {
            if (!slot.empty()) place(larger, slot);
        }
        slots_.swap(larger);
    }

    std::vector<Slot> slots_;
    std::size_t count_ = 0;
};

}  // namespace kelvora
