// The main window as a user drives it: title marker, sizes, file types, folders (panel and
// drops), searches, closing and quitting, help pages.
#include <QAbstractItemModelTester>
#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QDesktopServices>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileSystemModel>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSlider>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include <sys/stat.h>

#include "KelvoraVersion.h"
#include "KeyboardChecks.h"
#include "UiTestSupport.h"
#include "support/TempTree.h"
#include "ui/AppShell.h"
#include "ui/FileDialogPanels.h"
#include "ui/FolderListModel.h"
#include "ui/MessageBoxAlerts.h"
#include "ui/ViewController.h"
#include "ui/ViewControllerProgress.h"

using namespace kelvora;
using namespace kelvora::testing;

namespace {

using Strings = std::vector<std::string>;

QMimeData* folderDrag(const QStringList& paths) {
    auto* data = new QMimeData;
    QList<QUrl> urls;
    for (const QString& path : paths) urls.push_back(QUrl::fromLocalFile(path));
    data->setUrls(urls);
    return data;
}

QString text(const QWidget& window, const char* label) {
    return child<QLabel>(window, label)->text();
}

}  // namespace

class UrlCatcher : public QObject {
    Q_OBJECT
public Q_SLOTS:
    void open(const QUrl& url) { urls.push_back(url); }

public:
    QList<QUrl> urls;
};

class MainWindowTest : public QObject {
    Q_OBJECT

    std::unique_ptr<UiFixture> fixture;
    std::unique_ptr<TempTree> tree;
    std::unique_ptr<ViewController> window;

    void click(const char* button) { child<QAbstractButton>(*window, button)->click(); }
    QString title() const { return window->windowTitle(); }
    Strings& folders() { return fixture->settings.listFolderPaths; }
    Strings& extensions() { return fixture->settings.listFileExtensions; }
    Strings alerts() const { return alertTexts(fixture->alerts); }
    // Sent to the folders table as a file manager's drag would arrive: enter, move, drop.
    bool dropOnFolders(const QMimeData& drag) {
        auto* table = child<QTableView>(*window, "tableViewFolders");
        const QPoint below(table->viewport()->width() / 2, table->viewport()->height() - 4);
        QDragEnterEvent enter(below, Qt::CopyAction, &drag, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(table->viewport(), &enter);
        QDragMoveEvent move(below, Qt::CopyAction, &drag, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(table->viewport(), &move);
        QDropEvent drop(below, Qt::CopyAction, &drag, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(table->viewport(), &drop);
        return enter.isAccepted() && move.isAccepted() && drop.isAccepted();
    }
    void addExtension(const QString& typed) {
        child<QLineEdit>(*window, "textFieldCustomFileTypesExtension")->setText(typed);
        click("buttonCustomFileTypesAddFileExtension");
    }

private Q_SLOTS:
    // Escape and the close button answer a question with its cautious "No", and the rating
    // question with "Remind me later", which stores nothing; Return answers a question "No".
    void dismissingAnAlertDecidesNothing() {
        MessageBoxAlerts alerts;
        const std::vector<std::string> question = {"Yes", "No"};
        const std::vector<std::string> rating = {"Yes, Rate Kelvora", "Remind me later",
                                                 "No, Thanks"};
        for (const int key : {int{Qt::Key_Escape}, 0, int{Qt::Key_Return}}) {
            const bool byClose = key == 0;
            for (const auto* buttons : {&question, &rating}) {
                QTimer dismiss;
                connect(&dismiss, &QTimer::timeout, this, [&] {
                    for (QWidget* widget : QApplication::topLevelWidgets()) {
                        auto* box = qobject_cast<QMessageBox*>(widget);
                        if (box == nullptr || !box->isVisible()) continue;
                        if (byClose) {
                            box->close();
                        } else {
                            QTest::keyClick(box, static_cast<Qt::Key>(key));
                        }
                    }
                });
                dismiss.start(10);
                const bool returnOnRating = key == Qt::Key_Return && buttons == &rating;
                QCOMPARE(alerts.runModal({"Well?", *buttons}),
                         returnOnRating ? kFirstButton : kSecondButton);
            }
        }
    }

    // A report of the copies that stayed is for keeping: Ctrl+C takes the whole of it, and one
    // too long for the screen is shown whole in the details, behind its OK.
    void aLongReportCanBeCopiedWholeAndStillFitsTheScreen() {
        QString report = QStringLiteral("These copies were not removed:");
        for (int i = 0; i < 40; ++i)
            report += QStringLiteral("\n/data/copy %1.jpg: permission denied.").arg(i);
        QGuiApplication::clipboard()->clear();
        QString shown;
        QString details;
        QTimer look;
        connect(&look, &QTimer::timeout, this, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr || !box->isVisible()) return;
            look.stop();
            shown = box->informativeText();
            details = box->detailedText();
            // The shortcut belongs to the box's window, which must be active first: on a busy
            // machine the activation comes a few events later.
            box->activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(box));
            QTest::keyClick(box, Qt::Key_C, Qt::ControlModifier);
            QTest::keyClick(box, Qt::Key_Return);
        });
        look.start(10);
        QCOMPARE(MessageBoxAlerts().runModal({report.toStdString(), {"OK"}}), kFirstButton);
        QCOMPARE(QGuiApplication::clipboard()->text(), report);
        QCOMPARE(details, report);
        QVERIFY(shown.count(QLatin1Char('\n')) <= 16);
        QVERIFY(
            shown.startsWith(QStringLiteral("These copies were not removed:\n/data/copy 0.jpg")));
    }

