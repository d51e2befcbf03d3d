// The tests of the results window and the windows it opens. A program of their own: the cleaning
// moves files to the trash, so HOME and the XDG folders must point into a fresh folder before
// GLib first reads them (TestHome.cpp does that before main).
#include <cstring>
#include <utility>
#include <vector>

#include <QApplication>
#include <QStandardPaths>

#include "UiTestSupport.h"
#include "platform/Queues.h"
#include "ui/QtMainQueue.h"

int runTablesModelTests(int argc, char** argv);
int runResultsWindowTests(int argc, char** argv);
int runCustomKeepWindowTests(int argc, char** argv);
int runInfoWindowTests(int argc, char** argv);

namespace kelvora::testing {

std::vector<std::string> alertTexts(const ScriptedAlerts& alerts) {
    std::vector<std::string> texts;
    for (const Alert& alert : alerts.shown) texts.push_back(alert.informativeText);
    return texts;
}

}  // namespace kelvora::testing

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    QApplication::setQuitOnLastWindowClosed(false);
    static kelvora::QtMainQueue mainQueue;
    kelvora::platform::setMainQueue(&mainQueue);

    // "kelvora_results_window_tests Suite [Qt Test options]" runs one suite.
    const std::vector<std::pair<const char*, int (*)(int, char**)>> suites = {
        {"TablesModelTest", runTablesModelTests},
        {"ResultsWindowTest", runResultsWindowTests},
        {"CustomKeepWindowTest", runCustomKeepWindowTests},
        {"InfoWindowTest", runInfoWindowTests},
    };
    for (const auto& [name, run] : suites) {
        if (argc > 1 && std::strcmp(argv[1], name) == 0) {
            argv[1] = argv[0];
            return run(argc - 1, argv + 1) == 0 ? 0 : 1;
        }
    }
    int failed = 0;
    for (const auto& [name, run] : suites) failed += run(argc, argv) != 0;
    return failed == 0 ? 0 : 1;
}
