// MD5 of up to eight streams of equal length at once, one stream per SIMD lane.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/Md5.h"

namespace kelvora::platform {

// Files are hashed in runs of equal size, so one core can carry several MD5 streams side by
// side: the rounds are serial within a stream but independent across streams.
class Md5Lanes {
public:
    static constexpr std::size_t kLanes = 8;
    static constexpr std::size_t kBlockSize = 64;

    // The code that runs the lanes. `fastest` is what this CPU supports best; the others are
    // there so tests and benchmarks can reach every one on a CPU that has them all.
    enum class Kernel { fastest, portable, avx2, avx512 };

    // True when this CPU can run the lanes (AVX2); callers use md5OfBytes otherwise.
    // Without AVX2 the class still gives the right digests, one lane after another, slowly.
    static bool available();
    static bool supports(Kernel kernel);

    explicit Md5Lanes(std::size_t lanes);  // 1..kLanes streams, all of the same length
    // A kernel this CPU does not support falls back to `fastest`.
    Md5Lanes(std::size_t lanes, Kernel kernel);

    // Feeds `length` more bytes to each stream: data[i] for stream i (only the first `lanes`
    // pointers are read). Any length, any number of calls; partial blocks are buffered.
    void update(const unsigned char* const* data, std::size_t length);

    // Pads, and returns one digest per stream (the first `lanes` entries are meaningful).
    // The object is spent afterwards: make a new one for the next run.
    std::array<Md5Digest, kLanes> finish();

    // For streams of different lengths, scheduled by the caller: whole blocks (padding
    // included) for every lane at once, a lane started over, and a lane's digest once its
    // last padded block is in.
    void compressBlocks(const unsigned char* const* blocks, std::size_t count) {
        compress(blocks, count);
    }
    void restartLane(std::size_t lane);
    Md5Digest laneDigest(std::size_t lane) const;

private:
    using Words = std::array<std::uint32_t, kLanes>;  // one 32-bit word of every lane

    void compress(const unsigned char* const* blocks, std::size_t count);

    alignas(32) std::array<Words, 4> state_;
    std::array<std::array<unsigned char, kBlockSize>, kLanes> pending_{};
    std::size_t pendingLength_ = 0;
    std::uint64_t totalLength_ = 0;
    std::size_t lanes_;
    Kernel kernel_;
};

}  // namespace kelvora::platform
