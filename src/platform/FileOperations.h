// Removing files: to the freedesktop.org trash that every Linux file manager shows (and can
// restore from), or for good.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/FileSystem.h"
#include "platform/Result.h"

namespace kelvora::platform {

// Moves the item to the trash of its volume. Never deletes instead: when no trash can be
// made there, the item stays and the error is returned. nullopt on success.
std::optional<std::string> trashItem(const std::string& path);

// Deletes the item; a folder (a package) with everything inside it. A link is removed, not
// what it points to. nullopt on success.
std::optional<std::string> removeItem(const std::string& path);

// The folder that holds the item at path, opened, for *at() calls on the item's own name
// (`name`, its last component); errors name the item.
Result<FileHandle> openHoldingFolder(const std::string& path, std::string_view name);

// The same for the entry `name` of an open folder (or a path, with AT_FDCWD); `path` is the
// entry's whole path for the error texts.
std::optional<std::string> removeEntry(int parentFd, const std::string& name,
                                       const std::string& path);

}  // namespace kelvora::platform
