// The cleaning of the results: questions, removal, shrinking the groups, the rating prompt.
#include "results/Cleaning.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <unordered_set>

namespace kelvora {

namespace {

bool selected(const DuplicateFile& member) {
    return member.checkState == 1;
}

// A reference copy stays whatever its check says, so it never makes a group go whole.
bool removable(const DuplicateFile& member) {
    return selected(member) && !member.reference;
}

bool anySelected(const FileList& groups) {
    return std::any_of(groups.begin(), groups.end(), [](const FilePtr& group) {
        return std::any_of(group->duplicates.begin(), group->duplicates.end(), selected);
    });
}

bool anyWholeGroupSelected(const FileList& groups) {
    return std::any_of(groups.begin(), groups.end(), [](const FilePtr& group) {
        return !group->duplicates.empty() &&
               std::all_of(group->duplicates.begin(), group->duplicates.end(), removable);
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

CleaningPlan planCleaning(const FileList& shown) {
    CleaningPlan plan;
    for (const FilePtr& group : shown) {
        const auto count = static_cast<std::size_t>(
            std::count_if(group->duplicates.begin(), group->duplicates.end(), selected));
        if (count == 0) continue;
        plan.groups.push_back({group.get(), group->size, group->duplicates});
        plan.selectedCopies += count;
    }
    return plan;
}

void applyCleaning(SettingsManager& settings, const CleaningPlan& plan, const CleanReport& report) {
    // A copy leaves its group once its removal was tried, whether or not it worked; copies
    // the checks kept back, or that the cleaning did not reach, stay.
    std::unordered_set<std::string_view> tried(report.removed.begin(), report.removed.end());
    for (const KeptCopy& copy : report.failed) tried.insert(copy.path);
    std::unordered_set<std::string> emptiedGroups;
    for (const CleaningPlan::Group& planned : plan.groups) {
        File& group = *planned.group;
        std::erase_if(group.duplicates,
                      [&](const DuplicateFile& member) { return tried.contains(member.path); });
        // A group left with reference copies alone has nothing more to choose from.
        const bool onlyReferences =
            std::all_of(group.duplicates.begin(), group.duplicates.end(),
                        [](const DuplicateFile& member) { return member.reference; });
        if (group.duplicates.size() <= 1 || onlyReferences) emptiedGroups.insert(group.path);
    }
    std::erase_if(settings.duplicateFileList,
                  [&](const FilePtr& group) { return emptiedGroups.contains(group->path); });
}

CleanReport removeSelectedCopies(SettingsManager& settings, const FileList& shown,
                                 const CleaningSafety& safety, CleaningProgress* progress) {
    CleaningProgress own;
    const CleaningPlan plan = planCleaning(shown);
    CleanReport report =
        executeCleaning(plan, settings.moveToTrash, safety, progress ? *progress : own);
    (progress ? *progress : own).finished.store(true);
    applyCleaning(settings, plan, report);
    return report;
}

CleanReport cleanSelectedCopies(SettingsManager& settings, const FileList& shown, Alerts& alerts,
                                const CleaningSafety& safety, CleaningProgress* progress) {
    const CleanOutcome outcome = confirmCleaning(settings, shown, alerts);
    if (outcome != CleanOutcome::Confirmed) {
        CleanReport report;
        report.outcome = outcome;
        return report;
    }
    return removeSelectedCopies(settings, shown, safety, progress);
}

CleaningSafety cleaningSafetyFrom(const platform::UserDefaults& userDefaults) {
    CleaningSafety safety;
    safety.compareContents = userDefaults.stringForKey(kCompareLargeCopies) != "No";
    return safety;
}

std::string stayedText(const CleanReport& report) {
    if (report.kept.empty() && report.failed.empty() && report.notReached.empty()) return {};
    std::string text = "These copies were not removed:";
    for (const KeptCopy& copy : report.kept) text += "\n" + copy.path + ": " + copy.reason + ".";
    for (const KeptCopy& copy : report.failed)
        text += "\n" + copy.path + ": it could not be removed: " + copy.reason + ".";
    const char* why = report.interrupted ? ": the cleaning was interrupted before it."
                                         : ": the cleaning stopped before it.";
    for (const std::string& path : report.notReached) text += "\n" + path + why;
    return text;
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
