// The members table of the results window: every copy of the selected group, with the check
// box that selects it for removal, its path and its creation date.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>

#include "core/File.h"

namespace kelvora {

// The mark of a copy, or a folder, whose files always stay.
QIcon referenceIcon();

class MembersTableModel final : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { ColumnCheck, ColumnPath, ColumnDate, kColumns };

    explicit MembersTableModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // A click on a check box asks for the toggle and changes nothing itself: the results model
    // flips the state in every record of the group.
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

    // Shows the copies of this group, or none. The same group with as many copies only
    // repaints, so that the view keeps its selection.
    void reload(FilePtr group);
    // After the check state of one copy changed.
    void reloadRow(int row);

    const FilePtr& group() const { return group_; }

Q_SIGNALS:
    void toggleRequested(int row);

private:
    const DuplicateFile* member(const QModelIndex& index) const;

    FilePtr group_;
    // The copies as many as when the rows were last reset: a cleaning takes copies out of the
    // group before the table hears of it.
    int rows_ = 0;
};

}  // namespace kelvora
