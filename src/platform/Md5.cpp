// MD5 with GLib's checksums. OpenSSL's EVP interface cost more memory than any other part of a
// small search: 1.4 MiB of relocations and symbol tables at every start, and 1.8 MiB more for
// its configuration and providers on the first digest. GLib is opened anyway for the defaults
// file, and its MD5 is within a tenth of OpenSSL's speed; the many files are hashed on SIMD
// lanes (Md5Streams) either way.
#include "platform/Md5.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/GLib.h"
#include "platform/ReadMeter.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kBufferSize = 256 * 1024;

struct ChecksumFree {
    void operator()(GChecksum* checksum) const { glib().checksumFree(checksum); }
};
using Checksum = std::unique_ptr<GChecksum, ChecksumFree>;

Checksum newChecksum() {
    return Checksum(glib().checksumNew(G_CHECKSUM_MD5));
}

void update(GChecksum* checksum, const void* data, std::size_t length) {
    glib().checksumUpdate(checksum, static_cast<const guchar*>(data), static_cast<gssize>(length));
}

Md5Digest finish(GChecksum* checksum) {
    Md5Digest digest{};
    gsize length = digest.size();
    glib().checksumGetDigest(checksum, digest.data(), &length);
    return digest;
}

}  // namespace

Md5Digest md5OfBytes(const void* data, std::size_t length) {
    const Checksum checksum = newChecksum();
    update(checksum.get(), data, length);
    return finish(checksum.get());
}

// Opens a regular file for reading. O_NONBLOCK: opening a named pipe must not wait for a
// writer; the type check refuses it before any read.
Result<FileHandle> openRegularFile(const std::string& path) {
    auto opened = openPath(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!opened) return opened;
    struct stat st;
    if (::fstat(opened->get(), &st) != 0)
        return Result<FileHandle>::failure(errorDescription(path, errno));
    if (S_ISDIR(st.st_mode)) return Result<FileHandle>::failure(errorDescription(path, EISDIR));
    if (!S_ISREG(st.st_mode))
        return Result<FileHandle>::failure("\"" + path + "\": not a regular file");
    return opened;
}

// Reads into buffer; the number of bytes read, or -1 with errno set.
long readSome(int fd, void* buffer, std::size_t length) {
    for (;;) {
        const ssize_t got = ::read(fd, buffer, length);
        if (got >= 0 || errno != EINTR) return got;
    }
}

Result<Md5Digest> md5OfFile(const std::string& path, const std::atomic<bool>* canceled,
                            std::uint64_t* bytesRead) {
    auto opened = openRegularFile(path);
    if (!opened) return Result<Md5Digest>::failure(opened.error());
    const int fd = opened->get();
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    const Checksum checksum = newChecksum();
    thread_local std::vector<unsigned char> buffer(kBufferSize);
    ReadTally tally;
    for (;;) {
        if (canceled != nullptr && canceled->load()) return Result<Md5Digest>::failure("canceled");
        const ssize_t got = readSome(fd, buffer.data(), buffer.size());
        if (got == 0) break;
        if (got < 0) return Result<Md5Digest>::failure(errorDescription(path, errno));
        update(checksum.get(), buffer.data(), static_cast<std::size_t>(got));
        tally.add(static_cast<std::uint64_t>(got));
        if (bytesRead != nullptr) *bytesRead += static_cast<std::uint64_t>(got);
    }
    return finish(checksum.get());
}

Result<std::string> readPrefix(const std::string& path, std::size_t maxBytes,
                               std::uint64_t* fileSize) {
    auto opened = openRegularFile(path);
    if (!opened) return Result<std::string>::failure(opened.error());
    if (fileSize != nullptr) {
        struct stat st;
        *fileSize = ::fstat(opened->get(), &st) == 0 ? static_cast<std::uint64_t>(st.st_size) : 0;
    }
    std::string bytes(maxBytes, '\0');
    std::size_t have = 0;
    while (have < maxBytes) {
        const ssize_t got = readSome(opened->get(), bytes.data() + have, maxBytes - have);
        if (got < 0) return Result<std::string>::failure(errorDescription(path, errno));
        if (got == 0) break;
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

std::string base64(const Md5Digest& digest) {
    gchar* text = glib().base64Encode(digest.data(), digest.size());
    std::string copy(text);
    glib().free(text);
    return copy;
}

}  // namespace kelvora::platform
