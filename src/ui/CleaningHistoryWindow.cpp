// The cleaning history: a table over the journals, and undo off the window's thread.
#include "ui/CleaningHistoryWindow.h"

#include <atomic>
#include <thread>

#include <QAbstractTableModel>
#include <QDialogButtonBox>
#include <QEventLoop>
#include <QHeaderView>
#include <QProgressDialog>
#include <QPushButton>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

#include "core/Texts.h"
#include "results/Undo.h"

namespace kelvora {

namespace {

struct Row {
    JournalRecord record;
    JournalTotals totals;
    std::size_t restorable = 0;
};

Row rowOf(JournalRecord record) {
    Row row;
    row.totals = totalsOf(record);
    row.restorable = record.moveToTrash ? restorableCopies(record) : 0;
    row.record = std::move(record);
    return row;
}

// "2026-11-24T12:43:00+0000" as "2026-11-24 12:43:00".
QString dateText(const std::string& started) {
    QString text = QString::fromStdString(started.substr(0, 19));
    return text.replace(QLatin1Char('T'), QLatin1Char(' '));
}

std::string reportText(const UndoReport& report) {
    std::string text = "Put back " + std::to_string(report.restored.size()) + " copies.";
    if (!report.left.empty()) text += "\n\nNot put back:";
    for (const KeptCopy& copy : report.left) text += "\n" + copy.path + ": " + copy.reason + ".";
    if (!report.deletedForGood.empty()) text += "\n\nDeleted for good, they cannot come back:";
    for (const std::string& path : report.deletedForGood) text += "\n" + path;
    return text;
}

}  // namespace

class CleaningHistoryModel final : public QAbstractTableModel {
public:
    enum Column { Date, Mode, Copies, SpaceFreed, Restorable, ColumnCount };

    void reload() {
        beginResetModel();
        rows_.clear();
        for (JournalRecord& record : cleaningHistory()) rows_.push_back(rowOf(std::move(record)));
        endResetModel();
    }
    const Row* row(int index) const {
        return index >= 0 && index < static_cast<int>(rows_.size()) ? &rows_[index] : nullptr;
    }

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows_.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : ColumnCount;
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (role != Qt::DisplayRole || !index.isValid()) return {};
        const Row& row = rows_[static_cast<std::size_t>(index.row())];
        switch (index.column()) {
            case Date:
                return dateText(row.record.started);
            case Mode:
                return row.record.moveToTrash ? tr("To the trash") : tr("Deleted for good");
            case Copies:
                return QString::number(row.totals.removed);
            case SpaceFreed:
                return QString::fromStdString(sizeText(row.totals.bytesFreed));
            case Restorable:
                return QString::number(row.restorable);
            default:
                return {};
        }
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
        static const char* const titles[] = {"Date", "Removal", "Copies", "Space freed",
                                             "Can be put back"};
        return tr(titles[section]);
    }

private:
    std::vector<Row> rows_;
};

bool undoWithQuestion(QWidget* parent, Alerts& alerts, const JournalRecord& record) {
    const std::size_t restorable = record.moveToTrash ? restorableCopies(record) : 0;
    if (restorable == 0) {
        alerts.runModal({record.moveToTrash
                             ? "Nothing of this cleaning is left in the trash to put back."
                             : "This cleaning deleted its copies for good: they cannot come back.",
                         {"OK"}});
        return false;
    }
    const std::string question = "Put back the " + std::to_string(restorable) +
                                 " copies that the cleaning of " +
                                 dateText(record.started).toStdString() + " moved to the trash?";
    if (alerts.runModal({question, {"Yes", "No"}}) != kFirstButton) return false;

    UndoReport report;
    std::atomic<bool> done{false};
    std::thread worker([&] {
        report = undoCleaning(record);
        done.store(true);
    });
    {
        QProgressDialog busy(QObject::tr("Putting the copies back…"), QString(), 0, 0, parent);
        busy.setWindowModality(Qt::WindowModal);
        busy.setMinimumDuration(400);
        QEventLoop loop;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
            if (done.load()) loop.quit();
        });
        poll.start(30);
        if (!done.load()) loop.exec();
    }
    worker.join();
    alerts.runModal({reportText(report), {"OK"}});
    return true;
}

void OnUndoLastCleaning(QWidget* parent, Alerts& alerts) {
    const std::vector<JournalRecord> history = cleaningHistory();
    if (history.empty()) {
        alerts.runModal({"No cleaning has been made yet.", {"OK"}});
        return;
    }
    undoWithQuestion(parent, alerts, history.front());
}

CleaningHistoryWindow::CleaningHistoryWindow(Alerts& alerts, QWidget* parent)
    : QDialog(parent),
      alerts_(alerts),
      table_(new QTableView(this)),
      undo_(new QPushButton(tr("&Undo Cleaning"), this)),
      model_(std::make_unique<CleaningHistoryModel>()) {
    setObjectName(QStringLiteral("CleaningHistoryWindow"));
    setWindowTitle(tr("Cleaning History"));
    table_->setObjectName(QStringLiteral("tableViewCleanings"));
    table_->setModel(model_.get());
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->verticalHeader()->hide();
    undo_->setObjectName(QStringLiteral("buttonUndoCleaning"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttons->addButton(undo_, QDialogButtonBox::ActionRole);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(undo_, &QPushButton::clicked, this, &CleaningHistoryWindow::OnUndoSelected);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(table_);
    layout->addWidget(buttons);
    resize(640, 360);
    reload();
}

CleaningHistoryWindow::~CleaningHistoryWindow() = default;

void CleaningHistoryWindow::reload() {
    model_->reload();
    table_->resizeColumnsToContents();
    if (model_->rowCount() > 0) table_->selectRow(0);
    undo_->setEnabled(model_->rowCount() > 0);
}

void CleaningHistoryWindow::OnUndoSelected() {
    const QModelIndexList rows = table_->selectionModel()->selectedRows();
    const Row* row = model_->row(rows.isEmpty() ? -1 : rows.front().row());
    if (row == nullptr) return;
    const JournalRecord record = row->record;
    if (undoWithQuestion(this, alerts_, record)) reload();
}

}  // namespace kelvora
