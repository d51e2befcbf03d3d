// Paths and file:// addresses given on the command line, turned into folders to list.
#include "ui/StartupFolders.h"

#include <sys/stat.h>

#include <cstdio>
#include <vector>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QUrl>

#include "platform/FileSystem.h"

namespace kelvora {

namespace {

bool isFolder(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Another machine's address (file://host/...) names no folder here.
std::optional<std::string> localPathOfAddress(const QString& argument) {
    const QUrl url(argument);
    if (!url.isValid() || !url.isLocalFile()) return std::nullopt;
    const QString host = url.host();
    if (!host.isEmpty() && host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const QByteArray bytes =
        QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
    if (!bytes.startsWith('/')) return std::nullopt;
    return bytes.toStdString();
}

}  // namespace

std::optional<std::string> startupFolder(const QString& argument, const QString& base) {
    std::optional<std::string> given;
    if (argument.startsWith(QLatin1String("file:"), Qt::CaseInsensitive)) {
        given = localPathOfAddress(argument);
    } else if (!argument.isEmpty()) {
        given = QFile::encodeName(QDir(base).absoluteFilePath(argument)).toStdString();
    }
    // ".." after a link leads where the system takes it, not where the text seems to.
    std::string path;
    if (!given || platform::absolutePath(*given, path) != 0 || !isFolder(path)) return std::nullopt;
    return path;
}

std::vector<std::string> startupFolders(const QStringList& arguments) {
    std::vector<std::string> folders;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        auto folder = startupFolder(arguments[i], QDir::currentPath());
        if (!folder) {
            std::fprintf(stderr, "kelvora: not a folder: %s\n", qPrintable(arguments[i]));
            continue;
        }
        folders.push_back(std::move(*folder));
    }
    return folders;
}

}  // namespace kelvora
