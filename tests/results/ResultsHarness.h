// A results model with a watched view, scripted alerts and custom window, real queues.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/Queues.h"
#include "results/ResultsModel.h"

namespace kelvora::testing {

class FakeView final : public ResultsView {
public:
    bool categoryChecked(FileCategory c) const override { return categories[categoryIndex(c)]; }
    void setCategoryChecked(FileCategory c, bool on) override { categories[categoryIndex(c)] = on; }
    bool applyForAllChecked() const override { return applyForAll; }
    void setApplyForAllChecked(bool on) override { applyForAll = on; }
    std::int64_t selectedSegment() const override { return segment; }
    void setSelectedSegment(std::int64_t value) override { segment = value; }
    void setCategoryShare(FileCategory c, double value, const std::string& text) override {
        bars[categoryIndex(c)] = value;
        percents[categoryIndex(c)] = text;
    }
    void setSpaceSaved(const std::string& text, TextColour colour) override {
        spaceTexts.push_back(text);
        spaceColour = colour;
    }
    void setBusy(bool on) override { busy.push_back(on); }
    void reloadGroups() override {}
    void reloadMembers() override {}
    void reloadGroupCount(std::int64_t row) override { countReloads.push_back(row); }
    void selectGroupRow(std::int64_t row) override { onSelect(row); }
    void closeWindow() override { closed = true; }
    void waitForCleaning(CleaningProgress& progress) override {
        while (!progress.finished.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++cleaningsWaitedFor;
    }

    std::array<bool, 6> categories{true, true, true, true, true, true};
    bool applyForAll = false;
    std::int64_t segment = 0;
    std::array<double, 6> bars{};
    std::array<std::string, 6> percents;
    std::vector<std::string> spaceTexts;
    TextColour spaceColour = TextColour::Black;
    std::vector<bool> busy;
    std::vector<std::int64_t> countReloads;
    bool closed = false;
    int cleaningsWaitedFor = 0;
    std::function<void(std::int64_t)> onSelect;
};

// The user's part in the custom keep window: edit the rules, then OK or Cancel.
class FakeCustomWindow final : public CustomKeepWindow {
public:
    explicit FakeCustomWindow(SettingsManager& settings) : settings_(settings) {}
    void runModal(const FileList&) override {
        openedWith = settings_.customFileExtensions;
        settings_.customSettingsOption = "Cancel";
        if (edit) edit(settings_);
        if (pressOk) settings_.customSettingsOption = "OK";
    }
    std::function<void(SettingsManager&)> edit;
    bool pressOk = true;
    std::vector<std::string> openedWith;

private:
    SettingsManager& settings_;
};

class CountingQueue final : public platform::DispatchQueue {
public:
    explicit CountingQueue(platform::DispatchQueue& queue) : queue_(queue) {}
    void async(platform::Task task) override {
        ++posted;
        queue_.async(std::move(task));
    }
    std::atomic<std::size_t> posted{0};

private:
    platform::DispatchQueue& queue_;
};

struct ResultsHarness {
    explicit ResultsHarness(FileList groups, const std::string& defaultsFile = "/nonexistent")
        : defaults(defaultsFile) {
        settings.duplicateFileList = std::move(groups);
        model = ResultsModel::create({settings, background, mainPosted, view, alerts, customWindow,
                                      defaults,
                                      [this](const std::string& url) { opened.push_back(url); }});
        view.onSelect = [this](std::int64_t row) {
            const bool exists = row >= 0 && static_cast<std::size_t>(row) < model->fileList.size();
            model->OnGroupSelectionChanged(exists ? row : -1);
        };
    }

    // Runs both queues until neither has anything left to do.
    void runQueues() {
        for (;;) {
            const std::size_t before = background.posted + mainPosted.posted;
            std::promise<void> flushed;
            pool.async([&flushed] { flushed.set_value(); });
            flushed.get_future().wait();
            loop.quit();
            loop.run();
            if (background.posted + mainPosted.posted == before) return;
        }
    }

    void open() {
        model->viewDidLoad();
        runQueues();
    }

    SettingsManager settings;
    platform::RunLoop loop;
    CountingQueue mainPosted{loop};
    // After the loop: the pool joins first, while the loop its steps post to still exists.
    platform::WorkerPool pool{1};
    CountingQueue background{pool};
    FakeView view;
    ScriptedAlerts alerts;
    FakeCustomWindow customWindow{settings};
    platform::UserDefaults defaults;
    std::vector<std::string> opened;
    std::shared_ptr<ResultsModel> model;
};

// A group whose head is `path`, with one more copy per further date, each in its own folder.
inline FilePtr makeGroup(const std::string& path, std::uint64_t size,
                         const std::vector<std::string>& dates = {"20-01-01 10:00:00",
                                                                  "20-01-01 10:00:00"}) {
    auto group = std::make_shared<File>(path, pathExtension(path), size);
    for (std::size_t i = 0; i < dates.size(); ++i) {
        group->duplicates.emplace_back(i == 0 ? path : "/copy" + std::to_string(i) + path,
                                       dates[i]);
    }
    return group;
}

inline std::vector<std::int64_t> checks(const File& group) {
    std::vector<std::int64_t> states;
    for (const DuplicateFile& member : group.duplicates) states.push_back(member.checkState);
    return states;
}

}  // namespace kelvora::testing
