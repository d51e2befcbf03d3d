// The folders to scan: a folder icon beside each path, and folders dropped from a file manager
// inserted where they were dropped.
#pragma once

#include <QIcon>

#include "ui/StringListModel.h"

namespace kelvora {

class FolderListModel final : public StringListModel {
    Q_OBJECT
public:
    // references: the listed folders marked as reference folders; both must outlive the model.
    FolderListModel(std::vector<std::string>& folders, std::vector<std::string>& references,
                    QObject* parent);

    // Each row's check box marks its folder as a reference folder.
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    // Drops the marks of folders no longer listed: a mark goes with its folder.
    void forgetUnlistedReferences();

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
    bool isReference(int row) const;

    std::vector<std::string>& references_;
    QIcon folderIcon_;
};

}  // namespace kelvora
