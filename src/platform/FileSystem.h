// The small file-system layer the engine uses in place of a desktop file manager service.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/SettingsManager.h"
#include "platform/Result.h"

namespace kelvora::platform {

struct Attributes {
    std::uint64_t size = 0;
    dev_t device = 0;
    ino_t inode = 0;
    bool isFolder = false;
    bool isRegular = false;
    bool isLink = false;
    // Its number of names (hard links); 0 when unknown.
    std::uint64_t links = 0;
    // True when it is, or may be, the root of a mount: a file mounted over another path is
    // one object under two paths even with a single name. Read by statAt; elsewhere true.
    bool mayBeMountRoot = true;
    std::int64_t modifiedNanoseconds = 0;
    std::int64_t changedNanoseconds = 0;  // the change time (st_ctime)
    // The creation date as the lists show it: the birth time where the file system keeps
    // one, else the modification time. Only statAt reads the birth time; elsewhere 0.
    std::int64_t createdNanoseconds = 0;
};

// The item itself: a final symbolic link is not followed.
Result<Attributes> itemAttributes(const std::string& path);
// What the path leads to, links followed (existence and folder tests).
Result<Attributes> followedAttributes(const std::string& path);

// An open file descriptor, closed when the handle goes.
class FileHandle {
public:
    FileHandle() = default;
    explicit FileHandle(int fd) : fd_(fd) {}
    ~FileHandle() { reset(); }
    FileHandle(FileHandle&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileHandle& operator=(FileHandle&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    void reset();

private:
    int fd_ = -1;
};

// Where a path's last component lives: its folder opened step by step when the path is too
// long for one system call, else the working directory and the path itself. Every *at()
// call then works on paths of any length.
class PathLocation {
public:
    explicit PathLocation(const std::string& path);
    // 0 when the folder could be reached, else the errno that stopped it.
    int error() const { return error_; }
    int folder() const { return folder_.valid() ? folder_.get() : AT_FDCWD; }
    const char* name() const { return name_; }

private:
    FileHandle folder_;
    const char* name_ = nullptr;
    int error_ = 0;
};

// A search holds a descriptor for every folder it walked until its reads are done: thousands.
// The kernel's table of a process's descriptors grows by doubling, and while other threads
// share it, each growth waits for every core to pass a quiescent point (5 to 13 ms on this
// machine; a 200,000-file walk grew it five times, and the cache's first file after it once
// more). Called at startup, before any other thread, this grows it once, at no such cost, to
// what the process may open (at most 65,536 descriptors, half a megabyte of the kernel's).
void reserveDescriptorTable();

// Opens a file or folder at a path of any length. Returns the error text on failure.
Result<FileHandle> openPath(const std::string& path, int flags);

// Folder walking with descriptors: a subfolder opened relative to its parent, its attributes,
// its entries, and an entry's attributes, without resolving whole paths. followLink: a name
// that is a link may lead to the folder; otherwise it fails to open (ELOOP).
Result<FileHandle> openFolderAt(int parent, const char* name, const std::string& pathForErrors,
                                bool followLink);
Result<Attributes> attributesOf(int fd, const std::string& pathForErrors);
Result<Attributes> attributesAt(int folder, const char* name, bool followLinks,
                                const std::string& pathForErrors);
// The same without an error text, for threads that have no path at hand, and with the
// creation date: 0 or the errno.
int statAt(int folder, const char* name, bool followLinks, Attributes& attributes);
// Where a path really leads: every symbolic link, "." and ".." resolved, as realpath(3)
// gives it, but for paths of any length (each component is looked up in its folder's
// descriptor). 0 and the path in resolved, or the errno.
int realPath(const std::string& path, std::string& resolved);
// The absolute path of a folder the user named, as the system reaches it: relative to the
// working folder, with "." and repeated or trailing separators dropped, and the part up to
// its last ".." resolved (LINK/.. is the folder above where the link leads, not the one that
// holds the link). Links after the last ".." stay as written, so the results show the paths
// the user chose. 0 and the path in absolute, or the errno (ENOENT for an empty text).
int absolutePath(const std::string& text, std::string& absolute);
// The entries of an open folder with their types as the listing reports them (DT_*).
struct FolderEntry {
    std::string name;
    unsigned char type;
};
Result<std::vector<FolderEntry>> listFolderAt(int folder, const std::string& pathForErrors);

// The names in a folder, hidden ones included, in byte order so that a tree is always
// walked the same way and the same file heads a group on every run.
Result<std::vector<std::string>> listFolder(const std::string& path);

// Appends a name to a folder path without doubling the separator ("/" + "a" is "/a").
std::string appendingPathComponent(std::string_view folder, std::string_view name);
// The path without its last component ("/a/b" gives "/a", "/a" gives "/").
std::string deletingLastPathComponent(std::string_view path);
std::string_view lastPathComponent(std::string_view path);

enum class DateAttribute { Creation, Modification };
// The creation date is the birth time where the file system keeps one, the modification
// time elsewhere. Nothing when the item's attributes cannot be read.
std::optional<Date> itemDate(const std::string& path, DateAttribute attribute);

// Kelvora's folder for what it keeps between runs that is not configuration: the lock and
// the cleanings' journals. $XDG_STATE_HOME/kelvora, or ~/.local/state/kelvora.
std::string userStateFolder();

// Makes the folder and its missing parents, each private to the user: 0 or the errno.
int makePrivateFolders(const std::string& path);

// The text printed after "Error: " and the like: the path and what the system said.
std::string errorDescription(std::string_view path, int error);

}  // namespace kelvora::platform
