// Removal to the freedesktop.org trash, and permanent deletion with directory file descriptors
// so that a recursive delete never leaves the folder it was given.
#include "platform/FileOperations.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/Trash.h"

namespace kelvora::platform {

namespace {

// One folder being emptied: its descriptor (closed for the outer levels of a deep tree), its
// identity to check when it is opened again, and the names it held when it was opened.
struct Level {
    FileHandle fd;
    std::string path;
    std::string name;  // in its parent
    dev_t device = 0;
    ino_t inode = 0;
    std::vector<std::string> names;
    std::size_t next = 0;
};

// Descriptors kept open down a deep tree; the outer ones are closed and opened again as ".."
// of their child, checked to be the same folder, on the way back up.
constexpr std::size_t kOpenLevels = 64;

std::optional<std::string> openLevel(int parent, const std::string& name, const std::string& path,
                                     std::vector<Level>& levels) {
    // O_NOFOLLOW: a link swapped in for a folder meanwhile is refused rather than followed
    // out of the folder being removed.
    FileHandle fd(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.valid()) return errorDescription(path, errno);
    struct stat st;
    if (::fstat(fd.get(), &st) != 0) return errorDescription(path, errno);
    // Names are read before anything is removed, so the listing is not disturbed by removals.
    auto entries = listFolderAt(fd.get(), path);
    if (!entries) return entries.error();
    Level level{std::move(fd), path, name, st.st_dev, st.st_ino, {}, 0};
    for (FolderEntry& entry : *entries) level.names.push_back(std::move(entry.name));
    levels.push_back(std::move(level));
    if (levels.size() > kOpenLevels) levels[levels.size() - kOpenLevels - 1].fd.reset();
    return std::nullopt;
}

// The parent of the innermost level, opened again if the walk down closed it.
std::optional<std::string> reopenParent(std::vector<Level>& levels) {
    Level& parent = levels[levels.size() - 2];
    if (parent.fd.valid()) return std::nullopt;
    FileHandle fd(::openat(levels.back().fd.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat st;
    if (!fd.valid() || ::fstat(fd.get(), &st) != 0) return errorDescription(parent.path, errno);
    if (st.st_dev != parent.device || st.st_ino != parent.inode) {
        return "\"" + parent.path + "\": moved while it was being removed";
    }
    parent.fd = std::move(fd);
    return std::nullopt;
}

// Removes a folder and everything in it, a level at a time on a stack of its own, so that no
// depth of folders can overflow the thread's stack. Stops at the first failure: what is left
// stays whole.
std::optional<std::string> removeFolder(int parent, const std::string& name,
                                        const std::string& path) {
    std::vector<Level> levels;
    if (auto error = openLevel(parent, name, path, levels)) return error;
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.names.size()) {
            int outer = parent;
            if (levels.size() > 1) {
                if (auto error = reopenParent(levels)) return error;
                outer = levels[levels.size() - 2].fd.get();
            }
            const std::string done = level.name, donePath = level.path;
            levels.pop_back();
            if (::unlinkat(outer, done.c_str(), AT_REMOVEDIR) != 0)
                return errorDescription(donePath, errno);
            continue;
        }
        const std::string& entry = level.names[level.next++];
        const std::string entryPath = appendingPathComponent(level.path, entry);
        struct stat st;
        if (::fstatat(level.fd.get(), entry.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
            return errorDescription(entryPath, errno);
        }
        if (S_ISDIR(st.st_mode)) {
            if (auto error = openLevel(level.fd.get(), entry, entryPath, levels)) return error;
        } else if (::unlinkat(level.fd.get(), entry.c_str(), 0) != 0) {
            return errorDescription(entryPath, errno);
        }
    }
    return std::nullopt;
}

}  // namespace

// The folder that holds the item, opened, and the item's name in it: the trash of the
// item's volume is found from that folder, and the move is made through it.
Result<FileHandle> openHoldingFolder(const std::string& path, std::string_view name) {
    if (name.empty() || name == "/" || name == "." || name == "..") {
        return Result<FileHandle>::failure(errorDescription(path, EINVAL));
    }
    std::string folder = deletingLastPathComponent(path);
    if (folder.empty()) folder = ".";
    // The error names the item, not its folder, as for any other item that is not there.
    const PathLocation location(folder);
    if (location.error() != 0) {
        return Result<FileHandle>::failure(errorDescription(path, location.error()));
    }
    FileHandle handle(
        ::openat(location.folder(), location.name(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!handle.valid()) return Result<FileHandle>::failure(errorDescription(path, errno));
    return handle;
}

std::optional<std::string> removeEntry(int parentFd, const std::string& name,
                                       const std::string& path) {
    struct stat st;
    if (::fstatat(parentFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return errorDescription(path, errno);
    }
    if (S_ISDIR(st.st_mode)) return removeFolder(parentFd, name, path);
    if (::unlinkat(parentFd, name.c_str(), 0) != 0) return errorDescription(path, errno);
    return std::nullopt;
}

std::optional<std::string> trashItem(const std::string& path) {
    const std::string name(lastPathComponent(path));
    const auto folder = openHoldingFolder(path, name);
    if (!folder) return folder.error();
    const auto trashed = trashEntry(folder->get(), name.c_str(), path);
    if (!trashed) return trashed.error();
    return std::nullopt;
}

std::optional<std::string> removeItem(const std::string& path) {
    // Reached through its folder, so that a copy deeper than the system's path limit goes too.
    const PathLocation location(path);
    if (location.error() != 0) return errorDescription(path, location.error());
    return removeEntry(location.folder(), location.name(), path);
}

}  // namespace kelvora::platform
