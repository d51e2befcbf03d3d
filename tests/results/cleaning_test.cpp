// Cleaning real files: the user's trash, permanent removal, the questions, the rating prompt.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ResultsHarness.h"
#include "engine/FileTools.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;
using testing::checks;
using testing::ResultsHarness;
using testing::TempTree;
using States = std::vector<std::int64_t>;

const char* const kCleaned = "Duplicate files cleaned successfully. ";
const char* const kWholeGroups =
    "Some files have been selected to be removed completely. Are you sure you want to continue?";
const char* const kPermanent =
    "You are about to permanently remove the selected duplicate files. Continue?";

FilePtr groupOf(TempTree& tree, const std::vector<std::string>& names) {
    std::vector<std::string> paths;
    for (const std::string& name : names) paths.push_back(tree.createFile(name, "same"));
    auto group = std::make_shared<File>(paths[0], pathExtension(paths[0]), 4);
    for (const std::string& path : paths) {
        group->duplicates.emplace_back(path, "20-01-01 10:00:00").stamp =
            *FileTools::currentStamp(path);
    }
    return group;
}

// The .trashinfo the desktop's trash holds for a file that came from path.
bool inTrash(const std::string& path) {
    const fs::path trash = fs::path(std::getenv("XDG_DATA_HOME")) / "Trash";
    std::error_code error;
    for (const auto& info : fs::directory_iterator(trash / "info", error)) {
        std::ostringstream text;
        text << std::ifstream(info.path()).rdbuf();
        const fs::path file = trash / "files" / info.path().stem();
        if (text.str().find("\nPath=" + path + "\n") != std::string::npos && fs::exists(file)) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> texts(const ScriptedAlerts& alerts) {
    std::vector<std::string> out;
    for (const Alert& alert : alerts.shown) out.push_back(alert.informativeText);
    return out;
}

struct Cleaning : ::testing::Test {
    TempTree tree;
    FilePtr three = groupOf(tree, {"a/one.txt", "b/one.txt", "c/one.txt"});
    FilePtr two = groupOf(tree, {"a/two.txt", "b/two.txt"});
    FilePtr songs = groupOf(tree, {"a/song.mp3", "b/song.mp3"});
    ResultsHarness results{{three, two, songs}, tree.path("defaults.ini")};

    void toggle(std::int64_t group, std::int64_t member) {
        results.view.selectGroupRow(group);
        results.model->OnMemberCheckToggled(member);
        results.runQueues();
    }
};

TEST_F(Cleaning, movesSelectedCopiesToTheUsersTrashAndShrinksTheGroups) {
    results.open();
    toggle(0, 1);
    toggle(1, 1);
    const std::string middle = three->duplicates[1].path;
    const CleanReport report = results.model->OnClean();
    results.runQueues();

    EXPECT_EQ(report.removed, (std::vector<std::string>{middle, tree.path("b/two.txt")}));
    EXPECT_FALSE(fs::exists(middle));
    EXPECT_TRUE(inTrash(middle));
    EXPECT_EQ(three->duplicates.size(), 2u);
    EXPECT_EQ(results.settings.duplicateFileList, (FileList{three, songs}));
    EXPECT_EQ(results.model->fileList, (FileList{three, songs}));
    EXPECT_EQ(checks(*three), (States{0, 0})) << "the keep option is applied again";
    EXPECT_EQ(texts(results.alerts), std::vector<std::string>{kCleaned});
    EXPECT_EQ(platform::UserDefaults(tree.path("defaults.ini")).stringForKey(kShowRateMessage),
              "Yes");
    EXPECT_FALSE(results.view.closed);
}

TEST_F(Cleaning, answeringNoRemovesNothingAndHiddenGroupsAreNotCleaned) {
    results.open();
    toggle(1, 0);
    toggle(1, 1);
    results.settings.moveToTrash = false;
    results.alerts.answer(kFirstButton);
    results.alerts.answer(kSecondButton);
    EXPECT_EQ(results.model->OnClean().outcome, CleanOutcome::Declined);
    EXPECT_EQ(texts(results.alerts), (std::vector<std::string>{kWholeGroups, kPermanent}));

    results.settings.moveToTrash = true;
    results.alerts.answer(kSecondButton);
    results.model->OnClean();
    EXPECT_EQ(results.alerts.shown.size(), 3u) << "moving to the trash asks no second question";
    EXPECT_TRUE(fs::exists(two->duplicates[0].path) && fs::exists(two->duplicates[1].path));
    EXPECT_EQ(checks(*two), (States{1, 1}));
    EXPECT_EQ(results.settings.duplicateFileList.size(), 3u);

    // Copies selected in a group the category filter hides do not count.
    results.view.categories[4] = false;  // the .txt groups are documents
    results.model->OnDocumentsChecked();
    results.runQueues();
    EXPECT_EQ(results.model->OnClean().outcome, CleanOutcome::NothingSelected);
    EXPECT_EQ(results.alerts.shown.back().informativeText,
              "You did not select any duplicate files. Please select at least one duplicate file "
              "and try again.");
}

TEST_F(Cleaning, failedRemovalsAreReportedAndTheWindowClosesWhenNothingIsLeft) {
    // No trash can be made: a plain file stands where the trash folder belongs.
    const fs::path trash = fs::path(std::getenv("XDG_DATA_HOME")) / "Trash";
    const fs::path aside = trash.string() + ".aside";
    fs::create_directories(trash.parent_path());
    if (fs::exists(trash)) fs::rename(trash, aside);
    std::ofstream(trash) << "not a folder";
    ASSERT_TRUE(fs::is_regular_file(trash));
    results.settings.duplicateFileList = {two};
    results.open();
    toggle(0, 1);
    testing::ConsoleCollector console;
    const CleanReport report = results.model->OnClean();
    results.runQueues();
    fs::remove_all(trash);
    if (fs::exists(aside)) fs::rename(aside, trash);

    ASSERT_EQ(report.failed.size(), 1u);
    EXPECT_EQ(report.failed[0].path, tree.path("b/two.txt"));
    EXPECT_NE(report.failed[0].reason.find("Not a directory"), std::string::npos)
        << report.failed[0].reason;
    EXPECT_TRUE(fs::exists(tree.path("b/two.txt"))) << "never deleted instead";
    EXPECT_TRUE(console.anyStartsWith("Error:  "));
    EXPECT_TRUE(results.settings.duplicateFileList.empty());
    ASSERT_EQ(texts(results.alerts).size(), 2u);
    EXPECT_EQ(texts(results.alerts)[0], kCleaned);
    EXPECT_EQ(texts(results.alerts)[1], "These copies were not removed:\n" +
                                            tree.path("b/two.txt") +
                                            ": it could not be removed: the trash \"" +
                                            trash.string() + "\" cannot be used: Not a directory.");
    EXPECT_TRUE(results.view.closed);
}

TEST_F(Cleaning, aCopyIsRemovedOnlyWhileItAndACopyThatStaysAreWhatTheSearchSaw) {
    results.settings.duplicateFileList = {three, two, songs};
    results.open();
    toggle(0, 1);  // three: b/one.txt goes, but it was rewritten since the search
    toggle(1, 1);  // two: b/two.txt goes, but the copy that stays has vanished
    toggle(2, 1);  // songs: every copy goes, as the user chose; nothing is meant to stay
    toggle(2, 0);
    tree.createFile("b/one.txt", "SAME");
    fs::remove(tree.path("a/two.txt"));
    results.alerts.answer(kFirstButton);
    testing::ConsoleCollector console;
    const CleanReport report = results.model->OnClean();
    results.runQueues();

    EXPECT_EQ(report.removed,
              (std::vector<std::string>{tree.path("a/song.mp3"), tree.path("b/song.mp3")}));
    ASSERT_EQ(report.kept.size(), 2u);
    EXPECT_EQ(report.kept[0], (KeptCopy{tree.path("b/one.txt"), "it changed since the search"}));
    EXPECT_EQ(report.kept[1], (KeptCopy{tree.path("b/two.txt"),
                                        "no copy of it that stays is still there unchanged"}));
    EXPECT_TRUE(fs::exists(tree.path("b/one.txt")) && fs::exists(tree.path("b/two.txt")));
    EXPECT_EQ(three->duplicates.size(), 3u) << "a copy kept back stays in its group";
    EXPECT_TRUE(console.anyStartsWith("Kept \"" + tree.path("b/one.txt")));
}

TEST(CleaningLargeCopies, sizeOnlyGroupsAreComparedByteForByteBeforeACopyGoes) {
    TempTree tree;
    std::vector<std::string> paths;
    for (char marker : {'a', 'a', 'b'}) {
        paths.push_back(
            tree.createSparse("big" + std::to_string(paths.size()), kHashThreshold, 7, marker));
    }
    auto group = std::make_shared<File>(paths[0], "", kHashThreshold);
    for (const std::string& path : paths) {
        DuplicateFile& member = group->duplicates.emplace_back(path, "");
        member.stamp = *FileTools::currentStamp(path);
        member.checkState = path == paths[0] ? 0 : 1;
    }
    SettingsManager settings;
    settings.moveToTrash = false;
    settings.duplicateFileList = {group};
    const CleanReport report = removeSelectedCopies(settings, {group});
    EXPECT_EQ(report.removed, std::vector<std::string>{paths[1]});
    ASSERT_EQ(report.kept.size(), 1u);
    EXPECT_EQ(report.kept[0].reason, "its contents differ from \"" + paths[0] + "\", which stays");
    EXPECT_TRUE(fs::exists(paths[2]));
}

TEST_F(Cleaning, aCleaningActsOnTheKeepOptionStillBeingApplied) {
    results.open();
    results.view.selectGroupRow(1);
    results.view.segment = KeepAll;
    results.model->OnSegmentedControlKeepChanged();
    results.alerts.answer(kFirstButton);
    const CleanReport report = results.model->OnClean();
    results.runQueues();
    EXPECT_EQ(report.removed.size(), 2u);
    EXPECT_TRUE(inTrash(tree.path("a/two.txt")) && inTrash(tree.path("b/two.txt")));
    EXPECT_EQ(results.settings.duplicateFileList, (FileList{three, songs}));
}

TEST(RatePrompt, comesFromTheSecondCleaningOnAndOnceAWindowUntilAnswered) {
    TempTree tree;
    platform::UserDefaults defaults(tree.path("config/defaults.ini"));
    std::vector<std::string> opened;
    const auto open = [&](const std::string& address) { opened.push_back(address); };
    ScriptedAlerts alerts({kSecondButton, kFirstButton});
    bool shownByThisWindow = false;

    askForRating(alerts, defaults, open, shownByThisWindow);
    EXPECT_TRUE(alerts.shown.empty());
    askForRating(alerts, defaults, open, shownByThisWindow);  // "Remind me later"
    askForRating(alerts, defaults, open, shownByThisWindow);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].buttons,
              (std::vector<std::string>{"Yes, Rate Kelvora", "Remind me later", "No, Thanks"}));
    EXPECT_EQ(platform::UserDefaults(defaults.filePath()).stringForKey(kShowRateMessage), "Yes");

    shownByThisWindow = false;  // the next results window
    askForRating(alerts, defaults, open, shownByThisWindow);
    EXPECT_EQ(opened, std::vector<std::string>{kStorePageAddress});
    EXPECT_EQ(platform::UserDefaults(defaults.filePath()).stringForKey(kShowRateMessage), "No");
    shownByThisWindow = false;
    askForRating(alerts, defaults, open, shownByThisWindow);
    EXPECT_EQ(alerts.shown.size(), 2u);
}

}  // namespace
}  // namespace kelvora
