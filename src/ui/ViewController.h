// The main window: the folders to scan, the size range, the file types, what happens to removed
// duplicates and whether packages are skipped. Every change goes straight into the shared
// settings. It starts a search and keeps the profile the settings came from in its title, where
// a trailing "*" is the one record of unsaved changes.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QMainWindow>

#include "profiles/Profile.h"
#include "ui/WindowServices.h"

class QAbstractButton;
class QButtonGroup;
class QTableView;

namespace Ui {
class ViewController;
}

namespace kelvora {

class FolderListModel;
class StringListModel;

class ViewController final : public QMainWindow {
    Q_OBJECT
public:
    explicit ViewController(WindowServices services, QWidget* parent = nullptr);
    ~ViewController() override;

    // The results window, run modally over this one when a search found duplicates. It must
    // empty the shared result lists when it closes. Until one is installed nothing is shown.
    using DuplicatesWindowRunner = std::function<void(QWidget& parent)>;
    void setDuplicatesWindowRunner(DuplicatesWindowRunner runner);

    // Folders named on the command line: listed like dropped folders, without the marker.
    void addStartupFolders(const std::vector<std::string>& paths);

    const std::string& currentProfilePath() const { return currentProfilePath_; }

    // Title and unsaved changes.
    void MarkModified();
    bool HasUnsavedChanges() const;
    bool ConfirmDiscard();
    bool ConfirmExit();

    void ResetSettings();
    void ApplySettings();
    void ShowDuplicatesWindow();

public Q_SLOTS:
    void OnAddFolder();
    void OnRemoveSelected();
    void OnRemoveAll();
    void OnMinimumFileSizeChanged();
    void OnMaximumFileSizeChanged();
    void OnScanAllFileTypesSelected();
    void OnCustomFileTypesSelected();
    void OncustomFileTypesAddFileExtension();
    void OnCustomFileTypesRemoveSelected();
    void OnCustomFileTypesRemoveAll();
    void OnMoveDuplicateFilesToTrashSelected();
    void OnRemoveDuplicateFilesPermanentlySelected();
    void OnIgnoreBundlesChecked();
    void OnFindDuplicateFiles();

    void OnFileNew();
    void OnSaveProfile();
    void OnSaveProfileAs();
    void OnLoadProfile();
    void OnAppQuit();

protected:
    // The window's close button asks the exit confirmation.
    void closeEvent(QCloseEvent* event) override;

private:
    void addCleaningMenu();
    void connectActions();
    void setUpTables();
    std::int64_t runAlert(const std::string& informativeText, std::vector<std::string> buttons);
    void setCustomTypeControlsEnabled(bool enabled);
    // Sets both buttons of an exclusive pair as given, even both on or both off as a
    // hand-edited profile may say; a click then switches the other one off again.
    static void setRadioPair(QAbstractButton* first, bool firstOn, QAbstractButton* second,
                             bool secondOn);
    void setSliderPositions(float minimum, float maximum);
    static int selectedRow(const QTableView* table);

    // Profiles (ViewControllerProfiles.cpp).
    void WriteProfile();
    Profile profileFromControls() const;
    void showProfile(const Profile& profile);
    std::string profileFolder() const;

    std::unique_ptr<Ui::ViewController> ui;
    WindowServices services_;
    SettingsManager& settingsManager;
    std::string currentProfilePath_;
    FolderListModel* folders_;
    StringListModel* extensions_;
    QButtonGroup* fileTypesGroup_;
    QButtonGroup* removalGroup_;
    // A slider shows whole positions, but a profile may hold any position; the exact one is
    // saved again until the user moves the slider.
    float sliderMinimumValue_ = 2.0f;
    float sliderMaximumValue_ = 8.0f;
    DuplicatesWindowRunner duplicatesWindowRunner_;
    bool exitConfirmed_ = false;
};

}  // namespace kelvora
