// The file manager's ShowItems call, with the folder opened as the fallback.
#include "ui/RevealInFileManager.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>

#include "platform/FileSystem.h"

namespace kelvora {

namespace {

void openFolder(const std::string& path) {
    QDesktopServices::openUrl(fileUrl(platform::deletingLastPathComponent(path)));
}

}  // namespace

// Not QUrl::fromLocalFile: it takes a QString, and decoding the name to one replaces every
// byte that is not UTF-8 with U+FFFD, which names another file or none.
QUrl fileUrl(const std::string& path) {
    const QByteArray bytes(path.data(), static_cast<qsizetype>(path.size()));
    return QUrl::fromEncoded(QByteArrayLiteral("file://") + bytes.toPercentEncoding("/"),
                             QUrl::StrictMode);
}

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
    call << QStringList{fileUrl(path).toString(QUrl::FullyEncoded)} << QString();
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