    void init() {
        fixture = std::make_unique<UiFixture>();
        tree = std::make_unique<TempTree>();
        window = std::make_unique<ViewController>(fixture->services());
    }
    void cleanup() {
        window.reset();
        tree.reset();
        fixture.reset();
    }

    void startsCleanWithTheStartUpSettings() {
        QCOMPARE(title(), "Kelvora");
        QVERIFY(!window->HasUnsavedChanges());
        QCOMPARE(text(*window, "textFieldMinimumFileSize"), "200.0 KB");
        QCOMPARE(text(*window, "textFieldMaximumFileSize"), "100.0 GB");
        QVERIFY(child<QRadioButton>(*window, "radioScanAllFileTypes")->isChecked());
        QVERIFY(!child<QTableView>(*window, "tableViewFileTypes")->isEnabled());
        QCOMPARE(child<QLineEdit>(*window, "textFieldCustomFileTypesExtension")->text(), "jpg");
        QVERIFY(child<QRadioButton>(*window, "radioMoveDuplicateFilesToTrash")->isChecked());
        QVERIFY(child<QCheckBox>(*window, "checkIgnoreBundles")->isChecked());
    }

    void marksUnsavedChangesOnceHoweverManyChanges() {
        child<QSlider>(*window, "sliderMinimumFileSize")->setValue(3);
        QCOMPARE(title(), "Kelvora*");
        child<QSlider>(*window, "sliderMaximumFileSize")->setValue(4);
        click("radioCustomFileTypes");
        QCOMPARE(title(), "Kelvora*");
        QVERIFY(window->HasUnsavedChanges());
    }

