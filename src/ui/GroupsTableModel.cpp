// Rows of the groups table.
#include "ui/GroupsTableModel.h"

#include <algorithm>

#include <QBrush>
#include <QFile>
#include <QGuiApplication>

#include "core/Texts.h"
#include "engine/FileTools.h"
#include "platform/FileSystem.h"
#include "ui/ContrastStyle.h"

namespace kelvora {

namespace {

QColor fromRgba(const Rgba& rgba) {
    return QColor::fromRgbF(static_cast<float>(rgba.red), static_cast<float>(rgba.green),
                            static_cast<float>(rgba.blue), static_cast<float>(rgba.alpha));
}

qlonglong selectedCopies(const File& group) {
    return std::count_if(group.duplicates.begin(), group.duplicates.end(),
                         [](const DuplicateFile& member) { return member.checkState == 1; });
}

}  // namespace

std::optional<QColor> qtColour(TextColour colour, const QPalette& palette) {
    switch (colour) {
        case TextColour::SystemRed:
            // Qt knows no system red; these are the desktop palette's: GNOME's red 3 on light
            // backgrounds, and its red 1 on dark ones, where red 3 is too dark to read.
            return isDarkPalette(palette) ? QColor(0xf6, 0x61, 0x51) : QColor(0xe0, 0x1b, 0x24);
        case TextColour::Green:
            return fromRgba(kGreen);
        case TextColour::Orange:
            return fromRgba(kOrange);
        case TextColour::Black:
            break;
    }
    return std::nullopt;
}

GroupsTableModel::GroupsTableModel(QObject* parent) : QAbstractTableModel(parent) {}

int GroupsTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(groups_.size());
}

int GroupsTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumns;
}

QVariant GroupsTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() ||
        !checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const File& group = *groups_[static_cast<std::size_t>(index.row())];
    const int column = index.column();
    switch (role) {
        case Qt::DisplayRole:
            return display(group, column);
        case kRawRole:
            return raw(group, column);
        case Qt::DecorationRole:
            if (column == ColumnIcon) return icons_.icon(pathExtension(group.path));
            return {};
        case Qt::ForegroundRole:
            if (column != ColumnCount) return {};
            if (const auto colour = qtColour(countColour(group), QGuiApplication::palette()))
                return QBrush(*colour);
            return {};
        case Qt::ToolTipRole:
            if (column == ColumnName) return QFile::decodeName(group.path.c_str());
            if (column == ColumnSize && matchedOnSizeAlone(group)) {
                return QString::fromUtf8(kSizeOnlyExplanation);
            }
            return {};
        case Qt::TextAlignmentRole:
            if (column == ColumnSize || column == ColumnCount)
                return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
            return {};
        default:
            return {};
    }
}

QVariant GroupsTableModel::display(const File& group, int column) const {
    switch (column) {
        case ColumnName:
            return QFile::decodeName(std::string(platform::lastPathComponent(group.path)).c_str());
        case ColumnSize:
            if (matchedOnSizeAlone(group)) {
                return QString::fromStdString(sizeText(group.size)) + " (" +
                       QString::fromUtf8(kSizeOnlyNote) + ")";
            }
            return QString::fromStdString(sizeText(group.size));
        case ColumnCount:
            return QString::fromStdString(countText(group));
        default:
            return {};
    }
}

QVariant GroupsTableModel::raw(const File& group, int column) const {
    switch (column) {
        case ColumnIcon:
            return QString::fromStdString(pathExtension(group.path));
        case ColumnName:
            return display(group, column);
        case ColumnSize:
            return QVariant::fromValue<qulonglong>(group.size);
        case ColumnCount:
            return selectedCopies(group);
        default:
            return {};
    }
}

QVariant GroupsTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
        case ColumnName:
            return tr("Name");
        case ColumnSize:
            return tr("Size");
        case ColumnCount:
            return tr("Selected");
        default:
            return {};
    }
}

bool GroupsTableModel::reload(const FileList& groups) {
    if (groups == groups_) {
        if (!groups_.empty()) Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, kColumns - 1));
        return false;
    }
    beginResetModel();
    groups_ = groups;
    endResetModel();
    return true;
}

void GroupsTableModel::reloadCount(int row) {
    if (row < 0 || row >= rowCount()) return;
    const QModelIndex cell = index(row, ColumnCount);
    Q_EMIT dataChanged(cell, cell, {Qt::DisplayRole, Qt::ForegroundRole, kRawRole});
}

}  // namespace kelvora
