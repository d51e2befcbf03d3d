// Reads the attributes of the entries the walk has listed on a second thread, ahead of the
// walk, and opens and lists the folders the walk is about to enter. One attribute read per
// file is most of a walk's time, and it waits in the kernel while the other core has nothing
// to do; the walk itself keeps its order, its checks and its notifications, and reads an entry
// or lists a folder itself when it gets there first.
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

        // Of a folder the thread listed ahead: its attributes, read on its descriptor.
        const platform::Attributes& folderAttributes() const { return folderAttributes_; }
        // Of a folder the thread listed ahead: the descriptor it opened, handed to the walk,
        // which must keep it open while the thread lives (the thread reads with it).
        platform::FileHandle takeOpened() { return std::move(opened_); }
        // Of a folder the thread listed ahead: the descriptor it reads with, taken or not.
        int descriptor() const { return folder_; }

        // A slot's state: Reading while the thread reads its attributes or lists it.
        enum State : std::uint8_t { Free, Reading, Ready, Taken };

    private:
        friend class StatAhead;
        struct Slot {
            std::atomic<std::uint8_t> state{Free};
            int error = 0;
            platform::Attributes attributes;
            std::shared_ptr<Listing> folder;  // an entry listed as a folder, listed ahead
        };
        // True when the walk would read this entry's attributes: not a folder as listed, not
        // a hidden name.
        bool wanted(std::size_t index) const;

        std::vector<platform::FolderEntry> entries_;
        platform::FileHandle own_;     // a copy the thread closes once it is done
        platform::FileHandle opened_;  // opened by the thread, until the walk takes it
        int folder_ = -1;              // own_'s, opened_'s or the kept one
        // folder_ stays open for as long as the thread holds the listing (kept by the walk to
        // the end, or opened_), so the thread may open the folders listed in it.
        bool lasting_ = false;
        platform::Attributes folderAttributes_;
        std::size_t nextFolder_ = 0;  // the thread's place in the search for folders to list
        // Where the search for folders to list goes on once this listing has none left: the
        // number of entered_ listings below the next one worth a look. Guarded by the mutex.
        std::size_t below_ = 0;
        std::unique_ptr<Slot[]> slots_;
        // The thread reads from the last entry down while the walk goes up from the first,
        // so they meet once instead of taking turns entry by entry; both are touched by the
        // thread alone.
        std::size_t end_ = 0;  // entries from here on are read
        bool met_ = false;     // the thread reached an entry the walk had taken
        bool read() const { return met_ || end_ == 0; }
        // In entered_: the thread lists its folders ahead, with its descriptor. Guarded by
        // the mutex.
        bool entered_ = false;
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
    // For an entry of parent listed as a folder: the folder as the thread opened and listed
    // it, or null when it did not (the walk then does it itself). Either way the thread
    // leaves the entry alone from then on.
    std::shared_ptr<Listing> takeFolder(Listing& parent, std::size_t index);
    // The walk has entered a folder the thread listed: the thread reads for it as for one
    // the walk listed itself.
    void enter(const std::shared_ptr<Listing>& listing);
    // The walk has left the folder, or will not enter it: nothing more is read for it.
    void leave(Listing& listing);

private:
    struct Place {
        std::shared_ptr<Listing> parent;
        std::size_t index;
    };
    void work();
    // The next entry listed as a folder that the walk will reach, in the folders it is in,
    // innermost first; claimed for the thread. Called with the mutex held.
    bool nextFolder(Place& place);
    void pushEntered(const std::shared_ptr<Listing>& listing);
    // listings_ gains one, to read for. Called with the mutex held.
    void holdFor(const std::shared_ptr<Listing>& listing);
    // Closes the thread's own descriptor of the listing, if it holds one. Called with the mutex
    // held, on the thread (it may be reading with it).
    void release(Listing& listing);
    void listAhead(const Place& place);
    // Reads attributes from the end of listing towards the walk, one stride of them.
    static void readStride(Listing& listing);

    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<std::shared_ptr<Listing>> listings_;  // the walk's, to read for, newest last
    std::vector<std::shared_ptr<Listing>> ahead_;     // listed ahead, to be entered in turn
    std::vector<std::shared_ptr<Listing>> entered_;   // the walk's folders, innermost last
    std::size_t listedAhead_ = 0;  // folders listed ahead that the walk has not taken yet
    std::size_t owned_ = 0;        // listings holding a descriptor of the thread's own
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace kelvora
