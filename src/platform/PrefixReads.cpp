// Batched prefix reads through io_uring: each file is an open into a registered slot, one or
// two reads from the slot and a close, chained so that the close always runs; the whole batch
// goes to the kernel in one call.
#include "platform/PrefixReads.h"

#include <fcntl.h>
#include <liburing.h>

#include <array>
#include <cerrno>
#include <mutex>

namespace kelvora::platform {

namespace {

enum Step : std::uint64_t { Open = 0, Read = 1, SizeProbe = 2, Close = 3, StepCount = 4 };

// A ring's memory is mapped and unmapped by the ring library's own system calls, which the
// thread checker does not see: a ring set up where another thread's ring was just taken down
// looked like two threads writing the same bytes. Setting rings up and taking them down one at
// a time orders the one before the other, as the kernel does; it happens once per worker.
std::mutex& ringsMapped() {
    static std::mutex mutex;
    return mutex;
}

}  // namespace

struct PrefixReads::Ring {
    io_uring ring{};
    // The size probe reads two bytes from one before the expected end: exactly one comes back
    // when the size is still the expected one.
    std::array<std::array<char, 2>, kBatch> probes{};
};

PrefixReads::PrefixReads(bool enabled) {
    if (!enabled) return;
    auto ring = std::make_unique<Ring>();
    constexpr unsigned kEntries = kBatch * StepCount;
    std::lock_guard lock(ringsMapped());
    // The newer flags only spare the kernel some work; older kernels refuse them.
    if (io_uring_queue_init(kEntries, &ring->ring,
                            IORING_SETUP_SINGLE_ISSUER | IORING_SETUP_COOP_TASKRUN) < 0 &&
        io_uring_queue_init(kEntries, &ring->ring, 0) < 0) {
        return;
    }
    if (io_uring_register_files_sparse(&ring->ring, kBatch) < 0) {
        io_uring_queue_exit(&ring->ring);
        return;
    }
    ring_ = std::move(ring);
}

PrefixReads::~PrefixReads() {
    abandon();
}

void PrefixReads::abandon() {
    if (!ring_) return;
    std::lock_guard lock(ringsMapped());
    io_uring_queue_exit(&ring_->ring);
    ring_.reset();
}

void PrefixReads::read(std::span<Item> items) {
    for (Item& item : items) item.ok = false;
    if (!ring_ || items.empty() || items.size() > kBatch) return;
    io_uring* ring = &ring_->ring;
    unsigned submitted = 0;
    const auto queue = [&](io_uring_sqe* sqe, std::size_t index, Step step, bool linked) {
        sqe->user_data = index * StepCount + step;
        // Hard links run the rest of the chain whatever a step gave, so the slot is always
        // closed again; a failed open just makes the reads fail too.
        if (linked) sqe->flags |= IOSQE_IO_HARDLINK;
        ++submitted;
    };
    for (std::size_t i = 0; i < items.size(); ++i) {
        Item& item = items[i];
        const auto slot = static_cast<unsigned>(i);
        const bool whole = item.expectedSize <= item.length;
        // O_NONBLOCK: a named pipe put in a file's place must not wait for a writer; it then
        // reads nothing and fails the size checks.
        io_uring_sqe* open = io_uring_get_sqe(ring);
        io_uring_prep_openat_direct(open, item.folder, item.path, O_RDONLY | O_NONBLOCK | O_NOCTTY,
                                    0, slot);
        queue(open, i, Open, true);
        io_uring_sqe* read = io_uring_get_sqe(ring);
        // A file read whole asks for one byte more than expected, which only a grown file has.
        io_uring_prep_read(read, static_cast<int>(slot), item.buffer,
                           whole ? static_cast<unsigned>(item.expectedSize) + 1 : item.length, 0);
        read->flags |= IOSQE_FIXED_FILE;
        queue(read, i, Read, true);
        if (!whole) {
            io_uring_sqe* probe = io_uring_get_sqe(ring);
            io_uring_prep_read(probe, static_cast<int>(slot), ring_->probes[i].data(), 2,
                               item.expectedSize - 1);
            probe->flags |= IOSQE_FIXED_FILE;
            queue(probe, i, SizeProbe, true);
        }
        io_uring_sqe* close = io_uring_get_sqe(ring);
        io_uring_prep_close_direct(close, slot);
        queue(close, i, Close, false);
    }

    std::array<std::array<int, StepCount>, kBatch> results{};
    int sent = 0;
    do {
        sent = io_uring_submit_and_wait(ring, submitted);
    } while (sent == -EINTR);
    if (sent < 0) {
        // The ring's state is unknown: give it up, the ordinary reads take over for good.
        abandon();
        return;
    }
    for (unsigned seen = 0; seen < submitted;) {
        io_uring_cqe* cqe = nullptr;
        const int waited = io_uring_wait_cqe(ring, &cqe);
        if (waited == -EINTR) continue;
        if (waited < 0) {
            abandon();
            return;
        }
        const std::uint64_t index = cqe->user_data / StepCount;
        results[index][cqe->user_data % StepCount] = cqe->res;
        io_uring_cqe_seen(ring, cqe);
        ++seen;
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
        Item& item = items[i];
        const auto& got = results[i];
        if (got[Open] < 0) continue;
        if (item.expectedSize <= item.length) {
            item.ok = static_cast<std::uint64_t>(got[Read]) == item.expectedSize;
        } else {
            item.ok = got[Read] == static_cast<int>(item.length) && got[SizeProbe] == 1;
        }
        if (item.ok) item.bytes = static_cast<std::uint32_t>(got[Read]);
    }
}

}  // namespace kelvora::platform
