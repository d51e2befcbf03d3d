// The folders to scan: a folder icon beside each path, and folders dropped from a file manager
// inserted where they were dropped.
#pragma once

#include <QIcon>

#include "ui/StringListModel.h"

namespace kelvora {

class FolderListModel final : public StringListModel {
    Q_OBJECT
public:
    FolderListModel(std::vector<std::string>& folders, QObject* parent);

    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // A drop of files or links is taken between rows or below the last one, never onto a row.
    // It inserts, in drag order, every existing folder not yet listed; when it carried
    // anything else (a file, a pipe, a link of another scheme) it says so with someNotAdded.
    QStringList mimeTypes() const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

Q_SIGNALS:
    // The window tells the user; a model opens no dialog.
    void someNotAdded();

private:
    QIcon folderIcon_;
};

}  // namespace kelvora
