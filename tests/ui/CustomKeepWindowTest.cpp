// The custom keep window: its controls against the rule fields of the shared settings, the
// size fields' checks, the extension list, the folder check on OK, Reset and Cancel.
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include "UiTestSupport.h"
#include "core/Texts.h"
#include "results/CustomSettingsText.h"
#include "support/TempTree.h"
#include "ui/Stepper.h"
#include "ui/ViewControllerCustomKeep.h"

using namespace kelvora;
using namespace kelvora::testing;

class CustomKeepWindowTest : public QObject {
    Q_OBJECT

    std::unique_ptr<UiFixture> fixture;
    std::unique_ptr<TempTree> tree;
    FileList shown;
    std::unique_ptr<ViewControllerCustomKeep> window;

    SettingsManager& settings() { return fixture->settings; }
    template <typename T>
    T* get(const char* name) {
        return child<T>(*window, name);
    }
    void open() {
        window = std::make_unique<ViewControllerCustomKeep>(settings(), fixture->alerts,
                                                            fixture->panels, shown);
    }
    // Typing into a size field and leaving it.
    QString typeSize(const char* field, const QString& text) {
        get<QLineEdit>(field)->setText(text);
        Q_EMIT get<QLineEdit>(field)->editingFinished();
        return get<QLineEdit>(field)->text();
    }

private Q_SLOTS:
    void init() {
        fixture = std::make_unique<UiFixture>();
        tree = std::make_unique<TempTree>();
        ResetCustomSettings(settings());
        settings().customFilePath = " ";
        shown = {std::make_shared<File>(tree->path("Pictures/a.jpg"), "jpg", 10),
                 std::make_shared<File>(tree->path("Music/Live/b.mp3"), "mp3", 10)};
        settings().selectedFile = 1;
    }
    void cleanup() {
        window.reset();
        tree.reset();
        fixture.reset();
    }

    void controlsShowTheRulesAndOkWritesThemBack() {
        settings().firstDateState = 1;
        settings().secondDateSelectedItem = 1;
        settings().firstDate = *parseDate("10/05/23", "dd/MM/yy");
        settings().firstFileSizeState = 1;
        settings().firstFileSize = 750;
        settings().secondFileSizeUnit = 2;
        settings().customFileTypesState = 1;
        settings().customFileExtensions = {"png", "gif"};
        settings().customFileType = "tif";
        settings().customFilePath = "/srv/photos";
        settings().subfoldersState = 0;
        settings().matchState = 1;
        open();
        QCOMPARE(settings().customSettingsOption, std::string("Cancel"));
        QVERIFY(get<QCheckBox>("checkFirstDate")->isChecked());
        QCOMPARE(get<QComboBox>("comboSecondDateType")->currentText(),
                 QStringLiteral("Modification Date"));
        QCOMPARE(get<QComboBox>("comboFirstDateTermOfComparison")->currentText(),
                 QStringLiteral("Later"));
        QCOMPARE(get<QDateTimeEdit>("dataPickerFirstDate")->date(), QDate(2023, 5, 10));
        QCOMPARE(get<QLineEdit>("textFieldFirstFileSize")->text(), QStringLiteral("750"));
        QCOMPARE(get<Stepper>("stepperFirstFileSize")->value(), 750.0);
        QCOMPARE(get<QComboBox>("comboSecondFileSizeUnit")->currentText(), QStringLiteral("MB"));
        QCOMPARE(window->extensions(), (std::vector<std::string>{"png", "gif"}));
        QCOMPARE(get<QLineEdit>("textFieldExtension")->text(), QStringLiteral("tif"));
        QCOMPARE(get<QLineEdit>("textFieldCustomFilePath")->text(), QStringLiteral("/srv/photos"));
        QVERIFY(!get<QCheckBox>("checkSubfolders")->isChecked());
        QCOMPARE(get<QComboBox>("comboMatch")->currentText(), QStringLiteral("Don't match"));

        get<QCheckBox>("checkSecondFileSize")->setChecked(true);
        get<QComboBox>("comboSecondFileSizeTermOfComparison")->setCurrentIndex(1);
        get<QLineEdit>("textFieldSecondFileSize")->setText(QStringLiteral("12.5"));
        get<QDateTimeEdit>("dataPickerSecondDate")->setDate(QDate(2021, 3, 4));
        get<QComboBox>("comboMatch")->setCurrentIndex(0);
        get<QPushButton>("buttonOk")->click();

        QCOMPARE(settings().customSettingsOption, std::string("OK"));
        QVERIFY(!window->isVisible());
        QCOMPARE(settings().secondFileSizeState, 1);
        QCOMPARE(settings().secondFileSizeComparisonItem, 1);
        QCOMPARE(settings().secondFileSize, 12);  // a fraction is cut off when saved
        QCOMPARE(formatDate(settings().secondDate, "dd/MM/yyyy HH:mm"),
                 std::string("04/03/2021 00:00"));
        QCOMPARE(settings().matchState, 0);
        QCOMPARE(settings().firstFileSize, 750);
        QCOMPARE(settings().customFileExtensions, (std::vector<std::string>{"png", "gif"}));
        QCOMPARE(settings().customFilePath, std::string("/srv/photos"));
        QCOMPARE(settings().subfoldersState, 0);
    }

