// Reads the attributes of the entries the walk has listed on a second thread, ahead of the
// walk. One attribute read per file is most of a walk's time, and it waits in the kernel
// while the other core has nothing to do; the walk itself keeps its order, its checks and its
// notifications, and reads an entry itself when it gets there first.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/FileSystem.h"

namespace kelvora {

class StatAhead {
public:
    // One listed folder: its entries, a descriptor that stays open while the thread reads
    // (the walk may close the one it walks with before the thread is done), and what was read
    // of each entry.
    class Listing {
    public:
        // folder: the thread's own descriptor, or none with a lasting one the walk keeps
        // open until the thread is gone (kept), or neither.
        Listing(std::vector<platform::FolderEntry> entries, platform::FileHandle folder,
                int kept = -1);

        const std::vector<platform::FolderEntry>& entries() const { return entries_; }
        // The entry's own attributes (a final link not followed), read by the thread or, if it
        // has not started on it yet, by the caller on walkFolder. 0 or the errno.
        int attributes(std::size_t index, int walkFolder, platform::Attributes& attributes);

    private:
        friend class StatAhead;
        enum State : std::uint8_t { Free, Reading, Ready, Taken };
        struct Slot {
            std::atomic<std::uint8_t> state{Free};
            int error = 0;
            platform::Attributes attributes;
        };
        // True when the walk would read this entry's attributes: not a folder as listed, not
        // a hidden name.
        bool wanted(std::size_t index) const;

        std::vector<platform::FolderEntry> entries_;
        platform::FileHandle own_;
        int folder_ = -1;  // own_'s or the kept one
        std::unique_ptr<Slot[]> slots_;
        // The thread reads from the last entry down while the walk goes up from the first,
        // so they meet once instead of taking turns entry by entry; both are touched by the
        // thread alone.
        std::size_t end_ = 0;  // entries from here on are read
        bool met_ = false;     // the thread reached an entry the walk had taken
        std::atomic<bool> done_{false};
    };

    StatAhead();
    ~StatAhead();
    StatAhead(const StatAhead&) = delete;
    StatAhead& operator=(const StatAhead&) = delete;

    // A folder the walk has just listed; the thread turns to the newest one first, which is
    // the one the walk is in. kept: a descriptor of it that stays open until this is
    // destroyed, or -1 (the thread then takes a copy of folder).
    std::shared_ptr<Listing> add(std::vector<platform::FolderEntry> entries, int folder,
                                 int kept = -1);
    // The walk has left the folder: nothing more is read for it.
    void leave(Listing& listing);

private:
    void work();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<std::shared_ptr<Listing>> listings_;  // newest last
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace kelvora
