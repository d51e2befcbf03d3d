// Rows of the members table.
#include "ui/MembersTableModel.h"

#include <QFile>
#include <QIcon>

#include "ui/GroupsTableModel.h"

namespace kelvora {

MembersTableModel::MembersTableModel(QObject* parent) : QAbstractTableModel(parent) {}

QIcon referenceIcon() {
    static const QIcon icon =
        QIcon::fromTheme(QStringLiteral("changes-prevent"),
                         QIcon::fromTheme(QStringLiteral("emblem-readonly"),
                                          QIcon::fromTheme(QStringLiteral("object-locked"))));
    return icon;
}

int MembersTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_;
}

int MembersTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumns;
}

const DuplicateFile* MembersTableModel::member(const QModelIndex& index) const {
    if (!index.isValid() ||
        !checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return nullptr;
    const auto row = static_cast<std::size_t>(index.row());
    if (!group_ || row >= group_->duplicates.size()) return nullptr;
    return &group_->duplicates[row];
}

QVariant MembersTableModel::data(const QModelIndex& index, int role) const {
    const DuplicateFile* copy = member(index);
    if (copy == nullptr) return {};
    const int column = index.column();
    if (role == Qt::CheckStateRole && column == ColumnCheck)
        return copy->checkState == 1 ? Qt::Checked : Qt::Unchecked;
    if (copy->reference && column == ColumnPath) {
        if (role == Qt::DecorationRole) return referenceIcon();
        if (role == Qt::ToolTipRole)
            return tr("%1\nIn a reference folder: this copy always stays.")
                .arg(QFile::decodeName(copy->path.c_str()));
    }
    if (role == kRawRole && column == ColumnCheck) return QVariant::fromValue(copy->checkState);
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole && role != kRawRole) return {};
    if (column == ColumnPath) return QFile::decodeName(copy->path.c_str());
    if (column == ColumnDate) return QString::fromStdString(copy->date);
    return {};
}

QVariant MembersTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
        case ColumnPath:
            return tr("Path");
        case ColumnDate:
            return tr("Created");
        default:
            return {};
    }
}

Qt::ItemFlags MembersTableModel::flags(const QModelIndex& index) const {
    if (member(index) == nullptr) return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    if (index.column() == ColumnCheck) flags |= Qt::ItemIsUserCheckable;
    // A reference copy's box shows it stays and cannot be checked.
    if (index.column() == ColumnCheck && member(index)->reference) flags &= ~Qt::ItemIsEnabled;
    return flags;
}

bool MembersTableModel::setData(const QModelIndex& index, const QVariant&, int role) {
    if (role != Qt::CheckStateRole || index.column() != ColumnCheck || member(index) == nullptr)
        return false;
    Q_EMIT toggleRequested(index.row());
    return true;
}

void MembersTableModel::reload(FilePtr group) {
    const int rows = group ? static_cast<int>(group->duplicates.size()) : 0;
    if (group == group_ && rows == rows_) {
        if (rows_ > 0) Q_EMIT dataChanged(index(0, 0), index(rows_ - 1, kColumns - 1));
        return;
    }
    beginResetModel();
    group_ = std::move(group);
    rows_ = rows;
    endResetModel();
}

void MembersTableModel::reloadRow(int row) {
    if (row < 0 || row >= rows_) return;
    Q_EMIT dataChanged(index(row, 0), index(row, kColumns - 1));
}

}  // namespace kelvora
