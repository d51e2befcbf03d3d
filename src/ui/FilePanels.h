// The open and save panels behind one interface: the windows ask, the desktop's file dialogs
// or a test script answer.
#pragma once

#include <optional>
#include <string>
#include <vector>

class QWidget;

namespace kelvora {

class FilePanels {
public:
    virtual ~FilePanels() = default;

    // Folders to scan, several at once. Nothing when the user cancels; an empty list when the
    // panel was confirmed without a usable folder.
    virtual std::optional<std::vector<std::string>> chooseFolders(QWidget* parent) = 0;
    // One existing folder, starting in folder (the home folder when empty), with prompt on the
    // button that confirms; nothing on cancel.
    virtual std::optional<std::string> chooseFolder(QWidget* parent, const std::string& prompt,
                                                    const std::string& folder) = 0;
    // One existing profile file; nothing on cancel.
    virtual std::optional<std::string> chooseProfileToLoad(QWidget* parent,
                                                           const std::string& folder) = 0;
    // Where to save a profile, proposed as proposedName in folder; nothing on cancel.
    virtual std::optional<std::string> chooseProfileToSave(QWidget* parent,
                                                           const std::string& folder,
                                                           const std::string& proposedName) = 0;
};

}  // namespace kelvora
