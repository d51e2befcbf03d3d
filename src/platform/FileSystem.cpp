// POSIX implementation of the file-system layer.
#include "platform/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
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
    attributes.modifiedNanoseconds =
        static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec;
    return attributes;
}

Result<Attributes> statPath(const std::string& path, int flags) {
    struct stat st;
    if (::fstatat(AT_FDCWD, path.c_str(), &st, flags) != 0) {
        return Result<Attributes>::failure(errorDescription(path, errno));
    }
    return fromStat(st);
}

}  // namespace

std::string errorDescription(std::string_view path, int error) {
    // Built by appending: g++ 12 at -O3 warns falsely about "a" + b + "c" chains here.
    std::string text;
    text.reserve(path.size() + 40);
    text.append(1, '"').append(path).append("\": ").append(std::strerror(error));
    return text;
}

Result<Attributes> itemAttributes(const std::string& path) {
    return statPath(path, AT_SYMLINK_NOFOLLOW);
}

Result<Attributes> followedAttributes(const std::string& path) { return statPath(path, 0); }

Result<std::vector<std::string>> listFolder(const std::string& path) {
    std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(path.c_str()), ::closedir);
    if (!folder) return Result<std::vector<std::string>>::failure(errorDescription(path, errno));
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(folder.get())) {
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) names.emplace_back(name);
    }
    if (errno != 0) return Result<std::vector<std::string>>::failure(errorDescription(path, errno));
    std::sort(names.begin(), names.end());
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
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, mask, &stx) != 0) return std::nullopt;
    const bool birth = attribute == DateAttribute::Creation && (stx.stx_mask & STATX_BTIME) != 0;
    const struct statx_timestamp& t = birth ? stx.stx_btime : stx.stx_mtime;
    using namespace std::chrono;
    return Date(duration_cast<Date::duration>(seconds(t.tv_sec) + nanoseconds(t.tv_nsec)));
}

}  // namespace kelvora::platform
