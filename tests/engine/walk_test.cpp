// The folder walk on real trees.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>

#include "engine/StatAhead.h"
#include "support/EngineHarness.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

using Paths = std::vector<std::string>;
using testing::relativePaths;

Paths walk(testing::TempTree& tree, const Paths& folders, std::uint64_t minimum = 0,
           std::uint64_t maximum = UINT64_MAX, bool ignorePackages = true,
           const Paths& extensions = {}) {
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    tools.scanFolders(folders, minimum, maximum, ignorePackages, extensions);
    return relativePaths(tools.fileList, tree.root());
}

TEST(Walk, goesDepthFirstInNameOrderAndSkipsHiddenEntries) {
    testing::TempTree tree;
    tree.createFile("b.txt", "b");
    tree.createFile("a/z.txt", "z");
    tree.createFile("a/inner/y.txt", "y");
    tree.createFile("c.txt", "c");
    tree.createFile(".DS_Store", "d");
    tree.createFile(".git/config", "g");
    tree.createFile("a/.hidden", "h");
    EXPECT_EQ(walk(tree, {tree.root()}), (Paths{"a/inner/y.txt", "a/z.txt", "b.txt", "c.txt"}));
}

TEST(Walk, keepsSizesWithinTheInclusiveBounds) {
    testing::TempTree tree;
    tree.createFilled("small", 99);
    tree.createFilled("min", 100);
    tree.createFilled("max", 200);
    tree.createFilled("big", 201);
    EXPECT_EQ(walk(tree, {tree.root()}, 100, 200), (Paths{"max", "min"}));
}

TEST(Walk, extensionFilterKeepsMatchingFilesButStillEntersFolders) {
    testing::TempTree tree;
    tree.createFile("photo.JPG", "1");
    tree.createFile("notes.txt", "2");
    tree.createFile("Trip.jpg/inside.jpg", "3");
    tree.createFile("Trip.jpg/inside.png", "4");
    EXPECT_EQ(walk(tree, {tree.root()}, 0, UINT64_MAX, true, {"jpg"}),
              (Paths{"Trip.jpg/inside.jpg", "photo.JPG"}));
}

TEST(Walk, skipsPackagesOrTakesEachAsOneFileOfItsTotalSize) {
    testing::TempTree tree;
    tree.createFilled("Photos.app/Contents/a", 1000);
    tree.createFilled("Photos.app/Contents/Resources/.b", 234);
    tree.createFilled("Notes.pages", 10);  // a plain file with a package extension
    tree.createFilled("plain.txt", 5);

    EXPECT_EQ(walk(tree, {tree.root()}), (Paths{"plain.txt"}));

    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    tools.scanFolders({tree.root()}, 0, UINT64_MAX, false, {});
    ASSERT_EQ(relativePaths(tools.fileList, tree.root()),
              (Paths{"Notes.pages", "Photos.app", "plain.txt"}));
    EXPECT_EQ(tools.fileList[1]->size, 1234u);
    EXPECT_EQ(tools.fileList[1]->ext, "app");
    EXPECT_EQ(tools.fileList[0]->size, 10u);
}

TEST(Walk, dropsNestedChosenFoldersButNotSiblingsWithACommonPrefix) {
    EXPECT_EQ(FileTools::removeNestedFolders({"/Users/me", "/Users/me/Pictures", "/Users/meg"}),
              (Paths{"/Users/me", "/Users/meg"}));
    EXPECT_EQ(FileTools::removeNestedFolders({"/a/b", "/a"}), (Paths{"/a"}));

    testing::TempTree tree;
    tree.createFile("me/Pictures/p.jpg", "p");
    tree.createFile("me/x.jpg", "x");
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    tools.findDuplicates({tree.path("me/Pictures"), tree.path("me")}, 0, UINT64_MAX, true, {});
    EXPECT_EQ(tools.fileList.size(), 2u);
}

