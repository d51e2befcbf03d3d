// The test programs' shared main: the application, the main queue, the suites.
#include "SuiteRunner.h"

#include <cstring>

#include <QApplication>
#include <QStandardPaths>

#include "UiTestSupport.h"
#include "platform/Queues.h"
#include "ui/QtMainQueue.h"

namespace kelvora::testing {

std::vector<std::string> alertTexts(const ScriptedAlerts& alerts) {
    std::vector<std::string> texts;
    for (const Alert& alert : alerts.shown) texts.push_back(alert.informativeText);
    return texts;
}

int runSuites(int argc, char** argv, const std::vector<Suite>& suites) {
    QApplication application(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    // Tests close main windows; that must not end the run.
    QApplication::setQuitOnLastWindowClosed(false);
    static QtMainQueue mainQueue;
    platform::setMainQueue(&mainQueue);

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

}  // namespace kelvora::testing
