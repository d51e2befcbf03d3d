// The main window's title and unsaved-changes marker, the confirmations that guard them, the
// four profile actions, and quitting.
#include "ui/ViewController.h"

#include <QCloseEvent>

#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "profiles/ProfileFile.h"
#include "ui/FolderListModel.h"
#include "ui_ViewController.h"

namespace kelvora {

namespace {

constexpr const char* kTitle = "Kelvora";
constexpr const char* kProposedProfileName = "profile.kvr";
constexpr const char* kDiscardQuestion = "You have unsaved changes that will be lost. Continue?";
constexpr const char* kExitQuestion =
    "You have unsaved changes that will be lost. Are you sure you want to exit the application?";

constexpr std::int64_t buttonState(bool on) {
    return on ? 1 : 0;
}

}  // namespace

void ViewController::MarkModified() {
    const QString title = windowTitle();
    if (!title.endsWith(QLatin1Char('*'))) setWindowTitle(title + QLatin1Char('*'));
}

bool ViewController::HasUnsavedChanges() const {
    return windowTitle().endsWith(QLatin1Char('*'));
}

// Only the second button ("No") stops: any other end of the alert proceeds.
bool ViewController::ConfirmDiscard() {
    return !HasUnsavedChanges() || runAlert(kDiscardQuestion, {"Yes", "No"}) != kSecondButton;
}

bool ViewController::ConfirmExit() {
    return !HasUnsavedChanges() || runAlert(kExitQuestion, {"Yes", "No"}) != kSecondButton;
}

void ViewController::closeEvent(QCloseEvent* event) {
    if (exitConfirmed_ || ConfirmExit()) {
        event->accept();
    } else {
        event->ignore();
    }
}

void ViewController::OnAppQuit() {
    if (!ConfirmExit()) return;
    // Closing the last window ends the application; it must not ask a second time.
    exitConfirmed_ = true;
    close();
}

void ViewController::OnFileNew() {
    if (!ConfirmDiscard()) return;
    ResetSettings();
    // The window now shows the start-up sizes and options; the next search must use them too.
    const Profile startup;
    settingsManager.minimumFileSize = startup.minimumFileSize;
    settingsManager.maximumFileSize = startup.maximumFileSize;
    ApplySettings();
    currentProfilePath_.clear();
    setWindowTitle(QString::fromLatin1(kTitle));
}

void ViewController::OnSaveProfile() {
    if (!HasUnsavedChanges()) return;
    if (currentProfilePath_.empty()) {
        OnSaveProfileAs();
    } else {
        WriteProfile();
    }
}

void ViewController::OnSaveProfileAs() {
    const auto path =
        services_.panels.chooseProfileToSave(this, profileFolder(), kProposedProfileName);
    if (!path) return;
    currentProfilePath_ = *path;
    WriteProfile();
}

void ViewController::OnLoadProfile() {
    if (!ConfirmDiscard()) return;
    const auto path = services_.panels.chooseProfileToLoad(this, profileFolder());
    if (!path) return;
    currentProfilePath_ = *path;
    // A profile is applied whole or not at all: a file that does not read completely changes
    // nothing but the path a later save goes to.
    const auto profile = loadProfile(currentProfilePath_);
    if (!profile) {
        platform::console("Error: " + profile.error());
        runAlert(kCouldNotLoadProfile, {"OK"});
        return;
    }
    showProfile(*profile);
    ApplySettings();
    folders_->reload();
    extensions_->reload();
    setWindowTitle(QString::fromStdString(profileTitle(currentProfilePath_)));
}

void ViewController::WriteProfile() {
    if (const auto error = saveProfile(currentProfilePath_, profileFromControls())) {
        platform::console("Error: " + *error);
        runAlert(kCouldNotSaveProfile, {"OK"});
        return;
    }
    ApplySettings();
    setWindowTitle(QString::fromStdString(profileTitle(currentProfilePath_)));
}

Profile ViewController::profileFromControls() const {
    Profile profile;
    profile.listFileExtensions = settingsManager.listFileExtensions;
    profile.minimumFileSize = settingsManager.minimumFileSize;
    profile.maximumFileSize = settingsManager.maximumFileSize;
    profile.sliderMinimumFileSize = sliderMinimumValue_;
    profile.sliderMaximumFileSize = sliderMaximumValue_;
    profile.radioScanAllFileTypes = buttonState(ui->radioScanAllFileTypes->isChecked());
    profile.radioCustomFileTypes = buttonState(ui->radioCustomFileTypes->isChecked());
    profile.radioMoveDuplicateFilesToTrash =
        buttonState(ui->radioMoveDuplicateFilesToTrash->isChecked());
    profile.radioRemoveDuplicateFilesPermanently =
        buttonState(ui->radioRemoveDuplicateFilesPermanently->isChecked());
    profile.checkIgnoreBundles = buttonState(ui->checkIgnoreBundles->isChecked());
    return profile;
}

void ViewController::showProfile(const Profile& profile) {
    applyProfile(profile, settingsManager);
    setSliderPositions(profile.sliderMinimumFileSize, profile.sliderMaximumFileSize);
    setRadioPair(ui->radioScanAllFileTypes, profile.radioScanAllFileTypes == 1,
                 ui->radioCustomFileTypes, profile.radioCustomFileTypes == 1);
    setRadioPair(ui->radioMoveDuplicateFilesToTrash, profile.radioMoveDuplicateFilesToTrash == 1,
                 ui->radioRemoveDuplicateFilesPermanently,
                 profile.radioRemoveDuplicateFilesPermanently == 1);
    ui->checkIgnoreBundles->setChecked(profile.checkIgnoreBundles == 1);
}

// Panels open where the current profile lies, or in the home folder.
std::string ViewController::profileFolder() const {
    return currentProfilePath_.empty() ? std::string()
                                       : platform::deletingLastPathComponent(currentProfilePath_);
}

}  // namespace kelvora
