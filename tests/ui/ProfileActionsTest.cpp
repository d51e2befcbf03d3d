// New, Save, Save As and Open Profile through the real window, with real profile files.
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSlider>
#include <QTest>

#include "UiTestSupport.h"
#include "support/TempTree.h"
#include "ui/ViewController.h"

using namespace kelvora;
using namespace kelvora::testing;

namespace {

using Strings = std::vector<std::string>;

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool exists(const std::string& path) {
    return std::ifstream(path).good();
}

}  // namespace

class ProfileActionsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<UiFixture> fixture;
    std::unique_ptr<TempTree> tree;
    std::unique_ptr<ViewController> window;

    void click(const char* button) { child<QAbstractButton>(*window, button)->click(); }
    bool checked(const char* button) {
        return child<QAbstractButton>(*window, button)->isChecked();
    }
    int slider(const char* name) { return child<QSlider>(*window, name)->value(); }
    QString title() const { return window->windowTitle(); }
    SettingsManager& settings() { return fixture->settings; }
    void addExtension(const QString& typed) {
        child<QLineEdit>(*window, "textFieldCustomFileTypesExtension")->setText(typed);
        click("buttonCustomFileTypesAddFileExtension");
    }
    void trigger(const char* action) { child<QAction>(*window, action)->trigger(); }

    // Custom types jpg and png, minimum at position 0, removal for good, packages included.
    void changeEverything() {
        click("radioCustomFileTypes");
        addExtension("jpg");
        addExtension("PNG");
        child<QSlider>(*window, "sliderMinimumFileSize")->setValue(0);
        click("radioRemoveDuplicateFilesPermanently");
        click("checkIgnoreBundles");
    }

