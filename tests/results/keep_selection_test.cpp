// Keep options on one group or all, the custom window and its guard question, the command line.
#include <gtest/gtest.h>

#include "ResultsHarness.h"
#include "results/CustomSettingsText.h"
#include "results/KeepSelection.h"

namespace kelvora {
namespace {

using testing::checks;
using testing::makeGroup;
using testing::ResultsHarness;
using States = std::vector<std::int64_t>;

const std::vector<std::string> kThreeDates = {"21-05-01 10:00:00", "20-05-01 10:00:00",
                                              "22-05-01 10:00:00"};

// Custom rules that select every copy: the file type condition with an empty list.
void selectEverything(SettingsManager& rules) {
    rules.customFileTypesState = 1;
    rules.customFileExtensions.clear();
}

TEST(KeepSelection, optionsSetOneGroupAndTheRecordsSharingItsPath) {
    FilePtr group = makeGroup("/a/x.jpg", 10, kThreeDates);
    FilePtr twin = makeGroup("/a/x.jpg", 10, kThreeDates);
    FilePtr other = makeGroup("/a/y.jpg", 10, kThreeDates);
    const FileList all = {group, other, twin};
    SettingsManager settings;
    const auto apply = [&](std::int64_t segment) {
        std::vector<GroupState> shown = takeGroupStates({group, other});
        installChanges(ApplyKeepOption(shown, all, segment, 0, 0, settings));
    };

    apply(KeepOldest);
    EXPECT_EQ(checks(*group), (States{1, 0, 1}));
    EXPECT_EQ(checks(*twin), (States{1, 0, 1}));
    EXPECT_EQ(twin->keepOption, KeepOldest);
    EXPECT_EQ(checks(*other), (States{0, 0, 0}));
    apply(KeepNewest);
    EXPECT_EQ(checks(*group), (States{1, 1, 0}));
    apply(KeepAll);
    EXPECT_EQ(checks(*twin), (States{1, 1, 1}));
    apply(KeepNone);
    EXPECT_EQ(checks(*group), (States{0, 0, 0}));
    apply(5);
    apply(KeepCustom);  // customSettingsOption is still "Cancel"
    EXPECT_EQ(group->keepOption, KeepNone);
}

TEST(KeepSelection, customRulesForAllKeepTheCopyTheGuardAnswerNames) {
    ResultsHarness results(
        {makeGroup("/a/x.jpg", 10, kThreeDates), makeGroup("/b/y.mp3", 10, kThreeDates)});
    results.open();
    results.customWindow.edit = selectEverything;
    results.view.applyForAll = true;
    results.view.segment = KeepCustom;
    results.alerts.answer(kSecondButton);
    results.model->OnSegmentedControlKeepChanged();
    results.runQueues();

    ASSERT_EQ(results.alerts.shown.size(), 1u);
    EXPECT_EQ(results.alerts.shown[0],
              (Alert{"Do you want to keep at least one copy of each duplicate file?",
                     {"Yes, keep the oldest file", "Yes, keep the newest file", "No"}}));
    for (const FilePtr& group : results.settings.duplicateFileList) {
        EXPECT_EQ(checks(*group), (States{1, 1, 0})) << group->path;
        EXPECT_EQ(group->customSettings.str(), CustomSettingsString(results.settings));
    }
    EXPECT_EQ(results.view.busy.back(), false);

    results.alerts.answer(kThirdButton);
    results.model->OnApplyForAllChecked();
    results.runQueues();
    EXPECT_EQ(results.settings.customMessageRespone, 3);
    EXPECT_EQ(checks(*results.settings.duplicateFileList[1]), (States{1, 1, 1}));
}

TEST(KeepSelection, cancellingTheCustomWindowBringsBackTheGroupsOption) {
    ResultsHarness results({makeGroup("/a/x.jpg", 10, kThreeDates)});
    results.open();
    File& group = *results.settings.duplicateFileList[0];
    group.customSettings =
        "0\n0\n1\n01/01/2017\n0\n0\n0\n01/01/2017\n0\n1\n200\n1\n0\n0\n100\n3\n"
        "1\njpg\n0\n \n1\n0\n1\npng\n";
    results.view.segment = KeepOldest;
    results.model->OnSegmentedControlKeepChanged();
    results.runQueues();
    results.model->OnMemberCheckToggled(0);

    results.customWindow.pressOk = false;
    results.view.segment = KeepCustom;
    results.model->OnSegmentedControlKeepChanged();
    results.runQueues();
    EXPECT_EQ(results.customWindow.openedWith, std::vector<std::string>{"png"});
    EXPECT_EQ(results.view.segment, KeepOldest);
    EXPECT_EQ(checks(group), (States{1, 0, 1})) << "keep oldest again, the hand toggle undone";

    // A group already on the custom option keeps its copies when the window is cancelled.
    results.customWindow.pressOk = true;
    results.customWindow.edit = selectEverything;
    results.view.segment = KeepCustom;
    results.model->OnSegmentedControlKeepChanged();
    results.runQueues();
    EXPECT_EQ(checks(group), (States{1, 1, 1})) << "one group alone gets no guard";
    results.customWindow.pressOk = false;
    results.customWindow.edit = nullptr;
    results.model->OnSegmentedControlKeepChanged();
    results.runQueues();
    EXPECT_EQ(results.view.segment, KeepCustom);
    EXPECT_EQ(checks(group), (States{1, 1, 1}));
    EXPECT_TRUE(results.alerts.shown.empty());
}

TEST(KeepSelection, theCommandLineAppliesAnOptionToEveryGroup) {
    SettingsManager settings;
    settings.duplicateFileList = {makeGroup("/a/x.jpg", 10, kThreeDates),
                                  makeGroup("/b/y.mp3", 10, kThreeDates)};
    selectEverything(settings);
    settings.customSettingsOption = "OK";
    applyKeepOptionToAll(settings, KeepCustom, 1);
    for (const FilePtr& group : settings.duplicateFileList) {
        EXPECT_EQ(checks(*group), (States{1, 0, 1}));
        EXPECT_EQ(group->keepOption, KeepCustom);
    }
}

}  // namespace
}  // namespace kelvora
