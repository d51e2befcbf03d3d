// The search with hash threads and prefix checks gives exactly what the one-by-one search
// gives: the same groups, heads, member order, progress and console lines.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <random>

#include "support/EngineHarness.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

struct Outcome {
    std::vector<std::string> groups;      // head, then members, per returned file
    std::vector<std::string> undated;     // the same without the members' dates
    std::vector<std::string> unreadable;  // the files marked unreadable, heads and members
    std::vector<std::pair<std::int64_t, std::int64_t>> progress;
    std::vector<std::string> console;
};

Outcome search(const std::string& root, unsigned threads, bool batchedReads = true,
               const std::function<void(testing::EngineHarness&)>& onPost = {},
               bool groupsOnly = false, platform::DigestCache* cache = nullptr) {
    testing::ConsoleCollector console;
    testing::EngineHarness engine;
    if (onPost) engine.onPost = [&](std::size_t) { onPost(engine); };
    FileTools tools = engine.tools();
    tools.hashThreads = threads;
    tools.batchedReads = batchedReads;
    tools.digestCache = cache;
    Outcome outcome;
    const FileList found = groupsOnly ? tools.findDuplicateGroups({root}, 0, UINT64_MAX, true, {})
                                      : tools.findDuplicates({root}, 0, UINT64_MAX, true, {});
    for (const FilePtr& file : found) {
        // A file with copies was hashed by both; one without may never be read whole.
        std::string line = file->path;
        if (!file->duplicates.empty()) line += " #" + file->MD5Hash.str();
        line += " <-";
        std::string undated = line;
        if (file->unreadable) outcome.unreadable.push_back(file->path);
        // The creation dates too: the fast search takes them from the walk's own reading.
        for (const DuplicateFile& member : file->duplicates) {
            line.append(" ").append(member.path).append(" @").append(member.date);
            undated.append(" ").append(member.path);
            if (member.unreadable) outcome.unreadable.push_back(member.path);
        }
        outcome.groups.push_back(line);
        outcome.undated.push_back(undated);
    }
    outcome.progress = engine.progress();
    outcome.console = console.lines();
    return outcome;
}

// Sizes from a small set so that runs of equal sizes are long; contents that share their
// first bytes (a few, or the first 4 KB), their last bytes, or everything.
void buildRandomTree(testing::TempTree& tree, std::mt19937& random,
                     std::vector<std::size_t> sizes = {0, 1, 100, 4096, 4097, 16384, 16385, 70000},
                     int files = 0) {
    std::vector<std::string> originals;
    std::vector<std::string> firstTwo;
    if (files == 0) files = 40 + static_cast<int>(random() % 60);
    for (int i = 0; i < files; ++i) {
        const std::size_t size = sizes[random() % sizes.size()];
        std::string contents(size, 'a');
        for (char& c : contents) c = static_cast<char>('a' + random() % 3);
        if (size > 10 && random() % 2 == 0) contents.replace(0, 10, "HEADERHEAD");
        // Alike in all the bytes a large file is told apart by, and a small one is not.
        if (size > 4096 && random() % 3 == 0) contents.replace(0, 4096, std::string(4096, 'h'));
        const bool copy = !originals.empty() && random() % 3 == 0;
        const std::string& data = copy ? originals[random() % originals.size()] : contents;
        const std::string name = "d" + std::to_string(random() % 5) + "/f" + std::to_string(i);
        tree.createFile(name, data);
        if (i < 2) firstTwo.push_back(name);
        if (!copy) originals.push_back(contents);
    }
    tree.createFolder("d0/empty-folder");
    tree.createSymlink("d1/pipe-like-link", tree.path("d0/missing"));
    // Links to files, walked before their targets: found by the link's own size (equal for
    // targets of equal path lengths), read with their target's.
    tree.createSymlink("d0/a-link-1", tree.path(firstTwo[0]));
    tree.createSymlink("d0/a-link-2", tree.path(firstTwo[1]));
}