private Q_SLOTS:
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

    void saveAsWritesTheWholeProfileAndNamesTheWindowAfterIt() {
        click("radioCustomFileTypes");
        addExtension("jpg");
        addExtension("png");
        const std::string path = tree->path("a.kvr");
        fixture->panels.saves.push_back(path);
        trigger("actionSaveProfileAs");

        QCOMPARE(fixture->panels.asked, Strings{"save profile.kvr in "});
        QCOMPARE(readFile(path), "2\njpg\npng\n204800\n107374182400\n2.0\n8.0\n0\n1\n1\n0\n1\n");
        QCOMPARE(title(), "Kelvora - a");
        QCOMPARE(window->currentProfilePath(), path);
        QVERIFY(fixture->alerts.shown.empty());
    }

    void saveWritesOnlyWithUnsavedChangesAndBoundSavesAskNoPanel() {
        trigger("actionSaveProfile");
        QVERIFY(fixture->panels.asked.empty());

        const std::string path = tree->path("sizes.kvr");
        child<QSlider>(*window, "sliderMaximumFileSize")->setValue(9);
        fixture->panels.saves.push_back(path);
        trigger("actionSaveProfile");  // never saved: asks where
        QCOMPARE(fixture->panels.asked.size(), 1u);
        QCOMPARE(readFile(path), "0\n204800\n1099511627776\n2.0\n9.0\n1\n0\n1\n0\n1\n");

        child<QSlider>(*window, "sliderMaximumFileSize")->setValue(1);
        trigger("actionSaveProfile");
        QCOMPARE(fixture->panels.asked.size(), 1u);
        QCOMPARE(readFile(path), "0\n204800\n5242880\n2.0\n1.0\n1\n0\n1\n0\n1\n");
        QCOMPARE(title(), "Kelvora - sizes");
    }

    void aCancelledSavePanelWritesNothing() {
        changeEverything();
        trigger("actionSaveProfileAs");
        QCOMPARE(title(), "Kelvora*");
        QVERIFY(window->currentProfilePath().empty());
    }

    void aFailedSaveKeepsTheMarkerAndTheNewPath() {
        changeEverything();
        const std::string path = tree->path("missing folder/p.kvr");
        fixture->panels.saves.push_back(path);
        trigger("actionSaveProfileAs");
        QCOMPARE(fixture->alerts.shown.back(), (Alert{"Could not save profile.", {"OK"}}));
        QCOMPARE(title(), "Kelvora*");
        QCOMPARE(window->currentProfilePath(), path);
        QVERIFY(!exists(path));
    }

    void savingAndLoadingRestoresEverythingButTheFolders() {
        changeEverything();
        const std::string path = tree->path("everything.kvr");
        fixture->panels.saves.push_back(path);
        trigger("actionSaveProfileAs");
        QCOMPARE(readFile(path), "2\njpg\npng\n1\n107374182400\n0.0\n8.0\n0\n1\n0\n1\n0\n");

        window->addStartupFolders({"/kept"});
        fixture->alerts.shown.clear();
        trigger("actionNew");  // clean title: no question
        QVERIFY(fixture->alerts.shown.empty());
        QCOMPARE(title(), "Kelvora");
        QVERIFY(settings().listFolderPaths.empty());
        QCOMPARE(settings().minimumFileSize, 204800ULL);
        QVERIFY(!settings().customFileTypes);
        QVERIFY(settings().ignorePackages);

        window->addStartupFolders({"/kept"});
        fixture->panels.loads.push_back(path);
        trigger("actionLoadProfile");
        QCOMPARE(fixture->panels.asked.back(), "load in ");
        QCOMPARE(title(), "Kelvora - everything");
        QCOMPARE(settings().listFileExtensions, (Strings{"jpg", "png"}));
        QCOMPARE(settings().minimumFileSize, 1ULL);
        QCOMPARE(settings().maximumFileSize, 107374182400ULL);
        QVERIFY(settings().customFileTypes);
        QVERIFY(!settings().moveToTrash);
        QVERIFY(!settings().ignorePackages);
        QCOMPARE(settings().listFolderPaths, Strings{"/kept"});
        QCOMPARE(slider("sliderMinimumFileSize"), 0);
        QCOMPARE(slider("sliderMaximumFileSize"), 8);
        QVERIFY(checked("radioCustomFileTypes") && !checked("radioScanAllFileTypes"));
        QVERIFY(checked("radioRemoveDuplicateFilesPermanently"));
        QVERIFY(!checked("radioMoveDuplicateFilesToTrash"));
        QVERIFY(!checked("checkIgnoreBundles"));
        QVERIFY(child<QWidget>(*window, "buttonCustomFileTypesAddFileExtension")->isEnabled());
        QCOMPARE(child<QLabel>(*window, "textFieldMinimumFileSize")->text(), "1 B");
    }

    void aHandEditedProfileLoadsAsWrittenAndSavesBackTheSame() {
        // Sizes that match no slider position, a position between two, repeated and upper-case
        // extensions, and a line the layout does not need.
        const std::string text =
            "3\nJPG\njpg\nJPG\n300000\n400000000\n2.5\n7.0\n0\n1\n1\n0\n1\nextra\n";
        const std::string path = tree->createFile("edited.kvr", text);
        fixture->panels.loads.push_back(path);
        trigger("actionLoadProfile");
        QCOMPARE(settings().listFileExtensions, (Strings{"JPG", "jpg", "JPG"}));
        QCOMPARE(settings().minimumFileSize, 300000ULL);
        QCOMPARE(child<QLabel>(*window, "textFieldMinimumFileSize")->text(), "293.0 KB");
        QCOMPARE(child<QLabel>(*window, "textFieldMaximumFileSize")->text(), "381.5 MB");

        click("checkIgnoreBundles");
        click("checkIgnoreBundles");
        fixture->panels.saves.push_back(tree->path("again.kvr"));
        trigger("actionSaveProfileAs");
        QCOMPARE(readFile(tree->path("again.kvr")),
                 "3\nJPG\njpg\nJPG\n300000\n400000000\n2.5\n7.0\n0\n1\n1\n0\n1\n");
    }

    void aProfileThatDoesNotReadChangesNothingButThePath() {
        changeEverything();
        const QString before = title();
        // A pipe without a writer and endless devices are refused at once, not waited on.
        const std::string pipe = tree->path("pipe.kvr");
        QCOMPARE(::mkfifo(pipe.c_str(), 0600), 0);
        for (const std::string& bad :
             {tree->path("missing.kvr"), tree->createFile("short.kvr", "1\njpg\n204800\n"), pipe,
              std::string("/dev/zero"), tree->createSymlink("random.kvr", "/dev/urandom"),
              tree->createFolder("folder.kvr"),
              tree->createFile("words.kvr", "0\nbig\n1\n2.0\n8.0\n1\n0\n1\n0\n1\n")}) {
            fixture->alerts.answer(kFirstButton);  // discard the changes
            fixture->panels.loads.push_back(bad);
            trigger("actionLoadProfile");
            QCOMPARE(fixture->alerts.shown.back(), (Alert{"Could not load profile.", {"OK"}}));
            QCOMPARE(window->currentProfilePath(), bad);
        }
        QCOMPARE(title(), before);
        QCOMPARE(settings().listFileExtensions, (Strings{"jpg", "png"}));
        QCOMPARE(settings().minimumFileSize, 1ULL);

        // The next save goes where the failed load pointed.
        trigger("actionSaveProfile");
        QCOMPARE(readFile(tree->path("words.kvr")).substr(0, 8), "2\njpg\npn");
        QCOMPARE(title(), "Kelvora - words");
    }

    void answeringNoToDiscardingKeepsEverything() {
        changeEverything();
        fixture->panels.loads.push_back(
            tree->createFile("p.kvr", "0\n1\n2\n0.0\n0.0\n1\n0\n1\n0\n1\n"));
        fixture->alerts.answer(kSecondButton);
        trigger("actionLoadProfile");
        QCOMPARE(fixture->alerts.shown.back(),
                 (Alert{"You have unsaved changes that will be lost. Continue?", {"Yes", "No"}}));
        QVERIFY(fixture->panels.asked.empty());

        fixture->alerts.answer(kSecondButton);
        trigger("actionNew");
        QCOMPARE(title(), "Kelvora*");
        QCOMPARE(settings().listFileExtensions, (Strings{"jpg", "png"}));
        QVERIFY(checked("radioRemoveDuplicateFilesPermanently"));

        fixture->alerts.answer(kFirstButton);
        trigger("actionNew");
        QCOMPARE(title(), "Kelvora");
        QVERIFY(settings().listFileExtensions.empty());
        QVERIFY(settings().moveToTrash);
        QCOMPARE(settings().minimumFileSize, 204800ULL);
        QCOMPARE(child<QLabel>(*window, "textFieldMinimumFileSize")->text(), "200.0 KB");
    }
};

int runProfileActionsTests(int argc, char** argv) {
    ProfileActionsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ProfileActionsTest.moc"
