// Permanent removal of files, folders and links.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>

#include "engine/FileTools.h"
#include "platform/FileOperations.h"
#include "support/TempTree.h"

namespace kelvora::platform {
namespace {

namespace fs = std::filesystem;

bool exists(const std::string& path) {
    return fs::exists(fs::symlink_status(path));
}

TEST(RemoveItem, deletesAFileAndReportsAMissingOneOnce) {
    testing::TempTree tree;
    const std::string file = tree.createFile("a.jpg", "a");
    testing::ConsoleCollector console;
    EXPECT_TRUE(FileTools().removeFile(file));
    EXPECT_FALSE(exists(file));
    EXPECT_TRUE(console.lines().empty());
    EXPECT_FALSE(FileTools().removeFile(file));
    ASSERT_EQ(console.lines().size(), 1u);
    EXPECT_EQ(console.lines()[0], "Error:  \"" + file + "\": No such file or directory");
}

TEST(RemoveItem, deletesAFolderWithAllInsideButNothingItsLinksLeadTo) {
    testing::TempTree tree;
    const std::string outsideFile = tree.createFile("keep/photo.jpg", "keep");
    tree.createFile("Album.photoslibrary/a.jpg", "a");
    tree.createFile("Album.photoslibrary/Masters/2023/b.jpg", "b");
    tree.createFolder("Album.photoslibrary/empty");
    tree.createSymlink("Album.photoslibrary/Masters/toFolder", tree.path("keep"));
    tree.createSymlink("Album.photoslibrary/toFile", outsideFile);
    tree.createSymlink("Album.photoslibrary/dangling", tree.path("nowhere"));
    ::chmod(tree.path("Album.photoslibrary/a.jpg").c_str(), 0444);
    EXPECT_EQ(removeItem(tree.path("Album.photoslibrary")), std::nullopt);
    EXPECT_FALSE(exists(tree.path("Album.photoslibrary")));
    EXPECT_TRUE(exists(outsideFile));
    EXPECT_EQ(fs::file_size(outsideFile), 4u);
}

TEST(RemoveItem, removesALinkAndLeavesWhatItLeadsTo) {
    testing::TempTree tree;
    const std::string folder = tree.createFile("folder/inside.jpg", "x");
    const std::string toFolder = tree.createSymlink("toFolder", tree.path("folder"));
    const std::string toFile = tree.createSymlink("toFile", tree.path("folder/inside.jpg"));
    EXPECT_EQ(removeItem(toFolder), std::nullopt);
    EXPECT_EQ(removeItem(toFile), std::nullopt);
    EXPECT_FALSE(exists(toFolder));
    EXPECT_FALSE(exists(toFile));
    EXPECT_TRUE(exists(tree.path("folder/inside.jpg")));
}

TEST(RemoveItem, reportsTheEntryThatCannotGoAndLeavesIt) {
    testing::TempTree tree;
    const std::string locked = tree.createFile("Package.app/Locked/file", "x");
    tree.createFile("Package.app/other", "y");
    ::chmod(tree.path("Package.app").c_str(), 0777);
    ::chmod(tree.path("Package.app/Locked").c_str(), 0555);
    const std::string package = tree.path("Package.app");
    EXPECT_TRUE(testing::runWithoutPrivileges([&] {
        const auto error = removeItem(package);
        return error == "\"" + locked + "\": Permission denied" && exists(locked);
    }));
}

}  // namespace
}  // namespace kelvora::platform