TEST(Equivalence, hashThreadsChangeNothingOnRandomTrees) {
    std::mt19937 random(20261123);
    for (int round = 0; round < 12; ++round) {
        testing::TempTree tree;
        buildRandomTree(tree, random);
        const Outcome reference = search(tree.root(), 0);
        for (unsigned threads : {1u, 2u, 3u}) {
            for (bool batched : {true, false}) {
                const Outcome fast = search(tree.root(), threads, batched);
                ASSERT_EQ(fast.groups, reference.groups)
                    << "round " << round << ", " << threads << " threads, batched " << batched;
                ASSERT_EQ(fast.progress, reference.progress);
                ASSERT_EQ(fast.console, reference.console);
            }
        }
        // The search that returns only the files with copies (the application's) differs
        // in nothing else.
        Outcome groups = search(tree.root(), 2, true, {}, true);
        std::vector<std::string> expected = reference.groups;
        std::erase_if(expected, [](const std::string& line) { return line.ends_with("<-"); });
        ASSERT_EQ(groups.groups, expected) << "round " << round;
        ASSERT_EQ(groups.progress, reference.progress);
        ASSERT_EQ(groups.console, reference.console);
    }
}

// A search with a digest cache finds what the one-by-one search finds, whether the cache is
// new, knows every file, or knows files that have changed since in every way a stamp can
// hide: rewritten with their old size and date, replaced by another file with the same size
// and dates, moved to another folder, or gone with their inode reused by a new file.
TEST(Equivalence, aDigestCacheColdWarmOrStaleChangesNothing) {
    std::mt19937 random(915);
    testing::TempTree home;
    for (int round = 0; round < 4; ++round) {
        testing::TempTree tree;
        buildRandomTree(tree, random, {100, 4096, 4097, 16384, 30000}, 70);
        const std::string cachePath = home.path("cache" + std::to_string(round) + ".sqlite");
        const auto compare = [&](const std::string& when) {
            const Outcome reference = search(tree.root(), 0);
            for (bool batched : {true, false}) {
                platform::DigestCache cache(cachePath);
                const Outcome cached = search(tree.root(), 2, batched, {}, false, &cache);
                ASSERT_EQ(cached.groups, reference.groups) << when << ", round " << round;
                ASSERT_EQ(cached.progress, reference.progress) << when;
                ASSERT_EQ(cached.console, reference.console) << when;
            }
        };
        compare("cold");
        compare("warm");
        // Every file of a size shared with others, most of them known to the cache now.
        std::vector<std::string> known;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.root())) {
            if (entry.is_regular_file() && !entry.is_symlink() && entry.file_size() == 4096) {
                known.push_back(entry.path().string());
            }
        }
        std::sort(known.begin(), known.end());
        ASSERT_GE(known.size(), 4u);
        const auto timesOf = [](const std::string& path) {
            struct stat st {};
            ::stat(path.c_str(), &st);
            return std::array<timespec, 2>{st.st_atim, st.st_mtim};
        };
        const auto setTimes = [](const std::string& path, const std::array<timespec, 2>& times) {
            ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
        };
        // Rewritten in place, same size, its modification time put back.
        auto times = timesOf(known[0]);
        tree.createFile(known[0].substr(tree.root().size() + 1), std::string(4096, 'r'));
        setTimes(known[0], times);
        // Replaced by another file (another inode) of the same size and dates.
        times = timesOf(known[1]);
        const std::string replacement = home.createFile("replacement", std::string(4096, 'q'));
        setTimes(replacement, times);
        std::filesystem::rename(replacement, known[1]);
        // Moved to another folder, and swapped with another file of its size.
        std::filesystem::rename(known[2], tree.path("moved-here"));
        std::filesystem::rename(known[3], known[2]);
        std::filesystem::rename(tree.path("moved-here"), known[3]);
        compare("stale");
        // Gone, its inode given to a new file of the same size and dates where the file
        // system hands it out again.
        times = timesOf(known[0]);
        std::filesystem::remove(known[0]);
        tree.createFile(known[0].substr(tree.root().size() + 1), std::string(4096, 'n'));
        setTimes(known[0], times);
        compare("inode reused");
    }
}

