// The results model's update cycle: first update, category switches, folded requests, space saved.
#include <gtest/gtest.h>

#include "ResultsHarness.h"

namespace kelvora {
namespace {

using testing::checks;
using testing::makeGroup;
using testing::ResultsHarness;
using States = std::vector<std::int64_t>;

// 200 bytes of pictures, 600 of music and three empty "other" files: 25%, 75%, 0%.
FileList sampleGroups() {
    return {
        makeGroup("/p/a.jpg", 100), makeGroup("/m/b.mp3", 300),
        makeGroup("/o/c.bin", 0, {"20-01-01 10:00:00", "20-01-02 10:00:00", "20-01-03 10:00:00"})};
}

TEST(ResultsModel, firstUpdateResetsTheGroupsComputesSharesAndSelectsTheFirstGroup) {
    ResultsHarness results(sampleGroups());
    results.settings.duplicateFileList[1]->keepOption = KeepAll;
    results.settings.duplicateFileList[1]->duplicates[0].checkState = 1;
    results.view.segment = 3;
    results.open();

    const ResultsModel& model = *results.model;
    EXPECT_EQ(model.fileList, results.settings.duplicateFileList);
    EXPECT_EQ(results.view.percents,
              (std::array<std::string, 6>{"25%", "75%", "0%", "0%", "0%", "0%"}));
    EXPECT_DOUBLE_EQ(results.view.bars[0], 25.0);
    EXPECT_EQ(results.settings.duplicateFileList[1]->keepOption, KeepNone);
    EXPECT_EQ(checks(*model.fileList[1]), (States{0, 0}));
    EXPECT_EQ(results.view.spaceTexts, std::vector<std::string>{"0 B"});
    EXPECT_EQ(results.view.spaceColour, TextColour::Black);
    EXPECT_EQ(results.view.segment, 0);
    EXPECT_EQ(results.view.busy, (std::vector<bool>{false, true, false}));
    EXPECT_FALSE(model.firstUpdate || model.updating);
}

TEST(ResultsModel, categorySwitchesKeepSharesAndChecksAndRestoreTheOrder) {
    ResultsHarness results(sampleGroups());
    results.open();
    const FileList all = results.settings.duplicateFileList;
    results.view.selectGroupRow(1);
    results.view.segment = KeepAll;
    results.model->OnSegmentedControlKeepChanged();
    results.runQueues();
    EXPECT_EQ(checks(*all[1]), (States{1, 1}));

    results.view.categories[0] = false;
    results.model->OnPictruesChecked();
    results.runQueues();
    EXPECT_EQ(results.model->fileList, (FileList{all[1], all[2]}));
    EXPECT_EQ(results.view.percents[0], "25%") << "shares stay as the first update found them";
    EXPECT_EQ(results.view.segment, KeepAll) << "row 0 (the music group) is selected again";
    results.model->OnSegmentedControlKeepChanged();
    results.runQueues();
    EXPECT_EQ(results.view.percents[0], "25%");

    results.view.categories[0] = true;
    results.model->OnPictruesChecked();
    results.runQueues();
    EXPECT_EQ(results.model->fileList, all);
    EXPECT_EQ(checks(*all[0]), (States{0, 0}));
    EXPECT_EQ(checks(*all[1]), (States{1, 1}));
    EXPECT_EQ(all[1]->keepOption, KeepAll);

    results.view.categories.fill(false);
    results.model->OnOtherChecked();
    results.runQueues();
    EXPECT_TRUE(results.model->fileList.empty());
    EXPECT_EQ(results.view.spaceTexts.back(), "0 B");
    EXPECT_EQ(results.view.spaceColour, TextColour::Black);
}

TEST(ResultsModel, requestsDuringAnUpdateFoldIntoOneRerunAndOnlyItsResultIsShown) {
    ResultsHarness results(sampleGroups());
    results.open();
    const std::size_t stepsBefore = results.background.posted;
    const std::size_t shownBefore = results.view.spaceTexts.size();

    results.view.segment = KeepAll;  // would free 200 B
    results.model->OnSegmentedControlKeepChanged();
    for (std::int64_t segment : {KeepOldest, KeepAll, KeepNewest}) {
        results.view.segment = segment;
        results.model->OnSegmentedControlKeepChanged();
    }
    EXPECT_TRUE(results.model->updating);
    results.runQueues();

    EXPECT_EQ(results.background.posted, stepsBefore + 2);
    ASSERT_EQ(results.view.spaceTexts.size(), shownBefore + 1);
    EXPECT_EQ(results.view.spaceTexts.back(), "100 B") << "keep newest on the picture group";
    EXPECT_EQ(results.settings.duplicateFileList[0]->keepOption, KeepNewest);
}

TEST(ResultsModel, spaceSavedCountsSelectedCopiesOfShownGroupsAndFollowsToggles) {
    ResultsHarness results(sampleGroups());
    results.open();
    results.view.segment = KeepAll;
    results.view.applyForAll = true;
    results.model->OnApplyForAllChecked();
    results.runQueues();
    EXPECT_EQ(results.view.spaceTexts.back(), "800 B");
    EXPECT_EQ(results.view.spaceColour, TextColour::Green);
    EXPECT_EQ(results.settings.spaceSaved, 800u);

    results.view.categories[1] = false;
    results.model->OnMusicChecked();
    results.runQueues();
    EXPECT_EQ(results.view.spaceTexts.back(), "200 B") << "hidden groups do not count";

    results.model->OnMemberCheckToggled(0);
    results.runQueues();
    EXPECT_EQ(results.view.spaceTexts.back(), "100 B");
    EXPECT_EQ(results.view.countReloads, std::vector<std::int64_t>{0});
    EXPECT_EQ(countText(*results.model->fileList[0]), "1/2");
    EXPECT_EQ(countColour(*results.model->fileList[0]), TextColour::Green);
    results.model->OnMemberCheckToggled(0);
    results.runQueues();
    EXPECT_EQ(results.view.spaceTexts.back(), "200 B");
    EXPECT_EQ(results.model->fileList[0]->keepOption, KeepAll);
    EXPECT_EQ(countColour(*results.model->fileList[0]), TextColour::Orange);

    // A toggle while an update runs is summed before the update's choices are in; the label
    // must still end up matching the records.
    results.view.segment = KeepNone;
    results.model->OnSegmentedControlKeepChanged();
    results.model->OnMemberCheckToggled(1);
    results.runQueues();
    EXPECT_EQ(checks(*results.model->fileList[0]), (States{0, 0}));
    EXPECT_EQ(results.view.spaceTexts.back(), "0 B");
}

}  // namespace
}  // namespace kelvora
