// The groups table of the results window: one row per group shown, with the type icon, the
// name, the size and how many copies are selected for removal, coloured by the copies that stay.
#pragma once

#include <optional>

#include <QAbstractTableModel>
#include <QColor>
#include <QPalette>

#include "core/File.h"
#include "results/ResultsView.h"
#include "ui/FileTypeIcons.h"

namespace kelvora {

// The sortable value of a cell: the byte count of a size, the number behind a count.
inline constexpr int kRawRole = Qt::UserRole;

// The colour of a text on the given palette; nothing for the theme's own text colour, which is
// black on a light desktop and stays readable on a dark one.
std::optional<QColor> qtColour(TextColour colour, const QPalette& palette);

class GroupsTableModel final : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { ColumnIcon, ColumnName, ColumnSize, ColumnCount, kColumns };

    explicit GroupsTableModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Shows these groups. Returns false when they are the groups already shown, which then
    // only repaint: the view keeps its selection and scroll position.
    bool reload(const FileList& groups);
    // The count cell of one row, after a copy was checked or unchecked by hand.
    void reloadCount(int row);

    const FileList& groups() const { return groups_; }

private:
    QVariant display(const File& group, int column) const;
    QVariant raw(const File& group, int column) const;

    // The model's own list of the shared records: a background step may replace the results
    // model's list at any time, but the rows change only between a reset's two signals.
    FileList groups_;
    mutable FileTypeIcons icons_;
};

}  // namespace kelvora
