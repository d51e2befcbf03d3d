// Taking a cleaning back: every copy it moved to the trash goes back to its place, as the
// journal says, even when the cleaning was cut off.
#pragma once

#include <string>
#include <vector>

#include "results/Cleaning.h"
#include "results/CleaningJournal.h"

namespace kelvora {

struct UndoReport {
    std::vector<std::string> restored;
    std::vector<std::string> alreadyInPlace;  // never moved, or already put back
    std::vector<KeptCopy> left;               // still in the trash or gone, and why
    std::vector<std::string> deletedForGood;  // removed permanently: nothing to bring back
    bool complete() const { return left.empty() && deletedForGood.empty(); }
};

// How many of the record's copies are in the trash now and could be put back.
std::size_t restorableCopies(const JournalRecord& record);

// Puts back every copy of the record that went to the trash and is still there unchanged,
// where its place is free (making missing folders), and removes its .trashinfo. Each copy put
// back is noted in the journal, so that undoing twice changes nothing.
UndoReport undoCleaning(const JournalRecord& record);

}  // namespace kelvora
