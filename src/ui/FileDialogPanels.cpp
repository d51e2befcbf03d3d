// Folder, open and save panels on QFileDialog.
#include "ui/FileDialogPanels.h"

#include <QAbstractItemView>
#include <QDir>
#include <QFile>
#include <QFileDialog>

#include "profiles/Profile.h"

namespace kelvora {

namespace {

std::string toPath(const QString& text) {
    return QFile::encodeName(text).toStdString();
}

QString startFolder(const std::string& folder) {
    return folder.empty() ? QDir::homePath() : QFile::decodeName(folder.c_str());
}

QString profileFilter() {
    return QObject::tr("Kelvora profiles (*.%1)").arg(QLatin1String(kProfileExtension));
}

}  // namespace

std::unique_ptr<QFileDialog> makeFolderDialog(QWidget* parent) {
    auto dialog = std::make_unique<QFileDialog>(parent, QObject::tr("Select Folders to Scan"),
                                                QDir::homePath());
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOptions(QFileDialog::ShowDirsOnly | QFileDialog::DontUseNativeDialog |
                       QFileDialog::ReadOnly);
    dialog->setLabelText(QFileDialog::Accept, QObject::tr("Select Folder(s)"));
    // The dialog's views pick one folder by default; ask them for several.
    for (QAbstractItemView* view : dialog->findChildren<QAbstractItemView*>()) {
        if (view->objectName() == QLatin1String("listView") ||
            view->objectName() == QLatin1String("treeView")) {
            view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        }
    }
    return dialog;
}

std::optional<std::vector<std::string>> FileDialogPanels::chooseFolders(QWidget* parent) {
    const auto dialog = makeFolderDialog(parent);
    if (dialog->exec() != QDialog::Accepted) return std::nullopt;
    std::vector<std::string> paths;
    for (const QString& path : dialog->selectedFiles()) paths.push_back(toPath(path));
    return paths;
}

std::optional<std::string> FileDialogPanels::chooseFolder(QWidget* parent,
                                                          const std::string& prompt,
                                                          const std::string& folder) {
    QFileDialog dialog(parent, QObject::tr("Choose a Folder"), startFolder(folder));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOptions(QFileDialog::ShowDirsOnly | QFileDialog::ReadOnly);
    dialog.setLabelText(QFileDialog::Accept, QString::fromStdString(prompt));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    return toPath(dialog.selectedFiles().front());
}

std::optional<std::string> FileDialogPanels::chooseProfileToLoad(QWidget* parent,
                                                                 const std::string& folder) {
    QFileDialog dialog(parent, QObject::tr("Open Profile"), startFolder(folder), profileFilter());
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setOption(QFileDialog::ReadOnly);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    return toPath(dialog.selectedFiles().front());
}

std::optional<std::string> FileDialogPanels::chooseProfileToSave(QWidget* parent,
                                                                 const std::string& folder,
                                                                 const std::string& proposedName) {
    QFileDialog dialog(parent, QObject::tr("Save Profile"), startFolder(folder), profileFilter());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setDefaultSuffix(QLatin1String(kProfileExtension));
    dialog.selectFile(QString::fromStdString(proposedName));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    return toPath(dialog.selectedFiles().front());
}

}  // namespace kelvora
