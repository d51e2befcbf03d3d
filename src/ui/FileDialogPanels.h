// The panels as the desktop shows them: Qt file dialogs filtered to profiles or to folders.
#pragma once

#include <memory>

#include "ui/FilePanels.h"

class QFileDialog;

namespace kelvora {

class FileDialogPanels final : public FilePanels {
public:
    std::optional<std::vector<std::string>> chooseFolders(QWidget* parent) override;
    std::optional<std::string> chooseFolder(QWidget* parent, const std::string& prompt,
                                            const std::string& folder) override;
    std::optional<std::string> chooseProfileToLoad(QWidget* parent,
                                                   const std::string& folder) override;
    std::optional<std::string> chooseProfileToSave(QWidget* parent, const std::string& folder,
                                                   const std::string& proposedName) override;
};

// The folder panel, ready to run. Qt's own dialog, because the desktop dialogs Qt can host
// choose only one folder at a time.
std::unique_ptr<QFileDialog> makeFolderDialog(QWidget* parent);

}  // namespace kelvora