TEST(Walk, listsEveryFileSystemObjectOnceWhateverLinksLeadToIt) {
    testing::TempTree tree;
    const std::string original = tree.createFile("data/photo.jpg", "same bytes");
    tree.createHardLink("data/hard.jpg", original);
    tree.createSymlink("data/link.jpg", original);
    tree.createSymlink("data/loop", tree.path("data"));
    tree.createSymlink("data/sub/back", "..");
    tree.createFile("elsewhere/e.jpg", "e");
    tree.createSymlink("data/zz-elsewhere", tree.path("elsewhere"));

    // The hard link sorts first, so it is the one listed; both loops end.
    EXPECT_EQ(walk(tree, {tree.path("data")}), (Paths{"data/hard.jpg", "data/zz-elsewhere/e.jpg"}));
    // Two chosen folders naming the same place do not double anything.
    EXPECT_EQ(walk(tree, {tree.path("elsewhere"), tree.path("data/zz-elsewhere")}),
              (Paths{"elsewhere/e.jpg"}));
}

// A link is listed under its own size, which is not its target's: met first, it hides neither
// the target nor, through it, the target's copies; met after the target, it is dropped.
TEST(Walk, aLinkToAFileNeverHidesItsTarget) {
    testing::TempTree tree;
    tree.createFile("first/b.jpg", "b");
    tree.createSymlink("first/a.jpg", tree.path("first/b.jpg"));
    tree.createFile("then/a.jpg", "a");
    tree.createFile("then/b.jpg", "other");
    tree.createSymlink("then/c.jpg", tree.path("then/a.jpg"));
    tree.createSymlink("then/d.jpg", tree.path("first/b.jpg"));
    EXPECT_EQ(walk(tree, {tree.path("first"), tree.path("then")}),
              (Paths{"first/a.jpg", "first/b.jpg", "then/a.jpg", "then/b.jpg"}));
    EXPECT_EQ(walk(tree, {tree.path("then")}), (Paths{"then/a.jpg", "then/b.jpg", "then/d.jpg"}));
}

// A link met before its target once hid the target and so its true copy; and a link whose own
// length happens to equal its target's size must not be reported as a copy of it, nor two
// such links as copies of each other: removing the target would leave dangling links.
TEST(Walk, aLinkAndItsTargetAreNeverCopiesOfEachOther) {
    for (unsigned threads : {0u, 2u}) {
        testing::TempTree tree;
        tree.createFile("z-real.bin", "hello world");
        tree.createFile("z-copy.bin", "hello world");
        tree.createSymlink("a-link.bin", "z-real.bin");
        // "zz-ten.bin" is ten characters long, as is the file it names.
        tree.createFile("zz-ten.bin", "0123456789");
        tree.createSymlink("a-ten.bin", "zz-ten.bin");
        tree.createSymlink("b-ten.bin", "zz-ten.bin");
        testing::EngineHarness engine;
        FileTools tools = engine.tools();
        tools.hashThreads = threads;
        const FileList found = tools.findDuplicateGroups({tree.root()}, 1, UINT64_MAX, true, {});
        ASSERT_EQ(found.size(), 1u) << threads << " threads";
        EXPECT_EQ(found[0]->path, tree.path("z-real.bin"));
        ASSERT_EQ(found[0]->duplicates.size(), 1u);
        EXPECT_EQ(found[0]->duplicates[0].path, tree.path("z-copy.bin"));
    }
}

