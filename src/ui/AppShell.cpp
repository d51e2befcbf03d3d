// Help pages, shared window actions and the application icon.
#include "ui/AppShell.h"

#include <QAction>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QScreen>
#include <QUrl>
#include <QWidget>

#include "KelvoraVersion.h"

namespace kelvora {

void OpenWebPage(const QString& address) {
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty()) return;
    QDesktopServices::openUrl(url);
}

void OnMinimize(QWidget* window) {
    if (window != nullptr) window->showMinimized();
}

void OnRemoveDuplicatesFromMac() {
    OpenWebPage(QString::fromLatin1(kHelpRemoveDuplicatesAddress));
}

void OnCustomSelectDuplicates() {
    OpenWebPage(QString::fromLatin1(kHelpCustomSelectAddress));
}

void fitOnScreen(QWidget& window) {
    const QScreen* screen = window.screen();
    if (screen == nullptr) return;
    // Room for the frame and title bar the desktop adds around the window.
    constexpr double kShare = 0.92;
    const QSize room = screen->availableGeometry().size() * kShare;
    const QSize fitted = window.size().boundedTo(room).expandedTo(window.minimumSizeHint());
    if (fitted != window.size()) window.resize(fitted);
}

WindowActions addWindowActions(QWidget& window) {
    WindowActions actions{
        new QAction(QObject::tr("Mi&nimise"), &window),
        new QAction(QObject::tr("How to &Remove Duplicates"), &window),
        new QAction(QObject::tr("How to Use &Custom Selection"), &window),
    };
    actions.minimize->setObjectName(QStringLiteral("actionMinimize"));
    actions.minimize->setShortcut(QKeySequence(QStringLiteral("Ctrl+M")));
    actions.helpRemoveDuplicates->setObjectName(QStringLiteral("actionHelpRemoveDuplicates"));
    actions.helpRemoveDuplicates->setShortcut(QKeySequence::HelpContents);
    actions.helpRemoveDuplicates->setIcon(QIcon::fromTheme(QStringLiteral("help-contents")));
    actions.helpCustomSelect->setObjectName(QStringLiteral("actionHelpCustomSelect"));

    QObject::connect(actions.minimize, &QAction::triggered, &window,
                     [window = &window] { OnMinimize(window); });
    QObject::connect(actions.helpRemoveDuplicates, &QAction::triggered, &window,
                     [] { OnRemoveDuplicatesFromMac(); });
    QObject::connect(actions.helpCustomSelect, &QAction::triggered, &window,
                     [] { OnCustomSelectDuplicates(); });
    window.addActions({actions.minimize, actions.helpRemoveDuplicates, actions.helpCustomSelect});
    return actions;
}

namespace {

// Two overlapping sheets, the front one marked with an equals sign: two files that are the same.
QPixmap iconPixmap(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / 64.0, size / 64.0);

    const auto sheet = [&painter](QRectF rect, QColor fill) {
        QPainterPath path;
        path.addRoundedRect(rect, 5, 5);
        painter.setPen(QPen(QColor(0x1e, 0x3a, 0x5f), 2.5));
        painter.setBrush(fill);
        painter.drawPath(path);
    };
    sheet(QRectF(6, 4, 34, 44), QColor(0xb8, 0xd4, 0xf0));
    sheet(QRectF(22, 16, 34, 44), QColor(0x3d, 0x8b, 0xe0));

    painter.setPen(QPen(Qt::white, 5, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(30, 33), QPointF(48, 33));
    painter.drawLine(QPointF(30, 43), QPointF(48, 43));
    return pixmap;
}

}  // namespace

QIcon applicationIcon() {
    QIcon drawn;
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) drawn.addPixmap(iconPixmap(size));
    return QIcon::fromTheme(QString::fromLatin1(kApplicationId), drawn);
}

QString aboutText() {
    const QString home = QString::fromLatin1(kHomePageAddress);
    return QObject::tr(
               "<h3>Kelvora %1</h3>"
               "<p>Finds duplicate files in the folders you choose and removes the "
               "copies you do not want to keep.</p>"
               "<p>Released under the MIT licence.</p>"
               "<p><a href=\"%2\">%2</a></p>")
        .arg(QString::fromUtf8(kVersionText).toHtmlEscaped(), home);
}

void showAboutBox(QWidget* parent) {
    QMessageBox::about(parent, QObject::tr("About Kelvora"), aboutText());
}

}  // namespace kelvora
