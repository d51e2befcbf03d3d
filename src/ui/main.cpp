// kelvora: the desktop application. `kelvora [FOLDER...]` opens the main window with the
// folders already listed.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "core/SettingsManager.h"
#include "platform/FileSystem.h"
#include "platform/Memory.h"
#include "platform/NotificationCenter.h"
#include "platform/Queues.h"
#include "platform/UserDefaults.h"
#include "ui/AppShell.h"
#include "ui/FileDialogPanels.h"
#include "ui/FileTypeIcons.h"
#include "ui/MessageBoxAlerts.h"
#include "ui/QtMainQueue.h"
#include "ui/ViewController.h"
#include "ui/ViewControllerDuplicates.h"

using namespace kelvora;

namespace {

constexpr const char* kUsage =
    "Usage: kelvora [FOLDER...]\n"
    "Opens the Kelvora window to find duplicate files; the folders given are listed to scan.\n"
    "From a terminal without a display, use: kelvora-cli FOLDER\n";

bool isSet(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

// Without a display QApplication aborts with a message about platform plug-ins that tells a
// user nothing; say what is missing and what works instead.
bool hasDisplay() {
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") || isSet("QT_QPA_PLATFORM");
}

bool wantsHelp(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) return true;
    }
    return false;
}

// The folders named after Qt took its own options; anything that is not a folder is reported
// and left out.
std::vector<std::string> startupFolders(const QStringList& arguments) {
    std::vector<std::string> folders;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        std::string path;
        const int error =
            platform::absolutePath(QFile::encodeName(arguments[i]).toStdString(), path);
        const auto attributes = platform::followedAttributes(path);
        if (error != 0 || !attributes || !attributes->isFolder) {
            std::fprintf(stderr, "kelvora: not a folder: %s\n", qPrintable(arguments[i]));
            continue;
        }
        folders.push_back(path);
    }
    return folders;
}

}  // namespace

int runApplication(int argc, char** argv) {
    kelvora::platform::returnLargeBlocksWhenFreed();
    if (wantsHelp(argc, argv)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (!hasDisplay()) {
        std::fputs(
            "kelvora: no graphical display found (neither DISPLAY nor WAYLAND_DISPLAY is set).\n"
            "To find duplicate files from a terminal, run: kelvora-cli FOLDER\n",
            stderr);
        return 1;
    }

    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Kelvora"));
    QApplication::setDesktopFileName(QStringLiteral("kelvora"));
    QApplication::setWindowIcon(applicationIcon());
    useDefaultIconThemeWithoutDesktop();

    // Static: a search cancelled at the very end may still schedule its last step on it while
    // the application is already gone.
    static QtMainQueue mainQueue;
    platform::setMainQueue(&mainQueue);

    MessageBoxAlerts alerts;
    FileDialogPanels panels;
    platform::NotificationCenter& center = platform::NotificationCenter::defaultCenter();
    const WindowServices services(SettingsManager::shared(), alerts, panels, center,
                                  platform::globalQueue(), mainQueue);
    platform::UserDefaults userDefaults;
    ViewController window(services);
    // A results window of its own for every search that found duplicates.
    window.setDuplicatesWindowRunner([&services, &userDefaults](QWidget& parent) {
        ViewControllerDuplicates results(desktopDuplicatesWindowServices(services, userDefaults),
                                         &parent);
        results.exec();
    });
    window.addStartupFolders(startupFolders(QApplication::arguments()));
    window.show();
    return QApplication::exec();
}

// The last resort: an exception nobody handled ends with a line that says so and the code for
// an internal error, never with an abort and a core dump.
int main(int argc, char** argv) {
    try {
        return runApplication(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kelvora: internal error: %s\n", error.what());
    } catch (...) {
        std::fprintf(stderr, "kelvora: internal error: an unknown exception\n");
    }
    return 70;
}
