// What the results window tests share: a real search over a tree of real duplicates of several
// kinds, and a results window over its groups with recorded file-manager and store requests.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include "UiTestSupport.h"
#include "engine/SearchRun.h"
#include "platform/UserDefaults.h"
#include "support/TempTree.h"
#include "ui/ViewControllerDuplicates.h"

namespace kelvora::testing {

// Runs the search of settings.listFolderPaths on this thread; the groups land in
// settings.duplicateFileList as after any search.
inline void searchNow(UiFixture& fixture) {
    platform::RunLoop unused;
    fixture.settings.minimumFileSize = 1;
    SearchRun::create({fixture.settings, fixture.center, unused, unused}, {})->runSearch();
}

// Calls answer with the next modal window once the current event handler has opened it.
template <typename Window>
void whenModal(std::function<void(Window&)> answer) {
    QTimer::singleShot(0, qApp, [answer = std::move(answer)] {
        auto* window = qobject_cast<Window*>(QApplication::activeModalWidget());
        if (window == nullptr) qFatal("no modal window of the expected kind");
        answer(*window);
    });
}

struct ResultsWindowFixture {
    TempTree tree;
    TempTree config;  // outside the searched tree
    UiFixture ui;
    platform::UserDefaults defaults{config.path("kelvora/defaults.ini")};
    std::vector<std::string> revealed;
    std::vector<std::string> storePages;
    std::unique_ptr<ViewControllerDuplicates> window;

    DuplicatesWindowServices services() {
        return {ui.services(), defaults,
                [this](const std::string& path) { revealed.push_back(path); },
                [this](const std::string& address) { storePages.push_back(address); }};
    }

    // The search over the whole tree, then the window as the main window opens it.
    void open() {
        ui.settings.listFolderPaths = {tree.root()};
        searchNow(ui);
        window = std::make_unique<ViewControllerDuplicates>(services());
        window->show();
    }
};

}  // namespace kelvora::testing
