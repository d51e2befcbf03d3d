// The results window's actions: resetting it, the keep selection with the custom keep window
// and its guard question, checks toggled by hand, and the cleaning.
#include "results/CustomSettingsText.h"
#include "results/ResultsModel.h"

namespace kelvora {

namespace {

FilePtr groupAt(const FileList& groups, std::int64_t row) {
    if (row < 0 || static_cast<std::size_t>(row) >= groups.size()) return nullptr;
    return groups[static_cast<std::size_t>(row)];
}

}  // namespace

void ResultsModel::ResetResultsWindow() {
    categoriesChanged = false;
    view_.setBusy(false);
    view_.setSelectedSegment(KeepNone);
    view_.setApplyForAllChecked(false);
    for (const FileCategory category : kCategories) view_.setCategoryChecked(category, true);
    for (const FilePtr& group : settingsManager.duplicateFileList) {
        group->keepOption = KeepNone;
        for (DuplicateFile& member : group->duplicates) member.checkState = 0;
    }
    ResetCustomSettings(settingsManager);
}

void ResultsModel::OnSegmentedControlKeepChanged() {
    if (fileList.empty()) return;
    settingsManager.selectedFile = selectedRow;
    if (view_.selectedSegment() == KeepCustom) {
        ShowCustomWindow();
        if (view_.applyForAllChecked() && settingsManager.customSettingsOption == "OK") {
            ShowCustomSettingsMessage();
        }
    }
    UpdateResults();
}

void ResultsModel::OnApplyForAllChecked() {
    // Switching the box off changes no record.
    if (fileList.empty() || !view_.applyForAllChecked()) return;
    if (view_.selectedSegment() == KeepCustom) ShowCustomSettingsMessage();
    UpdateResults();
}

void ResultsModel::ShowCustomWindow() {
    const FilePtr group = groupAt(fileList, selectedRow);
    if (!group) return;
    LoadCustomSettings(settingsManager, group->customSettings.str());
    services_.customKeepWindow.runModal(fileList);
    if (settingsManager.customSettingsOption != "Cancel") return;
    // The modal run may have let an update replace the list meanwhile.
    const FilePtr shown = groupAt(fileList, selectedRow);
    view_.setSelectedSegment((shown ? shown : group)->keepOption);
}

void ResultsModel::ShowCustomSettingsMessage() {
    view_.setBusy(false);
    const std::int64_t answer = services_.alerts.runModal(
        {"Do you want to keep at least one copy of each duplicate file?",
         {"Yes, keep the oldest file", "Yes, keep the newest file", "No"}});
    settingsManager.customMessageRespone = answer == kFirstButton    ? 1
                                           : answer == kSecondButton ? 2
                                                                     : 3;
    view_.setBusy(true);
}

void ResultsModel::OnMemberCheckToggled(std::int64_t row) {
    const FilePtr group = groupAt(fileList, selectedRow);
    if (!group || row < 0 || static_cast<std::size_t>(row) >= group->duplicates.size()) return;
    const auto index = static_cast<std::size_t>(row);
    if (group->duplicates[index].reference) return;  // a reference copy always stays
    const std::int64_t state = group->duplicates[index].checkState == 0 ? 1 : 0;
    group->duplicates[index].checkState = state;
    for (const FilePtr& record : settingsManager.duplicateFileList) {
        if (record->path == group->path && index < record->duplicates.size()) {
            record->duplicates[index].checkState = state;
        }
    }
    UpdateSpaceSaved();
}

CleanReport ResultsModel::OnClean() {
    settleBackgroundStep();
    categoriesChanged = false;
    CleanReport report;
    report.outcome = confirmCleaning(settingsManager, fileList, services_.alerts);
    if (report.outcome != CleanOutcome::Confirmed) return report;
    // The questions ran the event loop, which may have started another step meanwhile; it must
    // be done before members leave their groups.
    settleBackgroundStep();
    // The removals run on a worker while the window keeps answering; they read only the plan,
    // and the groups shrink here once they are done.
    const CleaningPlan plan = planCleaning(fileList);
    const CleaningSafety safety = cleaningSafetyFrom(services_.userDefaults);
    const bool moveToTrash = settingsManager.moveToTrash;
    CleaningProgress progress;
    services_.background.async([&plan, &safety, &progress, &report, moveToTrash] {
        report = executeCleaning(plan, moveToTrash, safety, progress);
        progress.finished.store(true);
    });
    view_.waitForCleaning(progress);
    if (report.outcome == CleanOutcome::Refused) {
        services_.alerts.runModal({report.stopReason, {"OK"}});
        return report;
    }
    applyCleaning(settingsManager, plan, report);

    firstUpdate = true;
    view_.selectGroupRow(0);
    UpdateResults();
    services_.alerts.runModal({"Duplicate files cleaned successfully. ", {"OK"}});
    if (const std::string stayed = stayedText(report); !stayed.empty()) {
        services_.alerts.runModal({stayed, {"OK"}});
    }
    askForRating(services_.alerts, services_.userDefaults, services_.openStorePage,
                 rateMessageShown);
    if (settingsManager.duplicateFileList.empty()) view_.closeWindow();
    return report;
}

}  // namespace kelvora
