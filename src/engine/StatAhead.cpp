// The attribute reads ahead of the walk. An entry's slot is claimed by whoever gets to it
// first, the thread or the walk, so the walk never waits for an entry nobody is reading.
#include "engine/StatAhead.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>

namespace kelvora {

namespace {

// Entries read between two looks for a newer listing, the one the walk has moved into.
constexpr std::size_t kStride = 32;
// Listings the thread holds a descriptor for. A deep tree's older folders are left to the
// walk, which keeps its own descriptors within its own budget.
constexpr std::size_t kHeldListings = 32;

}  // namespace

StatAhead::Listing::Listing(std::vector<platform::FolderEntry> entries, platform::FileHandle folder,
                            int kept)
    : entries_(std::move(entries)),
      own_(std::move(folder)),
      folder_(own_.valid() ? own_.get() : kept),
      slots_(std::make_unique<Slot[]>(entries_.size())),
      end_(entries_.size()) {
    if (folder_ < 0) done_ = true;
}

bool StatAhead::Listing::wanted(std::size_t index) const {
    const platform::FolderEntry& entry = entries_[index];
    return entry.type != DT_DIR && entry.name[0] != '.';
}

int StatAhead::Listing::attributes(std::size_t index, int walkFolder,
                                   platform::Attributes& attributes) {
    Slot& slot = slots_[index];
    std::uint8_t state = Free;
    if (slot.state.compare_exchange_strong(state, Taken, std::memory_order_acq_rel)) {
        return platform::statAt(walkFolder, entries_[index].name.c_str(), false, attributes);
    }
    while (state == Reading) {
        slot.state.wait(Reading, std::memory_order_acquire);
        state = slot.state.load(std::memory_order_acquire);
    }
    attributes = slot.attributes;
    return slot.error;
}

StatAhead::StatAhead() : thread_([this] { work(); }) {}

StatAhead::~StatAhead() {
    {
        std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

std::shared_ptr<StatAhead::Listing> StatAhead::add(std::vector<platform::FolderEntry> entries,
                                                   int folder, int kept) {
    // Without a descriptor (out of them) the walk reads every entry itself.
    platform::FileHandle own;
    if (kept < 0) own = platform::FileHandle(::fcntl(folder, F_DUPFD_CLOEXEC, 0));
    auto listing = std::make_shared<Listing>(std::move(entries), std::move(own), kept);
    if (!listing->done_.load()) {
        {
            std::lock_guard lock(mutex_);
            if (listings_.size() >= kHeldListings) listings_.front()->done_ = true;
            listings_.push_back(listing);
        }
        wake_.notify_one();
    }
    return listing;
}

void StatAhead::leave(Listing& listing) {
    listing.done_.store(true, std::memory_order_relaxed);
}

void StatAhead::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        // Listings the walk has left, or that are read to the end, are dropped with their
        // descriptors (only this thread uses them); the thread then turns to the newest one.
        std::erase_if(listings_, [](const std::shared_ptr<Listing>& listing) {
            const bool finished = listing->done_.load(std::memory_order_relaxed) || listing->met_ ||
                                  listing->end_ == 0;
            if (finished) {
                listing->own_.reset();
                listing->folder_ = -1;
            }
            return finished;
        });
        if (stop_) return;
        if (listings_.empty()) {
            wake_.wait(lock);
            continue;
        }
        const std::shared_ptr<Listing> listing = listings_.back();
        lock.unlock();
        for (std::size_t count = 0; count < kStride && !listing->done_.load(); ++count) {
            if (listing->end_ == 0) break;
            const std::size_t index = --listing->end_;
            if (!listing->wanted(index)) continue;
            Listing::Slot& slot = listing->slots_[index];
            std::uint8_t state = Listing::Free;
            if (!slot.state.compare_exchange_strong(state, Listing::Reading,
                                                    std::memory_order_acq_rel)) {
                // The walk got there first: it has taken every entry below as well.
                listing->met_ = true;
                break;
            }
            slot.error = platform::statAt(listing->folder_, listing->entries_[index].name.c_str(),
                                          false, slot.attributes);
            slot.state.store(Listing::Ready, std::memory_order_release);
            slot.state.notify_one();
        }
        lock.lock();
    }
}

}  // namespace kelvora
