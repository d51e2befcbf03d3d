// The folders the application is started with: paths as a terminal gives them, and file://
// addresses as a file manager gives them through the desktop entry's %U.
#pragma once

#include <optional>
#include <string>

#include <QString>
#include <QStringList>

namespace kelvora {

// The folder an argument names, as the bytes of its absolute path: a path taken from `base`
// when relative, or a local file:// address with its escapes decoded (so that names which
// are not UTF-8 survive). Nothing when it names no folder on this machine.
std::optional<std::string> startupFolder(const QString& argument, const QString& base);

// Every argument after the program name that names a folder, in order; each that does not is
// reported on standard error and left out.
std::vector<std::string> startupFolders(const QStringList& arguments);

}  // namespace kelvora
