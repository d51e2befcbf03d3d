// A window-modal progress dialog driven by polling: the worker only counts, so that it never
// waits on the window's thread.
#include "ui/CleaningProgressDialog.h"

#include <algorithm>
#include <climits>

#include <QEventLoop>
#include <QProgressDialog>
#include <QTimer>

namespace kelvora {

namespace {
constexpr int kPollMilliseconds = 50;
// Below this a cleaning is over before anyone could read a dialog.
constexpr int kShowAfterMilliseconds = 400;
}  // namespace

void waitForCleaning(QWidget* parent, CleaningProgress& progress) {
    if (progress.finished.load()) return;
    QProgressDialog dialog(QObject::tr("Removing the selected copies…"), QObject::tr("&Stop"), 0, 0,
                           parent);
    dialog.setObjectName(QStringLiteral("cleaningProgress"));
    dialog.setWindowModality(Qt::WindowModal);
    dialog.setMinimumDuration(kShowAfterMilliseconds);
    dialog.setAutoClose(false);
    dialog.setAutoReset(false);
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(kPollMilliseconds);
    const auto update = [&] {
        if (progress.finished.load()) {
            loop.quit();
            return;
        }
        const auto total = static_cast<int>(std::min<std::size_t>(progress.total.load(), INT_MAX));
        const auto done = static_cast<int>(std::min<std::size_t>(progress.done.load(), INT_MAX));
        if (dialog.maximum() != total) dialog.setMaximum(total);
        dialog.setValue(std::min(done, total));
    };
    QObject::connect(&poll, &QTimer::timeout, &loop, update);
    QObject::connect(&dialog, &QProgressDialog::canceled, &loop, [&] {
        progress.stop.store(true);
        dialog.setLabelText(QObject::tr("Stopping after the copy in hand…"));
    });
    poll.start();
    update();
    if (!progress.finished.load()) loop.exec();
}

}  // namespace kelvora
