// The cleaning of the results: questions, removal, shrinking the groups, the rating prompt.
#include "results/Cleaning.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "engine/FileTools.h"
#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "platform/Md5.h"

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

// Whether the copy on disk is still the one the search saw. A record without a stamp cannot
// be checked, so it never counts as unchanged. A package folder is the same folder while its
// device and inode are: its own size and time change with whatever is put inside.
std::optional<std::string> changedSinceSearch(const DuplicateFile& member,
                                              bool* isFolder = nullptr) {
    if (member.stamp == FileStamp{}) return "it was not scanned by this search";
    const auto now = platform::followedAttributes(member.path);
    if (!now) return "it can no longer be read: " + now.error();
    if (isFolder != nullptr) *isFolder = now->isFolder;
    const FileStamp& then = member.stamp;
    const bool same =
        now->device == then.device && now->inode == then.inode &&
        (now->isFolder || (now->size == then.size && now->modifiedNanoseconds == then.modified));
    if (!same) return "it changed since the search";
    return std::nullopt;
}

// Why the selected member must stay, or nothing when it may go.
std::optional<std::string> reasonToKeep(const File& group,
                                        const std::vector<DuplicateFile>& members,
                                        const DuplicateFile& member, const CleaningSafety& safety) {
    bool isFolder = false;
    if (auto changed = changedSinceSearch(member, &isFolder)) return changed;
    std::vector<const DuplicateFile*> staying;
    for (const DuplicateFile& other : members) {
        if (!selected(other) && other.path != member.path) staying.push_back(&other);
    }
    // The user chose to remove the whole group and confirmed it: nothing is meant to stay.
    if (staying.empty()) return std::nullopt;
    const auto unchanged = std::find_if(
        staying.begin(), staying.end(),
        [](const DuplicateFile* other) { return !changedSinceSearch(*other).has_value(); });
    if (unchanged == staying.end()) return "no copy of it that stays is still there unchanged";
    if (group.size >= kHashThreshold && safety.compareSizeOnlyGroups && !isFolder) {
        const auto same = platform::sameBytes(member.path, (*unchanged)->path);
        if (!same)
            return "it could not be compared with \"" + (*unchanged)->path + "\": " + same.error();
        if (!*same) return "its contents differ from \"" + (*unchanged)->path + "\", which stays";
    }
    return std::nullopt;
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

CleanReport removeSelectedCopies(SettingsManager& settings, const FileList& shown,
                                 const CleaningSafety& safety) {
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
            if (auto reason = reasonToKeep(*group, members, member, safety)) {
                platform::console("Kept \"" + member.path + "\": " + *reason);
                report.kept.push_back({member.path, std::move(*reason)});
                continue;
            }
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

CleanReport cleanSelectedCopies(SettingsManager& settings, const FileList& shown, Alerts& alerts,
                                const CleaningSafety& safety) {
    const CleanOutcome outcome = confirmCleaning(settings, shown, alerts);
    if (outcome != CleanOutcome::Confirmed) return {outcome, {}, {}, {}};
    return removeSelectedCopies(settings, shown, safety);
}

CleaningSafety cleaningSafetyFrom(const platform::UserDefaults& userDefaults) {
    CleaningSafety safety;
    safety.compareSizeOnlyGroups = userDefaults.stringForKey(kCompareLargeCopies) != "No";
    return safety;
}

std::string stayedText(const CleanReport& report) {
    if (report.kept.empty() && report.failed.empty()) return {};
    std::string text = "These copies were not removed:";
    for (const KeptCopy& copy : report.kept) text += "\n" + copy.path + ": " + copy.reason + ".";
    for (const std::string& path : report.failed)
        text += "\n" + path + ": it could not be removed.";
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
