// The window tests: one Qt application, a main queue on its event loop, each suite in turn.
#include <cstring>
#include <utility>
#include <vector>

#include <QApplication>
#include <QStandardPaths>

#include "UiTestSupport.h"
#include "platform/Queues.h"
#include "ui/QtMainQueue.h"

int runMainWindowTests(int argc, char** argv);
int runProfileActionsTests(int argc, char** argv);
int runProgressWindowTests(int argc, char** argv);

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
    // Tests close main windows; that must not end the run.
    QApplication::setQuitOnLastWindowClosed(false);
    static kelvora::QtMainQueue mainQueue;
    kelvora::platform::setMainQueue(&mainQueue);

    // "kelvora_ui_tests Suite [Qt Test options]" runs one suite, so that Qt Test's own
    // selection of test functions can be used.
    const std::vector<std::pair<const char*, int (*)(int, char**)>> suites = {
        {"MainWindowTest", runMainWindowTests},
        {"ProfileActionsTest", runProfileActionsTests},
        {"ProgressWindowTest", runProgressWindowTests},
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
