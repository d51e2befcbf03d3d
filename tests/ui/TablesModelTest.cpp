// The two table models of the results window under Qt's model checker: rows, cell texts,
// colours, the raw sort values, check boxes, and reloads that keep or reset the rows.
#include <QAbstractItemModelTester>
#include <QBrush>
#include <QSignalSpy>
#include <QTest>

#include "core/Texts.h"
#include "ui/GroupsTableModel.h"
#include "ui/MembersTableModel.h"

using namespace kelvora;

namespace {

FilePtr group(const std::string& path, std::uint64_t size, std::vector<std::int64_t> checks) {
    auto file = std::make_shared<File>(path, pathExtension(path), size);
    for (std::size_t i = 0; i < checks.size(); ++i) {
        file->duplicates.emplace_back("/copy" + std::to_string(i) + path,
                                      "20-01-0" + std::to_string(i + 1) + " 10:00:00");
        file->duplicates.back().checkState = checks[i];
    }
    return file;
}

QColor foreground(const QAbstractItemModel& model, int row, int column) {
    return model.data(model.index(row, column), Qt::ForegroundRole).value<QBrush>().color();
}

}  // namespace

class TablesModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void groupRowsShowNameSizeAndCountColouredByTheCopiesThatStay() {
        GroupsTableModel model;
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        const FileList groups = {group("/a/photo.JPG", 1536, {1, 0, 0}),
                                 group("/b/song.mp3", 2048, {1, 1, 0}),
                                 group("/c/noext", 10, {1, 1, 1})};
        QVERIFY(model.reload(groups));
        QCOMPARE(model.rowCount(), 3);
        const auto text = [&](int row, int column) {
            return model.data(model.index(row, column), Qt::DisplayRole).toString();
        };
        QCOMPARE(text(0, GroupsTableModel::ColumnName), QStringLiteral("photo.JPG"));
        QCOMPARE(text(0, GroupsTableModel::ColumnSize), QStringLiteral("1.5 KB"));
        QCOMPARE(text(0, GroupsTableModel::ColumnCount), QStringLiteral("1/3"));
        QCOMPARE(text(1, GroupsTableModel::ColumnCount), QStringLiteral("2/3"));
        QCOMPARE(text(2, GroupsTableModel::ColumnCount), QStringLiteral("3/3"));
        QCOMPARE(foreground(model, 0, GroupsTableModel::ColumnCount), QColor(0xe0, 0x1b, 0x24));
        QCOMPARE(foreground(model, 1, GroupsTableModel::ColumnCount).rgb(), qRgb(27, 209, 51));
        QCOMPARE(foreground(model, 2, GroupsTableModel::ColumnCount).rgb(), qRgb(249, 183, 27));
        // Sizes sort by bytes, not by their text: "10 B" is less than "1.5 KB".
        QCOMPARE(model.data(model.index(2, GroupsTableModel::ColumnSize), kRawRole).toULongLong(),
                 10ull);
        QVERIFY(!model.data(model.index(0, GroupsTableModel::ColumnIcon), Qt::DecorationRole)
                     .value<QIcon>()
                     .isNull());
        QVERIFY(!model.data(model.index(2, GroupsTableModel::ColumnIcon), Qt::DecorationRole)
                     .value<QIcon>()
                     .isNull());
        QVERIFY(!model.data(model.index(3, 0), Qt::DisplayRole).isValid());
    }

    void reloadingTheSameGroupsRepaintsAndANewListResets() {
        GroupsTableModel model;
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        FileList groups = {group("/a/x.pdf", 5, {0, 0}), group("/b/y.pdf", 5, {0, 0})};
        model.reload(groups);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);

        groups[1]->duplicates[0].checkState = 1;
        QVERIFY(!model.reload(groups));
        QCOMPARE(resets.count(), 0);
        QCOMPARE(changes.count(), 1);

        model.reloadCount(1);
        QCOMPARE(changes.count(), 2);
        const auto cell = changes.last().at(0).value<QModelIndex>();
        QCOMPARE(cell.row(), 1);
        QCOMPARE(cell.column(), int(GroupsTableModel::ColumnCount));
        model.reloadCount(7);  // a row that is gone
        QCOMPARE(changes.count(), 2);

        groups.erase(groups.begin());
        QVERIFY(model.reload(groups));
        QCOMPARE(resets.count(), 1);
        QCOMPARE(model.rowCount(), 1);
        QVERIFY(model.reload({}));
        QCOMPARE(model.rowCount(), 0);
    }

    void membersShowCheckPathAndDateAndOnlyAskForAToggle() {
        MembersTableModel model;
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        const FilePtr three = group("/a/photo.jpg", 10, {0, 1, 0});
        model.reload(three);
        QCOMPARE(model.rowCount(), 3);
        const QModelIndex check = model.index(1, MembersTableModel::ColumnCheck);
        QCOMPARE(model.data(check, Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Checked);
        QVERIFY(model.flags(check) & Qt::ItemIsUserCheckable);
        QVERIFY(!(model.flags(model.index(1, MembersTableModel::ColumnPath)) &
                  Qt::ItemIsUserCheckable));
        QCOMPARE(
            model.data(model.index(1, MembersTableModel::ColumnPath), Qt::DisplayRole).toString(),
            QStringLiteral("/copy1/a/photo.jpg"));
        QCOMPARE(
            model.data(model.index(2, MembersTableModel::ColumnDate), Qt::DisplayRole).toString(),
            QStringLiteral("20-01-03 10:00:00"));

        // The results model flips the state in every record; the table only passes the click on.
        QSignalSpy toggles(&model, &MembersTableModel::toggleRequested);
        QVERIFY(model.setData(check, Qt::Unchecked, Qt::CheckStateRole));
        QCOMPARE(toggles.count(), 1);
        QCOMPARE(toggles.first().at(0).toInt(), 1);
        QCOMPARE(three->duplicates[1].checkState, 1);
        QVERIFY(
            !model.setData(model.index(1, MembersTableModel::ColumnPath), 0, Qt::CheckStateRole));

        // A cleaning takes copies out before the table is reloaded: their rows read as empty.
        three->duplicates.pop_back();
        QVERIFY(
            !model.data(model.index(2, MembersTableModel::ColumnPath), Qt::DisplayRole).isValid());
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        model.reload(three);
        QCOMPARE(resets.count(), 1);
        QCOMPARE(model.rowCount(), 2);
        model.reload(nullptr);
        QCOMPARE(model.rowCount(), 0);
    }
};

int runTablesModelTests(int argc, char** argv) {
    TablesModelTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "TablesModelTest.moc"
