// Shares of the categories, the list shown, the keep option and the space saved of one update.
#include "results/Rebuild.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "core/Texts.h"
#include "results/ResultsView.h"

namespace kelvora {

namespace {

// The sums cannot reach 2^64 on any real disk; should they, the total sticks at its maximum
// instead of wrapping round to a small, wrong number.
std::uint64_t addSaturated(std::uint64_t sum, std::uint64_t size, std::uint64_t count) {
    constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
    if (count != 0 && size > kMax / count) return kMax;
    const std::uint64_t product = size * count;
    return product > kMax - sum ? kMax : sum + product;
}

std::string percentText(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.0f", value);
    return std::string(buffer) + "%";
}

// With nothing duplicated (no groups, or only empty files) every share shows as 0%.
void computeShares(const std::vector<GroupState>& groups, RebuildOutcome& out) {
    std::uint64_t total = 0;
    for (const GroupState& group : groups) {
        total = addSaturated(total, group.file->size, group.checks.size());
    }
    for (const FileCategory category : kCategories) {
        const std::size_t i = categoryIndex(category);
        out.barValues[i] = 0.0;
        if (total != 0) {
            out.barValues[i] = static_cast<double>(categorySize(category, groups)) /
                               static_cast<double>(total) * 100.0;
        }
        out.percentTexts[i] = percentText(out.barValues[i]);
    }
}

}  // namespace

std::vector<GroupState> removeCategory(FileCategory category, std::vector<GroupState> groups) {
    std::erase_if(groups, [category](const GroupState& group) {
        return categoryForExtension(group.file->ext) == category;
    });
    return groups;
}

std::uint64_t categorySize(FileCategory category, const std::vector<GroupState>& groups) {
    std::uint64_t sum = 0;
    for (const GroupState& group : groups) {
        if (categoryForExtension(group.file->ext) == category) {
            sum = addSaturated(sum, group.file->size, group.checks.size());
        }
    }
    return sum;
}

std::uint64_t spaceSaved(const std::vector<GroupState>& groups) {
    std::uint64_t sum = 0;
    for (const GroupState& group : groups) {
        const auto selected = std::count(group.checks.begin(), group.checks.end(), 1);
        sum = addSaturated(sum, group.file->size, static_cast<std::uint64_t>(selected));
    }
    return sum;
}

RebuildOutcome RebuildResults(RebuildInput input) {
    RebuildOutcome out;
    const bool rowInList = input.lastSelectedRow >= 0 &&
                           static_cast<std::size_t>(input.lastSelectedRow) < input.shownCount;
    out.lastSelectedRow = rowInList ? input.lastSelectedRow : 0;

    // Shares describe the groups as they were at the first update after opening or cleaning,
    // whatever categories have been switched off since.
    out.barValues = input.snapshot.barValues;
    out.percentTexts = input.snapshot.percentTexts;
    if (input.firstUpdate) computeShares(input.groups, out);

    std::vector<GroupState> list = std::move(input.groups);
    if (input.categoriesChanged || input.firstUpdate) {
        for (const FileCategory category : kCategories) {
            if (input.snapshot.categoryStates[categoryIndex(category)] == 0) {
                list = removeCategory(category, std::move(list));
            }
        }
    }
    // A category click never changes a keep option or a check state.
    if (!list.empty() && !input.categoriesChanged) {
        out.changes =
            ApplyKeepOption(list, input.duplicateFileList, input.snapshot.segment,
                            input.snapshot.applyForAll, out.lastSelectedRow, *input.rules);
    }
    out.spaceSaved = spaceSaved(list);
    out.sizeText = sizeText(out.spaceSaved);
    out.fileList.reserve(list.size());
    for (GroupState& group : list) out.fileList.push_back(std::move(group.file));
    return out;
}

}  // namespace kelvora