    void theSelectedGroupsFolderIsStoredOnOpeningEvenWhenCancelled() {
        open();
        QCOMPARE(get<QLineEdit>("textFieldCustomFilePath")->text(),
                 QString::fromStdString(tree->path("Music/Live")));
        get<QCheckBox>("checkFirstDate")->setChecked(true);
        get<QPushButton>("buttonCancel")->click();
        QCOMPARE(settings().customSettingsOption, std::string("Cancel"));
        QCOMPARE(settings().customFilePath, tree->path("Music/Live"));
        QCOMPARE(settings().firstDateState, 0);
    }

    void sizeFieldsFallBackClampAndFeedTheStepper() {
        open();
        QCOMPARE(typeSize("textFieldSecondFileSize", QStringLiteral("abc")), QStringLiteral("100"));
        QCOMPARE(get<Stepper>("stepperSecondFileSize")->value(), 100.0);
        QCOMPARE(typeSize("textFieldSecondFileSize", QStringLiteral(" 7")), QStringLiteral("100"));
        QCOMPARE(typeSize("textFieldFirstFileSize", QString()), QStringLiteral("200"));
        QCOMPARE(typeSize("textFieldFirstFileSize", QStringLiteral("250000")),
                 QStringLiteral("100000"));
        QCOMPARE(typeSize("textFieldFirstFileSize", QStringLiteral("-5")), QStringLiteral("0"));
        QCOMPARE(typeSize("textFieldFirstFileSize", QStringLiteral("1e3")), QStringLiteral("1e3"));
        QCOMPARE(get<Stepper>("stepperFirstFileSize")->value(), 1000.0);

        // The stepper writes its value back as a whole number.
        for (auto* arrow : get<Stepper>("stepperFirstFileSize")->findChildren<QToolButton*>()) {
            if (arrow->arrowType() == Qt::UpArrow) arrow->click();
        }
        QCOMPARE(get<QLineEdit>("textFieldFirstFileSize")->text(), QStringLiteral("1001"));
        get<QLineEdit>("textFieldSecondFileSize")->setText(QStringLiteral("99999999"));
        get<QPushButton>("buttonOk")->click();  // an edit that never ended is checked on OK
        QCOMPARE(settings().firstFileSize, 1001);
        QCOMPARE(settings().secondFileSize, 100000);
    }

    void extensionsAreLowerCasedListedOnceAndRemovable() {
        settings().customFileExtensions = {"jpg"};
        open();
        window->show();
        auto* entry = get<QLineEdit>("textFieldExtension");
        auto* add = get<QPushButton>("buttonAddFileExtension");
        const auto typeAndAdd = [&](const QString& text) {
            entry->setText(text);
            add->click();
        };
        typeAndAdd(QStringLiteral("JPG"));
        typeAndAdd(QString());
        typeAndAdd(QStringLiteral(" jpg"));
        typeAndAdd(QStringLiteral("Café"));
        typeAndAdd(QStringLiteral("cafe\u0301"));  // the same text, decomposed
        QCOMPARE(window->extensions(), (std::vector<std::string>{"jpg", " jpg", "café"}));
        QCOMPARE(entry->text(), QStringLiteral("cafe\u0301"));
        // Return in the entry adds, it does not press OK.
        entry->setText(QStringLiteral("PNG"));
        QTest::keyClick(entry, Qt::Key_Return);
        QVERIFY(window->isVisible());
        QCOMPARE(settings().customSettingsOption, std::string("Cancel"));
        QCOMPARE(window->extensions().back(), std::string("png"));

        auto* list = get<QListView>("tableViewCustomFileTypes");
        get<QPushButton>("buttonRemoveSelected")->click();  // no selection: nothing
        QCOMPARE(window->extensions().size(), 4u);
        list->setCurrentIndex(list->model()->index(1, 0));
        get<QPushButton>("buttonRemoveSelected")->click();
        QCOMPARE(window->extensions(), (std::vector<std::string>{"jpg", "café", "png"}));
        QCOMPARE(list->model()->rowCount(), 3);
        get<QPushButton>("buttonRemoveAll")->click();
        QCOMPARE(list->model()->rowCount(), 0);
        QCOMPARE(settings().customFileExtensions, std::vector<std::string>{"jpg"});
    }

