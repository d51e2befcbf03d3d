// The results window: the groups of the last search and the copies of the selected group, the
// category filter with each category's share, the keep options, the space the cleaning frees,
// and the cleaning itself. The results model computes all of it; this window shows it and
// passes the user's actions on.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>

#include <QDialog>

#include "platform/UserDefaults.h"
#include "results/CustomKeepWindow.h"
#include "results/ResultsModel.h"
#include "results/ResultsView.h"
#include "ui/WindowServices.h"

class QCheckBox;
class QLabel;
class QProgressBar;

namespace Ui {
class ViewControllerDuplicates;
}

namespace kelvora {

class GroupsTableModel;
class MembersTableModel;

struct DuplicatesWindowServices {
    WindowServices window;
    platform::UserDefaults& userDefaults;
    // Shows a copy in the file manager.
    std::function<void(const std::string& path)> reveal;
    // Opens the application's page in the software centre.
    std::function<void(const std::string& address)> openStorePage;
};

// The desktop's file manager and software centre.
DuplicatesWindowServices desktopDuplicatesWindowServices(WindowServices window,
                                                         platform::UserDefaults& userDefaults);

class ViewControllerDuplicates final : public QDialog,
                                       public ResultsView,
                                       private CustomKeepWindow {
    Q_OBJECT
public:
    // Resets the keep state of every group and starts the first update.
    explicit ViewControllerDuplicates(DuplicatesWindowServices services, QWidget* parent = nullptr);
    ~ViewControllerDuplicates() override;

    ResultsModel& resultsModel() { return *model_; }

    // ResultsView.
    bool categoryChecked(FileCategory category) const override;
    void setCategoryChecked(FileCategory category, bool checked) override;
    bool applyForAllChecked() const override;
    void setApplyForAllChecked(bool checked) override;
    std::int64_t selectedSegment() const override;
    void setSelectedSegment(std::int64_t segment) override;
    void setCategoryShare(FileCategory category, double barValue,
                          const std::string& percentText) override;
    void setSpaceSaved(const std::string& sizeText, TextColour colour) override;
    void setBusy(bool busy) override;
    void reloadGroups() override;
    void reloadMembers() override;
    void reloadGroupCount(std::int64_t row) override;
    void selectGroupRow(std::int64_t row) override;
    void closeWindow() override;
    void waitForCleaning(CleaningProgress& progress) override;

    void ShowCustomWindow() { model_->ShowCustomWindow(); }
    void ShowCustomSettingsMessage() { model_->ShowCustomSettingsMessage(); }

public Q_SLOTS:
    void OnSegmentedControlKeepChanged();
    void OnApplyForAllChecked();
    void OnClean();
    void OnGoToSourceDirectoryButton();
    void OnShowInfo();

protected:
    // Leaving the window ends its results: the shared lists are emptied.
    void done(int result) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showRemovalMode();
    // The line that sums up the groups shown and what Clean would do with them.
    void showOverview();
    // CustomKeepWindow: the custom keep window, run over this one.
    void runModal(const FileList& shownGroups) override;

    void setUpTables();
    void connectActions();
    void OnGroupSelectionChanged();
    void OnMemberToggled(int row);
    void updateMemberButtons();
    int selectedGroupTableRow() const;
    int selectedMemberRow() const;

    std::unique_ptr<Ui::ViewControllerDuplicates> ui;
    DuplicatesWindowServices services_;
    SettingsManager& settingsManager;
    std::array<QCheckBox*, 6> categoryChecks_{};
    std::array<QProgressBar*, 6> categoryBars_{};
    std::array<QLabel*, 6> categoryPercents_{};
    GroupsTableModel* groups_;
    MembersTableModel* members_;
    QLabel* overview_;
    QString spaceSavedText_;
    // A selection made by the model (or kept across a reload) is not the user's choice and is
    // not reported back.
    bool selectingByCode_ = false;
    bool disappeared_ = false;
    // Last, so that it goes first: no result reaches a half-destroyed window.
    std::shared_ptr<ResultsModel> model_;
};

}  // namespace kelvora
