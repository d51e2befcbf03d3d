// Names that break naive code, and a tree deeper than the system's path limit: found, grouped
// and removed like any other file, to the trash or for good.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "engine/FileTools.h"
#include "engine/SearchRun.h"
#include "platform/FileOperations.h"
#include "results/Cleaning.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;

// Makes count nested folders named "d" under root and a file at the bottom; returns its path.
std::string makeDeepFile(const std::string& root, int count, const std::string& contents) {
    int folder = ::open(root.c_str(), O_RDONLY | O_DIRECTORY);
    std::string path = root;
    for (int level = 0; level < count; ++level) {
        ::mkdirat(folder, "d", 0755);
        const int next = ::openat(folder, "d", O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = next;
        path += "/d";
    }
    const int file = ::openat(folder, "deep.bin", O_WRONLY | O_CREAT, 0644);
    const bool written =
        ::write(file, contents.data(), contents.size()) == static_cast<ssize_t>(contents.size());
    ::close(file);
    ::close(folder);
    return written ? path + "/deep.bin" : "";
}

FileList searchFor(const std::string& folder, SettingsManager& settings) {
    platform::NotificationCenter center;
    platform::RunLoop loop;
    settings.listFolderPaths = {folder};
    settings.minimumFileSize = 1;
    SearchRun::create({settings, center, loop, loop}, nullptr)->runSearch();
    return settings.duplicateFileList;
}

TEST(HostileNames, copiesWithAnyNameAtAnyDepthAreGroupedAndRemoved) {
    for (const bool toTrash : {true, false}) {
        testing::TempTree tree;
        const std::string contents(3000, 'h');
        const std::vector<std::string> names = {"a-kept.bin", "new\nline.bin", " blanks .bin",
                                                "raw\xff\xfe.bin", "cafe\xcc\x81.bin"};
        for (const std::string& name : names) tree.createFile("data/" + name, contents);
        // 10,000 levels once; past the path limit (about 2,050 levels of "d/") is enough after.
        const std::string deep = makeDeepFile(tree.path("data"), toTrash ? 10000 : 2500, contents);
        ASSERT_FALSE(deep.empty());

        SettingsManager settings;
        const FileList groups = searchFor(tree.path("data"), settings);
        ASSERT_EQ(groups.size(), 1u);
        ASSERT_EQ(groups[0]->duplicates.size(), names.size() + 1);
        for (DuplicateFile& member : groups[0]->duplicates) {
            member.checkState = member.path == tree.path("data/a-kept.bin") ? 0 : 1;
        }
        settings.moveToTrash = toTrash;
        const CleanReport report = removeSelectedCopies(settings, groups);
        EXPECT_EQ(report.removed.size(), names.size()) << (toTrash ? "to the trash" : "for good");
        EXPECT_TRUE(report.failed.empty() && report.kept.empty());
        EXPECT_TRUE(fs::exists(tree.path("data/a-kept.bin")));
        for (const std::string& name : names) {
            if (name != "a-kept.bin") {
                EXPECT_FALSE(fs::exists(tree.path("data/" + name))) << name;
            }
        }
        EXPECT_FALSE(FileTools::currentStamp(deep)) << "the deep copy is gone";
        if (toTrash) {
            const fs::path trash = fs::path(std::getenv("XDG_DATA_HOME")) / "Trash";
            EXPECT_TRUE(fs::exists(trash / "files" / "deep.bin"));
            EXPECT_TRUE(fs::exists(trash / "info" / "deep.bin.trashinfo"));
            EXPECT_TRUE(fs::exists(trash / "files" / "new\nline.bin"));
            fs::remove_all(trash);
        }
        // The folders are deeper than the standard library's path calls can reach.
        EXPECT_FALSE(platform::removeItem(tree.path("data/d")));
    }
}

}  // namespace
}  // namespace kelvora
