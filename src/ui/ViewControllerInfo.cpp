// The file information window and its preview.
#include "ui/ViewControllerInfo.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <QFile>
#include <QImageReader>
#include <QPixmap>
#include <QPointer>

#include "core/File.h"
#include "ui/AppShell.h"
#include "ui/FileTypeIcons.h"
#include "ui_ViewControllerInfo.h"

namespace kelvora {

namespace {

// The types whose preview is the picture itself.
constexpr std::array<std::string_view, 10> kPictureExtensions = {
    "jpg", "jpeg", "jpe", "jp2", "jpx", "png", "tiff", "tif", "gif", "bmp",
};

// Shown where the file system could not give a date.
QString dateOrUnknown(const std::optional<std::string>& date) {
    return date ? QString::fromStdString(*date) : ViewControllerInfo::tr("Unknown");
}

}  // namespace

Preview computePreview(const std::string& path, QSize maxPixels) {
    const std::string extension = pathExtension(path);
    if (std::find(kPictureExtensions.begin(), kPictureExtensions.end(), extension) !=
        kPictureExtensions.end()) {
        QImageReader reader(QFile::decodeName(path.c_str()));
        reader.setAutoTransform(true);
        // Decoding at the size shown keeps a large photo from filling the memory.
        const QSize size = reader.size();
        if (size.isValid() &&
            (size.width() > maxPixels.width() || size.height() > maxPixels.height())) {
            reader.setScaledSize(size.scaled(maxPixels, Qt::KeepAspectRatio));
        }
        QImage picture = reader.read();
        // A picture that does not decode gets its type's icon, like any other file.
        if (!picture.isNull()) return {std::move(picture), {}};
    }
    return {{}, iconNamesForExtension(QString::fromStdString(extension))};
}

ViewControllerInfo::ViewControllerInfo(SettingsManager& settingsManager,
                                       platform::DispatchQueue& background,
                                       platform::DispatchQueue& main, QWidget* parent)
    : QDialog(parent),
      ui(std::make_unique<Ui::ViewControllerInfo>()),
      settingsManager(settingsManager),
      background_(background),
      main_(main) {
    ui->setupUi(this);
    setWindowFlag(Qt::WindowMinimizeButtonHint);
    addWindowActions(*this);
    LoadPreview();
}

ViewControllerInfo::~ViewControllerInfo() = default;

void ViewControllerInfo::showFileInfo(const FileInfoTexts& texts) {
    ui->labelFileName->setText(QFile::decodeName(texts.fileName.c_str()));
    ui->labelFileSize->setText(QString::fromStdString(texts.fileSize));
    ui->labelExtension->setText(QFile::decodeName(texts.extension.c_str()));
    ui->labelCreationDate->setText(dateOrUnknown(texts.creationDate));
    ui->labelModificationDate->setText(dateOrUnknown(texts.modificationDate));
}

void ViewControllerInfo::LoadPreview() {
    const std::string path = settingsManager.currentSelectedFilePath;
    ui->progressIndicator->show();
    const QSize maxPixels = ui->imageView->minimumSize() * devicePixelRatio();
    // The window may be closed before the preview is ready; the guard then drops it.
    const QPointer<ViewControllerInfo> window(this);
    platform::DispatchQueue* main = &main_;
    background_.async([path, maxPixels, window, main] {
        Preview preview = computePreview(path, maxPixels);
        main->async([window, preview = std::move(preview)] {
            if (window) window->ShowPreview(preview);
        });
    });
}

void ViewControllerInfo::ShowPreview(const Preview& preview) {
    ui->progressIndicator->hide();
    const QSize area = ui->imageView->minimumSize();
    const qreal ratio = devicePixelRatio();
    QPixmap pixmap;
    if (!preview.picture.isNull()) {
        pixmap = QPixmap::fromImage(preview.picture);
        pixmap.setDevicePixelRatio(ratio);
        // Drawn at its own size up to the area, so that a small picture is not blown up.
        const QSize shown = pixmap.deviceIndependentSize().toSize();
        if (shown.width() > area.width() || shown.height() > area.height()) {
            pixmap = pixmap.scaled(area * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
            pixmap.setDevicePixelRatio(ratio);
        }
    } else {
        const int side = std::min(area.width(), area.height()) / 2;
        pixmap = iconForIconNames(preview.iconNames).pixmap(QSize(side, side), ratio);
    }
    ui->imageView->setPixmap(pixmap);
}

}  // namespace kelvora
