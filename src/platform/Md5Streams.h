// MD5 of many streams of different lengths, side by side on the lanes of one core: most
// copies come in pairs, so lanes of equal length alone would rarely be full.
#pragma once

#include <fcntl.h>

#include <atomic>
#include <cstdint>
#include <span>

#include "platform/Md5.h"

namespace kelvora::platform {

class Md5Streams {
public:
    struct Job {
        // A regular file (path, relative to folder) expected to hold length bytes, or without
        // a path, bytes in memory (data, length; data may be null when length is 0).
        const unsigned char* data = nullptr;
        const char* path = nullptr;
        std::uint64_t length = 0;
        // Out: the digest of exactly length bytes. False when the file could not be opened or
        // read, or did not hold exactly length bytes, or the run was canceled: the caller then
        // reads it the ordinary way, which reports what went wrong.
        bool ok = false;
        Md5Digest digest{};
        int folder = AT_FDCWD;
    };

    // Worth it from this many jobs on; fewer run faster one after another.
    static constexpr std::size_t kWorthwhile = 3;
    // False when this processor has no vector lanes for it.
    static bool available();

    // Stops between blocks of reads once canceled is set.
    static void run(std::span<Job> jobs, const std::atomic<bool>* canceled = nullptr);
};

}  // namespace kelvora::platform
