// Removal through GIO's freedesktop.org trash, and permanent deletion with directory file
// descriptors so that a recursive delete never leaves the folder it was given.
#include "platform/FileOperations.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gio/gio.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/LazyLibrary.h"

namespace kelvora::platform {

namespace {

// Each member takes its type from the header's declaration of the function it names.
#define KELVORA_GIO_FUNCTION(member, function) \
    decltype(&function) member = library.symbol<decltype(function)>(#function)

// GIO, and the GObject and GLib it stands on, are opened by the first trashing, not at every
// start. Looking names up through GIO's handle finds those of the libraries it needs too.
struct Gio {
    LazyLibrary library{"libgio-2.0.so.0"};
    KELVORA_GIO_FUNCTION(free, g_free);
    KELVORA_GIO_FUNCTION(errorFree, g_error_free);
    KELVORA_GIO_FUNCTION(objectUnref, g_object_unref);
    KELVORA_GIO_FUNCTION(getUserDataDir, g_get_user_data_dir);
    KELVORA_GIO_FUNCTION(mkdirWithParents, g_mkdir_with_parents);
    KELVORA_GIO_FUNCTION(uriEscapeString, g_uri_escape_string);
    KELVORA_GIO_FUNCTION(dateTimeNewNowLocal, g_date_time_new_now_local);
    KELVORA_GIO_FUNCTION(dateTimeUnref, g_date_time_unref);
    KELVORA_GIO_FUNCTION(dateTimeFormat, g_date_time_format);
    KELVORA_GIO_FUNCTION(fileNewForPath, g_file_new_for_path);
    KELVORA_GIO_FUNCTION(fileTrash, g_file_trash);
};

#undef KELVORA_GIO_FUNCTION

const Gio& gio() {
    static const Gio api;
    return api;
}

struct GObjectUnref {
    void operator()(gpointer object) const { gio().objectUnref(object); }
};
struct GErrorFree {
    void operator()(GError* error) const { gio().errorFree(error); }
};
struct GFree {
    void operator()(void* memory) const { gio().free(memory); }
};
struct GDateTimeUnref {
    void operator()(GDateTime* time) const { gio().dateTimeUnref(time); }
};

// GIO names the file in some messages and not in others; the path is said once either way.
std::string trashErrorDescription(const std::string& path, const char* message) {
    const std::string text = message != nullptr ? message : "the trash failed";
    if (text.find(path) != std::string::npos) return text;
    return "\"" + path + "\": " + text;
}

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

// Removes one entry of an open folder (or a path, with AT_FDCWD). A link is an entry like any
// other and is removed, not what it points to.
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

// The freedesktop.org trash by hand, for a path too long for GIO's calls: the item is moved
// through its folder's descriptor into the home trash, after its .trashinfo has reserved the
// name. Only on the home trash's own volume; anything else fails and the item stays.
std::optional<std::string> trashDeepItem(const std::string& path) {
    const std::string trash = std::string(gio().getUserDataDir()) + "/Trash";
    gio().mkdirWithParents((trash + "/files").c_str(), 0700);
    gio().mkdirWithParents((trash + "/info").c_str(), 0700);
    const PathLocation location(path);
    if (location.error() != 0) return errorDescription(path, location.error());
    const std::string name = location.name();
    const std::unique_ptr<char, GFree> escaped(gio().uriEscapeString(path.c_str(), "/", FALSE));
    const std::unique_ptr<GDateTime, GDateTimeUnref> now(gio().dateTimeNewNowLocal());
    const std::unique_ptr<char, GFree> date(gio().dateTimeFormat(now.get(), "%Y-%m-%dT%H:%M:%S"));
    const std::string info =
        "[Trash Info]\nPath=" + std::string(escaped.get()) + "\nDeletionDate=" + date.get() + "\n";
    for (int attempt = 1; attempt < 1000; ++attempt) {
        const std::string trashName = attempt == 1 ? name : name + "." + std::to_string(attempt);
        const std::string infoPath = trash + "/info/" + trashName + ".trashinfo";
        const int fd = ::open(infoPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            return errorDescription(infoPath, errno);
        }
        const bool written =
            ::write(fd, info.data(), info.size()) == static_cast<ssize_t>(info.size());
        ::close(fd);
        const std::string target = trash + "/files/" + trashName;
        if (written &&
            ::renameat(location.folder(), location.name(), AT_FDCWD, target.c_str()) == 0) {
            return std::nullopt;
        }
        const int error = written ? errno : EIO;
        ::unlink(infoPath.c_str());
        return errorDescription(path, error);
    }
    return errorDescription(path, EEXIST);
}

}  // namespace

std::optional<std::string> trashItem(const std::string& path) {
    if (path.size() >= PATH_MAX) return trashDeepItem(path);
    std::unique_ptr<GFile, GObjectUnref> file(gio().fileNewForPath(path.c_str()));
    GError* rawError = nullptr;
    if (gio().fileTrash(file.get(), nullptr, &rawError)) return std::nullopt;
    std::unique_ptr<GError, GErrorFree> error(rawError);
    return trashErrorDescription(path, error ? error->message : nullptr);
}

std::optional<std::string> removeItem(const std::string& path) {
    // Reached through its folder, so that a copy deeper than the system's path limit goes too.
    const PathLocation location(path);
    if (location.error() != 0) return errorDescription(path, location.error());
    return removeEntry(location.folder(), location.name(), path);
}

}  // namespace kelvora::platform
