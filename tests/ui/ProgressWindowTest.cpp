// The progress window over a real search of real folders: its texts, the cancel in all its
// forms, and the two ways a search ends.
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include "UiTestSupport.h"
#include "engine/FileTools.h"
#include "support/TempTree.h"
#include "ui/ViewControllerProgress.h"

using namespace kelvora;
using namespace kelvora::testing;

namespace {

using Strings = std::vector<std::string>;

}  // namespace

class ProgressWindowTest : public QObject {
    Q_OBJECT

    std::unique_ptr<UiFixture> fixture;
    std::unique_ptr<TempTree> tree;
    std::unique_ptr<ViewControllerProgress> window;

    QString text(const char* label) const { return child<QLabel>(*window, label)->text(); }
    QPushButton* cancelButton() const { return child<QPushButton>(*window, "buttonCancelSearch"); }
    int bar() const { return child<QProgressBar>(*window, "progressIndicator")->value(); }

    // Shows the window over the given files; the search waits until the test runs the worker.
    void showOver(const Strings& folders) {
        fixture->settings.listFolderPaths = folders;
        fixture->settings.minimumFileSize = 1;
        window = std::make_unique<ViewControllerProgress>(fixture->services(false));
        window->show();
        QCOMPARE(fixture->manualBackground.pending(), 1u);
    }
    void twoCopies() {
        tree->createFile("a/one.txt", "same contents");
        tree->createFile("a/two.txt", "same contents");
    }

private Q_SLOTS:
    void init() {
        fixture = std::make_unique<UiFixture>();
        tree = std::make_unique<TempTree>();
    }
    void cleanup() {
        window.reset();
        tree.reset();
        fixture.reset();
    }

    void showsCountsAndPercentage_data() {
        QTest::addColumn<qint64>("total");
        QTest::addColumn<qint64>("checked");
        QTest::addColumn<QString>("counts");
        QTest::addColumn<QString>("percent");
        QTest::addColumn<int>("bar");
        QTest::newRow("nothing found yet") << 0LL << 0LL << "0/0 Files Scanned"
                                           << "0.0%" << 0;
        QTest::newRow("walking") << 40LL << 0LL << "0/40 Files Scaned"
                                 << "0.0%" << 0;
        QTest::newRow("comparing") << 40LL << 12LL << "12/40 Files Scaned"
                                   << "30.0%" << 30;
        QTest::newRow("a third") << 3LL << 1LL << "1/3 Files Scaned"
                                 << "33.3%" << 33;
        QTest::newRow("two thirds") << 3LL << 2LL << "2/3 Files Scaned"
                                    << "66.7%" << 66;
        QTest::newRow("done") << 2LL << 2LL << "2/2 Files Scaned"
                              << "100.0%" << 100;
    }
    void showsCountsAndPercentage() {
        QFETCH(qint64, total);
        QFETCH(qint64, checked);
        QFETCH(QString, counts);
        QFETCH(QString, percent);
        QFETCH(int, bar);
        window = std::make_unique<ViewControllerProgress>(fixture->services(false));
        window->showProgress(7, 3);
        window->showProgress(total, checked);
        QCOMPARE(text("textFieldFilesScanned"), counts);
        QCOMPARE(text("textFieldPercents"), percent);
        QCOMPARE(this->bar(), bar);
    }

    void followsTheNotificationsOfTheSearchThread() {
        showOver({tree->root()});
        std::thread([this] {
            fixture->center.post(kUpdateProgress, {{kTotalFiles, 40}, {kCheckedFiles, 12}});
            fixture->center.post(kUpdateProgress, {});  // no counts: ignored
        }).join();
        QTRY_COMPARE(text("textFieldFilesScanned"), "12/40 Files Scaned");
        QCOMPARE(text("textFieldPercents"), "30.0%");
    }

    void endsWithTheLastCountsAndLeavesTheResultsToTheMainWindow() {
        twoCopies();
        showOver({tree->path("a")});
        fixture->manualBackground.runOnWorker();
        QTRY_VERIFY(!window->isVisible());
        QCOMPARE(text("textFieldFilesScanned"), "2/2 Files Scaned");
        QCOMPARE(text("textFieldPercents"), "100.0%");
        QCOMPARE(bar(), 100);
        QVERIFY(fixture->settings.openDuplicatesWindow);
        QCOMPARE(fixture->settings.duplicateFileList.size(), 1u);
        QVERIFY(fixture->alerts.shown.empty());
    }

    void aSearchOfEmptyFoldersSaysNoDuplicatesWereFound() {
        tree->createFolder("empty");
        showOver({tree->path("empty")});
        fixture->manualBackground.runOnWorker();
        QTRY_VERIFY(!window->isVisible());
        QCOMPARE(fixture->alerts.shown,
                 (std::vector<Alert>{{"No duplicate files found.", {"OK"}}}));
        QVERIFY(!fixture->settings.openDuplicatesWindow);
        QCOMPARE(text("textFieldFilesScanned"), "0/0 Files Scanned");
    }

    void cancellingWaitsForTheSearchToStopThenClosesSilently() {
        twoCopies();
        showOver({tree->path("a")});
        cancelButton()->click();
        QCOMPARE(cancelButton()->text(), "Cancelling...");
        QVERIFY(!cancelButton()->isEnabled());
        QVERIFY(fixture->settings.searchCanceledByUser);
        QVERIFY(window->isVisible());

        fixture->manualBackground.runOnWorker();
        QTRY_VERIFY(!window->isVisible());
        QVERIFY(fixture->alerts.shown.empty());
        QVERIFY(!fixture->settings.openDuplicatesWindow);
        QVERIFY(fixture->settings.duplicateFileList.empty());
    }

    void theCloseButtonAndEscapeCancelInsteadOfClosing() {
        showOver({tree->root()});
        QVERIFY(!window->close());
        QVERIFY(window->isVisible());
        QCOMPARE(cancelButton()->text(), "Cancelling...");

        QTest::keyClick(window.get(), Qt::Key_Escape);
        QVERIFY(window->isVisible());
        fixture->manualBackground.runOnWorker();
        QTRY_VERIFY(!window->isVisible());
        QVERIFY(fixture->alerts.shown.empty());
    }

    void aCancelAfterTheEngineReturnedStillClosesAndKeepsNoResults() {
        twoCopies();
        showOver({tree->path("a")});
        // The worker has finished and its end waits on the main queue when the user cancels.
        fixture->manualBackground.runOnWorker();
        cancelButton()->click();
        QTRY_VERIFY(!window->isVisible());
        QVERIFY(fixture->alerts.shown.empty());
        QVERIFY(!fixture->settings.openDuplicatesWindow);
        QVERIFY(fixture->settings.duplicateFileList.empty());
    }
};

int runProgressWindowTests(int argc, char** argv) {
    ProgressWindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ProgressWindowTest.moc"