// The first difference between what both searches gave and what they should have, or "".
std::string unreadableFilesMarkedAlike(
    const std::string& root, const std::function<void()>& beforeEachSearch = {},
    const std::function<void(testing::EngineHarness&)>& onPost = {}) {
    const auto run = [&](unsigned threads, bool groupsOnly) {
        if (beforeEachSearch) beforeEachSearch();
        return search(root, threads, true, onPost, groupsOnly);
    };
    Outcome reference = run(0, false);
    Outcome fast = run(2, false);
    Outcome groups = run(2, true);
    if (beforeEachSearch) {
        // Files gone: the one-by-one search reads each copy's date again as it reports it and
        // finds none, the other has what the walk read.
        for (Outcome* outcome : {&reference, &fast, &groups}) outcome->groups = outcome->undated;
    }
    if (reference.console.size() != 2)
        return "console lines: " + std::to_string(reference.console.size());
    std::vector<std::string> withCopies = reference.groups;
    std::erase_if(withCopies, [](const std::string& line) { return line.ends_with("<-"); });
    if (fast.groups != reference.groups || groups.groups != withCopies) return "groups differ";
    if (fast.console != reference.console || fast.progress != reference.progress) {
        return "console or progress differs";
    }
    // b and d group with each other as files of no bytes; each of them, and only they, is
    // marked, whichever heads the group.
    for (const Outcome* outcome : {&reference, &fast, &groups}) {
        std::vector<std::string> marked = outcome->unreadable;
        std::sort(marked.begin(), marked.end());
        if (marked != std::vector<std::string>{root + "/b", root + "/d"}) {
            std::string text = "marked:";
            for (const std::string& path : marked) text += " " + path;
            return text;
        }
    }
    return {};
}

void buildWithTwoUnreadable(testing::TempTree& tree) {
    for (const char* name : {"a", "b", "c", "d"}) tree.createFilled(name, 20000, name[0]);
    tree.createFilled("e", 20000, 'a');
}

bool readable(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return false;
    ::close(fd);
    return true;
}

TEST(Equivalence, unreadableFilesAreReportedAndMarkedAlike) {
    testing::TempTree tree;
    buildWithTwoUnreadable(tree);
    ::chmod(tree.path("b").c_str(), 0);
    ::chmod(tree.path("d").c_str(), 0);
    if (!readable(tree.path("b"))) {
        EXPECT_EQ(unreadableFilesMarkedAlike(tree.root()), "");
        return;
    }
    // Permissions do not stop root: the searches run in a child without its privileges.
    if (testing::runWithoutPrivileges([&] { return !readable(tree.path("b")); })) {
        EXPECT_TRUE(testing::runWithoutPrivileges([&] {
            const std::string difference = unreadableFilesMarkedAlike(tree.root());
            if (!difference.empty()) std::fprintf(stderr, "%s\n", difference.c_str());
            return difference.empty();
        }));
        return;
    }
    GTEST_SKIP() << "this process reads files without permission, and cannot give that up";
}

// Files that are gone when the search comes to read them are unreadable in the same way,
// whatever this process's privileges.
TEST(Equivalence, filesGoneBeforeTheyAreReadAreMarkedUnreadableAlike) {
    testing::TempTree tree;
    buildWithTwoUnreadable(tree);
    const auto restore = [&] {
        tree.createFilled("b", 20000, 'b');
        tree.createFilled("d", 20000, 'd');
    };
    // Once the walk has listed all five, before anything is read.
    const auto remove = [&](testing::EngineHarness& engine) {
        if (engine.posted.back().totalFiles == 5 && std::filesystem::exists(tree.path("b"))) {
            std::filesystem::remove(tree.path("b"));
            std::filesystem::remove(tree.path("d"));
        }
    };
    EXPECT_EQ(unreadableFilesMarkedAlike(tree.root(), restore, remove), "");
}

