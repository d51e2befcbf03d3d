// The lanes run in lockstep, a few blocks at a time; a lane whose stream is done (or has
// failed) takes the next job at once, so the lanes stay full while jobs are left.
#include "platform/Md5Streams.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include "platform/Md5Lanes.h"
#include "platform/Memory.h"
#include "platform/ReadMeter.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kBlock = Md5Lanes::kBlockSize;
constexpr std::size_t kChunk = 64 * 1024;

struct Lane {
    Md5Streams::Job* job = nullptr;
    FileHandle file;
    std::unique_ptr<unsigned char[]> buffer;  // for files: a chunk and a partial block
    const unsigned char* at = nullptr;        // the next bytes to hash
    std::size_t left = 0;                     // how many there are
    std::uint64_t taken = 0;                  // bytes of the stream read (or at hand) so far
    bool endSeen = false;                     // a read came back short: the file ends there
    bool inTail = false;                      // at is the padded last block or two
    std::array<unsigned char, 2 * kBlock> tail{};
};

bool start(Lane& lane, Md5Streams::Job& job) {
    lane.job = &job;
    lane.inTail = false;
    if (job.path == nullptr) {
        lane.at = job.data;
        lane.left = static_cast<std::size_t>(job.length);
        lane.taken = job.length;
        return true;
    }
    // No type check: a folder fails its first read, and a pipe or device put in the file's
    // place (O_NONBLOCK: never waited on) gives other than exactly length bytes; either way
    // the caller's ordinary read meets it again and says what it is.
    lane.file =
        FileHandle(::openat(job.folder, job.path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!lane.file.valid()) return false;
    if (!lane.buffer) {
        lane.buffer = populatedArray<unsigned char>(kChunk + kBlock);
    }
    lane.at = lane.buffer.get();
    lane.left = 0;
    lane.taken = 0;
    lane.endSeen = false;
    return true;
}

// The marker bit, zeros, and the length in bits, least significant byte first, after the
// stream's last partial block: one block, or two when they do not fit in one.
void pad(Lane& lane) {
    const std::size_t partial = lane.left;
    const std::size_t length = partial < kBlock - 8 ? kBlock : 2 * kBlock;
    lane.tail.fill(0);
    if (partial > 0) std::memcpy(lane.tail.data(), lane.at, partial);
    lane.tail[partial] = 0x80;
    const std::uint64_t bits = lane.job->length * 8;
    for (std::size_t i = 0; i < 8; ++i) {
        lane.tail[length - 8 + i] = static_cast<unsigned char>(bits >> (8 * i));
    }
    lane.at = lane.tail.data();
    lane.left = length;
    lane.inTail = true;
}

// Makes at least one whole block ready. False when the stream failed: the file could not be
// read, or ended before or after the length it should have.
bool refill(Lane& lane, ReadTally& tally) {
    if (lane.left >= kBlock || lane.inTail) return true;
    Md5Streams::Job& job = *lane.job;
    if (job.path != nullptr) {
        unsigned char* buffer = lane.buffer.get();
        std::memmove(buffer, lane.at, lane.left);
        std::size_t have = lane.left;
        while (have < kBlock && lane.taken < job.length) {
            const std::size_t room = kChunk + kBlock - have;
            const std::uint64_t remaining = job.length - lane.taken;
            // The last read asks for one byte more than is left: a file that grew since gives
            // it, and one that gives less has shown where it ends without another read.
            const std::size_t want =
                remaining < room ? static_cast<std::size_t>(remaining) + 1 : room;
            const long got = readSome(lane.file.get(), buffer + have, want);
            if (got <= 0 || static_cast<std::uint64_t>(got) > remaining) return false;
            if (want > remaining && static_cast<std::uint64_t>(got) == remaining)
                lane.endSeen = true;
            have += static_cast<std::size_t>(got);
            lane.taken += static_cast<std::uint64_t>(got);
            tally.add(static_cast<std::uint64_t>(got));
        }
        lane.at = buffer;
        lane.left = have;
        if (have >= kBlock) return true;
        // All of it is in; a file that grew since has more to give.
        unsigned char probe = 0;
        if (!lane.endSeen && readSome(lane.file.get(), &probe, 1) != 0) return false;
        lane.file.reset();
    }
    pad(lane);
    return true;
}

}  // namespace

bool Md5Streams::available() {
    return Md5Lanes::available();
}

void Md5Streams::run(std::span<Job> jobs, const std::atomic<bool>* canceled) {
    for (Job& job : jobs) job.ok = false;
    Md5Lanes lanes(Md5Lanes::kLanes);
    // Kept from one run to the next on each thread: a search runs this once per batch of
    // files, and fresh buffers would each cost their pages again.
    thread_local std::array<Lane, Md5Lanes::kLanes> lane;
    for (Lane& each : lane) {
        each.job = nullptr;
        each.file.reset();
    }
    ReadTally tally;
    std::size_t next = 0;
    // Gives the lane the next job that has a block ready, or leaves it idle.
    const auto assign = [&](std::size_t index) {
        Lane& into = lane[index];
        into.job = nullptr;
        into.file.reset();
        while (next < jobs.size()) {
            Job& job = jobs[next++];
            if (start(into, job) && refill(into, tally)) {
                lanes.restartLane(index);
                return;
            }
            into.job = nullptr;
            into.file.reset();
        }
    };
    for (std::size_t index = 0; index < lane.size(); ++index) assign(index);
    for (;;) {
        if (canceled != nullptr && canceled->load()) return;
        std::size_t count = std::numeric_limits<std::size_t>::max();
        const unsigned char* busy = nullptr;
        for (const Lane& each : lane) {
            if (each.job == nullptr) continue;
            count = std::min(count, each.left / kBlock);
            busy = each.at;
        }
        if (busy == nullptr) return;
        // Idle lanes hash a busy lane's bytes; their state is started over with their next job.
        const unsigned char* blocks[Md5Lanes::kLanes];
        for (std::size_t index = 0; index < lane.size(); ++index) {
            blocks[index] = lane[index].job != nullptr ? lane[index].at : busy;
        }
        lanes.compressBlocks(blocks, count);
        for (std::size_t index = 0; index < lane.size(); ++index) {
            Lane& each = lane[index];
            if (each.job == nullptr) continue;
            each.at += count * kBlock;
            each.left -= count * kBlock;
            if (each.inTail && each.left == 0) {
                each.job->digest = lanes.laneDigest(index);
                each.job->ok = true;
                assign(index);
            } else if (!refill(each, tally)) {
                assign(index);
            }
        }
    }
}

}  // namespace kelvora::platform
