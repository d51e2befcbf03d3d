// Which copies of each group stay. A results step decides on its own copy of the check states;
// the decisions are written into the shared records afterwards, on the window's thread.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/File.h"
#include "core/SettingsManager.h"

namespace kelvora {

// A group as a results step sees it: the shared record, and the members' check states as they
// were when the step began (then as the step decided them).
struct GroupState {
    FilePtr file;
    std::vector<std::int64_t> checks;
};

// Takes the check states on the thread that owns the records.
std::vector<GroupState> takeGroupStates(const FileList& groups);

// What a keep option decided for one record.
struct GroupChange {
    FilePtr file;
    std::int64_t keepOption = 0;
    std::optional<RuleText> customSettings;
    std::vector<std::int64_t> checks;
};

// Applies keep option `segment` (0-4) to the group at lastSelectedRow of groups, or, when
// applyForAll is 1, to every group in order. The groups' checks take the new states. The
// changes name every record to update: each target and each other record of duplicateFileList
// with a target's path. rules holds the custom keep fields, customSettingsOption and
// customMessageRespone; the custom option applies only while customSettingsOption is "OK".
// Reads the members' paths and dates from the records but writes nothing shared.
std::vector<GroupChange> ApplyKeepOption(std::vector<GroupState>& groups,
                                         const FileList& duplicateFileList, std::int64_t segment,
                                         std::int64_t applyForAll, std::int64_t lastSelectedRow,
                                         SettingsManager& rules);

// Writes the decisions into the records, on the thread that owns them. A record whose members
// changed in the meantime keeps its members' states.
void installChanges(const std::vector<GroupChange>& changes);

// For the command line: applies the option to every group of settings.duplicateFileList at once,
// with guardAnswer (1 oldest, 2 newest, 3 none) as the answer to the question whether one copy
// of each group stays when custom rules select them all.
void applyKeepOptionToAll(SettingsManager& settings, std::int64_t segment,
                          std::int64_t guardAnswer);

}  // namespace kelvora
