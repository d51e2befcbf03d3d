// Drops onto the folders table.
#include "ui/FolderTableView.h"

#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>

namespace kelvora {

FolderTableView::FolderTableView(QWidget* parent) : QTableView(parent) {
    setDragDropMode(QAbstractItemView::DropOnly);
    setDefaultDropAction(Qt::CopyAction);
    setDropIndicatorShown(true);
    setDragDropOverwriteMode(false);
}

// Rows dragged out of another table of this application are not folders from a file manager.
bool FolderTableView::comesFromATable(const QDropEvent* event) {
    return qobject_cast<const QAbstractItemView*>(event->source()) != nullptr;
}

// The base class accepts the proposed action; the answer is changed after it has decided.
void FolderTableView::dragEnterEvent(QDragEnterEvent* event) {
    if (comesFromATable(event)) return event->ignore();
    QTableView::dragEnterEvent(event);
    if (event->isAccepted()) event->setDropAction(Qt::CopyAction);
}

void FolderTableView::dragMoveEvent(QDragMoveEvent* event) {
    if (comesFromATable(event)) return event->ignore();
    QTableView::dragMoveEvent(event);
    if (event->isAccepted()) event->setDropAction(Qt::CopyAction);
}

void FolderTableView::dropEvent(QDropEvent* event) {
    if (comesFromATable(event)) return event->ignore();
    QTableView::dropEvent(event);
    if (event->isAccepted()) event->setDropAction(Qt::CopyAction);
}

}  // namespace kelvora
