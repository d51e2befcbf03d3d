// POSIX implementation of the file-system layer.
#include "platform/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace kelvora::platform {

namespace {

Attributes fromStat(const struct stat& st) {
    Attributes attributes;
    attributes.size = static_cast<std::uint64_t>(st.st_size);
    attributes.device = st.st_dev;
    attributes.inode = st.st_ino;
    attributes.isFolder = S_ISDIR(st.st_mode);
    attributes.isRegular = S_ISREG(st.st_mode);
    attributes.isLink = S_ISLNK(st.st_mode);
    attributes.links = st.st_nlink;
    attributes.modifiedNanoseconds =
        static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec;
    attributes.changedNanoseconds =
        static_cast<std::int64_t>(st.st_ctim.tv_sec) * 1'000'000'000 + st.st_ctim.tv_nsec;
    return attributes;
}

Result<Attributes> statPath(const std::string& path, int flags) {
    const PathLocation location(path);
    if (location.error() != 0)
        return Result<Attributes>::failure(errorDescription(path, location.error()));
    return attributesAt(location.folder(), location.name(), (flags & AT_SYMLINK_NOFOLLOW) == 0,
                        path);
}

// Names in byte order: a tree is always walked the same way, so the same file heads a group
// on every run.
template <typename T, typename Key>
void sortByName(std::vector<T>& items, Key key) {
    std::sort(items.begin(), items.end(), [&](const T& a, const T& b) { return key(a) < key(b); });
}

constexpr std::size_t kListingBuffer = 64 * 1024;

}  // namespace

void reserveDescriptorTable() {
    constexpr rlim_t kMost = 1 << 16;
    struct rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur < 2) return;
    const auto highest = static_cast<int>(std::min(limit.rlim_cur, kMost) - 1);
    // A descriptor made at the highest number sizes the table for every number below it.
    const int any = ::open("/", O_PATH | O_CLOEXEC);
    if (any < 0) return;
    if (const int high = ::fcntl(any, F_DUPFD_CLOEXEC, highest); high >= 0) ::close(high);
    ::close(any);
}

std::string errorDescription(std::string_view path, int error) {
    // Built by appending: g++ 12 at -O3 warns falsely about "a" + b + "c" chains here.
    std::string text;
    text.reserve(path.size() + 40);
    text.append(1, '"').append(path).append("\": ").append(std::strerror(error));
    return text;
}

std::string userStateFolder() {
    if (const char* state = std::getenv("XDG_STATE_HOME"); state && state[0] == '/')
        return std::string(state) + "/kelvora";
    const char* home = std::getenv("HOME");
    return std::string(home != nullptr ? home : "") + "/.local/state/kelvora";
}

int makePrivateFolders(const std::string& path) {
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string prefix = path.substr(0, slash);
        if (::mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) return errno;
        if (slash == std::string::npos) return 0;
    }
}

void FileHandle::reset() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

