// The results window's first update on 100,000 groups: from opening to the tables filled.
#include <benchmark/benchmark.h>

#include "platform/Queues.h"
#include "platform/UserDefaults.h"
#include "results/ResultsModel.h"

namespace kelvora {
namespace {

class QuietView final : public ResultsView {
public:
    bool categoryChecked(FileCategory) const override { return true; }
    void setCategoryChecked(FileCategory, bool) override {}
    bool applyForAllChecked() const override { return false; }
    void setApplyForAllChecked(bool) override {}
    std::int64_t selectedSegment() const override { return 0; }
    void setSelectedSegment(std::int64_t) override {}
    void setCategoryShare(FileCategory, double, const std::string&) override {}
    void setSpaceSaved(const std::string&, TextColour) override {}
    void setBusy(bool busy) override { updating = updating || busy; }
    // The first update ends when the groups table is filled with its result.
    void reloadGroups() override {
        if (updating && loop != nullptr) loop->quit();
    }
    void reloadMembers() override {}
    void reloadGroupCount(std::int64_t) override {}
    void selectGroupRow(std::int64_t) override {}
    void closeWindow() override {}
    platform::RunLoop* loop = nullptr;
    bool updating = false;
};

class NoCustomWindow final : public CustomKeepWindow {
public:
    void runModal(const FileList&) override {}
};

FileList groups(std::size_t count) {
    static const char* const extensions[] = {"jpg", "mp3", "mov", "zip", "pdf", "dat"};
    FileList list;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string path = "/data/f" + std::to_string(i) + "." + extensions[i % 6];
        auto group = std::make_shared<File>(path, extensions[i % 6], 1000 + i);
        group->duplicates.emplace_back(path, "23-04-05 02:03:09");
        group->duplicates.emplace_back(path + ".copy", "23-04-06 02:03:09");
        list.push_back(std::move(group));
    }
    return list;
}

void firstUpdate(benchmark::State& state) {
    const FileList list = groups(static_cast<std::size_t>(state.range(0)));
    platform::WorkerPool background(1);
    platform::UserDefaults userDefaults("/dev/null");
    for (auto _ : state) {
        SettingsManager settings;
        settings.duplicateFileList = list;
        platform::RunLoop main;
        QuietView view;
        view.loop = &main;
        ScriptedAlerts alerts;
        NoCustomWindow customWindow;
        auto model = ResultsModel::create(
            {settings, background, main, view, alerts, customWindow, userDefaults, nullptr});
        model->viewDidLoad();
        main.run();
    }
}
BENCHMARK(firstUpdate)
    ->ArgName("groups")
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace kelvora
