// What a cleaning must never do: remove a copy whose bytes no copy that stays still holds.
// Every case changes real files between the search and the removal, in both removal modes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "engine/FileTools.h"
#include "platform/UserLock.h"
#include "results/Cleaning.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;
using testing::TempTree;

std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// A group of the files at paths as a search would have made it, the first one staying and
// the others selected, with the stamps the files have now.
FilePtr groupOf(const std::vector<std::string>& paths) {
    const std::uint64_t size = fs::is_directory(paths[0]) ? 0 : fs::file_size(paths[0]);
    auto group = std::make_shared<File>(paths[0], pathExtension(paths[0]), size);
    for (const std::string& path : paths) {
        DuplicateFile& member = group->duplicates.emplace_back(path, "");
        member.stamp = *FileTools::currentStamp(path);
        member.checkState = path == paths[0] ? 0 : 1;
    }
    return group;
}

// Rewrites the file in place with the same size and puts its modification time back, as
// photo taggers, touch -r and restores from backups do.
void rewriteKeepingTimes(const std::string& path, char byte) {
    struct stat before;
    ASSERT_EQ(::stat(path.c_str(), &before), 0);
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(0);
        file.put(byte);
    }
    const struct timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

// Puts another file of the same size in the copy's place, by a rename over it, with the
// copy's times.
void replaceKeepingTimes(const std::string& path, char byte) {
    struct stat before;
    ASSERT_EQ(::stat(path.c_str(), &before), 0);
    const std::string other = path + ".new";
    std::string bytes = contentsOf(path);
    bytes[0] = byte;
    std::ofstream(other, std::ios::binary) << bytes;
    const struct timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, other.c_str(), times, 0), 0);
    fs::rename(other, path);
}

struct Scenario {
    const char* name;
    std::function<void(const std::string& stays, const std::string& goes)> change;
};

class CleaningSafety : public ::testing::TestWithParam<bool> {
protected:
    TempTree tree;
    SettingsManager settings;
    CleanReport clean(const FilePtr& group, kelvora::CleaningSafety safety = {}) {
        settings.moveToTrash = GetParam();
        settings.duplicateFileList = {group};
        return removeSelectedCopies(settings, {group}, safety);
    }
};

TEST_P(CleaningSafety, aChangeBetweenTheSearchAndTheRemovalThatKeepsSizeAndTimeKeepsTheCopy) {
    const std::vector<Scenario> scenarios = {
        {"the copy that stays rewritten",
         [](auto& stays, auto&) { rewriteKeepingTimes(stays, 'X'); }},
        {"the selected copy rewritten", [](auto&, auto& goes) { rewriteKeepingTimes(goes, 'X'); }},
        {"the copy that stays replaced",
         [](auto& stays, auto&) { replaceKeepingTimes(stays, 'X'); }},
        {"the selected copy replaced", [](auto&, auto& goes) { replaceKeepingTimes(goes, 'X'); }},
    };
    for (const Scenario& scenario : scenarios) {
        for (const bool compare : {true, false}) {
            SCOPED_TRACE(std::string(scenario.name) + (compare ? ", compared" : ", not compared"));
            const std::string folder = std::string(scenario.name) + (compare ? "1" : "0");
            const std::string stays = tree.createFilled(folder + "/a", 300000, 'p');
            const std::string goes = tree.createFilled(folder + "/b", 300000, 'p');
            const FilePtr group = groupOf({stays, goes});
            scenario.change(stays, goes);
            const std::string before = contentsOf(goes);
            kelvora::CleaningSafety safety;
            safety.compareContents = compare;
            const CleanReport report = clean(group, safety);
            EXPECT_TRUE(report.removed.empty());
            ASSERT_EQ(report.kept.size(), 1u);
            EXPECT_EQ(contentsOf(goes), before);
            EXPECT_EQ(group->duplicates.size(), 2u) << "a copy kept back stays in its group";
        }
    }
}

TEST_P(CleaningSafety, copiesThatDifferOrWereNotReadStayWhateverTheirGroupSays) {
    // Two different files forced into one group, as an MD5 collision would group them.
    const std::string stays = tree.createFilled("collision/a", 5000, 'a');
    const std::string differs = tree.createFilled("collision/b", 5000, 'b');
    const std::string same = tree.createFilled("collision/c", 5000, 'a');
    const FilePtr forced = groupOf({stays, differs, same});
    CleanReport report = clean(forced);
    EXPECT_EQ(report.removed, std::vector<std::string>{same});
    ASSERT_EQ(report.kept.size(), 1u);
    EXPECT_EQ(report.kept[0].reason, "its contents differ from \"" + stays + "\", which stays");
    EXPECT_TRUE(fs::exists(differs));

    // A reference copy stays whatever its check says.
    const std::string reference = tree.createFilled("reference/b", 100, 'r');
    const FilePtr withReference = groupOf({tree.createFilled("reference/a", 100, 'r'), reference});
    withReference->duplicates[1].reference = true;
    report = clean(withReference);
    EXPECT_TRUE(report.removed.empty());
    ASSERT_EQ(report.kept.size(), 1u);
    EXPECT_EQ(report.kept[0].reason, "it lies in a reference folder");

    // A file the search could not read was grouped as if it held no bytes.
    const std::string unreadStays = tree.createFilled("unread/a", 100, 'u');
    const std::string unread = tree.createFilled("unread/b", 100, 'u');
    const FilePtr unreadGroup = groupOf({unreadStays, unread});
    unreadGroup->duplicates[1].unreadable = true;
    kelvora::CleaningSafety noCompare;
    noCompare.compareContents = false;
    report = clean(unreadGroup, noCompare);
    EXPECT_TRUE(report.removed.empty());
    EXPECT_TRUE(fs::exists(unread));
}

