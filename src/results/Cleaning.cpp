// The cleaning of the results: questions, removal, shrinking the groups, the rating prompt.
#include "results/Cleaning.h"

#include <algorithm>
#include <unordered_set>

#include "engine/FileTools.h"

namespace kelvora {

namespace {

bool selected(const DuplicateFile& member) {
    return member.checkState == 1;
}

bool anySelected(const FileList& groups) {
    return std::any_of(groups.begin(), groups.end(), [](const FilePtr& group) {
        return std::any_of(group->duplicates.begin(), group->duplicates.end(), selected);
    });
}

bool anyWholeGroupSelected(const FileList& groups) {
    return std::any_of(groups.begin(), groups.end(), [](const FilePtr& group) {
        return !group->duplicates.empty() &&
               std::all_of(group->duplicates.begin(), group->duplicates.end(), selected);
    });
}

bool askYesNo(Alerts& alerts, const char* question) {
    return alerts.runModal({question, {"Yes", "No"}}) == kFirstButton;
}

}  // namespace

CleanOutcome confirmCleaning(const SettingsManager& settings, const FileList& shown,
                             Alerts& alerts) {
    if (!anySelected(shown)) {
        alerts.runModal(
            {"You did not select any duplicate files. Please select at least one "
             "duplicate file and try again.",
             {"OK"}});
        return CleanOutcome::NothingSelected;
    }
    if (anyWholeGroupSelected(shown) &&
        !askYesNo(alerts,
                  "Some files have been selected to be removed completely. Are you sure you want "
                  "to continue?")) {
        return CleanOutcome::Declined;
    }
    if (!settings.moveToTrash &&
        !askYesNo(alerts,
                  "You are about to permanently remove the selected duplicate files. Continue?")) {
        return CleanOutcome::Declined;
    }
    return CleanOutcome::Confirmed;
}

CleanReport removeSelectedCopies(SettingsManager& settings, const FileList& shown) {
    CleanReport report;
    report.outcome = CleanOutcome::Cleaned;
    const FileTools tools(settings);
    // The shown list may be settings.duplicateFileList itself: walk a copy, and take emptied
    // groups out in one pass at the end.
    const FileList groups = shown;
    std::unordered_set<std::string> emptiedGroups;
    for (const FilePtr& group : groups) {
        const std::vector<DuplicateFile> members = group->duplicates;
        for (const DuplicateFile& member : members) {
            if (!selected(member)) continue;
            const bool gone =
                settings.moveToTrash ? tools.trashFile(member.path) : tools.removeFile(member.path);
            (gone ? report.removed : report.failed).push_back(member.path);
            std::erase_if(group->duplicates,
                          [&](const DuplicateFile& other) { return other.path == member.path; });
        }
        if (group->duplicates.size() <= 1) emptiedGroups.insert(group->path);
    }
    std::erase_if(settings.duplicateFileList,
                  [&](const FilePtr& group) { return emptiedGroups.contains(group->path); });
    return report;
}

CleanReport cleanSelectedCopies(SettingsManager& settings, const FileList& shown, Alerts& alerts) {
    const CleanOutcome outcome = confirmCleaning(settings, shown, alerts);
    if (outcome != CleanOutcome::Confirmed) return {outcome, {}, {}};
    return removeSelectedCopies(settings, shown);
}

void askForRating(Alerts& alerts, platform::UserDefaults& userDefaults,
                  const std::function<void(const std::string&)>& openStorePage,
                  bool& rateMessageShown) {
    const std::optional<std::string> value = userDefaults.stringForKey(kShowRateMessage);
    if (!value) {
        userDefaults.setString(kShowRateMessage, "Yes");
        userDefaults.synchronize();
        return;
    }
    if (*value != "Yes" || rateMessageShown) return;
    const std::int64_t answer = alerts.runModal(
        {"If you enjoy using Kelvora, would you mind taking a moment to rate it? Thanks for "
         "your support!",
         {"Yes, Rate Kelvora", "Remind me later", "No, Thanks"}});
    if (answer == kFirstButton && openStorePage) openStorePage(kStorePageAddress);
    if (answer == kFirstButton || answer == kThirdButton) {
        userDefaults.setString(kShowRateMessage, "No");
        userDefaults.synchronize();
    }
    rateMessageShown = true;
}

}  // namespace kelvora