    void sizeSlidersStoreTheirBytesAndShowThem_data() {
        QTest::addColumn<int>("position");
        QTest::addColumn<qulonglong>("minimum");
        QTest::addColumn<QString>("minimumText");
        QTest::addColumn<qulonglong>("maximum");
        QTest::addColumn<QString>("maximumText");
        QTest::newRow("0") << 0 << 1ULL << "1 B" << 1048576ULL << "1.0 MB";
        QTest::newRow("1") << 1 << 51200ULL << "50.0 KB" << 5242880ULL << "5.0 MB";
        QTest::newRow("3") << 3 << 512000ULL << "500.0 KB" << 52428800ULL << "50.0 MB";
        QTest::newRow("6") << 6 << 10485760ULL << "10.0 MB" << 1073741824ULL << "1.0 GB";
        QTest::newRow("7") << 7 << 20971520ULL << "20.0 MB" << 10737418240ULL << "10.0 GB";
        QTest::newRow("9") << 9 << 104857600ULL << "100.0 MB" << 1099511627776ULL << "1.0 TB";
    }
    void sizeSlidersStoreTheirBytesAndShowThem() {
        QFETCH(int, position);
        QFETCH(qulonglong, minimum);
        QFETCH(QString, minimumText);
        QFETCH(qulonglong, maximum);
        QFETCH(QString, maximumText);
        child<QSlider>(*window, "sliderMinimumFileSize")->setValue(position);
        child<QSlider>(*window, "sliderMaximumFileSize")->setValue(position);
        QCOMPARE(fixture->settings.minimumFileSize, minimum);
        QCOMPARE(text(*window, "textFieldMinimumFileSize"), minimumText);
        QCOMPARE(fixture->settings.maximumFileSize, maximum);
        QCOMPARE(text(*window, "textFieldMaximumFileSize"), maximumText);
        QCOMPARE(title(), "Kelvora*");
    }

    void keepsAMinimumAboveTheMaximumAsChosen() {
        child<QSlider>(*window, "sliderMinimumFileSize")->setValue(9);
        child<QSlider>(*window, "sliderMaximumFileSize")->setValue(0);
        QCOMPARE(fixture->settings.minimumFileSize, 104857600ULL);
        QCOMPARE(fixture->settings.maximumFileSize, 1048576ULL);
    }

    void fileTypeRadiosSwitchEachOtherAndTheCustomControls() {
        click("radioCustomFileTypes");
        QVERIFY(!child<QRadioButton>(*window, "radioScanAllFileTypes")->isChecked());
        QVERIFY(fixture->settings.customFileTypes);
        for (const char* name :
             {"tableViewFileTypes", "textFieldCustomFileTypesExtension",
              "buttonCustomFileTypesAddFileExtension", "buttonCustomFileTypesRemoveSelected",
              "buttonCustomFileTypesRemoveAll"}) {
            QVERIFY2(child<QWidget>(*window, name)->isEnabled(), name);
        }
        click("radioScanAllFileTypes");
        QVERIFY(!child<QRadioButton>(*window, "radioCustomFileTypes")->isChecked());
        QVERIFY(!fixture->settings.customFileTypes);
        QVERIFY(!child<QWidget>(*window, "buttonCustomFileTypesAddFileExtension")->isEnabled());

        click("radioRemoveDuplicateFilesPermanently");
        QVERIFY(!child<QRadioButton>(*window, "radioMoveDuplicateFilesToTrash")->isChecked());
        QVERIFY(!fixture->settings.moveToTrash);
        click("radioMoveDuplicateFilesToTrash");
        QVERIFY(fixture->settings.moveToTrash);
    }

    void addsTypedExtensionsLowerCasedOnceAndAlwaysMarks() {
        click("radioCustomFileTypes");
        window->setWindowTitle("Kelvora");
        auto* field = child<QLineEdit>(*window, "textFieldCustomFileTypesExtension");
        field->clear();
        QTest::keyClicks(field, "JPG");
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(extensions(), Strings{"jpg"});
        QCOMPARE(field->text(), "JPG");
        QCOMPARE(title(), "Kelvora*");

        window->setWindowTitle("Kelvora");
        addExtension("jpg");
        QCOMPARE(extensions(), Strings{"jpg"});
        QCOMPARE(title(), "Kelvora*");

        window->setWindowTitle("Kelvora");
        addExtension("");
        addExtension(".Tar GZ");
        QCOMPARE(extensions(), (Strings{"jpg", ".tar gz"}));
        QCOMPARE(child<QTableView>(*window, "tableViewFileTypes")->model()->rowCount(), 2);
        QCOMPARE(title(), "Kelvora*");
    }