    void okRefusesAPathThatIsNoFolderOnlyWhileTheFolderConditionIsOn() {
        const std::string file = tree->createFile("notes.txt", "x");
        open();
        window->show();
        get<QLineEdit>("textFieldCustomFilePath")->setText(QString::fromStdString(file));
        get<QCheckBox>("checkCustomFilePath")->setChecked(true);
        get<QPushButton>("buttonOk")->click();
        QCOMPARE(alertTexts(fixture->alerts),
                 std::vector<std::string>{"The custom file path you entered is not valid. "
                                          "Please enter a valid path."});
        QVERIFY(window->isVisible());
        QCOMPARE(settings().customSettingsOption, std::string("Cancel"));
        QCOMPARE(settings().customFilePathState, 0);

        get<QLineEdit>("textFieldCustomFilePath")->setText(QString::fromStdString(tree->root()));
        get<QPushButton>("buttonOk")->click();
        QCOMPARE(settings().customSettingsOption, std::string("OK"));
        QCOMPARE(settings().customFilePath, tree->root());

        fixture->alerts.shown.clear();
        open();
        get<QLineEdit>("textFieldCustomFilePath")->clear();
        get<QCheckBox>("checkCustomFilePath")->setChecked(false);
        get<QPushButton>("buttonOk")->click();
        QVERIFY(fixture->alerts.shown.empty());
        QCOMPARE(settings().customFilePath, std::string());
    }

    void browseShowsTheChosenFolderAndACancelChangesNothing() {
        open();
        fixture->panels.singleFolders = {tree->path("Pictures"), std::nullopt};
        get<QPushButton>("buttonBrowse")->click();
        QCOMPARE(get<QLineEdit>("textFieldCustomFilePath")->text(),
                 QString::fromStdString(tree->path("Pictures")));
        get<QPushButton>("buttonBrowse")->click();
        QCOMPARE(get<QLineEdit>("textFieldCustomFilePath")->text(),
                 QString::fromStdString(tree->path("Pictures")));
        QCOMPARE(fixture->panels.asked,
                 (std::vector<std::string>{"Select File Path in " + tree->path("Music/Live"),
                                           "Select File Path in " + tree->path("Pictures")}));
    }

    void resetWritesTheDefaultsAtOnceAndCancelKeepsThem() {
        settings().firstDateState = 1;
        settings().secondFileSize = 42;
        settings().customFileExtensions = {"raw"};
        settings().customFilePath = "/elsewhere";
        settings().matchState = 1;
        open();
        get<QPushButton>("buttonReset")->click();
        QCOMPARE(settings().firstDateState, 0);
        QCOMPARE(settings().secondFileSize, 100);
        QVERIFY(settings().customFileExtensions.empty());
        QCOMPARE(settings().customFilePath, tree->path("Music/Live"));
        QCOMPARE(settings().matchState, 0);
        QCOMPARE(get<QLineEdit>("textFieldSecondFileSize")->text(), QStringLiteral("100"));
        QVERIFY(window->extensions().empty());
        get<QPushButton>("buttonCancel")->click();
        QCOMPARE(settings().customSettingsOption, std::string("Cancel"));
        QCOMPARE(settings().secondFileSize, 100);
    }
};

int runCustomKeepWindowTests(int argc, char** argv) {
    CustomKeepWindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "CustomKeepWindowTest.moc"
