// The attribute reads and folder listings ahead of the walk. An entry's slot is claimed by
// whoever gets to it first, the thread or the walk, so the walk never waits for an entry
// nobody is reading.
#include "engine/StatAhead.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <chrono>

namespace kelvora {

namespace {

// Entries read between two looks for a newer listing, the one the walk has moved into, and
// for a folder to list ahead: the walk waits for the next folder's listing while the thread
// finishes its stride (a 200,000-file tree: walked in 0.37 s with 8, 0.39 s with 32).
constexpr std::size_t kStride = 8;
// Listings the thread reads for, and descriptors of its own it holds open (copies of the walk's,
// and the folders it listed ahead once the walk is in them). A deep tree's older folders are
// left to the walk, which keeps its own descriptors within its own budget, and while the thread
// is behind (off its core), the walk's next folders get no copy: what the process holds stays
// within what the walk counts on however far ahead of the thread it runs.
constexpr std::size_t kHeldListings = 32;
// Folders listed ahead of the walk and not yet reached by it: enough to have the next one
// ready whenever the walk leaves a folder, few enough that a walk that goes elsewhere (a
// canceled one, or several chosen folders walked in turn) wastes little.
constexpr std::size_t kListedAhead = 2;

// The thread holds a slot for one attribute read or one folder listing: a few microseconds
// to a few tens when the tree is in memory, while it runs on the other core. The walk waits
// for it by watching the slot: going to sleep and being woken costs more than the listing
// (a 200,000-file tree: the walk slept 3,900 times, 250 ms in all). A slot held longer (a
// disk read, a huge folder, a thread that lost its core) is waited for asleep.
void pauseForOtherCore() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

std::uint8_t waitWhileReading(std::atomic<std::uint8_t>& state) {
    constexpr auto kWatch = std::chrono::microseconds(50);
    constexpr int kPausesPerLook = 32;
    std::uint8_t now = state.load(std::memory_order_acquire);
    const auto until = std::chrono::steady_clock::now() + kWatch;
    while (now == StatAhead::Listing::Reading && std::chrono::steady_clock::now() < until) {
        for (int pause = 0; pause < kPausesPerLook && now == StatAhead::Listing::Reading; ++pause) {
            pauseForOtherCore();
            now = state.load(std::memory_order_acquire);
        }
    }
    while (now == StatAhead::Listing::Reading) {
        state.wait(now, std::memory_order_acquire);
        now = state.load(std::memory_order_acquire);
    }
    return now;
}

}  // namespace

StatAhead::Listing::Listing(std::vector<platform::FolderEntry> entries, platform::FileHandle folder,
                            int kept)
    : entries_(std::move(entries)),
      own_(std::move(folder)),
      folder_(own_.valid() ? own_.get() : kept),
      lasting_(kept >= 0 && !own_.valid()),
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
    if (state == Reading) state = waitWhileReading(slot.state);
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
    std::unique_lock lock(mutex_);
    // Without a descriptor (out of them, or the thread holding all it may) the walk reads
    // every entry itself.
    platform::FileHandle own;
    if (kept < 0 && owned_ < kHeldListings) {
        own = platform::FileHandle(::fcntl(folder, F_DUPFD_CLOEXEC, 0));
        if (own.valid()) ++owned_;
    }
    auto listing = std::make_shared<Listing>(std::move(entries), std::move(own), kept);
    if (listing->done_.load()) return listing;
    holdFor(listing);
    if (listing->lasting_) pushEntered(listing);
    lock.unlock();
    wake_.notify_one();
    return listing;
}

void StatAhead::holdFor(const std::shared_ptr<Listing>& listing) {
    if (listings_.size() >= kHeldListings) listings_.front()->done_ = true;
    listings_.push_back(listing);
}

void StatAhead::release(Listing& listing) {
    if (!listing.own_.valid()) return;
    listing.own_.reset();
    listing.folder_ = -1;
    --owned_;
}

std::shared_ptr<StatAhead::Listing> StatAhead::takeFolder(Listing& parent, std::size_t index) {
    Listing::Slot& slot = parent.slots_[index];
    std::uint8_t state = Listing::Free;
    if (slot.state.compare_exchange_strong(state, Listing::Taken, std::memory_order_acq_rel)) {
        return nullptr;
    }
    if (state == Listing::Reading) state = waitWhileReading(slot.state);
    std::shared_ptr<Listing> listed = std::move(slot.folder);
    if (listed) {
        bool wake = false;
        {
            std::lock_guard lock(mutex_);
            wake = listedAhead_-- == kListedAhead;
        }
        if (wake) wake_.notify_one();
    }
    return listed;
}

void StatAhead::enter(const std::shared_ptr<Listing>& listing) {
    {
        std::lock_guard lock(mutex_);
        // Not kept by the walk: the descriptor the thread opened becomes its own, closed once
        // it has no more use for it, rather than staying open as long as the walk is inside.
        // It may be reading with it now, so only the thread closes it; past what it may hold,
        // it stops reading for this one and closes it on its next round.
        if (listing->opened_.valid()) {
            listing->own_ = std::move(listing->opened_);
            if (owned_++ >= kHeldListings) listing->done_ = true;
        }
        pushEntered(listing);
        std::erase(ahead_, listing);
        holdFor(listing);
    }
    wake_.notify_one();
}

void StatAhead::leave(Listing& listing) {
    listing.done_.store(true, std::memory_order_relaxed);
}

