// The window tests of the main window, its profiles and the progress window, and the
// folders the application starts with.
#include "SuiteRunner.h"

int runMainWindowTests(int argc, char** argv);
int runProfileActionsTests(int argc, char** argv);
int runProgressWindowTests(int argc, char** argv);
int runStartupFoldersTests(int argc, char** argv);

int main(int argc, char** argv) {
    return kelvora::testing::runSuites(argc, argv,
                                       {{"MainWindowTest", runMainWindowTests},
                                        {"ProfileActionsTest", runProfileActionsTests},
                                        {"ProgressWindowTest", runProgressWindowTests},
                                        {"StartupFoldersTest", runStartupFoldersTests}});
}
