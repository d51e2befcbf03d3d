// The records of a search: one scanned file with the copies found of it, and one member
// of a duplicate group as the results list shows and checks it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/DigestText.h"
#include "core/RuleText.h"

namespace kelvora {

// Which copies of a group are selected for removal.
enum KeepOption : std::int64_t {
    KeepNone = 0,    // no copy selected
    KeepOldest = 1,  // all but the oldest
    KeepNewest = 2,  // all but the newest
    KeepAll = 3,     // every copy selected (the name follows the segment title "All")
    KeepCustom = 4,  // the group's custom rules decide
};

// What a copy was when the search saw it (links followed): the cleaning removes a copy only
// while it is still that file. The change time is the part no user can set back: the kernel
// moves it on every write, rename or attribute change, so a file rewritten with its old size
// and modification time put back still differs.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified = 0;  // nanoseconds since the epoch
    std::int64_t changed = 0;   // the change time (st_ctime), nanoseconds since the epoch
    bool operator==(const FileStamp&) const = default;
};

class DuplicateFile {
public:
    DuplicateFile(std::string path, std::string date)
        : path(std::move(path)), date(std::move(date)) {}

    std::string path;
    std::string date;             // creation date text, empty when it could not be read
    std::int64_t checkState = 0;  // 1 = selected for removal, 0 = kept
    FileStamp stamp;
    // Its contents could not be read by the search: it was grouped as if it held no bytes,
    // so nothing says it is a copy, and the cleaning never removes it.
    bool unreadable = false;
    // It lies in a reference folder: no keep option, rule, click or cleaning ever takes it.
    bool reference = false;
};

class File {
public:
    // Reads the item's own attributes once (a final link is not followed); an unreadable
    // item prints the console line and keeps size 0.
    explicit File(std::string path);
    // For callers that already hold the attributes (the walk): no file-system access.
    File(std::string path, std::string ext, std::uint64_t size);

    std::string path;
    std::string ext;
    std::uint64_t size = 0;
    std::vector<DuplicateFile> duplicates;
    std::int64_t keepOption = KeepNone;
    RuleText customSettings;
    FileStamp stamp;          // set by the walk
    bool unreadable = false;  // its contents could not be read by the search
    // The creation date the walk read with the item's attributes (nanoseconds since the
    // epoch); 0 when it has none.
    std::int64_t createdNanoseconds = 0;
    bool wasFound = false;
    // Empty until computed. A file that changed size since the walk gets kChangedSinceScan,
    // which no comparison takes as equal to anything.
    DigestText MD5Hash;
};

inline constexpr std::string_view kChangedSinceScan = "changed since the scan";

// Whether a reference folder contains the path, by the plain prefix test that drops nested
// chosen folders: a reference folder nested in another chosen folder still marks its files.
bool inReferenceFolder(std::string_view path, const std::vector<std::string>& referenceFolders);

// Records are shared by reference between the engine, the shared settings and the results.
using FilePtr = std::shared_ptr<File>;
using FileList = std::vector<FilePtr>;

// The lower-cased text after the last "." of the last path component ("" when none).
std::string pathExtension(std::string_view path);
std::string lowerCased(std::string_view text);

}  // namespace kelvora
