// The removal of the planned copies, one after the other, each only after the checks that say
// it is a true copy of a file that stays. Runs on any thread: it reads the plan, never a
// shared record.
//
// Every copy is looked at through a descriptor of the folder that holds it, and what is
// removed is that folder's entry, checked once more just before it goes, so that nothing
// swapped in between the checks and the removal can be taken instead.
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <optional>

#include "engine/FileTools.h"
#include "platform/Console.h"
#include "platform/FileOperations.h"
#include "platform/FileSystem.h"
#include "platform/MountTable.h"
#include "platform/SameContents.h"
#include "platform/Trash.h"
#include "platform/UserLock.h"
#include "results/Cleaning.h"
#include "results/CleaningJournal.h"

namespace kelvora {

namespace {

using platform::Attributes;
using platform::FileHandle;

// A copy opened for the checks: the folder that holds it, its own entry (a link stays a
// link), and what the entry leads to, open for reading.
struct OpenCopy {
    const DuplicateFile* member = nullptr;
    FileHandle folder;
    std::string name;
    Attributes entry;
    FileHandle file;
    Attributes target;
    std::string realPath;
};

// Where the open descriptor really is, links resolved, as the kernel names it; past the
// length /proc can give, the path resolved a component at a time.
std::string realPathOf(int fd, const std::string& path) {
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    std::string real(PATH_MAX, '\0');
    const ssize_t length = ::readlink(link.c_str(), real.data(), real.size());
    if (length > 0 && static_cast<std::size_t>(length) < real.size() && real[0] == '/') {
        real.resize(static_cast<std::size_t>(length));
        return real;
    }
    std::string resolved;
    return platform::realPath(path, resolved) == 0 ? resolved : path;
}

platform::Result<OpenCopy> openCopy(const DuplicateFile& member) {
    using Failure = platform::Result<OpenCopy>;
    OpenCopy copy;
    copy.member = &member;
    copy.name = std::string(platform::lastPathComponent(member.path));
    auto folder = platform::openHoldingFolder(member.path, copy.name);
    if (!folder) return Failure::failure(folder.error());
    copy.folder = std::move(*folder);
    auto entry = platform::attributesAt(copy.folder.get(), copy.name.c_str(), false, member.path);
    if (!entry) return Failure::failure(entry.error());
    copy.entry = *entry;
    // Non-blocking: a pipe put in the copy's place must not wait for a writer.
    copy.file = FileHandle(::openat(copy.folder.get(), copy.name.c_str(),
                                    O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!copy.file.valid()) return Failure::failure(platform::errorDescription(member.path, errno));
    auto target = platform::attributesOf(copy.file.get(), member.path);
    if (!target) return Failure::failure(target.error());
    copy.target = *target;
    return copy;
}

// Whether what the descriptor holds now is what the search saw. A package folder is the same
// folder while its device and inode are; its contents are compared as a tree.
bool asSearched(const Attributes& now, const FileStamp& then) {
    if (now.device != then.device || now.inode != then.inode) return false;
    if (now.isFolder) return true;
    return now.isRegular && now.size == then.size && now.modifiedNanoseconds == then.modified &&
           now.changedNanoseconds == then.changed;
}

// The copy is still there under its name, still the same entry, and unchanged.
bool stillAsSearched(const OpenCopy& copy) {
    Attributes entry;
    if (platform::statAt(copy.folder.get(), copy.name.c_str(), false, entry) != 0) return false;
    if (entry.device != copy.entry.device || entry.inode != copy.entry.inode) return false;
    auto target = platform::attributesOf(copy.file.get(), copy.member->path);
    return target && target->links > 0 && asSearched(*target, copy.member->stamp);
}

class Removal {
public:
    Removal(const CleaningPlan& plan, bool moveToTrash, const CleaningSafety& safety,
            CleaningProgress& progress, CleaningJournal& journal)
        : plan_(plan),
          moveToTrash_(moveToTrash),
          safety_(safety),
          progress_(progress),
          journal_(journal) {}

    CleanReport run();

private:
    void cleanGroup(const CleaningPlan::Group& group);
    // Why the copy must stay, or nothing when it may go.
    std::optional<std::string> reasonToKeep(const OpenCopy& copy, const OpenCopy* keeper);
    std::optional<std::string> comparedWith(const OpenCopy& copy, const OpenCopy& keeper);
    // Removes the checked entry, unless the last look finds it changed.
    void remove(OpenCopy& copy, const OpenCopy* keeper);
    void keep(const std::string& path, std::string reason);
    void stop(std::string reason);
    bool stopped() const { return !report_.stopReason.empty() || report_.interrupted; }

    const CleaningPlan& plan_;
    const bool moveToTrash_;
    const CleaningSafety& safety_;
    CleaningProgress& progress_;
    CleaningJournal& journal_;
    CleanReport report_;
    std::optional<platform::MountTable> mounts_;  // read when first needed
};

// The first copy of the group that stays and is still what the search saw, opened; checked
// again at every use, and replaced by the next one when it changed.
class Keeper {
public:
    explicit Keeper(const CleaningPlan::Group& group) {
        for (const DuplicateFile& member : group.members) {
            if (member.checkState != 1 || member.reference) staying_.push_back(&member);
        }
    }
    bool anyStays() const { return !staying_.empty(); }

    const OpenCopy* current() {
        for (;;) {
            if (copy_ && stillAsSearched(*copy_)) return &*copy_;
            copy_.reset();
            if (next_ == staying_.size()) return nullptr;
            const DuplicateFile* member = staying_[next_++];
            if (member->stamp == FileStamp{} || member->unreadable) continue;
            auto opened = openCopy(*member);
            if (opened && asSearched(opened->target, member->stamp)) {
                opened->realPath = realPathOf(opened->file.get(), member->path);
                copy_ = std::move(*opened);
            }
        }
    }

private:
    std::vector<const DuplicateFile*> staying_;
    std::size_t next_ = 0;
    std::optional<OpenCopy> copy_;
};

CleanReport Removal::run() {
    report_.outcome = CleanOutcome::Cleaned;
    progress_.total.store(plan_.selectedCopies);
    for (const CleaningPlan::Group& group : plan_.groups) {
        if (stopped()) {
            for (const DuplicateFile& member : group.members) {
                if (member.checkState == 1) report_.notReached.push_back(member.path);
            }
            continue;
        }
        cleanGroup(group);
    }
    return std::move(report_);
}

void Removal::cleanGroup(const CleaningPlan::Group& group) {
    Keeper keeper(group);
    for (const DuplicateFile& member : group.members) {
        if (member.checkState != 1) continue;
        if (!stopped() && progress_.stop.load()) report_.interrupted = true;
        if (stopped()) {
            report_.notReached.push_back(member.path);
            continue;
        }
        if (member.reference) {
            // The keep options never select one; a check forced on it still removes nothing.
            keep(member.path, "it lies in a reference folder");
        } else if (member.stamp == FileStamp{}) {
            keep(member.path, "it was not scanned by this search");
        } else if (member.unreadable) {
            keep(member.path, "the search could not read it, so nothing says it is a copy");
        } else if (auto copy = openCopy(member); !copy) {
            keep(member.path, "it can no longer be read: " + copy.error());
        } else {
            const OpenCopy* stays = keeper.anyStays() ? keeper.current() : nullptr;
            if (keeper.anyStays() && stays == nullptr) {
                keep(member.path, "no copy of it that stays is still there unchanged");
            } else if (auto reason = reasonToKeep(*copy, stays)) {
                keep(member.path, std::move(*reason));
            } else {
                remove(*copy, stays);
            }
        }
        progress_.done.fetch_add(1);
    }
}

std::optional<std::string> Removal::reasonToKeep(const OpenCopy& copy, const OpenCopy* keeper) {
    if (!asSearched(copy.target, copy.member->stamp)) return "it changed since the search";
    const std::string real = realPathOf(copy.file.get(), copy.member->path);
    if (!safety_.locations.allows(real)) return "it lies in a system folder (\"" + real + "\")";
    if (keeper == nullptr) return std::nullopt;  // the user chose to remove the whole group
    const std::string& stays = keeper->member->path;
    if (copy.target.device == keeper->target.device && copy.target.inode == keeper->target.inode)
        return "it is the same file as \"" + stays + "\", which stays";
    if (copy.target.device != keeper->target.device) {
        if (!mounts_) mounts_ = platform::MountTable::current();
        if (mounts_->mayShareData(real, keeper->realPath))
            return "it may be the same data as \"" + stays + "\", seen through another mount";
    }
    if (safety_.compareContents) return comparedWith(copy, *keeper);
    return std::nullopt;
}

std::optional<std::string> Removal::comparedWith(const OpenCopy& copy, const OpenCopy& keeper) {
    const std::string& stays = keeper.member->path;
    const auto same = copy.target.isFolder
                          ? platform::sameTree(copy.file.get(), keeper.file.get(),
                                               copy.member->path, stays, &progress_.stop)
                          : platform::sameBytes(copy.file.get(), keeper.file.get(),
                                                copy.member->path, stays, &progress_.stop);
    if (!same) return "it could not be compared with \"" + stays + "\": " + same.error();
    if (!*same) return "its contents differ from \"" + stays + "\", which stays";
    return std::nullopt;
}

void Removal::remove(OpenCopy& copy, const OpenCopy* keeper) {
    const std::string& path = copy.member->path;
    // The last look, right before the entry goes: neither copy changed during the comparison,
    // and the name still holds the entry that was checked.
    if (!stillAsSearched(copy) || (keeper != nullptr && !stillAsSearched(*keeper))) {
        keep(path, "it changed while it was being checked");
        return;
    }
    std::optional<platform::TrashedItem> trashed;
    std::optional<std::string> error;
    // The journal says where the copy goes before it goes; a journal that cannot say it any
    // more stops the cleaning with the copy in place.
    std::optional<std::string> unjournaled;
    if (moveToTrash_) {
        auto moved = platform::trashEntry(copy.folder.get(), copy.name.c_str(), path,
                                          platform::TrashSync::Record,
                                          [&](const platform::TrashedItem& item) {
                                              unjournaled = journal_.moving(path, item);
                                              return unjournaled;
                                          });
        if (moved) {
            trashed = std::move(*moved);
        } else {
            error = moved.error();
        }
    } else {
        unjournaled = journal_.deleting(path);
        if (!unjournaled) error = platform::removeEntry(copy.folder.get(), copy.name, path);
    }
    if (unjournaled) {
        keep(path, "the cleaning's journal could not be written: " + *unjournaled);
        stop("The cleaning's journal could not be written, so it stopped: " + *unjournaled);
        return;
    }
    if (error) {
        platform::console("Error:  " + *error);
        journal_.outcome(path, "failed", *error);
        // The report names the copy once: the system's text without the path it starts with.
        const std::string named = "\"" + path + "\": ";
        report_.failed.push_back(
            {path, error->starts_with(named) ? error->substr(named.size()) : *error});
        return;
    }
    // A copy that stays and shared its data with this one in a way no identity shows is gone
    // or changed now: the copy goes back at once where it can, and nothing more is removed.
    if (keeper != nullptr && !stillAsSearched(*keeper)) {
        const std::string& stays = keeper->member->path;
        const bool putBack = trashed && !platform::restoreEntry(*trashed, copy.folder.get(),
                                                                copy.name.c_str(), path);
        if (putBack) {
            keep(path,
                 "\"" + stays + "\", which stays, changed when it was moved; it was put back");
        } else {
            report_.removed.push_back(path);
        }
        stop("\"" + stays + "\", which stays, changed when \"" + path +
             "\" was removed: the two were one file's data. The cleaning stopped.");
        return;
    }
    report_.removed.push_back(path);
}

void Removal::keep(const std::string& path, std::string reason) {
    platform::console("Kept \"" + path + "\": " + reason);
    journal_.outcome(path, "kept", reason);
    report_.kept.push_back({path, std::move(reason)});
}

void Removal::stop(std::string reason) {
    platform::console(reason);
    report_.stopReason = std::move(reason);
}

CleanReport refused(const CleaningPlan& plan, std::string why) {
    CleanReport report;
    report.outcome = CleanOutcome::Refused;
    report.stopReason = std::move(why);
    for (const CleaningPlan::Group& group : plan.groups) {
        for (const DuplicateFile& member : group.members) {
            if (member.checkState == 1) report.notReached.push_back(member.path);
        }
    }
    return report;
}

}  // namespace

CleanReport executeCleaning(const CleaningPlan& plan, bool moveToTrash,
                            const CleaningSafety& safety, CleaningProgress& progress) {
    // One cleaning at a time for a user: two with different keep choices would each see its
    // own copy that stays, and remove the other's.
    const platform::UserLock lock("cleaning");
    if (lock.state() != platform::UserLock::State::Held) {
        return refused(plan, lock.state() == platform::UserLock::State::Busy
                                 ? kAnotherCleaningRuns
                                 : "The cleaning could not take its lock: " + lock.error() +
                                       ". Nothing was removed.");
    }
    auto journal = CleaningJournal::begin(plan, moveToTrash);
    if (!journal) {
        return refused(plan, "The cleaning's journal could not be written: " + journal.error() +
                                 ". Nothing was removed.");
    }
    CleanReport report = Removal(plan, moveToTrash, safety, progress, **journal).run();
    (*journal)->finish(report);
    return report;
}

}  // namespace kelvora