void StatAhead::pushEntered(const std::shared_ptr<Listing>& listing) {
    listing->below_ = entered_.size();
    listing->entered_ = true;
    entered_.push_back(listing);
}

bool StatAhead::nextFolder(Place& place) {
    // A listing passed here has no folder left to list, and never will again, so it points
    // past itself to where the search went on: in a deep tree, the folders the walk is in
    // would otherwise be searched from the innermost every time, which grows with the square
    // of the depth. Listings leave entered_ only from its end, so what they point to stays.
    std::size_t above = entered_.size();
    std::vector<Listing*> passed;
    bool found = false;
    while (above > 0 && !found) {
        const std::shared_ptr<Listing>& listing = entered_[above - 1];
        while (!listing->done_.load(std::memory_order_relaxed) &&
               listing->nextFolder_ < listing->entries_.size()) {
            const std::size_t index = listing->nextFolder_++;
            const platform::FolderEntry& entry = listing->entries_[index];
            // The walk never enters hidden folders.
            if (entry.type != DT_DIR || entry.name[0] == '.') continue;
            std::uint8_t state = Listing::Free;
            // Taken: the walk is there already, or past it.
            if (listing->slots_[index].state.compare_exchange_strong(state, Listing::Reading,
                                                                     std::memory_order_acq_rel)) {
                place = {listing, index};
                found = true;
                break;
            }
        }
        if (found) break;
        if (listing->done_.load(std::memory_order_relaxed) || listing->read()) release(*listing);
        passed.push_back(listing.get());
        above = listing->below_;
    }
    for (Listing* listing : passed) listing->below_ = above;
    return found;
}

void StatAhead::listAhead(const Place& place) {
    Listing& parent = *place.parent;
    Listing::Slot& slot = parent.slots_[place.index];
    // Anything that fails is left to the walk, which then meets the failure itself and
    // reports it as it always has. A link is never followed: an entry listed as a folder
    // that has become one since would lead wherever it points, unchecked.
    platform::FileHandle opened(
        ::openat(parent.folder_, parent.entries_[place.index].name.c_str(),
                 O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW));
    if (opened.valid()) {
        auto attributes = platform::attributesOf(opened.get(), {});
        auto entries = attributes
                           ? platform::listFolderAt(opened.get(), {})
                           : platform::Result<std::vector<platform::FolderEntry>>::failure({});
        if (entries) {
            auto listing = std::make_shared<Listing>(std::move(*entries), platform::FileHandle(),
                                                     opened.get());
            listing->opened_ = std::move(opened);
            listing->folderAttributes_ = *attributes;
            slot.folder = listing;
            std::lock_guard lock(mutex_);
            ++listedAhead_;
            ahead_.push_back(std::move(listing));
        }
    }
    slot.state.store(Listing::Ready, std::memory_order_release);
    slot.state.notify_one();
}

void StatAhead::readStride(Listing& listing) {
    for (std::size_t count = 0; count < kStride && !listing.done_.load(); ++count) {
        if (listing.end_ == 0) break;
        const std::size_t index = --listing.end_;
        if (!listing.wanted(index)) continue;
        Listing::Slot& slot = listing.slots_[index];
        std::uint8_t state = Listing::Free;
        if (!slot.state.compare_exchange_strong(state, Listing::Reading,
                                                std::memory_order_acq_rel)) {
            // The walk got there first: it has taken every entry below as well.
            listing.met_ = true;
            break;
        }
        slot.error = platform::statAt(listing.folder_, listing.entries_[index].name.c_str(), false,
                                      slot.attributes);
        slot.state.store(Listing::Ready, std::memory_order_release);
        slot.state.notify_one();
    }
}

void StatAhead::work() {
    // Listings the walk has left, or that are read to the end, are dropped. A descriptor of
    // the thread's own (only it uses one) goes with them, unless there are folders left in it
    // to list ahead: nextFolder closes it once it has passed them all.
    const auto finished = [this](const std::shared_ptr<Listing>& listing) {
        const bool left = listing->done_.load(std::memory_order_relaxed);
        const bool finished = left || listing->read();
        if (left || (finished &&
                     (!listing->entered_ || listing->nextFolder_ >= listing->entries_.size()))) {
            release(*listing);
        }
        return finished;
    };
    std::unique_lock lock(mutex_);
    for (;;) {
        std::erase_if(listings_, finished);
        std::erase_if(ahead_, finished);
        // The walk leaves the innermost folders first; one it stopped reading for further in
        // is passed over by nextFolder until the walk leaves the folders inside it.
        while (!entered_.empty() && entered_.back()->done_.load(std::memory_order_relaxed)) {
            release(*entered_.back());
            entered_.pop_back();
        }
        if (stop_) return;
        // First the next folders the walk will enter, so that they are ready when it leaves
        // the one it is in, then the folder it is in, then what it will find in the next.
        Place place;
        std::shared_ptr<Listing> listing;
        if (listedAhead_ < kListedAhead && nextFolder(place)) {
            lock.unlock();
            listAhead(place);
            lock.lock();
            continue;
        }
        if (!listings_.empty()) {
            listing = listings_.back();
        } else if (!ahead_.empty()) {
            listing = ahead_.front();
        } else {
            wake_.wait(lock);
            continue;
        }
        lock.unlock();
        readStride(*listing);
        lock.lock();
    }
}

}  // namespace kelvora
