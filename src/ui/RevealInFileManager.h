// Shows a file in the desktop's file manager, selected in its folder.
#pragma once

#include <string>

#include <QUrl>

namespace kelvora {

// The file: URL of a path as the file system holds it: every byte that is not a plain
// character is percent-encoded as it is, so a name that is not valid UTF-8 keeps its bytes.
QUrl fileUrl(const std::string& path);

// Asks the file manager over D-Bus (org.freedesktop.FileManager1.ShowItems) to open the
// file's folder with the file selected; where no file manager answers, opens the folder with
// the desktop's default handler. Returns at once.
void revealInFileManager(const std::string& path);

}  // namespace kelvora
