// The freedesktop.org trash and the user-defaults location, in a home of their own.
//
// GLib reads HOME and the XDG folders once, on first use, so this program points them into a
// fresh folder of the build tree before any test runs: the user's own trash is never touched,
// and tests run in parallel (one process each) never share a trash.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <glib.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

#include "engine/FileTools.h"
#include "platform/FileSystem.h"
#include "platform/Trash.h"
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

platform::Result<platform::TrashedItem> trashAt(const std::string& path) {
    const fs::path whole(path);
    const platform::FileHandle folder(
        ::open(whole.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return platform::trashEntry(folder.get(), whole.filename().c_str(), path);
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

TEST(TrashEntry, recordsAnyNameByteForByteWithTheLocalDeletionTime) {
    const std::string name = "raw\xff name\nwith 100% #?.txt";
    const std::string path = createFile("odd/" + name, "bytes");
    const std::time_t before = std::time(nullptr);
    const auto item = trashAt(path);
    ASSERT_TRUE(item) << item.error();
    EXPECT_FALSE(fs::exists(fs::symlink_status(path)));
    EXPECT_EQ(item->trashedPath, trashFolder() + "/files/" + name);
    EXPECT_EQ(item->infoPath, trashFolder() + "/info/" + name + ".trashinfo");
    EXPECT_EQ(contentsOf(item->trashedPath), "bytes");
    EXPECT_EQ(recordedPath(item->infoPath), path);
    // The newline of the name is escaped like every byte outside the safe set.
    const std::vector<std::string> lines = linesOf(contentsOf(item->infoPath));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "[Trash Info]");
    const char* safe = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.!~*'()/%";
    EXPECT_EQ(lines[1].find_first_not_of(safe, 5), std::string::npos) << lines[1];
    struct tm date = {};
    const char* rest = ::strptime(lines[2].c_str(), "DeletionDate=%Y-%m-%dT%H:%M:%S", &date);
    ASSERT_TRUE(rest != nullptr && *rest == '\0') << lines[2];
    date.tm_isdst = -1;
    EXPECT_LE(std::abs(std::difftime(std::mktime(&date), before)), 5.0) << lines[2];
}

TEST(TrashEntry, givesEachItemOfOneNameItsOwnPlaceAndNeverReplacesAnOrphan) {
    fs::create_directories(trashFolder() + "/files");
    fs::create_directories(trashFolder() + "/info");
    std::ofstream(trashFolder() + "/files/report.pdf") << "orphan";
    std::ofstream(trashFolder() + "/info/report.2.pdf.trashinfo") << "record without item";
    std::set<std::string> places;
    for (int i = 0; i < 20; ++i) {
        const std::string path = createFile(std::to_string(i) + "/report.pdf", std::to_string(i));
        const auto item = trashAt(path);
        ASSERT_TRUE(item) << item.error();
        EXPECT_EQ(contentsOf(item->trashedPath), std::to_string(i));
        EXPECT_EQ(item->infoPath, trashFolder() + "/info/" +
                                      fs::path(item->trashedPath).filename().string() +
                                      ".trashinfo");
        EXPECT_EQ(recordedPath(item->infoPath), path);
        places.insert(item->trashedPath);
    }
    EXPECT_EQ(places.size(), 20u);
    EXPECT_EQ(contentsOf(trashFolder() + "/files/report.pdf"), "orphan");
    EXPECT_FALSE(fs::exists(trashFolder() + "/info/report.pdf.trashinfo"));
    EXPECT_EQ(contentsOf(trashFolder() + "/info/report.2.pdf.trashinfo"), "record without item");
    EXPECT_FALSE(fs::exists(trashFolder() + "/files/report.2.pdf"));
}

TEST(TrashEntry, shortensLongNamesToFitTheirRecordWithoutSplittingACharacter) {
    std::string name;
    for (int i = 0; i < 125; ++i) name += "\xc3\xa9";
    name += ".txt";
    std::set<std::string> places;
    for (int i = 0; i < 2; ++i) {
        const std::string path = createFile(std::to_string(i) + "/" + name, "x");
        const auto item = trashAt(path);
        ASSERT_TRUE(item) << item.error();
        const std::string record = fs::path(item->infoPath).filename();
        EXPECT_LE(record.size(), 255u);
        EXPECT_EQ(record, fs::path(item->trashedPath).filename().string() + ".trashinfo");
        const std::string base = record.substr(0, record.find('.'));
        EXPECT_EQ(name.substr(0, base.size()), base);
        EXPECT_EQ(base.size() % 2, 0u) << "no \"\xc3\xa9\" cut in half";
        EXPECT_TRUE(record.ends_with(".txt.trashinfo"));
        EXPECT_EQ(recordedPath(item->infoPath), path);
        places.insert(item->trashedPath);
    }
    EXPECT_EQ(places.size(), 2u);
}

TEST(TrashRestore, putsTheItemBackAsItWasButNeverOverAnother) {
    const std::string path = createFile("restore/song.mp3", "tune");
    const struct timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    const platform::FileHandle folder(::open(fs::path(path).parent_path().c_str(), O_RDONLY));
    const auto item = platform::trashEntry(folder.get(), "song.mp3", path);
    ASSERT_TRUE(item) << item.error();

    std::ofstream(path) << "a new song";
    const auto refused = platform::restoreEntry(*item, folder.get(), "song.mp3", path);
    ASSERT_TRUE(refused.has_value());
    EXPECT_NE(refused->find(path), std::string::npos) << *refused;
    EXPECT_EQ(contentsOf(path), "a new song");
    EXPECT_EQ(contentsOf(item->trashedPath), "tune");
    EXPECT_TRUE(fs::exists(item->infoPath));

    fs::remove(path);
    const auto error = platform::restoreEntry(*item, folder.get(), "song.mp3", path);
    ASSERT_FALSE(error) << *error;
    EXPECT_EQ(contentsOf(path), "tune");
    struct stat st;
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, times[1].tv_sec);
    EXPECT_EQ(st.st_mtim.tv_nsec, times[1].tv_nsec);
    EXPECT_FALSE(fs::exists(item->trashedPath));
    EXPECT_FALSE(fs::exists(item->infoPath));
}

// A volume of its own (a tmpfs) for the trash at the top of a volume.
struct VolumeTrash : ::testing::Test {
    testing::TempTree tree;
    const std::string top = tree.createFolder("volume");
    const std::string uid = std::to_string(::geteuid());
    std::unique_ptr<testing::ScopedMount> volume;

    void SetUp() override {
        volume = std::make_unique<testing::ScopedMount>("tmpfs", top, "size=1m,mode=0755");
        if (!volume->mounted()) GTEST_SKIP() << volume->refusal();
    }
};

TEST_F(VolumeTrash, takesItemsToAPrivateTrashAtItsTopWithPathsFromThere) {
    const std::string path = tree.createFile("volume/sub/clip.mov", "frames");
    const auto item = trashAt(path);
    ASSERT_TRUE(item) << item.error();
    const std::string trash = top + "/.Trash-" + uid;
    EXPECT_EQ(item->trashedPath, trash + "/files/clip.mov");
    EXPECT_EQ(contentsOf(item->trashedPath), "frames");
    EXPECT_EQ(recordedPath(item->infoPath), "sub/clip.mov");
    EXPECT_EQ(fs::status(trash).permissions(), fs::perms::owner_all);
    EXPECT_FALSE(fs::exists(trashFolder() + "/files/clip.mov"));
}

TEST_F(VolumeTrash, usesTheSharedTrashOnlyWhenItHasTheStickyBit) {
    const std::string shared = top + "/.Trash";
    fs::create_directory(shared);
    ASSERT_EQ(::chmod(shared.c_str(), 01777), 0);
    const auto first = trashAt(tree.createFile("volume/a.txt", "a"));
    ASSERT_TRUE(first) << first.error();
    EXPECT_EQ(first->trashedPath, shared + "/" + uid + "/files/a.txt");
    EXPECT_EQ(recordedPath(first->infoPath), "a.txt");

    ASSERT_EQ(::chmod(shared.c_str(), 0777), 0);
    const auto second = trashAt(tree.createFile("volume/b.txt", "b"));
    ASSERT_TRUE(second) << second.error();
    EXPECT_EQ(second->trashedPath, top + "/.Trash-" + uid + "/files/b.txt");
}

TEST_F(VolumeTrash, refusesATrashThatIsALinkOrAnotherUsersAndLeavesTheItem) {
    const std::string path = tree.createFile("volume/keep.txt", "keep");
    const std::string own = top + "/.Trash-" + uid;
    const std::string elsewhere = tree.createFolder("elsewhere");
    fs::create_directory_symlink(elsewhere, own);
    const auto throughLink = trashAt(path);
    EXPECT_FALSE(throughLink);
    EXPECT_TRUE(fs::is_empty(elsewhere));

    fs::remove(own);
    fs::create_directory(own);
    ASSERT_EQ(::chown(own.c_str(), 65534, 65534), 0);
    const auto othersTrash = trashAt(path);
    EXPECT_FALSE(othersTrash);
    EXPECT_TRUE(fs::is_empty(own));
    EXPECT_EQ(contentsOf(path), "keep");
}

TEST_F(VolumeTrash, thatIsFullKeepsTheItemAndNoRecord) {
    const std::string path = tree.createFile("volume/photo.jpg", "pixels");
    {
        std::ofstream filler(top + "/filler", std::ios::binary);
        const std::string block(4096, 'f');
        while (filler.write(block.data(), block.size())) filler.flush();
    }
    const auto item = trashAt(path);
    ASSERT_FALSE(item);
    EXPECT_NE(item.error().find(std::strerror(ENOSPC)), std::string::npos) << item.error();
    EXPECT_EQ(contentsOf(path), "pixels");
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
        EXPECT_NE(entry.path().extension(), ".trashinfo") << entry.path();
    }
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
