// The small file-system layer the engine uses in place of a desktop file manager service.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
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
    std::int64_t modifiedNanoseconds = 0;
};

// The item itself: a final symbolic link is not followed.
Result<Attributes> itemAttributes(const std::string& path);
// What the path leads to, links followed (existence and folder tests).
Result<Attributes> followedAttributes(const std::string& path);

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

// The text printed after "Error: " and the like: the path and what the system said.
std::string errorDescription(std::string_view path, int error);

}  // namespace kelvora::platform
