// What the window tests share: scripted panels, a background queue the test drains itself,
// the services of a fresh window, and widget look-up by object name.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <QString>
#include <QWidget>

#include "core/SettingsManager.h"
#include "platform/NotificationCenter.h"
#include "platform/Queues.h"
#include "results/Alerts.h"
#include "ui/FilePanels.h"
#include "ui/WindowServices.h"

namespace kelvora::testing {

// Answers each panel from its own script in order; an empty script cancels. Every question is
// recorded so that a test can tell a panel that was shown from one that was not.
class ScriptedPanels final : public FilePanels {
public:
    std::optional<std::vector<std::string>> chooseFolders(QWidget*) override {
        asked.push_back("folders");
        return next(folders);
    }
    std::optional<std::string> chooseFolder(QWidget*, const std::string& prompt,
                                            const std::string& folder) override {
        asked.push_back(prompt + " in " + folder);
        return next(singleFolders);
    }
    std::optional<std::string> chooseProfileToLoad(QWidget*, const std::string& folder) override {
        asked.push_back("load in " + folder);
        return next(loads);
    }
    std::optional<std::string> chooseProfileToSave(QWidget*, const std::string& folder,
                                                   const std::string& proposedName) override {
        asked.push_back("save " + proposedName + " in " + folder);
        return next(saves);
    }

    std::deque<std::optional<std::vector<std::string>>> folders;
    std::deque<std::optional<std::string>> singleFolders;
    std::deque<std::optional<std::string>> loads;
    std::deque<std::optional<std::string>> saves;
    std::vector<std::string> asked;

private:
    template <typename T>
    static std::optional<T> next(std::deque<std::optional<T>>& script) {
        if (script.empty()) return std::nullopt;
        auto answer = std::move(script.front());
        script.pop_front();
        return answer;
    }
};

// Holds background work until the test lets it run, on a thread of its own as a worker would.
class ManualQueue final : public platform::DispatchQueue {
public:
    void async(platform::Task task) override {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    std::size_t pending() {
        const std::lock_guard lock(mutex_);
        return tasks_.size();
    }
    void runOnWorker() {
        std::deque<platform::Task> tasks;
        {
            const std::lock_guard lock(mutex_);
            tasks.swap(tasks_);
        }
        std::thread([&tasks] {
            for (auto& task : tasks) task();
        }).join();
    }

private:
    std::mutex mutex_;
    std::deque<platform::Task> tasks_;
};

// Everything one window needs, fresh for each test. Searches run on the real worker pool unless
// the test takes the background queue into its own hands.
struct UiFixture {
    SettingsManager settings;
    ScriptedAlerts alerts;
    ScriptedPanels panels;
    platform::NotificationCenter center;
    ManualQueue manualBackground;

    WindowServices services(bool realWorkers = true) {
        return WindowServices{settings,
                              alerts,
                              panels,
                              center,
                              realWorkers ? platform::globalQueue() : manualBackground,
                              platform::mainQueue()};
    }
};

template <typename T>
T* child(const QWidget& window, const char* name) {
    T* found = window.findChild<T*>(QString::fromLatin1(name));
    if (found == nullptr) qFatal("the window has no %s", name);
    return found;
}

std::vector<std::string> alertTexts(const ScriptedAlerts& alerts);

}  // namespace kelvora::testing
