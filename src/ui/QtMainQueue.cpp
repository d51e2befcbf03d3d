// Scheduling onto the Qt event loop.
#include "ui/QtMainQueue.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace kelvora {

void QtMainQueue::async(platform::Task task) {
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr) return;
    QMetaObject::invokeMethod(application, std::move(task), Qt::QueuedConnection);
}

}  // namespace kelvora
