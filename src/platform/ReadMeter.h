// How many bytes of file contents this process has read for comparing files. A window watches
// it to show that a long comparison goes on while the counts of files stand still.
//
// One meter for the process rather than one handed to each reader: the readers sit under the
// search's workers, and only one search runs at a time. Whoever watches takes differences.
#pragma once

#include <atomic>
#include <cstdint>

namespace kelvora::platform {

inline std::atomic<std::uint64_t>& contentsReadMeter() {
    static std::atomic<std::uint64_t> meter{0};
    return meter;
}

// Adds a reader's bytes to the meter a mebibyte at a time: a reading loop pays for one
// uncontended add per mebibyte, and a watcher polling a few times a second sees no difference.
class ReadTally {
public:
    ReadTally() = default;
    ReadTally(const ReadTally&) = delete;
    ReadTally& operator=(const ReadTally&) = delete;
    ~ReadTally() { flush(); }

    void add(std::uint64_t bytes) {
        unreported_ += bytes;
        if (unreported_ >= kStep) flush();
    }
    void flush() {
        if (unreported_ == 0) return;
        // Relaxed: the figure orders nothing; it only has to grow.
        contentsReadMeter().fetch_add(unreported_, std::memory_order_relaxed);
        unreported_ = 0;
    }

private:
    static constexpr std::uint64_t kStep = 1024 * 1024;
    std::uint64_t unreported_ = 0;
};

}  // namespace kelvora::platform
