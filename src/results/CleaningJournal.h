// The journal of a cleaning: written before the first copy is touched and added to, durably,
// before each copy moves, so that any cleaning, even one cut off at any instant, can be told
// and undone. One JSON object a line, readable by a person; never needed by a search.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/Result.h"
#include "platform/Trash.h"
#include "results/Cleaning.h"

namespace kelvora {

// $XDG_STATE_HOME/kelvora/cleanings (~/.local/state/kelvora/cleanings).
std::string cleaningsFolder();

class CleaningJournal {
public:
    // Makes a new journal in the cleanings folder and writes the plan into it, on disk before
    // this returns. The error text when it cannot.
    static platform::Result<std::unique_ptr<CleaningJournal>> begin(const CleaningPlan& plan,
                                                                    bool moveToTrash);

    // Durable before the copy is touched: it is about to go to the trash as item, or for good.
    std::optional<std::string> moving(const std::string& copy, const platform::TrashedItem& item);
    std::optional<std::string> deleting(const std::string& copy);
    // What became of a copy that stayed: kept by a check, failed, or put back.
    void outcome(const std::string& copy, const char* what, const std::string& detail);
    void finish(const CleanReport& report);

    const std::string& path() const { return path_; }

private:
    CleaningJournal(platform::FileHandle file, std::string path)
        : file_(std::move(file)), path_(std::move(path)) {}
    std::optional<std::string> append(const std::string& line, bool durable);

    platform::FileHandle file_;
    std::string path_;
};

// What a journal says, read back.
struct JournalCopy {
    std::string path;
    FileStamp stamp;
    std::string stays;
    std::uint64_t bytes = 0;
    enum class State { NotReached, Trashed, Deleted, Stayed } state = State::NotReached;
    platform::TrashedItem trashed;  // when Trashed
    bool undone = false;
};
struct JournalRecord {
    std::string id;    // the journal's file name without its extension
    std::string path;  // the journal file
    std::string started;
    bool moveToTrash = true;
    bool finished = false;
    std::vector<JournalCopy> copies;
};
// What a cleaning removed, to the trash or for good, as its journal says.
struct JournalTotals {
    std::size_t removed = 0;
    std::uint64_t bytesFreed = 0;
};
JournalTotals totalsOf(const JournalRecord& record);

// Nothing, with the error text, when the file is not a journal of ours; a line cut off by a
// crash at the end is skipped.
platform::Result<JournalRecord> readJournal(const std::string& path);

// The journals in the cleanings folder, newest first. Damaged ones are named in skipped.
std::vector<JournalRecord> cleaningHistory(std::vector<std::string>* skipped = nullptr);

// Keeps the newest 100 journals and every one of the last 90 days.
void pruneJournals();

}  // namespace kelvora
