// The progress window over a real search of real folders: its texts, the cancel in all its
// forms, and the two ways a search ends.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>

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

    // Four large files of one size are hashed in one step, the first of the comparison. The
    // test holds the search there, as a slow disk would, on the search's own thread: the pool's
    // workers go on reading meanwhile, the counts stand still, and the window says how much it
    // has read. (Files of 100 MiB and more are matched on their size alone and never read.)
    void aLastingComparisonShowsTheContentsReadWhileTheCountsStandStill() {
        constexpr std::uint64_t kSize = 90ULL << 20;
        for (const char* name : {"a/1.bin", "a/2.bin", "a/3.bin", "a/4.bin"})
            tree->createSparse(name, kSize, kSize / 2, 'k');
        fixture->settings.listFolderPaths = {tree->path("a")};
        fixture->settings.minimumFileSize = 1;

        std::promise<void> release;
        const std::shared_future<void> released = release.get_future().share();
        const auto held = std::make_shared<std::atomic<bool>>(false);
        // Registered before the window's own observer, so the window never learns of step 1.
        const platform::ObserverRegistration hold(
            fixture->center, kUpdateProgress, [released, held](const platform::UserInfo& info) {
                if (info.at(kCheckedFiles) == 1 && !held->exchange(true))
                    released.wait_for(std::chrono::seconds(30));
            });
        window = std::make_unique<ViewControllerProgress>(fixture->services());
        window->show();
        QTRY_VERIFY_WITH_TIMEOUT(held->load(), 20000);
        QCOMPARE(text("labelContentsRead"), QString());
        QTRY_COMPARE_WITH_TIMEOUT(text("labelContentsRead"),
                                  QStringLiteral("Comparing contents: 360.0 MB read"), 30000);
        QCOMPARE(text("textFieldFilesScanned"), "0/4 Files Scaned");
        QCOMPARE(text("textFieldPercents"), "0.0%");

        release.set_value();
        QTRY_VERIFY_WITH_TIMEOUT(!window->isVisible(), 20000);
        QCOMPARE(text("textFieldFilesScanned"), "4/4 Files Scaned");
        QCOMPARE(fixture->settings.duplicateFileList.size(), 1u);
        QCOMPARE(fixture->settings.duplicateFileList.front()->duplicates.size(),
                 4u);  // the head first
    }
};

int runProgressWindowTests(int argc, char** argv) {
    ProgressWindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ProgressWindowTest.moc"