TEST(Walk, aFileMountedOverAnotherPathIsListedOnce) {
    testing::TempTree tree;
    const std::string original = tree.createFile("a/file.bin", "one object");
    const std::string over = tree.createFile("b/file.bin", "");
    if (::mount(original.c_str(), over.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        GTEST_SKIP() << "mounting needs privileges this run does not have";
    }
    struct Unmount {
        std::string path;
        ~Unmount() { ::umount(path.c_str()); }
    } unmount{over};
    // Whichever path comes first is the one listed; the other is the same object.
    EXPECT_EQ(walk(tree, {tree.root()}), (Paths{"a/file.bin"}));
    EXPECT_EQ(walk(tree, {tree.path("b"), tree.path("a")}), (Paths{"b/file.bin"}));
}

TEST(Walk, aLinkToAFileHasTheLinksOwnSize) {
    testing::TempTree tree;
    tree.createFilled("target/t.bin", 5000);
    tree.createSymlink("chosen/link.bin", tree.path("target/t.bin"));
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    tools.scanFolders({tree.path("chosen")}, 0, UINT64_MAX, true, {});
    ASSERT_EQ(tools.fileList.size(), 1u);
    EXPECT_EQ(tools.fileList[0]->size, tree.path("target/t.bin").size());
}

TEST(Walk, reportsAnUnreadableFolderAndGoesOn) {
    testing::TempTree tree;
    tree.createFile("locked/secret.txt", "s");
    tree.createFile("open/visible.txt", "v");
    ::chmod(tree.path("locked").c_str(), 0);
    const bool ok = testing::runWithoutPrivileges([&] {
        testing::ConsoleCollector console;
        const Paths found = walk(tree, {tree.root()});
        return found == Paths{"open/visible.txt"} &&
               console.anyStartsWith("Ooops! Something went wrong: ");
    });
    EXPECT_TRUE(ok);
}

TEST(Walk, aFailedListingDropsTheWholeCallButNotTheFollowingOnes) {
    testing::TempTree tree;
    tree.createFile("one/a.txt", "a");
    const std::string notAFolder = tree.createFile("file.txt", "f");
    testing::ConsoleCollector console;
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    // One call listing both: the failure of the second path drops the first's entries too.
    tools.scanFolders({tree.path("one"), notAFolder}, 0, UINT64_MAX, true, {});
    EXPECT_TRUE(tools.fileList.empty());
    EXPECT_TRUE(console.anyStartsWith("Ooops! Something went wrong: "));
    // The end-of-call notification is still posted.
    EXPECT_EQ(engine.progress(), (std::vector<std::pair<std::int64_t, std::int64_t>>{{0, 0}}));
}

TEST(Walk, honoursTheLocationTable) {
    testing::TempTree tree;
    tree.createFile("Users/me/a.jpg", "a");
    tree.createFile("Users/me/Library/b.jpg", "b");
    tree.createFile("Applications/Tool/c", "c");
    tree.createFile("System/d", "d");
    tree.createFile("Volumes/Backup/Users/me/Library/e", "e");
    testing::EngineHarness engine;
    FileTools tools(engine.settings, engine.center, platform::LocationTable::macOS(tree.root()));
    tools.scanFolders({tree.root()}, 0, UINT64_MAX, true, {});
    EXPECT_EQ(
        relativePaths(tools.fileList, tree.root()),
        (Paths{"Applications/Tool/c", "Users/me/a.jpg", "Volumes/Backup/Users/me/Library/e"}));
}

// Links in the user's data may lead into the system trees; the location rule judges them,
// and everything found through them, by where they lead. Each search, with or without the
// reader that lists folders ahead of the walk.
class WalkWithLinks : public ::testing::TestWithParam<unsigned> {
protected:
    WalkWithLinks() {
        tree.createFile("home/me/photo.jpg", "p");
        tree.createFile("home/shared/s.jpg", "s");
        tree.createFile("usr/lib/libx.so", "x");
        tree.createFile("usr/lib/sub/liby.so", "y");
        tree.createFile("run/user/1000/t", "t");
        tree.createFile("run/media/disk/m.jpg", "m");
        tree.createSymlink("home/me/lib", tree.path("usr/lib"));
        tree.createSymlink("home/me/libx.so", tree.path("usr/lib/libx.so"));
        tree.createSymlink("home/me/rel-lib", "../../usr/lib");
        tree.createSymlink("home/me/run", tree.path("run"));
        tree.createSymlink("home/me/shared", tree.path("home/shared"));
        tree.createSymlink("home/me/top", tree.root());
    }

    Paths walk(const Paths& folders) {
        testing::EngineHarness engine;
        FileTools tools(engine.settings, engine.center,
                        platform::LocationTable::linux(tree.root()));
        tools.hashThreads = GetParam();
        tools.scanFolders(folders, 0, UINT64_MAX, true, {});
        return relativePaths(tools.fileList, tree.root());
    }

    testing::TempTree tree;
};

TEST_P(WalkWithLinks, aLinkIntoASystemTreeIsNotFollowedButOneToUserDataIs) {
    testing::ConsoleCollector console;
    // run leads to a place the table lets the walk enter, for the media mounted under it,
    // but not its user folders; top leads to the table's root, whose system trees stay out
    // and whose user data has been walked already.
    EXPECT_EQ(walk({tree.path("home/me")}),
              (Paths{"home/me/photo.jpg", "home/me/run/media/disk/m.jpg", "home/me/shared/s.jpg"}));
    EXPECT_TRUE(console.lines().empty());
}

TEST_P(WalkWithLinks, aChosenFolderIsJudgedByWhereItLeads) {
    testing::ConsoleCollector console;
    EXPECT_EQ(walk({tree.path("home/me/lib"), tree.path("home/me/shared"),
                    tree.path("home/me/top/usr/lib/sub")}),
              (Paths{"home/me/shared/s.jpg"}));
    // The table's root through a link: home/me comes first, and with it the user data the
    // other links lead to.
    EXPECT_EQ(walk({tree.path("home/me/top")}),
              (Paths{"home/me/top/home/me/photo.jpg", "home/me/top/home/me/run/media/disk/m.jpg",
                     "home/me/top/home/me/shared/s.jpg"}));
    EXPECT_TRUE(console.lines().empty());
}

// A folder the walk has listed as a folder that is swapped for a link before it is entered
// does not lead the walk where the link points.
TEST_P(WalkWithLinks, aFolderSwappedForALinkIsNotFollowed) {
    tree.createFile("home/other/swapped/own.jpg", "o");
    testing::EngineHarness engine;
    engine.onPost = [&](std::size_t posted) {
        if (posted != 1) return;
        std::filesystem::rename(tree.path("home/other/swapped"), tree.path("home/moved"));
        std::filesystem::create_directory_symlink(tree.path("usr/lib"),
                                                  tree.path("home/other/swapped"));
    };
    FileTools tools(engine.settings, engine.center, platform::LocationTable::linux(tree.root()));
    tools.hashThreads = GetParam();
    tools.scanFolders({tree.path("home/other")}, 0, UINT64_MAX, true, {});
    for (const std::string& path : relativePaths(tools.fileList, tree.root())) {
        EXPECT_EQ(path, "home/other/swapped/own.jpg");
    }
}

INSTANTIATE_TEST_SUITE_P(Walk, WalkWithLinks, ::testing::Values(0u, 2u),
                         [](const ::testing::TestParamInfo<unsigned>& info) {
                             return std::to_string(info.param) + "HashThreads";
                         });

// The attribute reader may be kept from its core while the walk lists folder after folder.
// The copies of their descriptors it is given must stay few however far behind it is, or a
// process short of them fails to open the next folders; what it has not read, the walk reads.
TEST(Walk, theAttributeReaderHoldsFewDescriptorsHoweverFarBehind) {
    testing::TempTree tree;
    for (int i = 0; i < 20; ++i) tree.createFile("f" + std::to_string(i), "x");
    const platform::FileHandle folder(
        ::open(tree.root().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(folder.valid());
    const auto entries = platform::listFolderAt(folder.get(), tree.root());
    ASSERT_TRUE(entries);
    const auto openDescriptors = [] {
        const std::filesystem::directory_iterator fds("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(fds), end(fds)));
    };
    // One core, batch scheduling: the woken reader never takes the core from this thread.
    cpu_set_t all;
    ASSERT_EQ(::sched_getaffinity(0, sizeof all, &all), 0);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &all)) {
            CPU_SET(cpu, &one);
            break;
        }
    }
    const sched_param none{};
    ASSERT_EQ(::sched_setaffinity(0, sizeof one, &one), 0);
    ASSERT_EQ(::sched_setscheduler(0, SCHED_BATCH, &none), 0);
    const std::size_t before = openDescriptors();
    std::size_t held = 0;
    std::vector<std::shared_ptr<StatAhead::Listing>> listings;
    {
        StatAhead reader;
        for (int i = 0; i < 300; ++i) listings.push_back(reader.add(*entries, folder.get()));
        held = openDescriptors() - before;
    }
    ASSERT_EQ(::sched_setscheduler(0, SCHED_OTHER, &none), 0);
    ASSERT_EQ(::sched_setaffinity(0, sizeof all, &all), 0);
    EXPECT_LE(held, 40u);
    for (const auto& listing : listings) {
        platform::Attributes attributes;
        ASSERT_EQ(listing->attributes(7, folder.get(), attributes), 0);
        EXPECT_EQ(attributes.size, 1u);
    }
}

}  // namespace
}  // namespace kelvora
