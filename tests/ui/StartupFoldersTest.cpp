// Folders given to `kelvora` at start: paths from a terminal, file:// addresses from a file
// manager through the desktop entry.
#include <QTest>

#include "support/TempTree.h"
#include "ui/StartupFolders.h"

using namespace kelvora;
using kelvora::testing::TempTree;

class StartupFoldersTest : public QObject {
    Q_OBJECT

    static QString address(const std::string& encodedPath) {
        return QString::fromLatin1("file://") + QString::fromStdString(encodedPath);
    }
    static std::optional<std::string> folderOf(const QString& argument, const QString& base = {}) {
        return startupFolder(argument, base);
    }

private Q_SLOTS:
    void readsEscapedAddressesToTheExactBytesOfTheName() {
        TempTree tree;
        // A space, a percent sign, UTF-8 "é" and a byte that is not UTF-8 at all.
        const std::string spaced = tree.createFolder("my photos 100%");
        const std::string accented = tree.createFolder("caf\xc3\xa9");
        const std::string latin1 = tree.createFolder("r\xe9sum\xe9");
        QCOMPARE(folderOf(address(tree.root() + "/my%20photos%20100%25")), spaced);
        QCOMPARE(folderOf(address(tree.root() + "/caf%C3%A9/")), accented);
        QCOMPARE(folderOf(address(tree.root() + "/r%E9sum%E9")), latin1);
        QCOMPARE(folderOf(QString::fromLatin1("file://localhost") +
                          QString::fromStdString(tree.root() + "/caf%c3%a9")),
                 accented);
    }

    void takesPathsAsTheyAreAndRelativeOnesFromTheWorkingFolder() {
        TempTree tree;
        const std::string folder = tree.createFolder("a b/%41");
        const QString base = QString::fromStdString(tree.root());
        QCOMPARE(folderOf(QString::fromStdString(folder)), folder);
        QCOMPARE(folderOf(QStringLiteral("a b/%41"), base), folder);
        QCOMPARE(folderOf(QStringLiteral("./a b/../a b/%41/"), base), folder);
    }

    void leavesOutWhatNamesNoFolderHere() {
        TempTree tree;
        const std::string file = tree.createFile("notes.txt", "x");
        const QString base = QString::fromStdString(tree.root());
        QCOMPARE(folderOf(QString::fromStdString(file)), std::nullopt);
        QCOMPARE(folderOf(address(file)), std::nullopt);
        QCOMPARE(folderOf(address(tree.root() + "/missing")), std::nullopt);
        QCOMPARE(
            folderOf(QString::fromLatin1("file://elsewhere") + QString::fromStdString(tree.root())),
            std::nullopt);
        QCOMPARE(folderOf(QStringLiteral("https://kelvora.app/"), base), std::nullopt);
        QCOMPARE(folderOf(QString(), base), std::nullopt);
    }
};

int runStartupFoldersTests(int argc, char** argv) {
    StartupFoldersTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "StartupFoldersTest.moc"