// Runs longer than one batch of reads, and longer than what is compared pair by pair: each
// is read in several batches, its small files hashed from copies of their bytes.
TEST(Equivalence, runsLongerThanABatchChangeNothing) {
    std::mt19937 random(7);
    testing::TempTree tree;
    buildRandomTree(tree, random, {100, 16384, 70000}, 230);
    const Outcome reference = search(tree.root(), 0);
    for (bool batched : {true, false}) {
        const Outcome fast = search(tree.root(), 2, batched);
        ASSERT_EQ(fast.groups, reference.groups) << "batched " << batched;
        ASSERT_EQ(fast.progress, reference.progress);
    }
}

// Folders within folders, entered while the attribute reader opens and lists the next ones
// ahead of the walk: among them folders the walk never enters (hidden, a package, a second
// way into a folder already walked) and a folder entered through a link, which the reader
// never lists for it.
void buildNestedTree(testing::TempTree& tree, std::mt19937& random) {
    for (int i = 0; i < 160; ++i) {
        std::string name = "t" + std::to_string(random() % 3);
        for (unsigned depth = random() % 4; depth > 0; --depth) {
            name += "/s" + std::to_string(random() % 4);
        }
        const std::size_t size = std::vector<std::size_t>{10, 100, 5000, 20000}[random() % 4];
        tree.createFilled(name + "/f" + std::to_string(i), size,
                          static_cast<char>('a' + random() % 2));
    }
    tree.createFilled("t0/.hidden/f", 100, 'a');
    tree.createFilled("t1/Bundle.app/Contents/f", 100, 'a');
    tree.createFolder("t2/empty");
    tree.createSymlink("t0/s0-through-a-link", tree.path("t1"));
    tree.createSymlink("t1/s1/back-to-the-top", tree.root());
}

TEST(Equivalence, foldersListedAheadOfTheWalkChangeNothing) {
    std::mt19937 random(4);
    for (int round = 0; round < 6; ++round) {
        testing::TempTree tree;
        buildNestedTree(tree, random);
        const Outcome reference = search(tree.root(), 0);
        // Eight contents: nearly every file is some group's head or member.
        std::size_t members = 0;
        for (const std::string& line : reference.groups) {
            members += static_cast<std::size_t>(std::count(line.begin(), line.end(), '@'));
        }
        ASSERT_GT(members, 150u);
        for (int again = 0; again < 3; ++again) {
            const Outcome fast = search(tree.root(), 2);
            ASSERT_EQ(fast.groups, reference.groups) << "round " << round;
            ASSERT_EQ(fast.progress, reference.progress);
            ASSERT_EQ(fast.console, reference.console);
        }
    }
}

// With fewer descriptors than folders, the folders past the budget are walked with copies
// of their own and their files are opened by their whole paths.
TEST(Equivalence, aProcessShortOfDescriptorsFindsTheSame) {
    std::mt19937 random(11);
    testing::TempTree tree;
    buildNestedTree(tree, random);
    for (int i = 0; i < 40; ++i) tree.createFilled("many/m" + std::to_string(i) + "/f", 300, 'z');
    const Outcome reference = search(tree.root(), 0);
    struct rlimit saved {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    // What the walk keeps open is the limit less a margin of 512: room for 20 folders here.
    struct rlimit low = saved;
    low.rlim_cur = std::min<rlim_t>(saved.rlim_cur, 532);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    const Outcome fast = search(tree.root(), 2);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &saved), 0);
    EXPECT_EQ(fast.groups, reference.groups);
    EXPECT_EQ(fast.progress, reference.progress);
    EXPECT_EQ(fast.console, reference.console);
}

