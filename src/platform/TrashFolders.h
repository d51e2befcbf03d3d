// Where the freedesktop.org trash of an item lies: the home trash for the home's volume, else
// a trash at the top of the item's own volume. Each is opened (made when missing) and checked
// before anything is moved into it.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/FileSystem.h"
#include "platform/Result.h"

namespace kelvora::platform {

struct TrashFolder {
    std::string root;    // the trash folder itself
    std::string topdir;  // the volume's top folder; empty for the home trash
    FileHandle files;
    FileHandle info;
};

// The device of the home trash, or of the nearest folder above it that exists while it does
// not: an item there belongs in the home trash even when that cannot be made.
std::optional<dev_t> homeTrashDevice();

// $XDG_DATA_HOME/Trash, its missing folders made private to the user.
Result<TrashFolder> openHomeTrash();

// The trash at the top of the volume that holds the open folder: $topdir/.Trash/$uid when
// .Trash is a shared trash (a real folder with the sticky bit), else $topdir/.Trash-$uid.
Result<TrashFolder> openVolumeTrash(int folder);

}  // namespace kelvora::platform
