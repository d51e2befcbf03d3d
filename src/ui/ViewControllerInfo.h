// The file information window: one copy's name, size, extension and dates, which its opener
// fills in, and a preview loaded off the main thread (the picture itself for pictures, else the
// icon of the file's type).
#pragma once

#include <memory>

#include <QDialog>
#include <QImage>
#include <QStringList>

#include "core/SettingsManager.h"
#include "platform/Queues.h"
#include "results/FileInfoTexts.h"

namespace Ui {
class ViewControllerInfo;
}

namespace kelvora {

// What the preview step hands to the window: a decoded picture, or else the icon names of the
// file's type (icons are made on the main thread).
struct Preview {
    QImage picture;
    QStringList iconNames;
};

// Reads the preview of the file at path; a picture is scaled down to fit within maxPixels.
// Runs on a worker.
Preview computePreview(const std::string& path, QSize maxPixels);

class ViewControllerInfo final : public QDialog {
    Q_OBJECT
public:
    // Starts the preview of settingsManager.currentSelectedFilePath at once.
    ViewControllerInfo(SettingsManager& settingsManager, platform::DispatchQueue& background,
                       platform::DispatchQueue& main, QWidget* parent = nullptr);
    ~ViewControllerInfo() override;

    void showFileInfo(const FileInfoTexts& texts);

    void LoadPreview();
    void ShowPreview(const Preview& preview);

private:
    std::unique_ptr<Ui::ViewControllerInfo> ui;
    SettingsManager& settingsManager;
    platform::DispatchQueue& background_;
    platform::DispatchQueue& main_;
};

}  // namespace kelvora
