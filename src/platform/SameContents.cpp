// Byte-for-byte comparison of files and folder trees through descriptors.
#include "platform/SameContents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/FileSystem.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kChunk = 1 << 20;
// Trees deeper than this are refused rather than compared: no package nests so far, and the
// comparison recurses.
constexpr int kDeepestTree = 256;

Result<bool> failure(const std::string& path, int error) {
    return Result<bool>::failure(errorDescription(path, error));
}

// Fills the buffer from offset on, as far as the file goes: the bytes read, or -1.
long readAt(int fd, char* buffer, std::size_t length, off_t offset) {
    std::size_t have = 0;
    while (have < length) {
        const ssize_t got =
            ::pread(fd, buffer + have, length - have, offset + static_cast<off_t>(have));
        if (got < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        if (got == 0) break;
        have += static_cast<std::size_t>(got);
    }
    return static_cast<long>(have);
}

struct Side {
    int fd;
    const std::string& path;
};

Result<bool> sameTreeAt(Side a, Side b, const std::atomic<bool>* stop, int depth);

// Two entries of the same name, one in each folder.
Result<bool> sameEntry(Side a, Side b, const std::string& name, const std::atomic<bool>* stop,
                       int depth) {
    const std::string pathA = appendingPathComponent(a.path, name);
    const std::string pathB = appendingPathComponent(b.path, name);
    struct stat stA, stB;
    if (::fstatat(a.fd, name.c_str(), &stA, AT_SYMLINK_NOFOLLOW) != 0) return failure(pathA, errno);
    if (::fstatat(b.fd, name.c_str(), &stB, AT_SYMLINK_NOFOLLOW) != 0) return failure(pathB, errno);
    if ((stA.st_mode & S_IFMT) != (stB.st_mode & S_IFMT)) return false;
    if (S_ISLNK(stA.st_mode)) {
        std::string targetA(PATH_MAX, '\0'), targetB(PATH_MAX, '\0');
        const ssize_t lengthA = ::readlinkat(a.fd, name.c_str(), targetA.data(), targetA.size());
        if (lengthA < 0) return failure(pathA, errno);
        const ssize_t lengthB = ::readlinkat(b.fd, name.c_str(), targetB.data(), targetB.size());
        if (lengthB < 0) return failure(pathB, errno);
        return targetA.substr(0, static_cast<std::size_t>(lengthA)) ==
               targetB.substr(0, static_cast<std::size_t>(lengthB));
    }
    if (!S_ISDIR(stA.st_mode) && !S_ISREG(stA.st_mode)) return true;  // pipes hold no bytes
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC |
                      (S_ISDIR(stA.st_mode) ? O_DIRECTORY : 0);
    FileHandle fdA(::openat(a.fd, name.c_str(), flags));
    if (!fdA.valid()) return failure(pathA, errno);
    FileHandle fdB(::openat(b.fd, name.c_str(), flags));
    if (!fdB.valid()) return failure(pathB, errno);
    if (S_ISDIR(stA.st_mode))
        return sameTreeAt({fdA.get(), pathA}, {fdB.get(), pathB}, stop, depth + 1);
    if (stA.st_size != stB.st_size) return false;
    return sameBytes(fdA.get(), fdB.get(), pathA, pathB, stop);
}

Result<bool> sameTreeAt(Side a, Side b, const std::atomic<bool>* stop, int depth) {
    if (depth > kDeepestTree) return failure(a.path, ELOOP);
    const auto entriesA = listFolderAt(a.fd, a.path);
    if (!entriesA) return Result<bool>::failure(entriesA.error());
    const auto entriesB = listFolderAt(b.fd, b.path);
    if (!entriesB) return Result<bool>::failure(entriesB.error());
    if (entriesA->size() != entriesB->size()) return false;
    for (std::size_t i = 0; i < entriesA->size(); ++i) {
        if ((*entriesA)[i].name != (*entriesB)[i].name) return false;
    }
    for (const FolderEntry& entry : *entriesA) {
        const auto same = sameEntry(a, b, entry.name, stop, depth);
        if (!same || !*same) return same;
    }
    return true;
}

}  // namespace

Result<bool> sameBytes(int first, int second, const std::string& firstPath,
                       const std::string& secondPath, const std::atomic<bool>* stop) {
    // One pair of buffers per thread: a cleaning compares thousands of copies in a row.
    thread_local const std::unique_ptr<char[]> left =
        std::make_unique_for_overwrite<char[]>(kChunk);
    thread_local const std::unique_ptr<char[]> right =
        std::make_unique_for_overwrite<char[]>(kChunk);
    ::posix_fadvise(first, 0, 0, POSIX_FADV_SEQUENTIAL);
    ::posix_fadvise(second, 0, 0, POSIX_FADV_SEQUENTIAL);
    for (off_t offset = 0;; offset += static_cast<off_t>(kChunk)) {
        if (stop != nullptr && stop->load(std::memory_order_relaxed))
            return failure(firstPath, EINTR);
        const long gotLeft = readAt(first, left.get(), kChunk, offset);
        if (gotLeft < 0) return failure(firstPath, errno);
        const long gotRight = readAt(second, right.get(), kChunk, offset);
        if (gotRight < 0) return failure(secondPath, errno);
        if (gotLeft != gotRight) return false;
        if (std::memcmp(left.get(), right.get(), static_cast<std::size_t>(gotLeft)) != 0)
            return false;
        if (static_cast<std::size_t>(gotLeft) < kChunk) return true;
    }
}

Result<bool> sameTree(int first, int second, const std::string& firstPath,
                      const std::string& secondPath, const std::atomic<bool>* stop) {
    return sameTreeAt({first, firstPath}, {second, secondPath}, stop, 0);
}

}  // namespace kelvora::platform
