// The results window over a real search of real files: the tables, the category filter with its
// shares, the keep segments and hand toggles in the shared records, the custom keep and
// information windows it opens, the file manager, and cleaning into the trash.
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include <QAction>
#include <QApplication>
#include <QBrush>
#include <QCheckBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QProgressDialog>
#include <QPushButton>
#include <QStyle>
#include <QStyleFactory>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QToolButton>

#include "KeyboardChecks.h"
#include "ResultsWindowSupport.h"
#include "core/Texts.h"
#include "ui/CleaningHistoryWindow.h"
#include "ui/ContrastStyle.h"
#include "ui/GroupsTableModel.h"
#include "ui/RevealInFileManager.h"
#include "ui/SegmentedControl.h"
#include "ui/ViewController.h"
#include "ui/ViewControllerCustomKeep.h"
#include "ui/ViewControllerInfo.h"

using namespace kelvora;
using namespace kelvora::testing;
namespace fs = std::filesystem;

namespace {

using States = std::vector<std::int64_t>;

std::string contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// Four groups, largest first: an archive, a document, a song (two copies each) and a picture in
// three copies.
std::uint64_t makeDuplicates(TempTree& tree) {
    QImage picture(64, 48, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    const std::string first = tree.createFile("Pictures/photo.jpg", "");
    picture.save(QString::fromStdString(first), "JPEG");
    const std::string bytes = contents(first);
    tree.createFile("Backup/photo.jpg", bytes);
    tree.createFile("Backup/old/photo.jpg", bytes);
    for (const char* path : {"Music/song.mp3", "Backup/song.mp3"})
        tree.createFilled(path, 3000, 'm');
    for (const char* path : {"Documents/report.pdf", "Backup/report.pdf"})
        tree.createFilled(path, 5000, 'p');
    for (const char* path : {"Downloads/bundle.zip", "Backup/bundle.zip"})
        tree.createFilled(path, 7000, 'z');
    return bytes.size();
}

// The contrast ratio of two colours as the accessibility guidelines define it: 4.5 is the least
// for text, 3 for the parts of a control, 1 is none.
double contrast(const QColor& a, const QColor& b) {
    const auto luminance = [](const QColor& colour) {
        const auto channel = [](double value) {
            return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * channel(colour.redF()) + 0.7152 * channel(colour.greenF()) +
               0.0722 * channel(colour.blueF());
    };
    const double first = luminance(a);
    const double second = luminance(b);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

// Fusion with the dark palette most dark themes give, for as long as it lives.
struct DarkFusion {
    QPalette light = QApplication::palette();
    QString style = QApplication::style()->name();
    DarkFusion() {
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        ContrastStyle::install();
        QPalette dark;
        const QColor window(53, 53, 53);
        const QColor text(230, 230, 230);
        for (const auto role : {QPalette::Window, QPalette::Button}) dark.setColor(role, window);
        for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
            dark.setColor(role, text);
        dark.setColor(QPalette::Base, QColor(35, 35, 35));
        dark.setColor(QPalette::AlternateBase, QColor(48, 48, 48));
        dark.setColor(QPalette::Highlight, QColor(42, 130, 218));
        QApplication::setPalette(dark);
    }
    ~DarkFusion() {
        QApplication::setStyle(QStyleFactory::create(style));
        QApplication::setPalette(light);
    }
};

States checks(const File& group) {
    States states;
    for (const DuplicateFile& member : group.duplicates) states.push_back(member.checkState);
    return states;
}

}  // namespace

class ResultsWindowTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ResultsWindowFixture> fixture;
    std::uint64_t pictureSize = 0;

    ViewControllerDuplicates& window() { return *fixture->window; }
    SettingsManager& settings() { return fixture->ui.settings; }
    QTableView* files() { return child<QTableView>(window(), "tableViewFiles"); }
    QTableView* copies() { return child<QTableView>(window(), "tableViewDuplicates"); }
    QString text(const char* label) { return child<QLabel>(window(), label)->text(); }
    QString spaceSaved() { return text("labelSpaceSaved"); }
    QString overview() { return text("labelOverview").replace(QChar::Nbsp, QLatin1Char(' ')); }
    QString cell(int row, int column) {
        return files()->model()->index(row, column).data().toString();
    }
    void click(const char* name) { child<QAbstractButton>(window(), name)->click(); }
    void clickSegment(int segment) {
        auto* control = child<SegmentedControl>(window(), "segmentedControlKeep");
        child<QToolButton>(*control, qPrintable(QStringLiteral("segment%1").arg(segment)))->click();
    }
    // The record of a group by its file name; the window shows these very records.
    File& group(const char* name) {
        for (const FilePtr& file : settings().duplicateFileList) {
            if (fs::path(file->path).filename() == name) return *file;
        }
        qFatal("no group %s", name);
    }
    void waitUntilSettled() { QTRY_VERIFY(!window().resultsModel().updating); }
    void openAndSettle() {
        fixture->open();
        QTRY_COMPARE(files()->model()->rowCount(), 4);
        waitUntilSettled();
    }
    // In a results window opened by the main window's search of the four groups: once they are
    // shown (and looked at), one keep option for all groups, then Clean.
    void cleanEveryGroup(ViewControllerDuplicates& results, int segment,
                         const std::function<void()>& lookFirst = {}) {
        results.show();
        QTRY_COMPARE(results.resultsModel().fileList.size(), std::size_t{4});
        QTRY_VERIFY(!results.resultsModel().updating);
        if (lookFirst) lookFirst();
        child<QAbstractButton>(results, "checkApplyForAll")->click();
        auto* control = child<SegmentedControl>(results, "segmentedControlKeep");
        child<QToolButton>(*control, qPrintable(QStringLiteral("segment%1").arg(segment)))->click();
        QTRY_VERIFY(!results.resultsModel().updating);
        child<QAbstractButton>(results, "buttonClean")->click();
        QTRY_VERIFY(!results.isVisible());
    }
    void pressSpaceOnCopy(int row) {
        copies()->setCurrentIndex(copies()->model()->index(row, 1));
        QTest::keyClick(copies(), Qt::Key_Space);
    }

private Q_SLOTS:
    void init() {
        fixture = std::make_unique<ResultsWindowFixture>();
        pictureSize = makeDuplicates(fixture->tree);
    }
    void cleanup() { fixture.reset(); }

    void opensWithEveryGroupItsSharesAndNothingSelected() {
        openAndSettle();
        QCOMPARE(text("labelRemovalMode"),
                 QStringLiteral("Clean moves the checked copies to the trash."));
        QCOMPARE(cell(0, 1), QStringLiteral("bundle.zip"));
        QCOMPARE(cell(0, 2), QStringLiteral("6.8 KB"));
        QCOMPARE(cell(0, 3), QStringLiteral("0/2"));
        QCOMPARE(cell(3, 1), QStringLiteral("photo.jpg"));
        QCOMPARE(cell(3, 3), QStringLiteral("0/3"));

        const double total = 14000.0 + 10000.0 + 6000.0 + 3.0 * double(pictureSize);
        const auto share = [&](double bytes) {
            return QString::asprintf("%.0f%%", bytes / total * 100);
        };
        QCOMPARE(text("textFieldArchivesPercents"), share(14000));
        QCOMPARE(text("textFieldDocumentsPercents"), share(10000));
        QCOMPARE(text("textFieldMusicPercents"), share(6000));
        QCOMPARE(text("textFieldPicturesPercents"), share(3.0 * double(pictureSize)));
        QCOMPARE(text("textFieldMoviesPercents"), QStringLiteral("0%"));
        QCOMPARE(text("textFieldOtherPercents"), QStringLiteral("0%"));
        QCOMPARE(child<QProgressBar>(window(), "progressIndicatorArchives")->value(),
                 int(std::lround(14000 / total * 100)));

        QCOMPARE(spaceSaved(), QStringLiteral("0 B"));
        QCOMPARE(child<QLabel>(window(), "labelSpaceSaved")->palette().color(QPalette::WindowText),
                 window().palette().color(QPalette::WindowText));
        QVERIFY(!child<QProgressBar>(window(), "progressIndicator")->isVisible());
        QCOMPARE(files()->selectionModel()->selectedRows().front().row(), 0);
        QCOMPARE(copies()->model()->rowCount(), 2);
        QCOMPARE(window().selectedSegment(), std::int64_t(KeepNone));
        QVERIFY(!window().applyForAllChecked());
    }

    void aCategorySwitchedOffHidesItsGroupsButKeepsItsShare() {
        openAndSettle();
        const QString archives = text("textFieldArchivesPercents");
        click("checkArchives");
        QTRY_COMPARE(files()->model()->rowCount(), 3);
        QCOMPARE(cell(0, 1), QStringLiteral("report.pdf"));
        QCOMPARE(text("textFieldArchivesPercents"), archives);
        QCOMPARE(copies()->model()->rowCount(), 2);
        click("checkPictures");
        QTRY_COMPARE(files()->model()->rowCount(), 2);
        click("checkArchives");
        QTRY_COMPARE(files()->model()->rowCount(), 3);
        QCOMPARE(cell(0, 1), QStringLiteral("bundle.zip"));
    }

    void keepSegmentsSelectCopiesInTheSharedRecords() {
        openAndSettle();
        clickSegment(KeepAll);
        QTRY_COMPARE(checks(group("bundle.zip")), (States{1, 1}));
        QTRY_COMPARE(spaceSaved(), QStringLiteral("13.7 KB"));
        QCOMPARE(child<QLabel>(window(), "labelSpaceSaved")->palette().color(QPalette::WindowText),
                 QColor::fromRgbF(27.0f / 255, 209.0f / 255, 51.0f / 255));
        QCOMPARE(cell(0, 3), QStringLiteral("2/2"));
        QCOMPARE(checks(group("report.pdf")), (States{0, 0}));

        // Selecting a group shows its own option.
        files()->selectRow(1);
        QCOMPARE(window().selectedSegment(), std::int64_t(KeepNone));
        files()->selectRow(0);
        QCOMPARE(window().selectedSegment(), std::int64_t(KeepAll));
        clickSegment(KeepNone);
        QTRY_COMPARE(spaceSaved(), QStringLiteral("0 B"));
        QCOMPARE(checks(group("bundle.zip")), (States{0, 0}));

        click("checkApplyForAll");
        clickSegment(KeepOldest);
        QTRY_COMPARE(cell(3, 3), QStringLiteral("2/3"));
        waitUntilSettled();
        for (const FilePtr& file : settings().duplicateFileList) {
            QCOMPARE(file->keepOption, std::int64_t(KeepOldest));
            const States states = checks(*file);
            QCOMPARE(std::count(states.begin(), states.end(), 0), std::ptrdiff_t(1));
        }
    }

    void spaceTogglesTheCurrentCopyAndItsCount() {
        openAndSettle();
        pressSpaceOnCopy(1);
        QCOMPARE(checks(group("bundle.zip")), (States{0, 1}));
        QTRY_COMPARE(spaceSaved(), QStringLiteral("6.8 KB"));
        QCOMPARE(cell(0, 3), QStringLiteral("1/2"));
        QCOMPARE(copies()->model()->index(1, 0).data(Qt::CheckStateRole).value<Qt::CheckState>(),
                 Qt::Checked);
        QCOMPARE(window().selectedSegment(), std::int64_t(KeepNone));
        pressSpaceOnCopy(1);
        QCOMPARE(checks(group("bundle.zip")), (States{0, 0}));
        QTRY_COMPARE(spaceSaved(), QStringLiteral("0 B"));
    }

    void theOverviewFollowsTheGroupsShownAndEverySelection() {
        openAndSettle();
        QCOMPARE(overview(), "4 groups shown; 0 of 9 copies selected, 0 B in all.");
        pressSpaceOnCopy(1);
        QTRY_COMPARE(overview(), "4 groups shown; 1 of 9 copies selected, 6.8 KB in all.");
        click("checkApplyForAll");
        clickSegment(KeepAll);
        QTRY_COMPARE(overview(),
                     "4 groups shown; 9 of 9 copies selected, " + spaceSaved() + " in all.");
        for (const char* category : {"checkArchives", "checkDocuments", "checkMusic"})
            click(category);
        QTRY_COMPARE(overview(),
                     "1 group shown; 3 of 3 copies selected, " + spaceSaved() + " in all.");
    }

    void theCustomOptionRunsItsWindowAndCancelGoesBack() {
        openAndSettle();
        files()->selectRow(3);
        whenModal<ViewControllerCustomKeep>([](ViewControllerCustomKeep& custom) {
            child<QCheckBox>(custom, "checkCustomFileTypes")->setChecked(true);
            child<QLineEdit>(custom, "textFieldExtension")->setText(QStringLiteral("JPG"));
            child<QPushButton>(custom, "buttonAddFileExtension")->click();
            child<QPushButton>(custom, "buttonOk")->click();
        });
        clickSegment(KeepCustom);
        QCOMPARE(settings().customSettingsOption, std::string("OK"));
        QTRY_COMPARE(checks(group("photo.jpg")), (States{1, 1, 1}));
        QVERIFY(group("photo.jpg").customSettings.str().ends_with("\n1\njpg\n"));
        QCOMPARE(window().selectedSegment(), std::int64_t(KeepCustom));
        waitUntilSettled();

        files()->selectRow(0);
        whenModal<ViewControllerCustomKeep>([](ViewControllerCustomKeep& custom) {
            child<QPushButton>(custom, "buttonCancel")->click();
        });
        clickSegment(KeepCustom);
        QCOMPARE(window().selectedSegment(), std::int64_t(KeepNone));
        waitUntilSettled();
        QCOMPARE(checks(group("bundle.zip")), (States{0, 0}));
        QCOMPARE(group("bundle.zip").keepOption, std::int64_t(KeepNone));
    }

    void revealAndInformationAddressTheSelectedCopy() {
        openAndSettle();
        QVERIFY(!child<QPushButton>(window(), "buttonShowInfo")->isEnabled());
        click("buttonGoToSourceDirectory");
        QVERIFY(fixture->revealed.empty());

        copies()->selectRow(1);
        const std::string path = group("bundle.zip").duplicates[1].path;
        click("buttonGoToSourceDirectory");
        QCOMPARE(fixture->revealed, std::vector<std::string>{path});

        QString name, extension, size;
        whenModal<ViewControllerInfo>([&](ViewControllerInfo& info) {
            name = child<QLabel>(info, "labelFileName")->text();
            extension = child<QLabel>(info, "labelExtension")->text();
            size = child<QLabel>(info, "labelFileSize")->text();
            info.reject();
        });
        click("buttonShowInfo");
        QCOMPARE(settings().currentSelectedFilePath, path);
        QCOMPARE(name, QStringLiteral("bundle"));
        QCOMPARE(extension, QStringLiteral("zip"));
        QCOMPARE(size, QStringLiteral("6.8 KB"));
    }

    // On a light palette the counts keep their written colours; on a dark one every coloured
    // text and the frame of an unchecked copy's box stand out from what is behind them.
    void countsSpaceAndCheckBoxesReadOnLightAndDarkPalettes() {
        const QPalette light = QApplication::palette();
        QCOMPARE(*qtColour(TextColour::SystemRed, light), QColor(0xe0, 0x1b, 0x24));
        QCOMPARE(*qtColour(TextColour::Green, light), QColor(27, 209, 51));
        QCOMPARE(*qtColour(TextColour::Orange, light), QColor(249, 183, 27));

        const DarkFusion dark;
        openAndSettle();
        const QColor base = copies()->palette().color(QPalette::Base);
        for (const TextColour colour :
             {TextColour::SystemRed, TextColour::Green, TextColour::Orange})
            QVERIFY(contrast(*qtColour(colour, QApplication::palette()), base) >= 4.5);
        const auto countColour = [this](int row) {
            return files()->model()->index(row, 3).data(Qt::ForegroundRole).value<QBrush>().color();
        };
        QVERIFY(contrast(countColour(0), base) >= 4.5);  // red: no copy selected yet
        pressSpaceOnCopy(1);
        QTRY_COMPARE(spaceSaved(), QStringLiteral("6.8 KB"));
        QVERIFY(
            contrast(
                child<QLabel>(window(), "labelSpaceSaved")->palette().color(QPalette::WindowText),
                window().palette().color(QPalette::Window)) >= 4.5);

        // Row 0 is unchecked and not selected: its box must show against the row.
        copies()->clearSelection();
        const QRect cell = copies()->visualRect(copies()->model()->index(0, 0));
        const QImage image = copies()->viewport()->grab(cell).toImage();
        const QColor behind = image.pixelColor(0, 0);
        double strongest = 1.0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                strongest = std::max(strongest, contrast(image.pixelColor(x, y), behind));
        QVERIFY2(strongest >= 3.0, qPrintable(QString::number(strongest)));
    }

    // Each window, with every control a keyboard user can reach enabled.
    void everyWindowGivesEachAltLetterToOneControlAndTabsInReadingOrder() {
        openAndSettle();
        copies()->selectRow(0);
        KELVORA_VERIFY_KEYBOARD(window());

        ViewControllerCustomKeep custom(settings(), fixture->ui.alerts, fixture->ui.panels,
                                        settings().duplicateFileList, &window());
        KELVORA_VERIFY_KEYBOARD(custom);
        ViewControllerInfo info(settings(), fixture->ui.manualBackground, platform::mainQueue(),
                                &window());
        KELVORA_VERIFY_KEYBOARD(info);
        CleaningHistoryWindow history(fixture->ui.alerts, &window());
        KELVORA_VERIFY_KEYBOARD(history);
    }

    // The file manager gets the bytes of the name, whatever they are: a name that is not
    // UTF-8 decoded to text would address a file that does not exist.
    void theFileManagerIsGivenTheNameByteForByte() {
        const std::string path = fixture->tree.createFile("odd \xff name%\n#?.txt", "x");
        const QUrl url = fileUrl(path);
        const QByteArray encoded = url.toString(QUrl::FullyEncoded).toUtf8();
        QVERIFY2(
            encoded.startsWith("file:///") && encoded.endsWith("/odd%20%FF%20name%25%0A%23%3F.txt"),
            encoded.constData());
        const QByteArray back =
            QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
        QCOMPARE(back.toStdString(), path);
        QVERIFY(fs::exists(fs::path(back.toStdString())));
    }

    void cleaningTrashesCheckedCopiesAndClosesWhenNothingIsLeft() {
        openAndSettle();
        files()->selectRow(3);
        pressSpaceOnCopy(2);
        const std::string doomed = group("photo.jpg").duplicates[2].path;
        QTRY_COMPARE(spaceSaved(), QString::fromStdString(sizeText(pictureSize)));
        click("buttonClean");
        QVERIFY(!fs::exists(doomed));
        // The scan settings say trash: the copy waits in this test's own home's trash.
        QVERIFY(fs::exists(fs::path(qgetenv("XDG_DATA_HOME").toStdString()) / "Trash/files" /
                           fs::path(doomed).filename()));
        QCOMPARE(alertTexts(fixture->ui.alerts),
                 std::vector<std::string>{"Duplicate files cleaned successfully. "});
        QCOMPARE(fixture->defaults.stringForKey("ShowRateMessage").value_or(""),
                 std::string("Yes"));
        waitUntilSettled();
        QCOMPARE(files()->model()->rowCount(), 4);
        QCOMPARE(cell(3, 3), QStringLiteral("0/2"));
        QCOMPARE(files()->selectionModel()->selectedRows().front().row(), 0);

        fixture->ui.alerts.shown.clear();
        click("checkApplyForAll");
        clickSegment(KeepNewest);
        QTRY_COMPARE(cell(0, 3), QStringLiteral("1/2"));
        waitUntilSettled();
        QTRY_COMPARE(cell(3, 3), QStringLiteral("1/2"));
        click("buttonClean");
        QTRY_VERIFY(!window().isVisible());
        QVERIFY(settings().duplicateFileList.empty());
        QCOMPARE(alertTexts(fixture->ui.alerts),
                 (std::vector<std::string>{
                     "Duplicate files cleaned successfully. ",
                     "If you enjoy using Kelvora, would you mind taking a moment to rate it? "
                     "Thanks for your support!"}));
        QCOMPARE(fixture->defaults.stringForKey("ShowRateMessage").value_or(""), std::string("No"));
        QVERIFY(fixture->storePages.empty());
        for (const char* name : {"bundle.zip", "report.pdf", "song.mp3", "photo.jpg"}) {
            int left = 0;
            for (const auto& entry : fs::recursive_directory_iterator(fixture->tree.root()))
                left += entry.path().filename() == name;
            QCOMPARE(left, 1);
        }
    }

    // What a cleaning moved to the trash comes back through the main window's Edit menu, and
    // the history window then has nothing left to put back.
    void undoLastCleaningPutsTheCopiesBack() {
        openAndSettle();
        click("checkApplyForAll");
        clickSegment(KeepOldest);
        waitUntilSettled();
        std::vector<std::pair<std::string, std::string>> before;
        for (const auto& entry : fs::recursive_directory_iterator(fixture->tree.root())) {
            if (entry.is_regular_file())
                before.emplace_back(entry.path().string(), contents(entry.path()));
        }
        click("buttonClean");
        QTRY_VERIFY(!window().isVisible());
        std::size_t left = 0;
        for (const auto& [path, bytes] : before) left += fs::exists(path);
        QCOMPARE(left, std::size_t{4});

        ViewController mainWindow(fixture->ui.services());
        fixture->ui.alerts.shown.clear();
        fixture->ui.alerts.answer(kFirstButton);  // "Put back the 5 copies ...?"
        mainWindow.findChild<QAction*>("actionUndoLastCleaning")->trigger();
        for (const auto& [path, bytes] : before) QCOMPARE(contents(path), bytes);
        const auto texts = alertTexts(fixture->ui.alerts);
        QCOMPARE(texts.size(), std::size_t{2});
        QVERIFY(texts[0].starts_with("Put back the 5 copies that the cleaning of "));
        QCOMPARE(texts[1], std::string("Put back 5 copies."));

        CleaningHistoryWindow history(fixture->ui.alerts, &mainWindow);
        auto* table = child<QTableView>(history, "tableViewCleanings");
        QVERIFY(table->model()->rowCount() >= 1);  // newest first
        QCOMPARE(table->model()->index(0, 2).data().toString(), QStringLiteral("5"));
        QCOMPARE(table->model()->index(0, 4).data().toString(), QStringLiteral("0"));
    }

    // Thousands of copies go on a worker: the window's events keep flowing meanwhile, behind a
    // progress dialog that counts them.
    void aLongCleaningLeavesTheWindowAnswering() {
        constexpr int kCopies = 3000;
        for (int i = 0; i < kCopies; ++i)
            fixture->tree.createFilled("Many/" + std::to_string(i) + ".bin", 40000, 'n');
        fixture->open();
        QTRY_COMPARE(files()->model()->rowCount(), 5);
        waitUntilSettled();
        click("checkApplyForAll");
        clickSegment(KeepOldest);
        waitUntilSettled();
        int ticks = 0;
        int largestTotal = 0;
        QTimer watcher;
        connect(&watcher, &QTimer::timeout, this, [&] {
            ++ticks;
            if (auto* dialog = window().findChild<QProgressDialog*>("cleaningProgress"))
                largestTotal = std::max(largestTotal, dialog->maximum());
        });
        watcher.start(5);
        click("buttonClean");
        watcher.stop();
        QVERIFY2(ticks >= 3, "the window's events ran while the copies went");
        QCOMPARE(largestTotal, kCopies - 1 + 1 + 1 + 1 + 2);
        int left = 0;
        for (const auto& entry : fs::directory_iterator(fixture->tree.path("Many"))) {
            QCOMPARE(contents(entry.path()), std::string(40000, 'n'));
            ++left;
        }
        QCOMPARE(left, 1);
        QCOMPARE(alertTexts(fixture->ui.alerts).front(),
                 std::string("Duplicate files cleaned successfully. "));
    }

    // The whole road: the main window's search, its progress window, the results window it
    // opens, a keep option for all groups and a cleaning into this test's own trash.
    void aSearchFromTheMainWindowEndsWithCopiesInTheTrash() {
        UiFixture& ui = fixture->ui;
        ViewController main(ui.services());
        main.addStartupFolders({fixture->tree.root()});
        ui.settings.minimumFileSize = 1;  // the test's files are smaller than the slider allows
        bool cleaned = false;
        main.setDuplicatesWindowRunner([&](QWidget& parent) {
            ViewControllerDuplicates results(fixture->services(), &parent);
            cleanEveryGroup(results, KeepOldest);
            cleaned = true;
        });
        child<QAbstractButton>(main, "buttonFindDuplicateFiles")->click();
        QVERIFY(cleaned);
        QVERIFY(ui.settings.duplicateFileList.empty());
        const fs::path trash = fs::path(qgetenv("XDG_DATA_HOME").toStdString()) / "Trash";
        int trashed = 0;
        for (const auto& entry : fs::directory_iterator(trash / "info")) {
            trashed +=
                contents(entry.path().string()).find(fixture->tree.root()) != std::string::npos;
        }
        QCOMPARE(trashed, 5);  // every copy but one of each group
        for (const char* name : {"bundle.zip", "report.pdf", "song.mp3", "photo.jpg"}) {
            int left = 0;
            for (const auto& entry : fs::recursive_directory_iterator(fixture->tree.root()))
                left += entry.path().filename() == name;
            QCOMPARE(left, 1);
        }
    }

    // A folder marked as reference in the main window, nested in another chosen folder: All
    // for every group and Clean leave every file of it in place, and its copies cannot be
    // checked by hand.
    void aReferenceFolderLosesNothingToAll() {
        UiFixture& ui = fixture->ui;
        ViewController main(ui.services());
        main.addStartupFolders({fixture->tree.root(), fixture->tree.path("Backup")});
        ui.settings.minimumFileSize = 1;
        auto* folders = child<QTableView>(main, "tableViewFolders")->model();
        QVERIFY(folders->setData(folders->index(1, 0), Qt::Checked, Qt::CheckStateRole));
        QCOMPARE(ui.settings.referenceFolderPaths,
                 std::vector<std::string>{fixture->tree.path("Backup")});
        std::vector<std::string> backup;
        for (const auto& entry : fs::recursive_directory_iterator(fixture->tree.path("Backup"))) {
            if (entry.is_regular_file()) backup.push_back(entry.path().string());
        }
        bool cleaned = false;
        main.setDuplicatesWindowRunner([&](QWidget& parent) {
            ViewControllerDuplicates results(fixture->services(), &parent);
            cleanEveryGroup(results, KeepAll, [&] {
                auto* copies = child<QTableView>(results, "tableViewDuplicates")->model();
                QVERIFY(!(copies->flags(copies->index(1, 0)) & Qt::ItemIsEnabled));  // Backup/
            });
            cleaned = true;
        });
        child<QAbstractButton>(main, "buttonFindDuplicateFiles")->click();
        QVERIFY(cleaned);
        QCOMPARE(backup.size(), std::size_t{5});
        for (const std::string& path : backup) QVERIFY2(fs::exists(path), path.c_str());
        for (const char* gone : {"Pictures/photo.jpg", "Music/song.mp3", "Documents/report.pdf",
                                 "Downloads/bundle.zip"})
            QVERIFY2(!fs::exists(fixture->tree.path(gone)), gone);
        const auto texts = alertTexts(ui.alerts);
        QVERIFY(std::find(texts.begin(), texts.end(),
                          "Some files have been selected to be removed completely. Are you sure "
                          "you want to continue?") == texts.end());
    }

    void closingEmptiesTheSharedListsButEscapeDoesNotClose() {
        openAndSettle();
        QTest::keyClick(&window(), Qt::Key_Escape);
        QVERIFY(window().isVisible());
        QCOMPARE(settings().duplicateFileList.size(), std::size_t(4));
        window().close();
        QVERIFY(!window().isVisible());
        QVERIFY(settings().duplicateFileList.empty());
        QVERIFY(settings().fileList.empty());
    }
};

int runResultsWindowTests(int argc, char** argv) {
    ResultsWindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ResultsWindowTest.moc"