    void removesExtensionsOnlyWithASelectionAndNeverAsks() {
        click("radioCustomFileTypes");
        addExtension("png");
        addExtension("gif");
        window->setWindowTitle("Kelvora");
        click("buttonCustomFileTypesRemoveSelected");
        QCOMPARE(extensions(), (Strings{"png", "gif"}));
        QCOMPARE(title(), "Kelvora");

        child<QTableView>(*window, "tableViewFileTypes")->selectRow(0);
        click("buttonCustomFileTypesRemoveSelected");
        QCOMPARE(extensions(), Strings{"gif"});
        QCOMPARE(title(), "Kelvora*");

        click("buttonCustomFileTypesRemoveAll");
        QVERIFY(extensions().empty());
        QVERIFY(fixture->alerts.shown.empty());
    }

    void bundlesNoteOnlyWhenSwitchedOff() {
        click("checkIgnoreBundles");
        QCOMPARE(alerts(), Strings{"By deactivating this option Kelvora will also attempt to find "
                                   "duplicate bundles and packages which may increase the search "
                                   "time."});
        QCOMPARE(fixture->alerts.shown.back().buttons, Strings{"OK"});
        QVERIFY(!fixture->settings.ignorePackages);
        window->setWindowTitle("Kelvora");
        click("checkIgnoreBundles");
        QCOMPARE(fixture->alerts.shown.size(), 1u);
        QVERIFY(fixture->settings.ignorePackages);
        QCOMPARE(title(), "Kelvora*");
    }

    void addsChosenFoldersOnceInPanelOrder() {
        const std::string a = tree->createFolder("a"), b = tree->createFolder("b");
        fixture->panels.folders.push_back(Strings{b, a, b, ""});
        click("buttonAddFolder");
        QCOMPARE(folders(), (Strings{b, a}));
        QCOMPARE(child<QTableView>(*window, "tableViewFolders")->model()->rowCount(), 2);
        QCOMPARE(title(), "Kelvora*");
    }

    void aCancelledPanelChangesNothingAnEmptyOneIsReported() {
        click("buttonAddFolder");
        QCOMPARE(fixture->panels.asked, Strings{"folders"});
        QCOMPARE(title(), "Kelvora");

        fixture->panels.folders.push_back(Strings{});
        click("buttonAddFolder");
        QCOMPARE(alerts(), Strings{"The selected folder(s) could not be added."});
        QCOMPARE(title(), "Kelvora*");
    }

    void removesTheSelectedFolderOrOnlyMarks() {
        window->addStartupFolders({"/one", "/two", "/three"});
        QCOMPARE(title(), "Kelvora");
        click("buttonRemoveSelected");
        QCOMPARE(folders().size(), 3u);
        QCOMPARE(title(), "Kelvora*");

        auto* table = child<QTableView>(*window, "tableViewFolders");
        table->selectRow(1);
        click("buttonRemoveSelected");
        QCOMPARE(folders(), (Strings{"/one", "/three"}));
        // The next folder moves up into the selection, so removing can go on, also by key.
        window->show();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        table->setFocus();
        QTest::keyClick(table, Qt::Key_Delete);
        QCOMPARE(folders(), Strings{"/one"});
    }

    void removeAllAsksAndNoKeepsTheFolders() {
        click("buttonRemoveAll");
        QVERIFY(fixture->alerts.shown.empty());

        window->addStartupFolders({"/one", "/two"});
        fixture->alerts.answer(kSecondButton);
        click("buttonRemoveAll");
        QCOMPARE(
            fixture->alerts.shown.back(),
            (Alert{"Are you sure you want to remove all folders from the list?", {"Yes", "No"}}));
        QCOMPARE(folders().size(), 2u);
        QCOMPARE(title(), "Kelvora");

        fixture->alerts.answer(kFirstButton);
        click("buttonRemoveAll");
        QVERIFY(folders().empty());
        QCOMPARE(title(), "Kelvora*");
    }

