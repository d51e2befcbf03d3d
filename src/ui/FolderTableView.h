// The folders table: takes folders dragged from a file manager, and answers every drop as a
// copy so that the file manager never deletes what it dragged, whatever action it proposed.
#pragma once

#include <QTableView>

namespace kelvora {

class FolderTableView final : public QTableView {
    Q_OBJECT
public:
    explicit FolderTableView(QWidget* parent = nullptr);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    static bool comesFromATable(const QDropEvent* event);
};

}  // namespace kelvora