PathLocation::PathLocation(const std::string& path) {
    name_ = path.c_str();
    if (path.size() < PATH_MAX) return;
    // Too long for one call: open the folders one bounded stretch at a time.
    std::size_t start = 0;
    if (path[0] == '/') {
        folder_ = FileHandle(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        start = 1;
    }
    const std::size_t lastSlash = path.rfind('/');
    while (lastSlash != std::string::npos && start < lastSlash) {
        std::size_t end = lastSlash;
        if (end - start >= PATH_MAX) {
            end = path.rfind('/', start + PATH_MAX - 1);
            if (end == std::string::npos || end <= start) {
                error_ = ENAMETOOLONG;
                return;
            }
        }
        const std::string stretch = path.substr(start, end - start);
        FileHandle next(::openat(folder(), stretch.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!next.valid()) {
            error_ = errno;
            return;
        }
        folder_ = std::move(next);
        start = end + 1;
    }
    name_ = path.c_str() + start;
}

Result<FileHandle> openPath(const std::string& path, int flags) {
    const PathLocation location(path);
    if (location.error() != 0)
        return Result<FileHandle>::failure(errorDescription(path, location.error()));
    FileHandle handle(::openat(location.folder(), location.name(), flags | O_CLOEXEC));
    if (!handle.valid()) return Result<FileHandle>::failure(errorDescription(path, errno));
    return handle;
}

Result<FileHandle> openFolderAt(int parent, const char* name, const std::string& pathForErrors,
                                bool followLink) {
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY | (followLink ? 0 : O_NOFOLLOW);
    FileHandle handle(::openat(parent, name, flags));
    if (!handle.valid()) return Result<FileHandle>::failure(errorDescription(pathForErrors, errno));
    return handle;
}

Result<Attributes> attributesOf(int fd, const std::string& pathForErrors) {
    struct stat st;
    if (::fstat(fd, &st) != 0)
        return Result<Attributes>::failure(errorDescription(pathForErrors, errno));
    return fromStat(st);
}

int statAt(int folder, const char* name, bool followLinks, Attributes& attributes) {
    // One call gives the birth time too, so that the lists' creation dates need no second
    // look at each copy.
    struct statx stx;
    const int flags = (followLinks ? 0 : AT_SYMLINK_NOFOLLOW) | AT_STATX_SYNC_AS_STAT;
    if (::statx(folder, name, flags, STATX_BASIC_STATS | STATX_BTIME, &stx) != 0) return errno;
    const auto nanoseconds = [](const struct statx_timestamp& t) {
        return static_cast<std::int64_t>(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
    };
    attributes.size = stx.stx_size;
    attributes.device = makedev(stx.stx_dev_major, stx.stx_dev_minor);
    attributes.inode = stx.stx_ino;
    attributes.isFolder = S_ISDIR(stx.stx_mode);
    attributes.isRegular = S_ISREG(stx.stx_mode);
    attributes.isLink = S_ISLNK(stx.stx_mode);
    attributes.links = (stx.stx_mask & STATX_NLINK) != 0 ? stx.stx_nlink : 0;
    attributes.mayBeMountRoot = (stx.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) == 0 ||
                                (stx.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    attributes.modifiedNanoseconds = nanoseconds(stx.stx_mtime);
    attributes.changedNanoseconds = nanoseconds(stx.stx_ctime);
    attributes.createdNanoseconds = (stx.stx_mask & STATX_BTIME) != 0
                                        ? nanoseconds(stx.stx_btime)
                                        : attributes.modifiedNanoseconds;
    return 0;
}

Result<Attributes> attributesAt(int folder, const char* name, bool followLinks,
                                const std::string& pathForErrors) {
    Attributes attributes;
    const int error = statAt(folder, name, followLinks, attributes);
    if (error != 0) return Result<Attributes>::failure(errorDescription(pathForErrors, error));
    return attributes;
}

namespace {

// 0 and the link's text in target, or the errno (EINVAL: not a link).
int readLinkAt(int folder, const char* name, std::string& target) {
    target.resize(256);
    for (;;) {
        const ssize_t got = ::readlinkat(folder, name, target.data(), target.size());
        if (got < 0) return errno;
        if (static_cast<std::size_t>(got) < target.size()) {
            target.resize(static_cast<std::size_t>(got));
            return 0;
        }
        target.resize(target.size() * 2);
    }
}

}  // namespace

int realPath(const std::string& path, std::string& resolved) {
    // The folder reached so far is held open for lookups only, so no call ever sees more
    // than one name and no length limit applies.
    constexpr int kLookup = O_PATH | O_DIRECTORY | O_CLOEXEC;
    constexpr int kMostLinks = 40;  // the kernel's own limit for one path
    if (path.empty()) return ENOENT;
    FileHandle folder;
    const auto startAtTop = [&] {
        folder = FileHandle(::open("/", kLookup));
        resolved = "/";
        return folder.valid() ? 0 : errno;
    };
    if (path[0] == '/') {
        if (const int error = startAtTop()) return error;
    } else {
        const std::unique_ptr<char, decltype(&std::free)> current(::getcwd(nullptr, 0), &std::free);
        if (!current) return errno;
        folder = FileHandle(::open(".", kLookup));
        if (!folder.valid()) return errno;
        resolved = current.get();
    }
    std::string rest = path;
    std::string target;
    std::size_t at = 0;
    int links = 0;
    while (at < rest.size()) {
        if (rest[at] == '/') {
            ++at;
            continue;
        }
        const std::size_t end = std::min(rest.find('/', at), rest.size());
        const std::string name = rest.substr(at, end - at);
        at = end;
        if (name == ".") continue;
        if (name == "..") {
            // What is resolved so far holds no link, so its parent is its text's parent.
            if (resolved.size() > 1) {
                FileHandle parent(::openat(folder.get(), "..", kLookup));
                if (!parent.valid()) return errno;
                folder = std::move(parent);
                resolved.erase(std::max<std::size_t>(resolved.rfind('/'), 1));
            }
            continue;
        }
        const int error = readLinkAt(folder.get(), name.c_str(), target);
        if (error == 0) {
            if (++links > kMostLinks) return ELOOP;
            if (target.empty()) return ENOENT;
            rest = target + rest.substr(at);
            at = 0;
            if (target[0] == '/') {
                if (const int top = startAtTop()) return top;
            }
            continue;
        }
        if (error != EINVAL) return error;
        if (at < rest.size()) {
            // More follows: this one must be a folder.
            FileHandle next(::openat(folder.get(), name.c_str(), kLookup | O_NOFOLLOW));
            if (!next.valid()) return errno;
            folder = std::move(next);
        }
        if (resolved.size() > 1) resolved += '/';
        resolved += name;
    }
    return 0;
}

int absolutePath(const std::string& text, std::string& absolute) {
    if (text.empty()) return ENOENT;
    // Where the last ".." ends: everything before it is the system's to resolve.
    std::size_t resolvedUpTo = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('/', at), text.size());
        if (text.compare(at, end - at, "..") == 0) resolvedUpTo = end;
        at = end + 1;
    }
    if (resolvedUpTo > 0) {
        if (const int error = realPath(text.substr(0, resolvedUpTo), absolute)) return error;
    } else if (text[0] == '/') {
        absolute = "/";
    } else {
        const std::unique_ptr<char, decltype(&std::free)> current(::getcwd(nullptr, 0), &std::free);
        if (!current) return errno;
        absolute = current.get();
    }
    for (std::size_t at = resolvedUpTo; at < text.size();) {
        const std::size_t end = std::min(text.find('/', at), text.size());
        const std::string_view name(text.data() + at, end - at);
        if (!name.empty() && name != ".") absolute = appendingPathComponent(absolute, name);
        at = end + 1;
    }
    return 0;
}

Result<std::vector<FolderEntry>> listFolderAt(int folder, const std::string& pathForErrors) {
    // getdents64 straight into a reused buffer: no DIR allocation, and the descriptor stays
    // ours for the entries' own *at() calls.
    // Not cleared: a page costs only when a listing first reaches it.
    thread_local const std::unique_ptr<char[]> buffer =
        std::make_unique_for_overwrite<char[]>(kListingBuffer);
    std::vector<FolderEntry> entries;
    for (;;) {
        const long got = ::syscall(SYS_getdents64, folder, buffer.get(), kListingBuffer);
        if (got == 0) break;
        if (got < 0) {
            if (errno == EINTR) continue;
            return Result<std::vector<FolderEntry>>::failure(
                errorDescription(pathForErrors, errno));
        }
        for (long offset = 0; offset < got;) {
            const auto* entry = reinterpret_cast<const struct dirent64*>(buffer.get() + offset);
            offset += entry->d_reclen;
            const char* name = entry->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                continue;
            entries.push_back({name, entry->d_type});
        }
    }
    sortByName(entries, [](const FolderEntry& e) -> const std::string& { return e.name; });
    return entries;
}

Result<Attributes> itemAttributes(const std::string& path) {
    return statPath(path, AT_SYMLINK_NOFOLLOW);
}

Result<Attributes> followedAttributes(const std::string& path) {
    return statPath(path, 0);
}

Result<std::vector<std::string>> listFolder(const std::string& path) {
    auto folder = openPath(path, O_RDONLY | O_DIRECTORY);
    if (!folder) return Result<std::vector<std::string>>::failure(folder.error());
    auto entries = listFolderAt(folder->get(), path);
    if (!entries) return Result<std::vector<std::string>>::failure(entries.error());
    std::vector<std::string> names;
    names.reserve(entries->size());
    for (FolderEntry& entry : *entries) names.push_back(std::move(entry.name));
    return names;
}

std::string appendingPathComponent(std::string_view folder, std::string_view name) {
    std::string path(folder);
    if (path.empty() || path.back() != '/') path += '/';
    path += name;
    return path;
}

std::string deletingLastPathComponent(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos) return {};
    if (slash == 0) return "/";
    return std::string(path.substr(0, slash));
}

std::string_view lastPathComponent(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos || path.size() == 1 ? path : path.substr(slash + 1);
}

std::optional<Date> itemDate(const std::string& path, DateAttribute attribute) {
    struct statx stx;
    const unsigned mask = STATX_MTIME | (attribute == DateAttribute::Creation ? STATX_BTIME : 0);
    const PathLocation location(path);
    if (location.error() != 0 ||
        ::statx(location.folder(), location.name(), AT_SYMLINK_NOFOLLOW, mask, &stx) != 0) {
        return std::nullopt;
    }
    const bool birth = attribute == DateAttribute::Creation && (stx.stx_mask & STATX_BTIME) != 0;
    const struct statx_timestamp& t = birth ? stx.stx_btime : stx.stx_mtime;
    using namespace std::chrono;
    return Date(duration_cast<Date::duration>(seconds(t.tv_sec) + nanoseconds(t.tv_nsec)));
}

}  // namespace kelvora::platform
