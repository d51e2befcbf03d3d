// The freedesktop.org trash by descriptors: the record is written under a name no other item
// holds, then the entry moves to that name without replacing anything.
#include "platform/Trash.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <mutex>
#include <unordered_map>

#include "platform/FileSystem.h"
#include "platform/TrashFolders.h"
#include "platform/TrashInfo.h"

namespace kelvora::platform {

namespace {

// Where the numbered names of one name in one trash are likely free from, so that trashing
// many items of one name costs a try or two each, not a walk past all the earlier ones. Only
// a hint: the exclusive creation of the record decides.
class NameHints {
public:
    std::uint64_t next(const std::string& key) {
        const std::lock_guard lock(mutex_);
        const auto found = next_.find(key);
        return found != next_.end() ? found->second : 2;
    }
    void remember(const std::string& key, std::uint64_t counter) {
        const std::lock_guard lock(mutex_);
        if (next_.size() >= kMaxNames) next_.clear();
        next_[key] = counter + 1;
    }

private:
    static constexpr std::size_t kMaxNames = 4096;
    std::mutex mutex_;
    std::unordered_map<std::string, std::uint64_t> next_;
};

NameHints& nameHints() {
    static NameHints hints;
    return hints;
}

// The counters tried for one item: its own name, then from the hint one by one, then in
// doubling steps, so that a long run of names taken in an earlier run is crossed in a few
// tries.
class Counters {
public:
    explicit Counters(std::uint64_t hint) : current_(hint) {}
    std::optional<std::uint64_t> next() {
        const int tried = tries_++;
        if (tried == 0) return 1;
        if (tried == 1) return current_;
        if (tried <= kOneByOne) return ++current_;
        if (tried > kMaxTries) return std::nullopt;
        return current_ += std::uint64_t{1} << (tried - kOneByOne + 3);
    }

private:
    static constexpr int kOneByOne = 8, kMaxTries = 48;
    std::uint64_t current_;
    int tries_ = 0;
};

int writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t wrote = ::write(fd, text.data(), text.size());
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote < 0) return errno;
        if (wrote == 0) return EIO;
        text.remove_prefix(static_cast<std::size_t>(wrote));
    }
    return 0;
}

// The record created under a name no other item holds, whole and as durable as asked before
// the item moves. 0, EEXIST when the name is taken, else the errno with nothing left behind.
int writeRecord(int info, const std::string& recordName, std::string_view text, TrashSync sync) {
    const int fd = ::openat(info, recordName.c_str(),
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) return errno;
    int error = writeAll(fd, text);
    if (error == 0 && sync != TrashSync::None && ::fsync(fd) != 0) error = errno;
    if (::close(fd) != 0 && error == 0) error = errno;
    if (error == 0 && sync == TrashSync::RecordAndFolder && ::fsync(info) != 0) error = errno;
    if (error != 0) ::unlinkat(info, recordName.c_str(), 0);
    return error;
}

