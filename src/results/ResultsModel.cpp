// The update cycle of the results window: one background step at a time, requests made meanwhile
// folded into one re-run, and the outcome installed on the main queue.
#include "results/ResultsModel.h"

#include <condition_variable>
#include <mutex>
#include <optional>

#include "core/Texts.h"
#include "results/CustomSettingsText.h"

namespace kelvora {

// One background step. The worker fills in the outcome; the main queue shows it, or a cleaning
// takes its decisions early.
struct ResultsModel::Step {
    std::mutex mutex;
    std::condition_variable done;
    std::optional<RebuildOutcome> outcome;
    bool decisionsInstalled = false;  // main queue only
    std::uint64_t spaceRequest = 0;

    RebuildOutcome& wait() {
        std::unique_lock lock(mutex);
        done.wait(lock, [this] { return outcome.has_value(); });
        return *outcome;
    }
};

std::shared_ptr<ResultsModel> ResultsModel::create(Services services) {
    return std::shared_ptr<ResultsModel>(new ResultsModel(std::move(services)));
}

ResultsModel::ResultsModel(Services services)
    : settingsManager(services.settings), services_(std::move(services)), view_(services_.view) {
    percentTexts_.fill("0%");
}

void ResultsModel::viewDidLoad() {
    ResetResultsWindow();
    UpdateResults();
}

bool ResultsModel::viewDidDisappear(bool minimised) {
    if (minimised) return false;
    settingsManager.fileList.clear();
    settingsManager.duplicateFileList.clear();
    return true;
}

UpdateSnapshot ResultsModel::takeSnapshot() const {
    UpdateSnapshot snapshot;
    snapshot.barValues = barValues_;
    snapshot.percentTexts = percentTexts_;
    for (const FileCategory category : kCategories) {
        snapshot.categoryStates[categoryIndex(category)] = view_.categoryChecked(category) ? 1 : 0;
    }
    snapshot.applyForAll = view_.applyForAllChecked() ? 1 : 0;
    snapshot.segment = view_.selectedSegment();
    return snapshot;
}

void ResultsModel::UpdateResults() {
    if (updating) {
        selectionChanged = true;
        return;
    }
    updating = true;
    lastSelectedRow = selectedRow;
    spaceAskedWhileUpdating_ = false;

    auto input = std::make_shared<RebuildInput>();
    input->snapshot = takeSnapshot();
    if (input->snapshot.applyForAll == 1 || firstUpdate || categoriesChanged) view_.setBusy(true);
    input->firstUpdate = firstUpdate;
    input->categoriesChanged = categoriesChanged;
    input->lastSelectedRow = lastSelectedRow;
    input->shownCount = fileList.size();
    const bool rebuild = firstUpdate || categoriesChanged;
    input->groups = takeGroupStates(rebuild ? settingsManager.duplicateFileList : fileList);
    input->duplicateFileList = settingsManager.duplicateFileList;
    input->rules = std::make_shared<SettingsManager>();
    copyCustomRules(settingsManager, *input->rules);

    auto step = std::make_shared<Step>();
    step->spaceRequest = ++spaceRequests_;
    runningStep_ = step;
    std::weak_ptr<ResultsModel> model = weak_from_this();
    platform::DispatchQueue& main = services_.main;
    services_.background.async([input, step, model, &main] {
        RebuildOutcome outcome = RebuildResults(std::move(*input));
        {
            std::lock_guard lock(step->mutex);
            step->outcome = std::move(outcome);
        }
        step->done.notify_all();
        main.async([step, model] {
            if (auto self = model.lock()) self->ShowResults(step);
        });
    });
}

void ResultsModel::installDecisions(Step& step) {
    RebuildOutcome& outcome = step.wait();
    if (step.decisionsInstalled) return;
    step.decisionsInstalled = true;
    installChanges(outcome.changes);
}

void ResultsModel::settleBackgroundStep() {
    if (runningStep_) installDecisions(*runningStep_);
}

void ResultsModel::ShowResults(const std::shared_ptr<Step>& step) {
    // The keep decisions are the user's choices and go into the records even when the rest of
    // this step is superseded by the re-run.
    installDecisions(*step);
    if (runningStep_ == step) runningStep_.reset();
    updating = false;
    if (selectionChanged) {
        selectionChanged = false;
        UpdateResults();
        return;
    }
    RebuildOutcome& outcome = *step->outcome;
    view_.setBusy(false);
    barValues_ = outcome.barValues;
    percentTexts_ = outcome.percentTexts;
    for (const FileCategory category : kCategories) {
        const std::size_t i = categoryIndex(category);
        view_.setCategoryShare(category, barValues_[i], percentTexts_[i]);
    }
    showSpaceSaved(outcome.spaceSaved, outcome.sizeText, step->spaceRequest);
    fileList = std::move(outcome.fileList);
    lastSelectedRow = outcome.lastSelectedRow;
    if (!categoriesChanged && !firstUpdate) {
        view_.reloadGroups();
        view_.reloadMembers();
    } else {
        categoriesChanged = false;
        firstUpdate = false;
        view_.reloadGroups();
        view_.selectGroupRow(0);
        view_.reloadMembers();
    }
    // A check toggled by hand while this step ran was summed before the step's decisions were
    // installed: sum again over the records as they are now.
    if (spaceAskedWhileUpdating_) {
        spaceAskedWhileUpdating_ = false;
        UpdateSpaceSaved();
    }
}

void ResultsModel::showSpaceSaved(std::uint64_t bytes, const std::string& text,
                                  std::uint64_t request) {
    if (request <= spaceShown_) return;
    spaceShown_ = request;
    settingsManager.spaceSaved = bytes;
    view_.setSpaceSaved(text, bytes != 0 ? TextColour::Green : TextColour::Black);
}

void ResultsModel::UpdateSpaceSaved() {
    if (updating) spaceAskedWhileUpdating_ = true;
    auto groups = std::make_shared<const std::vector<GroupState>>(takeGroupStates(fileList));
    const std::uint64_t request = ++spaceRequests_;
    std::weak_ptr<ResultsModel> model = weak_from_this();
    platform::DispatchQueue& main = services_.main;
    services_.background.async([groups, request, model, &main] {
        const std::uint64_t bytes = spaceSaved(*groups);
        main.async([bytes, text = sizeText(bytes), request, model] {
            auto self = model.lock();
            if (!self) return;
            self->showSpaceSaved(bytes, text, request);
            self->view_.reloadGroupCount(self->selectedRow);
        });
    });
}

void ResultsModel::OnCategoryChecked() {
    selectedRow = 0;
    categoriesChanged = true;
    UpdateResults();
}

void ResultsModel::OnGroupSelectionChanged(std::int64_t row) {
    if (row < 0 || static_cast<std::size_t>(row) >= fileList.size()) {
        selectedRow = 0;
        return;
    }
    selectedRow = row;
    view_.setSelectedSegment(fileList[static_cast<std::size_t>(row)]->keepOption);
    view_.reloadMembers();
}

std::size_t ResultsModel::memberRowCount(std::int64_t selectedGroupRow) const {
    const auto inList = [this](std::int64_t row) {
        return row >= 0 && static_cast<std::size_t>(row) < fileList.size();
    };
    if (!inList(selectedGroupRow) || !inList(selectedRow)) return 0;
    return fileList[static_cast<std::size_t>(selectedRow)]->duplicates.size();
}

}  // namespace kelvora
