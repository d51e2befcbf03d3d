// Reading and atomic replacement of profile files.
#include "profiles/ProfileFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>

#include "platform/FileSystem.h"
#include "platform/TextFile.h"
#include "profiles/ProfileText.h"

namespace kelvora {

namespace {

// Where the new contents go: through a link to the file it names, so the link survives.
std::string resolvedTarget(const std::string& path) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
    std::array<char, PATH_MAX> resolved;
    return ::realpath(path.c_str(), resolved.data()) != nullptr ? resolved.data() : path;
}

std::string folderOf(const std::string& path) {
    const std::string folder = platform::deletingLastPathComponent(path);
    return folder.empty() ? "." : folder;
}

// A new, hidden file in the folder; its name is short so that it fits wherever the target's
// name does. Returns the descriptor (or -1 with errno set) and the file's path.
int createTemporary(const std::string& folder, std::string& path) {
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
        path = platform::appendingPathComponent(
            folder, ".kvr-save-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(fd, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            if (count == 0) errno = EIO;
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// Makes the rename itself survive a power cut; a failure here loses nothing already written.
void syncFolder(const std::string& folder) {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

std::optional<std::string> replaceFile(const std::string& target, std::string_view text) {
    const std::string folder = folderOf(target);
    std::string temporary;
    const int fd = createTemporary(folder, temporary);
    if (fd < 0) return platform::errorDescription(target, errno);

    struct stat existing;
    if (::stat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) {
        ::fchmod(fd, existing.st_mode & 07777);
    }
    int error = 0;
    if (!writeAll(fd, text) || ::fsync(fd) != 0) error = errno;
    if (::close(fd) != 0 && error == 0) error = errno;
    if (error == 0 && ::rename(temporary.c_str(), target.c_str()) != 0) error = errno;
    if (error != 0) {
        ::unlink(temporary.c_str());
        return platform::errorDescription(target, error);
    }
    syncFolder(folder);
    return std::nullopt;
}

}  // namespace

platform::Result<Profile> loadProfile(const std::string& path) {
    platform::Result<std::string> bytes =
        platform::readSmallTextFile(path, kMaximumProfileBytes, "a profile");
    if (!bytes) return platform::Result<Profile>::failure(bytes.error());
    platform::Result<Profile> profile = parseProfile(*bytes);
    if (!profile) return platform::Result<Profile>::failure("\"" + path + "\": " + profile.error());
    return profile;
}

std::optional<std::string> saveProfile(const std::string& path, const Profile& profile) {
    if (const std::optional<std::string> reason = unwritableReason(profile)) {
        return "\"" + path + "\": " + *reason;
    }
    return replaceFile(resolvedTarget(path), profileText(profile));
}

}  // namespace kelvora