bool sameObject(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// For file systems without an atomic move that refuses to replace: an empty stand-in made
// exclusively claims the name, and the move then replaces only that.
int moveOverPlaceholder(int from, const char* fromName, int to, const char* toName, bool isFolder) {
    if (isFolder) {
        if (::mkdirat(to, toName, 0700) != 0) return errno;
    } else {
        const int fd =
            ::openat(to, toName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0) return errno;
        ::close(fd);
    }
    struct stat placeholder;
    if (::fstatat(to, toName, &placeholder, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    if (::renameat(from, fromName, to, toName) == 0) return 0;
    const int error = errno;
    // Taken away again only while it is still the empty stand-in made here.
    struct stat now;
    if (::fstatat(to, toName, &now, AT_SYMLINK_NOFOLLOW) == 0 && sameObject(now, placeholder) &&
        (isFolder || now.st_size == 0)) {
        ::unlinkat(to, toName, isFolder ? AT_REMOVEDIR : 0);
    }
    return error;
}

// Never over anything that holds the name.
int moveWithoutReplacing(int from, const char* fromName, int to, const char* toName,
                         bool isFolder) {
    if (::renameat2(from, fromName, to, toName, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    return moveOverPlaceholder(from, fromName, to, toName, isFolder);
}

struct Move {
    int error = 0;
    std::string failedRecord;  // the record that could not be written, for the error text
    std::string refusal;       // what stopped the move before it was tried
    TrashedItem item;
};

std::string hintKey(const TrashFolder& trash, const char* name) {
    struct stat st;
    if (::fstat(trash.files.get(), &st) != 0) return {};
    return std::to_string(st.st_dev) + ':' + std::to_string(st.st_ino) + '/' + name;
}

Move moveInto(const TrashFolder& trash, int folder, const char* name, bool isFolder,
              std::string_view text, TrashSync sync, const BeforeTrashMove& beforeMove) {
    const std::string key = hintKey(trash, name);
    Counters counters(nameHints().next(key));
    Move move;
    while (const auto counter = counters.next()) {
        const std::string candidate = trashName(name, *counter);
        const std::string record = candidate + ".trashinfo";
        move.error = writeRecord(trash.info.get(), record, text, sync);
        if (move.error == EEXIST) continue;
        if (move.error != 0) {
            move.failedRecord = trash.root + "/info/" + record;
            return move;
        }
        move.item = {trash.root + "/files/" + candidate, trash.root + "/info/" + record};
        if (beforeMove) {
            if (auto refusal = beforeMove(move.item)) {
                ::unlinkat(trash.info.get(), record.c_str(), 0);
                move.refusal = std::move(*refusal);
                move.error = ECANCELED;
                return move;
            }
        }
        move.error =
            moveWithoutReplacing(folder, name, trash.files.get(), candidate.c_str(), isFolder);
        if (move.error == 0) {
            if (*counter > 1) nameHints().remember(key, *counter);
            return move;
        }
        ::unlinkat(trash.info.get(), record.c_str(), 0);
        // EEXIST: an item in files/ without a record of its own keeps its name.
        if (move.error != EEXIST) return move;
    }
    move.error = EEXIST;
    return move;
}

// Relative to the volume's top, so that the record stays right wherever the volume is
// mounted next, when the path lies under it.
std::string recordedPath(const std::string& original, const std::string& topdir) {
    const bool climbs = original.find("/../") != std::string::npos || original.ends_with("/..");
    if (topdir.empty() || climbs) return original;
    if (topdir == "/") return original.substr(1);
    if (original.starts_with(topdir) && original.size() > topdir.size() &&
        original[topdir.size()] == '/') {
        return original.substr(topdir.size() + 1);
    }
    return original;
}

Result<TrashedItem> outcome(const Move& move, const std::string& path) {
    if (move.error == 0) return move.item;
    if (!move.refusal.empty()) return Result<TrashedItem>::failure(move.refusal);
    if (move.failedRecord.empty()) {
        return Result<TrashedItem>::failure(errorDescription(path, move.error));
    }
    return Result<TrashedItem>::failure("\"" + path + "\": its record " +
                                        errorDescription(move.failedRecord, move.error));
}

Result<TrashedItem> cannotTrash(const std::string& path, const std::string& why) {
    return Result<TrashedItem>::failure("\"" + path + "\": " + why);
}

}  // namespace

// The record's own fsync, not its folder's: ext4, XFS and Btrfs make a new file's entry
// durable with the file, and where one is lost anyway the item lies in files/ without its
// record, still in the trash. The folder's fsync cost about 0.4 ms more an item here.
Result<TrashedItem> trashEntry(int folder, const char* name, const std::string& path) {
    return trashEntry(folder, name, path, TrashSync::Record);
}

Result<TrashedItem> trashEntry(int folder, const char* name, const std::string& path,
                               TrashSync sync, const BeforeTrashMove& beforeMove) {
    struct stat st;
    if (::fstatat(folder, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return Result<TrashedItem>::failure(errorDescription(path, errno));
    }
    const bool isFolder = S_ISDIR(st.st_mode);
    const std::string original = absolutePath(path);
    const std::time_t now = std::time(nullptr);
    if (homeTrashDevice() == st.st_dev) {
        auto home = openHomeTrash();
        if (!home) return cannotTrash(path, home.error());
        const Move move =
            moveInto(*home, folder, name, isFolder, trashInfoText(original, now), sync, beforeMove);
        // EXDEV: a bind mount of the home's file system, whose items go to its own trash.
        if (move.error != EXDEV) return outcome(move, path);
    }
    auto volume = openVolumeTrash(folder);
    if (!volume) return cannotTrash(path, volume.error());
    const std::string text = trashInfoText(recordedPath(original, volume->topdir), now);
    return outcome(moveInto(*volume, folder, name, isFolder, text, sync, beforeMove), path);
}

std::optional<std::string> restoreEntry(const TrashedItem& item, int folder, const char* name,
                                        const std::string& path) {
    const PathLocation from(item.trashedPath);
    if (from.error() != 0) return errorDescription(item.trashedPath, from.error());
    struct stat st;
    if (::fstatat(from.folder(), from.name(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return errorDescription(item.trashedPath, errno);
    }
    if (const int error =
            moveWithoutReplacing(from.folder(), from.name(), folder, name, S_ISDIR(st.st_mode))) {
        return errorDescription(path, error);
    }
    const PathLocation record(item.infoPath);
    if (record.error() != 0) return errorDescription(item.infoPath, record.error());
    if (::unlinkat(record.folder(), record.name(), 0) != 0) {
        return errorDescription(item.infoPath, errno);
    }
    return std::nullopt;
}

}  // namespace kelvora::platform
