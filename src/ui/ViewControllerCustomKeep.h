// The custom keep window: edits the custom rules of the shared settings (dates, sizes, types,
// folder, match) and records how it was closed in customSettingsOption. Only OK writes the
// controls back; opening it may store the default folder, and Reset writes the defaults at once.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <QDialog>

#include "core/SettingsManager.h"
#include "results/Alerts.h"
#include "ui/FilePanels.h"

class QLineEdit;

namespace Ui {
class ViewControllerCustomKeep;
}

namespace kelvora {

class Stepper;
class StringListModel;

class ViewControllerCustomKeep final : public QDialog {
    Q_OBJECT
public:
    // shownGroups with settingsManager.selectedFile name the group whose folder is the default
    // folder; the list must outlive the window.
    ViewControllerCustomKeep(SettingsManager& settingsManager, Alerts& alerts, FilePanels& panels,
                             const FileList& shownGroups, QWidget* parent = nullptr);
    ~ViewControllerCustomKeep() override;

    void LoadControls();
    void SaveControls();
    void RestoreDefaults();

    const std::vector<std::string>& extensions() const { return extensionsList; }

public Q_SLOTS:
    void OnFirstFileSizeChanged();
    void OnSecondFileSizeChanged();
    void OnStepperFirstFilesizeChanged();
    void OnStepperSecondFileSizeChanged();
    void OncustomFileTypesAddFileExtension();
    void OnCustomFileTypesRemoveSelected();
    void OnCustomFileTypesRemoveAll();
    void OnBrowse();
    void OnOk();
    void OnCancel();
    void OnReset();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fillMenus();
    void connectActions();
    void addStepKeys(QLineEdit* field, Stepper* stepper);
    std::string defaultFolder() const;
    static void CheckFileSizeField(QLineEdit* field, Stepper* stepper, const QString& fallback);
    static void ShowStepperValue(QLineEdit* field, const Stepper* stepper);

    std::vector<std::string> extensionsList;
    SettingsManager& settingsManager;
    std::unique_ptr<Ui::ViewControllerCustomKeep> ui;
    Alerts& alerts_;
    FilePanels& panels_;
    const FileList& shownGroups_;
    StringListModel* extensionsModel_;
};

}  // namespace kelvora
