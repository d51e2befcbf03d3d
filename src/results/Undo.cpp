// Undoing a cleaning through the same folder-descriptor file layer as the trash itself, so
// that paths of any length and bytes, and trashes at the top of other volumes, work alike.
#include "results/Undo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>

#include "core/JsonText.h"
#include "platform/FileSystem.h"
#include "platform/TrashFolders.h"
#include "platform/TrashInfo.h"

namespace kelvora {

namespace {

bool exists(const std::string& path, struct stat* st = nullptr) {
    struct stat own;
    const platform::PathLocation location(path);
    return location.error() == 0 &&
           ::fstatat(location.folder(), location.name(), st ? st : &own, AT_SYMLINK_NOFOLLOW) == 0;
}

// Whether the item in the trash is the copy that was moved: its size and modification time,
// which a move into the trash keeps.
bool isTheMovedCopy(const struct stat& st, const FileStamp& stamp) {
    if (S_ISDIR(st.st_mode)) return true;
    const std::int64_t modified =
        static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec;
    return static_cast<std::uint64_t>(st.st_size) == stamp.size && modified == stamp.modified;
}

// The folder the copy came from, made again with its missing parents when it is gone.
platform::Result<platform::FileHandle> openOrMakeFolder(const std::string& folder) {
    auto opened = platform::openPath(folder, O_RDONLY | O_DIRECTORY);
    if (opened || folder.empty() || folder == "/") return opened;
    auto parent = openOrMakeFolder(platform::deletingLastPathComponent(folder));
    if (!parent) return parent;
    const std::string name(platform::lastPathComponent(folder));
    if (::mkdirat(parent->get(), name.c_str(), 0777) != 0 && errno != EEXIST)
        return platform::Result<platform::FileHandle>::failure(
            platform::errorDescription(folder, errno));
    return platform::openPath(folder, O_RDONLY | O_DIRECTORY);
}

void noteUndone(const std::string& journal, const std::string& copy) {
    platform::FileHandle file(::open(journal.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (!file.valid()) return;
    const std::string line = "{\"undone\": " + jsonString(copy) + "}\n";
    if (::write(file.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size()))
        ::fdatasync(file.get());
}

void undoTrashed(const JournalRecord& record, const JournalCopy& copy, UndoReport& report) {
    struct stat inTrash, atPlace;
    const bool placeTaken = exists(copy.path, &atPlace);
    if (!exists(copy.trashed.trashedPath, &inTrash)) {
        // Cut off after its record was written and before it moved, or put back already.
        if (placeTaken && atPlace.st_ino == copy.stamp.inode) {
            if (exists(copy.trashed.infoPath)) ::unlink(copy.trashed.infoPath.c_str());
            report.alreadyInPlace.push_back(copy.path);
        } else {
            report.left.push_back(
                {copy.path, "it is no longer in the trash (emptied, or restored by hand)"});
        }
        return;
    }
    if (!isTheMovedCopy(inTrash, copy.stamp)) {
        report.left.push_back({copy.path, "what is in the trash under its name is another file"});
        return;
    }
    if (placeTaken) {
        report.left.push_back({copy.path, "its place is taken; it stays in the trash"});
        return;
    }
    auto folder = openOrMakeFolder(platform::deletingLastPathComponent(copy.path));
    if (!folder) {
        report.left.push_back({copy.path, "its folder could not be made again: " + folder.error()});
        return;
    }
    const std::string name(platform::lastPathComponent(copy.path));
    if (auto error = platform::restoreEntry(copy.trashed, folder->get(), name.c_str(), copy.path)) {
        report.left.push_back({copy.path, *error});
        return;
    }
    noteUndone(record.path, copy.path);
    report.restored.push_back(copy.path);
}

// A cleaning cut off after a copy's .trashinfo was written and before its journal line leaves
// that record alone in the home trash, naming the copy, which never moved: found among the
// records whose names start like the copy's, and removed.
void removeOrphanRecord(const JournalRecord& record) {
    if (record.finished || !record.moveToTrash) return;
    const auto inFlight =
        std::find_if(record.copies.begin(), record.copies.end(),
                     [](const auto& c) { return c.state == JournalCopy::State::NotReached; });
    if (inFlight == record.copies.end()) return;
    auto trash = platform::openHomeTrash();
    if (!trash) return;
    const auto names = platform::listFolderAt(trash->info.get(), trash->root + "/info");
    if (!names) return;
    const std::string name(platform::lastPathComponent(inFlight->path));
    const std::string stem = name.substr(0, std::min(name.find('.', 1), platform::kMaxTrashName));
    const std::string expected =
        "\nPath=" + platform::percentEncoded(platform::absolutePath(inFlight->path)) + "\n";
    for (const platform::FolderEntry& entry : *names) {
        if (!entry.name.starts_with(stem) || !entry.name.ends_with(".trashinfo")) continue;
        const std::string item = entry.name.substr(0, entry.name.size() - 10);
        struct stat st;
        if (::fstatat(trash->files.get(), item.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) continue;
        const std::string path = trash->root + "/info/" + entry.name;
        std::ifstream file(path, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        // A record cut off while it was written names nothing yet: it is the copy's too.
        const bool complete = text.str().find("\nDeletionDate=") != std::string::npos;
        if (text.str().find(expected) != std::string::npos || !complete)
            ::unlinkat(trash->info.get(), entry.name.c_str(), 0);
    }
}

}  // namespace

std::size_t restorableCopies(const JournalRecord& record) {
    std::size_t count = 0;
    for (const JournalCopy& copy : record.copies) {
        count += copy.state == JournalCopy::State::Trashed && !copy.undone &&
                 exists(copy.trashed.trashedPath);
    }
    return count;
}

UndoReport undoCleaning(const JournalRecord& record) {
    UndoReport report;
    removeOrphanRecord(record);
    for (const JournalCopy& copy : record.copies) {
        if (copy.state == JournalCopy::State::Trashed) {
            undoTrashed(record, copy, report);
        } else if (copy.state == JournalCopy::State::Deleted) {
            struct stat st;
            // Cut off before the unlink: it never went.
            if (exists(copy.path, &st) && st.st_ino == copy.stamp.inode) continue;
            report.deletedForGood.push_back(copy.path);
        }
    }
    return report;
}

}  // namespace kelvora
