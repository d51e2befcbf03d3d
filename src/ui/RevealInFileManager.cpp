// The file manager's ShowItems call, with the folder opened as the fallback.
#include "ui/RevealInFileManager.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QFile>
#include <QUrl>

#include "platform/FileSystem.h"

namespace kelvora {

namespace {

void openFolder(const std::string& path) {
    const std::string folder = platform::deletingLastPathComponent(path);
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFile::decodeName(folder.c_str())));
}

}  // namespace

void revealInFileManager(const std::string& path) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolder(path);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    const QUrl file = QUrl::fromLocalFile(QFile::decodeName(path.c_str()));
    call << QStringList{file.toString(QUrl::FullyEncoded)} << QString();
    // Asynchronous: a file manager that is slow to start must not freeze the window. The
    // watcher is its own context, so the fallback runs even after the window has closed.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [watcher, path](QDBusPendingCallWatcher*) {
                         if (watcher->isError()) openFolder(path);
                         watcher->deleteLater();
                     });
}

}  // namespace kelvora