    void droppedFoldersGoWhereTheyWereDroppedInDragOrder() {
        Strings listed{tree->createFolder("listed1"), tree->createFolder("listed2")};
        std::vector<std::string> references;
        FolderListModel model(listed, references, nullptr);
        QAbstractItemModelTester tester(&model);
        const QString x = QString::fromStdString(tree->createFolder("x"));
        const QString y = QString::fromStdString(tree->createFolder("y"));
        const QString z = QString::fromStdString(tree->createFolder("z"));
        const QString file = QString::fromStdString(tree->createFile("file.txt", "text"));
        std::unique_ptr<QMimeData> drag(
            folderDrag({x, file, QString::fromStdString(listed[0]), y, z + "/", "/no/such/dir"}));

        QVERIFY(!model.canDropMimeData(drag.get(), Qt::CopyAction, -1, -1, model.index(0)));
        QVERIFY(model.dropMimeData(drag.get(), Qt::CopyAction, 1, 0, {}));
        QCOMPARE(listed, (Strings{tree->path("listed1"), x.toStdString(), y.toStdString(),
                                  z.toStdString(), tree->path("listed2")}));
    }

    void droppingWhatIsNotAFolderSaysSoAndAddsNothing() {
        window->addStartupFolders({tree->createFolder("first")});
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        const std::string pipe = tree->path("pipe");
        QCOMPARE(::mkfifo(pipe.c_str(), 0600), 0);
        const QString file = QString::fromStdString(tree->createFile("file.txt", "text"));
        const QString folder = QString::fromStdString(tree->createFolder("folder"));
        const QList<QList<QUrl>> drops = {
            {QUrl::fromLocalFile(file)},
            {QUrl::fromLocalFile(QString::fromStdString(pipe))},
            {QUrl(QStringLiteral("https://example.org/photos/"))},
            {QUrl::fromLocalFile(folder), QUrl::fromLocalFile(file)},
        };
        for (const QList<QUrl>& urls : drops) {
            QMimeData drag;
            drag.setUrls(urls);
            QVERIFY(dropOnFolders(drag));
            QTRY_COMPARE(alerts().size(), 1u);
            QCOMPARE(alerts(), Strings{"The selected folder(s) could not be added."});
            fixture->alerts.shown.clear();
        }
        QCOMPARE(folders(), (Strings{tree->path("first"), tree->path("folder")}));
    }

    void aDroppedLinkFollowedByTwoDotsIsTheFolderAboveWhereTheLinkLeads() {
        tree->createFolder("real/inner");
        tree->createSymlink("link", tree->path("real/inner"));
        std::unique_ptr<QMimeData> drag(
            folderDrag({QString::fromStdString(tree->path("link/.."))}));
        QVERIFY(dropOnFolders(*drag));
        QCOMPARE(folders(), Strings{tree->path("real")});
    }

    void aDropOnTheTableIsAnsweredAsACopyAndDoesNotMark() {
        window->addStartupFolders({tree->createFolder("first")});
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        auto* table = child<QTableView>(*window, "tableViewFolders");
        const QPoint below(table->viewport()->width() / 2, table->viewport()->height() - 4);
        std::unique_ptr<QMimeData> drag(
            folderDrag({QString::fromStdString(tree->createFolder("new"))}));
        // Shift makes the file manager propose a move; it must never be told one happened.
        const auto actions = Qt::CopyAction | Qt::MoveAction;
        QDragEnterEvent enter(below, actions, drag.get(), Qt::LeftButton, Qt::ShiftModifier);
        QApplication::sendEvent(table->viewport(), &enter);
        QVERIFY(enter.isAccepted());
        QDragMoveEvent move(below, actions, drag.get(), Qt::LeftButton, Qt::ShiftModifier);
        QApplication::sendEvent(table->viewport(), &move);
        QVERIFY(move.isAccepted());
        QCOMPARE(move.dropAction(), Qt::CopyAction);
        QDropEvent drop(below, actions, drag.get(), Qt::LeftButton, Qt::ShiftModifier);
        QApplication::sendEvent(table->viewport(), &drop);
        QVERIFY(drop.isAccepted());
        QCOMPARE(drop.dropAction(), Qt::CopyAction);
        QCOMPARE(folders(), (Strings{tree->path("first"), tree->path("new")}));
        QCOMPARE(title(), "Kelvora");
    }