TEST_P(CleaningSafety, packageFoldersAreComparedAsTrees) {
    for (const char* inside : {"x", "y"}) {
        tree.createFile(std::string("same/a.app/") + inside, "contents");
        tree.createFile(std::string("same/b.app/") + inside, "contents");
    }
    tree.createFile("other/a.app/x", "contents");
    tree.createFile("other/b.app/y", "contents");  // the same total size, other names
    const FilePtr same = groupOf({tree.path("same/a.app"), tree.path("same/b.app")});
    const FilePtr other = groupOf({tree.path("other/a.app"), tree.path("other/b.app")});
    // A file put inside since the search goes with its folder unless the trees are compared.
    tree.createFile("added/a.app/x", "contents");
    tree.createFile("added/b.app/x", "contents");
    const FilePtr added = groupOf({tree.path("added/a.app"), tree.path("added/b.app")});
    tree.createFile("added/b.app/new", "written since");

    EXPECT_EQ(clean(same).removed, std::vector<std::string>{tree.path("same/b.app")});
    EXPECT_TRUE(clean(other).removed.empty());
    EXPECT_TRUE(clean(added).removed.empty());
    EXPECT_TRUE(fs::exists(tree.path("other/b.app/y")) && fs::exists(tree.path("added/b.app/new")));
}

TEST_P(CleaningSafety, nothingWhoseRealPathIsASystemFolderIsRemoved) {
    const std::string system = tree.createFilled("usr/lib/libx.so", 2000, 's');
    const std::string stays = tree.createFilled("home/libx.so", 2000, 's');
    tree.createSymlink("home/lib", tree.path("usr/lib"));
    const FilePtr group = groupOf({stays, tree.path("home/lib/libx.so")});
    kelvora::CleaningSafety safety;
    safety.locations = platform::LocationTable::linux(tree.root());
    const CleanReport report = clean(group, safety);
    EXPECT_TRUE(report.removed.empty());
    ASSERT_EQ(report.kept.size(), 1u);
    EXPECT_EQ(report.kept[0].reason, "it lies in a system folder (\"" + system + "\")");
    EXPECT_TRUE(fs::exists(system));
}

TEST_P(CleaningSafety, aCleaningWaitsForNoOtherAndTwoAtOnceNeverRemoveEveryCopy) {
    const std::string a = tree.createFilled("pair/a", 1000, 'q');
    const std::string b = tree.createFilled("pair/b", 1000, 'q');
    {
        const platform::UserLock other("cleaning");
        ASSERT_EQ(other.state(), platform::UserLock::State::Held);
        const CleanReport report = clean(groupOf({a, b}));
        EXPECT_EQ(report.outcome, CleanOutcome::Refused);
        EXPECT_EQ(report.stopReason, kAnotherCleaningRuns);
        EXPECT_TRUE(fs::exists(b));
    }
    // Two cleanings with opposite keep choices, side by side.
    for (int round = 0; round < 5; ++round) {
        std::vector<FilePtr> keepFirst, keepSecond;
        std::vector<std::pair<std::string, std::string>> pairs;
        for (int i = 0; i < 100; ++i) {
            const std::string name = "race" + std::to_string(round) + "/" + std::to_string(i);
            pairs.emplace_back(tree.createFilled(name + "a", 64, 'r'),
                               tree.createFilled(name + "b", 64, 'r'));
            keepFirst.push_back(groupOf({pairs.back().first, pairs.back().second}));
            keepSecond.push_back(groupOf({pairs.back().second, pairs.back().first}));
        }
        SettingsManager first, second;
        first.moveToTrash = second.moveToTrash = GetParam();
        std::thread racer([&] { removeSelectedCopies(second, keepSecond); });
        removeSelectedCopies(first, keepFirst);
        racer.join();
        for (const auto& [a, b] : pairs) EXPECT_TRUE(fs::exists(a) || fs::exists(b)) << a;
    }
}

TEST_P(CleaningSafety, anOverlaysLowerFolderSearchedWithItsMergedViewLosesNothing) {
    const std::string lower = tree.createFolder("lower");
    const std::string only = tree.createFilled("lower/only.bin", 4000, 'o');
    const std::string merged = tree.createFolder("merged");
    const testing::ScopedMount overlay("overlay", merged,
                                       "lowerdir=" + lower +
                                           ",upperdir=" + tree.createFolder("up") +
                                           ",workdir=" + tree.createFolder("work"));
    if (!overlay.mounted()) GTEST_SKIP() << overlay.refusal();
    // One file under two paths with two devices: the search takes them for two copies.
    FileTools tools(settings);
    settings.listFolderPaths = {lower, merged};
    settings.minimumFileSize = 1;
    const FileList groups = tools.findDuplicateGroups({lower, merged}, 1, 1 << 20, true, {});
    ASSERT_EQ(groups.size(), 1u);
    for (bool keepMerged : {true, false}) {
        const FilePtr group = groupOf(
            {keepMerged ? merged + "/only.bin" : only, keepMerged ? only : merged + "/only.bin"});
        const CleanReport report = clean(group);
        EXPECT_TRUE(report.removed.empty());
        EXPECT_EQ(contentsOf(only), std::string(4000, 'o'));
    }
}

INSTANTIATE_TEST_SUITE_P(ToTheTrashAndForGood, CleaningSafety, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "trash" : "delete"; });

}  // namespace
}  // namespace kelvora
