// Removal through GIO's freedesktop.org trash, and permanent deletion with directory file
// descriptors so that a recursive delete never leaves the folder it was given.
#include "platform/FileOperations.h"

#include <dirent.h>
#include <limits.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gio/gio.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/FileSystem.h"

namespace kelvora::platform {

namespace {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct GErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};

// GIO names the file in some messages and not in others; the path is said once either way.
std::string trashErrorDescription(const std::string& path, const char* message) {
    const std::string text = message != nullptr ? message : "the trash failed";
    if (text.find(path) != std::string::npos) return text;
    return "\"" + path + "\": " + text;
}

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

std::optional<std::string> removeContents(int folderFd, const std::string& folderPath);

// Removes one entry of an open folder (or a path, with AT_FDCWD). A link is an entry like any
// other; a folder is opened with O_NOFOLLOW so that a link swapped in for it meanwhile is
// refused rather than followed out of the folder being removed.
std::optional<std::string> removeEntry(int parentFd, const std::string& name,
                                       const std::string& path) {
    struct stat st;
    if (::fstatat(parentFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return errorDescription(path, errno);
    }
    if (!S_ISDIR(st.st_mode)) {
        if (::unlinkat(parentFd, name.c_str(), 0) != 0) return errorDescription(path, errno);
        return std::nullopt;
    }
    const int fd =
        ::openat(parentFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return errorDescription(path, errno);
    if (auto error = removeContents(fd, path)) return error;
    if (::unlinkat(parentFd, name.c_str(), AT_REMOVEDIR) != 0) return errorDescription(path, errno);
    return std::nullopt;
}

std::optional<std::vector<std::string>> entryNames(DIR* folder) {
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(folder)) {
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) names.emplace_back(name);
    }
    if (errno != 0) return std::nullopt;
    return names;
}

// Takes ownership of folderFd. Names are read before anything is removed, so the listing is
// not disturbed by the removals. Stops at the first failure: what is left stays whole.
std::optional<std::string> removeContents(int folderFd, const std::string& folderPath) {
    Folder folder(::fdopendir(folderFd), ::closedir);
    if (!folder) {
        const int error = errno;
        ::close(folderFd);
        return errorDescription(folderPath, error);
    }
    const auto names = entryNames(folder.get());
    if (!names) return errorDescription(folderPath, errno);
    for (const std::string& name : *names) {
        const std::string path = appendingPathComponent(folderPath, name);
        if (auto error = removeEntry(::dirfd(folder.get()), name, path)) return error;
    }
    return std::nullopt;
}

// The freedesktop.org trash by hand, for a path too long for GIO's calls: the item is moved
// through its folder's descriptor into the home trash, after its .trashinfo has reserved the
// name. Only on the home trash's own volume; anything else fails and the item stays.
std::optional<std::string> trashDeepItem(const std::string& path) {
    const std::string trash = std::string(g_get_user_data_dir()) + "/Trash";
    g_mkdir_with_parents((trash + "/files").c_str(), 0700);
    g_mkdir_with_parents((trash + "/info").c_str(), 0700);
    const PathLocation location(path);
    if (location.error() != 0) return errorDescription(path, location.error());
    const std::string name = location.name();
    std::unique_ptr<char, decltype(&g_free)> escaped(
        g_uri_escape_string(path.c_str(), "/", FALSE), g_free);
    std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> now(g_date_time_new_now_local(),
                                                                 g_date_time_unref);
    std::unique_ptr<char, decltype(&g_free)> date(g_date_time_format(now.get(), "%Y-%m-%dT%H:%M:%S"),
                                                  g_free);
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
        const bool written = ::write(fd, info.data(), info.size()) == static_cast<ssize_t>(info.size());
        ::close(fd);
        const std::string target = trash + "/files/" + trashName;
        if (written && ::renameat(location.folder(), location.name(), AT_FDCWD, target.c_str()) == 0) {
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
    std::unique_ptr<GFile, GObjectUnref> file(g_file_new_for_path(path.c_str()));
    GError* rawError = nullptr;
    if (g_file_trash(file.get(), nullptr, &rawError)) return std::nullopt;
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