    void refusesToSearchWithoutFolders() {
        int opened = 0;
        window->setDuplicatesWindowRunner([&opened](QWidget&) { ++opened; });
        click("buttonFindDuplicateFiles");
        QCOMPARE(alerts(), Strings{"There are no folders to scan. Please add at least one folder "
                                   "and try again."});
        QCOMPARE(opened, 0);
    }

    void aSearchWithDuplicatesOpensTheResultsWindow() {
        tree->createFilled("photos/a.jpg", 300000, 'p');
        tree->createFilled("photos/copy of a.jpg", 300000, 'p');
        tree->createFilled("photos/other.jpg", 300000, 'q');
        window->addStartupFolders({tree->path("photos")});
        fixture->settings.searchCanceledByUser = true;  // left over from an earlier search
        std::size_t groups = 0;
        QWidget* over = nullptr;
        window->setDuplicatesWindowRunner([&](QWidget& parent) {
            over = &parent;
            groups = fixture->settings.duplicateFileList.size();
        });
        click("buttonFindDuplicateFiles");
        QCOMPARE(over, window.get());
        QCOMPARE(groups, 1u);
        QVERIFY(fixture->alerts.shown.empty());
    }

    void aSearchWithoutDuplicatesSaysSoAndOpensNothing() {
        tree->createFilled("photos/a.jpg", 300000, 'p');
        tree->createFilled("photos/b.jpg", 300000, 'q');
        window->addStartupFolders({tree->path("photos")});
        int opened = 0;
        window->setDuplicatesWindowRunner([&opened](QWidget&) { ++opened; });
        click("buttonFindDuplicateFiles");
        QCOMPARE(alerts(), Strings{"No duplicate files found."});
        QCOMPARE(opened, 0);
        QVERIFY(!fixture->settings.openDuplicatesWindow);
    }

    void closingWithUnsavedChangesAsksAndNoKeepsTheWindow() {
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        click("radioCustomFileTypes");
        fixture->alerts.answer(kSecondButton);
        QVERIFY(!window->close());
        QVERIFY(window->isVisible());
        QCOMPARE(title(), "Kelvora*");
        QCOMPARE(fixture->alerts.shown.back(),
                 (Alert{"You have unsaved changes that will be lost. Are you sure you want to "
                        "exit the application?",
                        {"Yes", "No"}}));
        QVERIFY(fixture->settings.customFileTypes);

        fixture->alerts.answer(kFirstButton);
        QVERIFY(window->close());
    }

    void quitAsksOnlyWithUnsavedChanges() {
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        auto* quit = child<QAction>(*window, "actionQuit");
        click("checkIgnoreBundles");
        fixture->alerts.shown.clear();
        quit->trigger();  // the script is empty: the question gets "No"
        QCOMPARE(fixture->alerts.shown.size(), 1u);
        QVERIFY(window->isVisible());

        window->setWindowTitle("Kelvora - saved");
        quit->trigger();
        QCOMPARE(fixture->alerts.shown.size(), 1u);
        QVERIFY(!window->isVisible());
    }

