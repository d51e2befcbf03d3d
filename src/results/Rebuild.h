// The background step of a results update. It works on a private copy of what the window held
// when the update began and returns what the window is to show and write; it changes nothing
// shared, so the window's thread may go on drawing from the records meanwhile.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/FileCategory.h"
#include "core/SettingsManager.h"
#include "results/KeepSelection.h"

namespace kelvora {

// The controls as they stood when the update began.
struct UpdateSnapshot {
    std::array<double, 6> barValues{};
    std::array<std::string, 6> percentTexts;
    std::array<std::int64_t, 6> categoryStates{};  // 0 = off
    std::int64_t applyForAll = 0;                  // 1 = on
    std::int64_t segment = 0;
};

struct RebuildInput {
    UpdateSnapshot snapshot;
    bool firstUpdate = false;
    bool categoriesChanged = false;
    std::int64_t lastSelectedRow = 0;
    std::size_t shownCount = 0;  // groups in the window's list when the update began
    // duplicateFileList when the list is to be rebuilt (first update, category change), else
    // the window's list.
    std::vector<GroupState> groups;
    FileList duplicateFileList;
    std::shared_ptr<SettingsManager> rules;  // a private copy of the custom keep rules
};

struct RebuildOutcome {
    std::array<double, 6> barValues{};
    std::array<std::string, 6> percentTexts;
    std::int64_t lastSelectedRow = 0;
    FileList fileList;
    std::vector<GroupChange> changes;
    std::uint64_t spaceSaved = 0;
    std::string sizeText;
};

RebuildOutcome RebuildResults(RebuildInput input);

// The list in its order without the groups of that category.
std::vector<GroupState> removeCategory(FileCategory category, std::vector<GroupState> groups);
// Duplicated bytes of one category: size times members over the groups.
std::uint64_t categorySize(FileCategory category, const std::vector<GroupState>& groups);
// Bytes that removing the selected copies of these groups frees.
std::uint64_t spaceSaved(const std::vector<GroupState>& groups);

}  // namespace kelvora
