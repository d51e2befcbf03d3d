// Finding, making and checking the trash folders of the freedesktop.org trash.
#include "platform/TrashFolders.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/TrashInfo.h"

namespace kelvora::platform {

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::string cannotUse(std::string_view trash, std::string_view why) {
    std::string text = "the trash \"";
    text.append(trash).append("\" cannot be used: ").append(why);
    return text;
}

std::string cannotUse(std::string_view trash, int error) {
    // O_NOFOLLOW says ELOOP for a link, which reads as if links went round in circles.
    return cannotUse(trash, error == ELOOP ? "it is a symbolic link" : std::strerror(error));
}

std::string userHome() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0') return home;
    struct passwd entry;
    struct passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found) {
        return found->pw_dir;
    }
    return "/";
}

std::string homeTrashPath() {
    // The XDG rule: a relative value is as good as none.
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && data[0] == '/') return absolutePath(data) + "/Trash";
    return absolutePath(userHome() + "/.local/share/Trash");
}

// Each missing folder of the path, made private. Failures show when the path is opened.
void makeFolders(const std::string& path) {
    std::size_t slash = 0;
    do {
        slash = path.find('/', slash + 1);
        ::mkdir(path.substr(0, slash).c_str(), 0700);
    } while (slash != std::string::npos);
}

// A folder inside a trash: never followed through a link, which could lead items out of it.
Result<FileHandle> openInside(int parent, const char* name, const std::string& path,
                              bool mustBeOurs) {
    FileHandle folder(::openat(parent, name, kFolderFlags | O_NOFOLLOW));
    if (!folder.valid() && errno == ENOENT) {
        if (::mkdirat(parent, name, 0700) != 0 && errno != EEXIST) {
            return Result<FileHandle>::failure(cannotUse(path, errno));
        }
        folder = FileHandle(::openat(parent, name, kFolderFlags | O_NOFOLLOW));
    }
    if (!folder.valid()) return Result<FileHandle>::failure(cannotUse(path, errno));
    struct stat st;
    if (::fstat(folder.get(), &st) != 0) return Result<FileHandle>::failure(cannotUse(path, errno));
    if (mustBeOurs && st.st_uid != ::geteuid()) {
        return Result<FileHandle>::failure(cannotUse(path, "it belongs to another user"));
    }
    return folder;
}

Result<TrashFolder> withParts(FileHandle trash, std::string root, std::string topdir) {
    auto files = openInside(trash.get(), "files", root + "/files", false);
    if (!files) return Result<TrashFolder>::failure(files.error());
    auto info = openInside(trash.get(), "info", root + "/info", false);
    if (!info) return Result<TrashFolder>::failure(info.error());
    return TrashFolder{std::move(root), std::move(topdir), std::move(*files), std::move(*info)};
}

struct Place {
    dev_t device = 0;
    ino_t inode = 0;
    std::uint64_t mount = 0;  // 0 where the kernel does not tell
    bool mountRoot = false;
};

bool placeOf(int fd, Place& place) {
    struct statx stx;
    if (::statx(fd, "", AT_EMPTY_PATH, STATX_INO | STATX_MNT_ID, &stx) != 0) return false;
    place.device = makedev(stx.stx_dev_major, stx.stx_dev_minor);
    place.inode = stx.stx_ino;
    place.mount = (stx.stx_mask & STATX_MNT_ID) != 0 ? stx.stx_mnt_id : 0;
    place.mountRoot = (stx.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0 &&
                      (stx.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    return true;
}

// The top folder of the mount that holds the folder, reached by "..": the mount's own ID
// tells a bind mount of the same file system apart, where the kernel gives it.
Result<FileHandle> topOfMount(int folder) {
    FileHandle here(::openat(folder, ".", kFolderFlags));
    Place place;
    if (!here.valid() || !placeOf(here.get(), place)) {
        return Result<FileHandle>::failure(std::strerror(errno));
    }
    while (!place.mountRoot) {
        FileHandle up(::openat(here.get(), "..", kFolderFlags));
        Place above;
        if (!up.valid() || !placeOf(up.get(), above)) {
            return Result<FileHandle>::failure(std::strerror(errno));
        }
        const bool sameFolder = above.device == place.device && above.inode == place.inode;
        if (sameFolder || above.device != place.device || above.mount != place.mount) break;
        here = std::move(up);
        place = above;
    }
    return here;
}

std::string pathOf(int fd) {
    std::vector<char> buffer(4096);
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    for (;;) {
        const ssize_t got = ::readlink(link.c_str(), buffer.data(), buffer.size());
        if (got < 0) return {};
        if (static_cast<std::size_t>(got) < buffer.size()) return std::string(buffer.data(), got);
        buffer.resize(buffer.size() * 2);
    }
}

// $topdir/.Trash/$uid, when .Trash is a real folder that every user may use (sticky).
std::optional<TrashFolder> sharedTrash(int top, const std::string& topdir, const std::string& uid) {
    struct stat st;
    if (::fstatat(top, ".Trash", &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(st.st_mode) ||
        (st.st_mode & S_ISVTX) == 0) {
        return std::nullopt;
    }
    FileHandle shared(::openat(top, ".Trash", kFolderFlags | O_NOFOLLOW));
    const std::string root = appendingPathComponent(topdir, ".Trash/" + uid);
    if (!shared.valid()) return std::nullopt;
    auto mine = openInside(shared.get(), uid.c_str(), root, true);
    if (!mine) return std::nullopt;
    auto trash = withParts(std::move(*mine), root, topdir);
    if (!trash) return std::nullopt;
    return std::move(*trash);
}

}  // namespace

std::optional<dev_t> homeTrashDevice() {
    for (std::string path = homeTrashPath(); !path.empty();) {
        struct stat st;
        if (::stat(path.c_str(), &st) == 0) return st.st_dev;
        if (path == "/") break;
        path = deletingLastPathComponent(path);
    }
    return std::nullopt;
}

Result<TrashFolder> openHomeTrash() {
    const std::string root = homeTrashPath();
    // A home trash that is a link is the user's own choice, so it is followed.
    FileHandle trash(::open(root.c_str(), kFolderFlags));
    if (!trash.valid() && errno == ENOENT) {
        makeFolders(root);
        trash = FileHandle(::open(root.c_str(), kFolderFlags));
    }
    if (!trash.valid()) return Result<TrashFolder>::failure(cannotUse(root, errno));
    return withParts(std::move(trash), root, {});
}

Result<TrashFolder> openVolumeTrash(int folder) {
    auto top = topOfMount(folder);
    if (!top) return Result<TrashFolder>::failure("its volume's top folder: " + top.error());
    const std::string topdir = pathOf(top->get());
    if (!topdir.starts_with('/')) {
        return Result<TrashFolder>::failure("the path of its volume's top folder is unknown");
    }
    const std::string uid = std::to_string(::geteuid());
    if (auto shared = sharedTrash(top->get(), topdir, uid)) return std::move(*shared);
    const std::string name = ".Trash-" + uid;
    const std::string root = appendingPathComponent(topdir, name);
    auto own = openInside(top->get(), name.c_str(), root, true);
    if (!own) return Result<TrashFolder>::failure(own.error());
    return withParts(std::move(*own), root, topdir);
}

}  // namespace kelvora::platform
