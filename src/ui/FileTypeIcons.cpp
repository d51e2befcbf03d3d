// File type icons from the MIME database and the icon theme.
#include "ui/FileTypeIcons.h"

#include <QFileIconProvider>
#include <QMimeDatabase>

namespace kelvora {

QStringList iconNamesForExtension(const QString& extension) {
    const QMimeDatabase database;
    const QMimeType type =
        extension.isEmpty() ? database.mimeTypeForName(QStringLiteral("application/octet-stream"))
                            : database.mimeTypeForFile(QStringLiteral("file.") + extension,
                                                       QMimeDatabase::MatchExtension);
    return {type.iconName(), type.genericIconName()};
}

QIcon iconForIconNames(const QStringList& names) {
    for (const QString& name : names) {
        if (QIcon::hasThemeIcon(name)) return QIcon::fromTheme(name);
    }
    return QFileIconProvider().icon(QFileIconProvider::File);
}

void useDefaultIconThemeWithoutDesktop() {
    const QString theme = QIcon::themeName();
    if (!theme.isEmpty() && theme != QLatin1String("hicolor")) return;
    QIcon::setThemeName(QStringLiteral("default"));
    if (!QIcon::hasThemeIcon(QStringLiteral("text-x-generic"))) QIcon::setThemeName(theme);
}

QIcon FileTypeIcons::icon(const std::string& extension) {
    const QString key = QString::fromStdString(extension);
    const auto cached = cache_.constFind(key);
    if (cached != cache_.constEnd()) return *cached;
    const QIcon found = iconForIconNames(iconNamesForExtension(key));
    cache_.insert(key, found);
    return found;
}

}  // namespace kelvora