    void windowActionsMinimiseAndOpenTheHelpPages() {
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler("https", &catcher, "open");
        child<QAction>(*window, "actionHelpRemoveDuplicates")->trigger();
        child<QAction>(*window, "actionHelpCustomSelect")->trigger();
        QDesktopServices::unsetUrlHandler("https");
        QCOMPARE(catcher.urls,
                 (QList<QUrl>{QUrl(kHelpRemoveDuplicatesAddress), QUrl(kHelpCustomSelectAddress)}));

        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        child<QAction>(*window, "actionMinimize")->trigger();
        QTRY_VERIFY(window->isMinimized());
    }

    void helpMenuKeepsItsItemsAndEndsWithTheAboutBox() {
        QStringList items;
        for (QAction* action : child<QMenu>(*window, "menuHelp")->actions()) {
            if (!action->isSeparator()) items.push_back(action->text());
        }
        QCOMPARE(items, (QStringList{"How to &Remove Duplicates", "How to Use &Custom Selection",
                                     "&About Kelvora"}));

        QString shown;
        QTimer::singleShot(0, window.get(), [&shown] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr) return;
            shown = box->text();
            box->accept();
        });
        child<QAction>(*window, "actionAbout")->trigger();
        QVERIFY(shown.contains(QString::fromLatin1(kVersionText)));
        QVERIFY(shown.contains("MIT"));
        QVERIFY(shown.contains(kHomePageAddress));
    }

    // At a large scale factor a window laid out for an ordinary screen is larger than the
    // screen, and Find Duplicates would lie beyond its edge.
    void aWindowTooLargeForTheScreenIsShrunkToFitIt() {
        const QSize room = window->screen()->availableGeometry().size();
        QVERIFY(window->height() <= room.height());
        window->resize(room * 3);
        fitOnScreen(*window);
        QVERIFY(window->width() <= room.width() && window->height() <= room.height());
        QVERIFY(window->width() >= window->minimumSizeHint().width());
        QVERIFY(window->height() >= window->minimumSizeHint().height());
    }

    void everyAltLetterBelongsToOneControlAndTabsInReadingOrder() {
        child<QRadioButton>(*window, "radioCustomFileTypes")->click();
        KELVORA_VERIFY_KEYBOARD(*window);
        ViewControllerProgress progress(fixture->services(false), window.get());
        KELVORA_VERIFY_KEYBOARD(progress);
        progress.cancelSearch();
        fixture->manualBackground.runOnWorker();
        QTRY_VERIFY(!progress.isVisible());
    }

    void theFolderPanelChoosesSeveralFolders() {
        for (const char* name : {"a", "b", "c"}) tree->createFolder(name);
        const auto dialog = makeFolderDialog(nullptr);
        dialog->setDirectory(QString::fromStdString(tree->root()));
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
        auto* view = child<QTreeView>(*dialog, "treeView");
        auto* files = qobject_cast<QFileSystemModel*>(view->model());
        QVERIFY(files != nullptr);
        // The dialog reads the folder on a thread of its own and sorts it later still, so the
        // folders are found by path, not by row.
        QTRY_COMPARE(files->rowCount(view->rootIndex()), 3);
        const auto clickOn = [&](const char* name, Qt::KeyboardModifiers modifiers) {
            const QModelIndex index = files->index(QString::fromStdString(tree->path(name)));
            QTest::mouseClick(view->viewport(), Qt::LeftButton, modifiers,
                              view->visualRect(index).center());
        };
        clickOn("a", Qt::NoModifier);
        clickOn("b", Qt::ControlModifier);
        QTest::keyClick(dialog.get(), Qt::Key_Return);
        QCOMPARE(dialog->result(), int(QDialog::Accepted));
        QStringList chosen = dialog->selectedFiles();
        chosen.sort();
        QCOMPARE(chosen, (QStringList{QString::fromStdString(tree->path("a")),
                                      QString::fromStdString(tree->path("b"))}));
    }
};

int runMainWindowTests(int argc, char** argv) {
    MainWindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "MainWindowTest.moc"
