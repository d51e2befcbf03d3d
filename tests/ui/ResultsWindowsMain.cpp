// The tests of the results window and the windows it opens. A program of their own: the cleaning
// moves files to the trash, so HOME and the XDG folders must point into a fresh folder before
// GLib first reads them (TestHome.cpp does that before main).
#include "SuiteRunner.h"

int runTablesModelTests(int argc, char** argv);
int runResultsWindowTests(int argc, char** argv);
int runCustomKeepWindowTests(int argc, char** argv);
int runInfoWindowTests(int argc, char** argv);

int main(int argc, char** argv) {
    return kelvora::testing::runSuites(argc, argv,
                                       {{"TablesModelTest", runTablesModelTests},
                                        {"ResultsWindowTest", runResultsWindowTests},
                                        {"CustomKeepWindowTest", runCustomKeepWindowTests},
                                        {"InfoWindowTest", runInfoWindowTests}});
}