// Files swapped after the walk: one shrinks, one becomes a named pipe, one a folder. The
// batched reads must neither hang on the pipe nor report anything the one-by-one search
// would not.
TEST(Equivalence, filesReplacedAfterTheWalkAreReportedAlike) {
    for (const std::size_t size : {3000u, 30000u}) {
        const auto build = [size](testing::TempTree& tree) {
            for (const char* name : {"a", "b", "c", "d", "e"}) tree.createFilled(name, size, 'x');
        };
        const auto swap = [size](testing::TempTree& tree, testing::EngineHarness& engine,
                                 bool& done) {
            if (done || engine.posted.back().totalFiles != 5) return;
            done = true;
            std::filesystem::remove(tree.path("b"));
            ASSERT_EQ(::mkfifo(tree.path("b").c_str(), 0644), 0);
            tree.createFilled("c", size - 1, 'x');
            std::filesystem::remove(tree.path("d"));
            tree.createFolder("d");
        };
        testing::TempTree first;
        build(first);
        bool firstDone = false;
        const Outcome reference = search(
            first.root(), 0, false, [&](testing::EngineHarness& e) { swap(first, e, firstDone); });
        testing::TempTree second;
        build(second);
        bool secondDone = false;
        const Outcome fast = search(second.root(), 2, true, [&](testing::EngineHarness& e) {
            swap(second, e, secondDone);
        });
        ASSERT_EQ(reference.console.size(), 3u) << size;
        EXPECT_EQ(fast.console.size(), reference.console.size());
        for (std::size_t i = 0; i < reference.console.size() && i < fast.console.size(); ++i) {
            EXPECT_EQ(fast.console[i].substr(fast.console[i].rfind('"')),
                      reference.console[i].substr(reference.console[i].rfind('"')));
        }
        EXPECT_EQ(fast.groups.size(), reference.groups.size());
        EXPECT_EQ(fast.progress, reference.progress);
    }
}

// The fast search keeps every folder it walked open until the comparison is done, and its
// helpers hold descriptors of their own: none may outlive the search, canceled or not.
TEST(Equivalence, aSearchLeavesNoDescriptorOpen) {
    const auto openDescriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator{});
    };
    testing::TempTree tree;
    for (int i = 0; i < 30; ++i) {
        tree.createFilled("d" + std::to_string(i % 7) + "/f" + std::to_string(i), 5000 + i % 3,
                          static_cast<char>('a' + i % 2));
    }
    const auto before = openDescriptors();
    for (const std::size_t cancelAt : {0u, 20u}) {
        testing::EngineHarness engine;
        engine.onPost = [&](std::size_t posted) {
            if (posted == cancelAt) engine.settings.searchCanceledByUser = true;
        };
        FileTools tools = engine.tools();
        tools.hashThreads = 2;
        const FileList result = tools.findDuplicates({tree.root()}, 0, UINT64_MAX, true, {});
        EXPECT_EQ(result.empty(), cancelAt != 0);
        // Checked while the engine still lives: it closes what it opened as it returns.
        EXPECT_EQ(openDescriptors(), before) << "cancel at " << cancelAt;
    }
}

TEST(HostileTrees, aFileThatChangesSizeAfterTheWalkIsGroupedWithNothing) {
    for (unsigned threads : {0u, 2u}) {
        testing::TempTree tree;
        for (const char* name : {"a", "b", "c"}) tree.createFilled(name, 30000, 'x');
        testing::ConsoleCollector console;
        testing::EngineHarness engine;
        engine.onPost = [&](std::size_t) {
            // Once the walk has listed all three, b grows before anything is read.
            if (engine.posted.back().totalFiles == 3 &&
                std::filesystem::file_size(tree.path("b")) == 30000) {
                tree.createFilled("b", 30001, 'x');
            }
        };
        FileTools tools = engine.tools();
        tools.hashThreads = threads;
        const FileList result = tools.findDuplicates({tree.root()}, 0, UINT64_MAX, true, {});
        ASSERT_EQ(result.size(), 2u) << threads << " threads";
        EXPECT_EQ(result[0]->path, tree.path("c"));
        ASSERT_EQ(result[0]->duplicates.size(), 1u);
        EXPECT_EQ(result[0]->duplicates[0].path, tree.path("a"));
        ASSERT_EQ(console.lines().size(), 1u);
        EXPECT_NE(console.lines()[0].find("changed size since the scan"), std::string::npos);
    }
}

