// The file information window over real files: the texts its opener fills in, the picture or
// type icon it loads on a worker, and a preview that arrives after the window has gone.
#include <QImage>
#include <QLabel>
#include <QProgressBar>
#include <QTest>

#include "UiTestSupport.h"
#include "core/Texts.h"
#include "engine/FileTools.h"
#include "support/TempTree.h"
#include "ui/FileTypeIcons.h"
#include "ui/ViewControllerInfo.h"

using namespace kelvora;
using namespace kelvora::testing;

namespace {

// A real JPEG of the given size, written under a name the test chooses.
std::string writePicture(TempTree& tree, const std::string& name, QSize size) {
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(QColor(40, 120, 200));
    const std::string path = tree.path(name);
    tree.createFile(name, "");
    if (!picture.save(QString::fromStdString(path), "JPEG"))
        qFatal("cannot write %s", name.c_str());
    return path;
}

}  // namespace

class InfoWindowTest : public QObject {
    Q_OBJECT

    std::unique_ptr<UiFixture> fixture;
    std::unique_ptr<TempTree> tree;
    std::unique_ptr<ViewControllerInfo> window;

    QString text(const char* label) const { return child<QLabel>(*window, label)->text(); }
    bool loading() const { return child<QProgressBar>(*window, "progressIndicator")->isVisible(); }
    QImage preview() const { return child<QLabel>(*window, "imageView")->pixmap().toImage(); }

    // Opens the window as the results window does, on the real workers.
    void openFor(const std::string& path, std::uint64_t groupSize) {
        fixture->settings.currentSelectedFilePath = path;
        window = std::make_unique<ViewControllerInfo>(fixture->settings, platform::globalQueue(),
                                                      platform::mainQueue());
        window->showFileInfo(fileInfoTexts(path, groupSize));
        window->show();
    }
    QImage typeIcon(const char* extension) const {
        return iconForIconNames(iconNamesForExtension(QString::fromLatin1(extension)))
            .pixmap(QSize(128, 128), 1.0)
            .toImage();
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

    void aPictureIsShownScaledToFitOnceLoaded() {
        const std::string path = writePicture(*tree, "holiday/photo.JPG", QSize(600, 400));
        openFor(path, 123456);
        QVERIFY(loading());
        QTRY_VERIFY(!loading());
        QCOMPARE(preview().size(), QSize(256, 170));
        const QColor middle = preview().pixelColor(128, 85);  // JPEG may shift it a little
        QVERIFY(qAbs(middle.red() - 40) < 6 && qAbs(middle.blue() - 200) < 6);
        QCOMPARE(text("labelFileName"), QStringLiteral("photo"));
        QCOMPARE(text("labelExtension"), QStringLiteral("JPG"));
        QCOMPARE(text("labelFileSize"), QStringLiteral("120.6 KB"));
        const FileTools tools;
        QCOMPARE(text("labelCreationDate"), QString::fromStdString(*tools.creationDateText(path)));
        QCOMPARE(text("labelModificationDate"),
                 QString::fromStdString(*tools.modificationDateText(path)));
    }

    void otherFilesAndBrokenPicturesShowTheirTypesIcon() {
        openFor(tree->createFile("archive.TAR.GZ", "not really"), 10);
        QCOMPARE(text("labelFileName"), QStringLiteral("archive.TAR"));
        QCOMPARE(text("labelExtension"), QStringLiteral("GZ"));
        QTRY_VERIFY(!loading());
        QCOMPARE(preview(), typeIcon("gz"));

        openFor(tree->createFile("broken.jpg", "no JPEG inside"), 14);
        QTRY_VERIFY(!loading());
        QCOMPARE(preview(), typeIcon("jpg"));

        openFor(tree->createFile("README", "text"), 4);
        QCOMPARE(text("labelFileName"), QStringLiteral("README"));
        QCOMPARE(text("labelExtension"), QString());
        QTRY_VERIFY(!loading());
        QCOMPARE(preview(), typeIcon(""));
    }

    void datesThatCannotBeReadSaySo() {
        openFor(tree->path("gone.pdf"), 0);
        QCOMPARE(text("labelCreationDate"), QStringLiteral("Unknown"));
        QCOMPARE(text("labelModificationDate"), QStringLiteral("Unknown"));
        QCOMPARE(text("labelFileSize"), QStringLiteral("0 B"));
    }

    void aPreviewThatArrivesAfterTheWindowClosedIsDropped() {
        fixture->settings.currentSelectedFilePath = writePicture(*tree, "late.jpg", QSize(64, 64));
        window = std::make_unique<ViewControllerInfo>(fixture->settings, fixture->manualBackground,
                                                      platform::mainQueue());
        QCOMPARE(fixture->manualBackground.pending(), 1u);
        window.reset();
        fixture->manualBackground.runOnWorker();
        // The hand-over reaches the event loop and must find no window to write into.
        QCoreApplication::sendPostedEvents();
        QCOMPARE(fixture->manualBackground.pending(), 0u);
    }
};

int runInfoWindowTests(int argc, char** argv) {
    InfoWindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "InfoWindowTest.moc"
