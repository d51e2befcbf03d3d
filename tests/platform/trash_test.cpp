// The freedesktop.org trash and the user-defaults location, in a home of their own.
//
// GLib reads HOME and the XDG folders once, on first use, so this program points them into a
// fresh folder of the build tree before any test runs: the user's own trash is never touched,
// and tests run in parallel (one process each) never share a trash.
#include <gtest/gtest.h>

#include <gio/gio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "engine/FileTools.h"
#include "platform/UserDefaults.h"
#include "support/TempTree.h"

namespace fs = std::filesystem;

namespace kelvora {
namespace {

std::string home() {
    return g_get_home_dir();
}
std::string trashFolder() {
    return std::string(g_get_user_data_dir()) + "/Trash";
}

std::string contentsOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// The original path as the trash records it ("Path=" holds it URI-escaped).
std::string recordedPath(const std::string& trashInfo) {
    std::istringstream lines(contentsOf(trashInfo));
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("Path=")) continue;
        gchar* path = g_uri_unescape_string(line.c_str() + 5, nullptr);
        std::string out = path != nullptr ? path : "";
        g_free(path);
        return out;
    }
    return {};
}

// Files to trash live in the test home so that they share its device, as a user's files do.
std::string createFile(const std::string& relative, const std::string& contents) {
    const fs::path path = fs::path(home()) / "work" / relative;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
    return path.string();
}

TEST(Trash, movesAFileThereWithTheRecordOfWhereItCameFrom) {
    const std::string path = createFile("Trip 2023/photo.jpg", "pixels");
    testing::ConsoleCollector console;
    ASSERT_TRUE(FileTools().trashFile(path));
    EXPECT_TRUE(console.lines().empty());
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(contentsOf(trashFolder() + "/files/photo.jpg"), "pixels");
    const std::string info = trashFolder() + "/info/photo.jpg.trashinfo";
    EXPECT_EQ(recordedPath(info), path);
    EXPECT_NE(contentsOf(info).find("\nDeletionDate="), std::string::npos);
}

TEST(Trash, takesAWholeFolderAndLinksAsLinks) {
    const std::string target = createFile("keep/original.jpg", "keep");
    const std::string package =
        fs::path(createFile("Album.photoslibrary/a.jpg", "a")).parent_path();
    fs::create_symlink(target, package + "/link.jpg");
    const std::string link = fs::path(home()) / "work/link-to-original.jpg";
    fs::create_symlink(target, link);
    ASSERT_TRUE(FileTools().trashFile(package));
    ASSERT_TRUE(FileTools().trashFile(link));
    EXPECT_FALSE(fs::exists(package));
    EXPECT_EQ(contentsOf(trashFolder() + "/files/Album.photoslibrary/a.jpg"), "a");
    EXPECT_TRUE(fs::is_symlink(trashFolder() + "/files/Album.photoslibrary/link.jpg"));
    EXPECT_TRUE(fs::is_symlink(trashFolder() + "/files/link-to-original.jpg"));
    EXPECT_EQ(contentsOf(target), "keep");
}

TEST(Trash, leavesTheFileInPlaceWhenNoTrashCanBeMade) {
    const std::string path = createFile("stays.jpg", "stays");
    const std::string trash = trashFolder();
    const std::string aside = trash + ".aside";
    fs::create_directories(fs::path(trash).parent_path());
    if (fs::exists(trash)) fs::rename(trash, aside);
    std::ofstream(trash) << "a file where the trash folder belongs";
    ASSERT_TRUE(fs::is_regular_file(trash));
    testing::ConsoleCollector console;
    const bool trashed = FileTools().trashFile(path);
    fs::remove(trash);
    if (fs::exists(aside)) fs::rename(aside, trash);
    EXPECT_FALSE(trashed);
    EXPECT_EQ(contentsOf(path), "stays");
    ASSERT_EQ(console.lines().size(), 1u);
    EXPECT_TRUE(console.lines()[0].starts_with("Error:  \"" + path + "\": ")) << console.lines()[0];
}

TEST(Trash, reportsAMissingFileOnce) {
    const std::string missing = fs::path(home()) / "work/never-made.jpg";
    testing::ConsoleCollector console;
    EXPECT_FALSE(FileTools().trashFile(missing));
    ASSERT_EQ(console.lines().size(), 1u);
    EXPECT_TRUE(console.lines()[0].starts_with("Error:  ")) << console.lines()[0];
    EXPECT_NE(console.lines()[0].find(missing), std::string::npos) << console.lines()[0];
}

TEST(UserDefaults, liveInTheUsersConfigFolder) {
    platform::UserDefaults defaults;
    const std::string expected = std::string(g_get_user_config_dir()) + "/kelvora/defaults.ini";
    EXPECT_EQ(defaults.filePath(), expected);
    EXPECT_TRUE(expected.starts_with(home()));
    defaults.setString("ShowRateMessage", "Yes");
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_EQ(platform::UserDefaults().stringForKey("ShowRateMessage"), "Yes");
}

}  // namespace
}  // namespace kelvora

int main(int argc, char** argv) {
    std::error_code error;
    fs::create_directories(KELVORA_TRASH_HOMES, error);
    std::string home = std::string(KELVORA_TRASH_HOMES) + "/home-XXXXXX";
    if (::mkdtemp(home.data()) == nullptr) {
        std::perror("cannot make a test home");
        return 2;
    }
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home + "/.config").c_str(), 1);
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    fs::remove_all(home, error);
    return result;
}