TEST(HostileTrees, specialFilesAreNeverListedOrOpened) {
    testing::TempTree tree;
    tree.createFolder("d");
    ASSERT_EQ(::mkfifo(tree.path("d/pipe1").c_str(), 0644), 0);
    ASSERT_EQ(::mkfifo(tree.path("d/pipe2").c_str(), 0644), 0);
    tree.createSymlink("d/link-to-pipe", tree.path("d/pipe1"));
    tree.createFile("d/regular", "");
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    tools.scanFolders({tree.path("d")}, 0, UINT64_MAX, true, {});
    EXPECT_EQ(testing::relativePaths(tools.fileList, tree.root()),
              std::vector<std::string>{"d/regular"});
}

// Deeper than the folders the walk may keep open: coming back up, each folder closed on the
// way down is opened again, and its files are found in it, whether the folder below was
// entered by its name or through a link (whose ".." is another folder).
TEST(HostileTrees, aTreeDeeperThanTheOpenFoldersIsWalkedWhole) {
    testing::TempTree tree;
    testing::TempTree elsewhere;
    constexpr int kLevels = 300;
    constexpr int kLinkAt = 60;  // this level's folder "a" is a link to elsewhere's root
    const auto chain = [](int levels) {
        std::string path;
        for (int k = 0; k < levels; ++k) path += "a/";
        return path;
    };
    std::vector<std::string> expected;
    for (int level = 0; level < kLevels; ++level) {
        // "a" comes before "z.bin": each file is looked at after the walk comes back up.
        const std::string contents = "pair " + std::to_string(level / 2);
        if (level <= kLinkAt) {
            tree.createFile(chain(level) + "z.bin", contents);
        } else {
            elsewhere.createFile(chain(level - kLinkAt - 1) + "z.bin", contents);
        }
        expected.push_back(tree.path(chain(level) + "z.bin"));
    }
    tree.createSymlink(chain(kLinkAt) + "a", elsewhere.root());
    std::sort(expected.begin(), expected.end());
    struct rlimit saved {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    struct rlimit low = saved;
    low.rlim_cur = std::min<rlim_t>(saved.rlim_cur, 532);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    for (const unsigned threads : {0u, 2u}) {
        testing::EngineHarness engine;
        FileTools tools = engine.tools();
        tools.hashThreads = threads;
        const FileList groups = tools.findDuplicateGroups({tree.root()}, 0, UINT64_MAX, true, {});
        std::vector<std::string> found;
        for (const FilePtr& group : groups) {
            found.push_back(group->path);
            for (const DuplicateFile& member : group->duplicates) found.push_back(member.path);
        }
        std::sort(found.begin(), found.end());
        EXPECT_EQ(groups.size(), static_cast<std::size_t>(kLevels / 2)) << threads << " threads";
        EXPECT_EQ(found, expected) << threads << " threads";
    }
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &saved), 0);
}

TEST(HostileTrees, pathsLongerThanTheSystemLimitAreFoundAndGrouped) {
    testing::TempTree tree;
    tree.createFilled("top.bin", 5000, 'd');
    // 300 levels of 20-character names: about 6,300 bytes, past PATH_MAX.
    std::string relative;
    int folder = ::open(tree.root().c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < 300; ++level) {
        const std::string name = "folder-with-long-nm" + std::to_string(level % 10);
        ASSERT_EQ(::mkdirat(folder, name.c_str(), 0755), 0);
        const int next = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = next;
        relative += name + "/";
    }
    const int file = ::openat(folder, "deep.bin", O_WRONLY | O_CREAT, 0644);
    ASSERT_EQ(::write(file, std::string(5000, 'd').data(), 5000), 5000);
    ::close(file);
    ::close(folder);
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    const FileList result = tools.findDuplicates({tree.root()}, 0, UINT64_MAX, true, {});
    ASSERT_EQ(result.size(), 1u);
    ASSERT_EQ(result[0]->duplicates.size(), 1u);
    const std::string deep = result[0]->path.size() > result[0]->duplicates[0].path.size()
                                 ? result[0]->path
                                 : result[0]->duplicates[0].path;
    EXPECT_EQ(deep, tree.path(relative + "deep.bin"));
    EXPECT_GT(deep.size(), static_cast<std::size_t>(PATH_MAX));
    EXPECT_EQ(result[0]->duplicates[0].date.size(), 17u) << "dated through its folder";
}

}  // namespace
}  // namespace kelvora
