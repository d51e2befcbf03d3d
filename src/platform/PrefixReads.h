// Reads the first bytes of many files with a handful of system calls per batch instead of
// four per file. Telling same-size files apart means opening nearly every one of them, and
// on a virtual machine each system call costs about a microsecond before it does anything.
#pragma once

#include <fcntl.h>

#include <cstdint>
#include <memory>
#include <span>

namespace kelvora::platform {

class PrefixReads {
public:
    struct Item {
        // NUL-terminated, shorter than the system's path limit; relative to folder.
        const char* path = nullptr;
        int folder = AT_FDCWD;
        std::uint64_t expectedSize = 0;
        // Bytes wanted from the start. A file no longer than this is read whole.
        std::uint32_t length = 0;
        char* buffer = nullptr;  // room for length + 1 bytes
        // Out: the file opened, gave the bytes wanted, and still has its expected size. When
        // false, nothing is said about the file: the caller reads it the ordinary way, which
        // reports whatever went wrong.
        bool ok = false;
        std::uint32_t bytes = 0;  // out, when ok: bytes in buffer
    };
    static constexpr std::size_t kBatch = 64;

    // Without the kernel's batched interface (disabled, refused by a sandbox, too old a
    // kernel) every read reports not ok and the caller's ordinary reads do all the work.
    explicit PrefixReads(bool enabled = true);
    ~PrefixReads();
    PrefixReads(const PrefixReads&) = delete;
    PrefixReads& operator=(const PrefixReads&) = delete;

    bool active() const { return ring_ != nullptr; }
    // At most kBatch items.
    void read(std::span<Item> items);

private:
    struct Ring;
    void abandon();
    std::unique_ptr<Ring> ring_;
};

}  // namespace kelvora::platform
