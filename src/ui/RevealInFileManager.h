// Shows a file in the desktop's file manager, selected in its folder.
#pragma once

#include <string>

namespace kelvora {

// Asks the file manager over D-Bus (org.freedesktop.FileManager1.ShowItems) to open the
// file's folder with the file selected; where no file manager answers, opens the folder with
// the desktop's default handler. Returns at once.
void revealInFileManager(const std::string& path);

}  // namespace kelvora
