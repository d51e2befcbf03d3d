// The one bounded reader of small text files.
#include "platform/TextFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>

#include "platform/FileSystem.h"

namespace kelvora::platform {

namespace {

using Outcome = Result<std::string>;

// Looked at before the open as well as after it: opening some devices already does something
// (a tape rewinds, a terminal becomes ours), and the check after the open covers a file
// replaced in between.
std::optional<std::string> refusal(const std::string& path, const struct stat& st) {
    if (S_ISDIR(st.st_mode)) return errorDescription(path, EISDIR);
    if (!S_ISREG(st.st_mode)) return "\"" + path + "\": not a regular file";
    return std::nullopt;
}

std::string tooLarge(const std::string& path, std::string_view what) {
    return "\"" + path + "\": too large for " + std::string(what);
}

}  // namespace

Result<std::string> readSmallTextFile(const std::string& path, std::size_t maximumBytes,
                                      std::string_view what) {
    struct stat st;
    if (::stat(path.c_str(), &st) == 0) {
        if (auto problem = refusal(path, st)) return Outcome::failure(*problem);
    }
    // Not blocking on the open, so that a pipe put in the file's place meanwhile is refused
    // instead of waiting for a writer.
    Result<FileHandle> file = openPath(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!file) return Outcome::failure(file.error());
    if (::fstat(file->get(), &st) != 0) return Outcome::failure(errorDescription(path, errno));
    if (auto problem = refusal(path, st)) return Outcome::failure(*problem);
    if (static_cast<std::uint64_t>(st.st_size) > maximumBytes)
        return Outcome::failure(tooLarge(path, what));

    // The size is only a hint (files under /proc say 0, a file may grow while it is read):
    // the read itself stops at the bound.
    std::string bytes;
    std::array<char, 64 * 1024> buffer;
    for (;;) {
        const ssize_t count = ::read(file->get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return Outcome::failure(errorDescription(path, errno));
        if (count == 0) return bytes;
        if (bytes.size() + static_cast<std::size_t>(count) > maximumBytes)
            return Outcome::failure(tooLarge(path, what));
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace kelvora::platform
