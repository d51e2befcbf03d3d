// The desktop's icon for a file type named by its extension, as the results tables and the
// information window show it.
#pragma once

#include <string>

#include <QHash>
#include <QIcon>
#include <QStringList>

namespace kelvora {

// The icon theme's names for the type, the most specific first, from the shared MIME
// database. Safe on any thread; "" names the type of files without an extension.
QStringList iconNamesForExtension(const QString& extension);

// The first of the names the icon theme has, else the generic file icon. Main thread only:
// icon themes are not thread-safe.
QIcon iconForIconNames(const QStringList& names);

// Without a desktop session (a bare X server, a window manager alone) Qt knows no icon theme
// and every type gets the same blank sheet; the freedesktop "default" theme then stands in.
// For the application's start, before the first window.
void useDefaultIconThemeWithoutDesktop();

// Icons by lower-cased extension, looked up once each: a results table repaints its icons on
// every scroll step.
class FileTypeIcons {
public:
    QIcon icon(const std::string& extension);

private:
    QHash<QString, QIcon> cache_;
};

}  // namespace kelvora
