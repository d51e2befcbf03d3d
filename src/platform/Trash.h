// The freedesktop.org trash, moved into through the folder that holds the item, so that what
// goes is exactly the entry the caller checked, and with the place it went returned, so that it
// can be put back.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/Result.h"

namespace kelvora::platform {

// Where a trashed item went.
struct TrashedItem {
    std::string trashedPath;  // the item itself, in the trash's files folder
    std::string infoPath;     // its .trashinfo
};

// Moves the entry `name` of the open folder `folder` to the trash of its volume: the home
// trash ($XDG_DATA_HOME/Trash) when it is on the same device, else the volume's own
// ($topdir/.Trash/$uid when that is a valid shared trash, else $topdir/.Trash-$uid). `path` is
// the entry's whole path, for its .trashinfo and the error texts. The .trashinfo is complete
// and on disk before the entry moves, and the move never replaces anything already in the
// trash. Never deletes instead: where no trash can be used, the entry stays and the error
// text is returned.
Result<TrashedItem> trashEntry(int folder, const char* name, const std::string& path);

// How far an item's .trashinfo is made durable before the item moves. trashEntry above uses
// Record; the others are there to measure what that costs.
enum class TrashSync { None, Record, RecordAndFolder };
// beforeMove is told where the entry is about to go, once its record is on disk and before it
// moves, so that a journal can say so first; an error text it returns leaves the entry where
// it is and becomes the failure.
using BeforeTrashMove = std::function<std::optional<std::string>(const TrashedItem&)>;
Result<TrashedItem> trashEntry(int folder, const char* name, const std::string& path,
                               TrashSync sync, const BeforeTrashMove& beforeMove = {});

// Puts a trashed item back as the entry `name` of the open folder `folder` (never over
// something that took its place) and removes its .trashinfo. nullopt on success.
std::optional<std::string> restoreEntry(const TrashedItem& item, int folder, const char* name,
                                        const std::string& path);

}  // namespace kelvora::platform
