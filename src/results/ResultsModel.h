// The model behind the results window: the groups shown, the category shares, the space saved,
// the keep selection and the cleaning, computed without a toolkit. The window implements
// ResultsView and calls the actions; everything here runs on the main queue except the
// background steps, which work on private copies (see Rebuild.h).
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "core/SettingsManager.h"
#include "platform/Queues.h"
#include "platform/UserDefaults.h"
#include "results/Alerts.h"
#include "results/Cleaning.h"
#include "results/CustomKeepWindow.h"
#include "results/Rebuild.h"
#include "results/ResultsView.h"

namespace kelvora {

class ResultsModel : public std::enable_shared_from_this<ResultsModel> {
public:
    struct Services {
        SettingsManager& settings;
        // Must make progress without the main queue: a cleaning waits for a running step.
        platform::DispatchQueue& background;
        platform::DispatchQueue& main;
        ResultsView& view;
        Alerts& alerts;
        CustomKeepWindow& customKeepWindow;
        platform::UserDefaults& userDefaults;
        std::function<void(const std::string&)> openStorePage;
    };

    // Results of background steps reach the model only while it lives.
    static std::shared_ptr<ResultsModel> create(Services services);

    // The window's life.
    void viewDidLoad();  // ResetResultsWindow, then the first update
    void ResetResultsWindow();
    // Empties the shared result lists unless the window was only minimised; true when the
    // window's modal run is to stop.
    bool viewDidDisappear(bool minimised);

    // The update cycle.
    void UpdateResults();
    void UpdateSpaceSaved();
    void OnPictruesChecked() { OnCategoryChecked(); }
    void OnMusicChecked() { OnCategoryChecked(); }
    void OnMoviesChecked() { OnCategoryChecked(); }
    void OnArchivesChecked() { OnCategoryChecked(); }
    void OnDocumentsChecked() { OnCategoryChecked(); }
    void OnOtherChecked() { OnCategoryChecked(); }
    void OnCategoryChecked();

    // The tables. row is the groups table's selected row, -1 when none.
    void OnGroupSelectionChanged(std::int64_t row);
    std::size_t memberRowCount(std::int64_t selectedGroupRow) const;

    // Keep selection.
    void OnSegmentedControlKeepChanged();
    void OnApplyForAllChecked();
    void ShowCustomWindow();
    void ShowCustomSettingsMessage();
    void OnMemberCheckToggled(std::int64_t row);  // member row of the selected group

    // Cleaning.
    CleanReport OnClean();

    // Waits for a running background step and writes its keep decisions into the records, so
    // that what follows acts on the user's last choice. Its display still comes through the
    // main queue as usual.
    void settleBackgroundStep();

    SettingsManager& settingsManager;
    FileList fileList;
    std::int64_t selectedRow = 0;
    std::int64_t lastSelectedRow = 0;
    bool updating = false;
    bool selectionChanged = false;
    bool categoriesChanged = false;
    bool firstUpdate = true;
    bool rateMessageShown = false;

private:
    struct Step;
    explicit ResultsModel(Services services);

    UpdateSnapshot takeSnapshot() const;
    void ShowResults(const std::shared_ptr<Step>& step);
    void installDecisions(Step& step);
    void showSpaceSaved(std::uint64_t bytes, const std::string& text, std::uint64_t request);

    Services services_;
    ResultsView& view_;
    // The bars and percent labels as last shown: only this model writes them.
    std::array<double, 6> barValues_{};
    std::array<std::string, 6> percentTexts_;
    std::shared_ptr<Step> runningStep_;
    // Space-saved results may arrive out of order; only the latest request is shown.
    std::uint64_t spaceRequests_ = 0;
    std::uint64_t spaceShown_ = 0;
    bool spaceAskedWhileUpdating_ = false;
};

}  // namespace kelvora
