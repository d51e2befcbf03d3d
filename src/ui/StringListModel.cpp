// The texts of a settings list as table rows.
#include "ui/StringListModel.h"

#include <QFile>

namespace kelvora {

StringListModel::StringListModel(std::vector<std::string>& rows, QObject* parent)
    : QAbstractListModel(parent), rows_(rows) {}

int StringListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant StringListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole) return {};
    // Paths are bytes; decodeName is how Qt itself reads them.
    return QFile::decodeName(rows_[static_cast<std::size_t>(index.row())].c_str());
}

void StringListModel::reload() {
    beginResetModel();
    endResetModel();
}

}  // namespace kelvora
