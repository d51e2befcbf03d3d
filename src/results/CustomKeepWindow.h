// The custom keep window as the results window drives it.
#pragma once

#include "core/File.h"

namespace kelvora {

class CustomKeepWindow {
public:
    virtual ~CustomKeepWindow() = default;
    // Runs the window modally and returns when it has closed. It edits the custom keep fields
    // of the shared settings and leaves "OK" or "Cancel" in customSettingsOption. shownGroups
    // with settings.selectedFile name the group whose folder is the default folder.
    virtual void runModal(const FileList& shownGroups) = 0;
};

}  // namespace kelvora
