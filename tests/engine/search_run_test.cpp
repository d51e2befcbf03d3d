// A whole search: progress counts and cadence, the hand-over to the shared settings, cancel.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "engine/SearchRun.h"
#include "platform/Queues.h"
#include "support/EngineHarness.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

using Progress = std::vector<std::pair<std::int64_t, std::int64_t>>;

// Runs a search the way the progress window does: on a worker, ending on a main loop.
struct Search {
    explicit Search(testing::EngineHarness& engine) : engine(engine) {}

    void run(const std::vector<std::string>& folders) {
        engine.settings.listFolderPaths = folders;
        engine.settings.minimumFileSize = 0;
        platform::ObserverRegistration closer(
            engine.center, kSearchThreadFinished,
            [this](const platform::UserInfo&) { loop.async([this] { loop.quit(); }); });
        auto searchRun = SearchRun::create({engine.settings, engine.center, *pool, loop}, [this] {
            finished = true;
            loop.quit();
        });
        searchRun->startSearch();
        loop.run();
        pool.reset();  // after a cancel the worker may still be finishing: wait for it
    }

    testing::EngineHarness& engine;
    std::unique_ptr<platform::WorkerPool> pool = std::make_unique<platform::WorkerPool>(1);
    platform::RunLoop loop;
    bool finished = false;
};

TEST(SearchRun, postsOneStepPerEntryAndFolderThenOnePerComparedFile) {
    testing::TempTree tree;
    tree.createFile("f1", "same");
    tree.createFile("f2", "same");
    tree.createFile("sub/g", "same");
    testing::EngineHarness engine;
    Search search(engine);
    search.run({tree.root()});
    EXPECT_TRUE(search.finished);
    EXPECT_EQ(engine.progress(),
              (Progress{{0, 0}, {1, 0}, {2, 0}, {2, 0}, {3, 0}, {3, 0}, {3, 1}, {3, 2}, {3, 3}}));
    EXPECT_EQ(engine.count(kSearchThreadFinished), 0u);

    const FileList& groups = engine.settings.duplicateFileList;
    ASSERT_EQ(groups.size(), 1u);
    const File& group = *groups[0];
    ASSERT_EQ(group.duplicates.size(), 3u);
    EXPECT_EQ(group.duplicates[0].path, group.path) << "the head lists itself first";
    EXPECT_FALSE(group.duplicates[0].date.empty());
    EXPECT_TRUE(engine.settings.fileList.empty());
}

TEST(SearchRun, appendsToEarlierResultsAndFindsNothingInEmptyFolders) {
    testing::TempTree tree;
    tree.createFolder("nothing/here");
    testing::EngineHarness engine;
    engine.settings.duplicateFileList.push_back(std::make_shared<File>("/earlier", "", 1));
    Search search(engine);
    search.run({tree.path("nothing")});
    EXPECT_TRUE(search.finished);
    EXPECT_EQ(engine.progress(), (Progress{{0, 0}, {0, 0}, {0, 0}})) << "no comparison step";
    EXPECT_EQ(engine.settings.duplicateFileList.size(), 1u);
}

TEST(SearchRun, aCancelAtAnyStepEndsWithExactlyOneFinishedNotification) {
    testing::TempTree tree;
    for (const char* name : {"a/1", "a/2", "b/3", "b/4", "c"}) tree.createFile(name, "dup");
    tree.createFile("d", "other");

    testing::EngineHarness reference;
    Search(reference).run({tree.root()});
    const std::size_t steps = reference.posted.size();
    ASSERT_GT(steps, 10u);

    for (std::size_t cancelAt = 1; cancelAt <= steps; ++cancelAt) {
        testing::EngineHarness engine;
        engine.onPost = [&](std::size_t posted) {
            if (posted == cancelAt) engine.settings.searchCanceledByUser = true;
        };
        Search search(engine);
        search.run({tree.root()});
        EXPECT_EQ(engine.count(kSearchThreadFinished), 1u) << "cancel at step " << cancelAt;
        EXPECT_FALSE(search.finished);
        EXPECT_TRUE(engine.settings.duplicateFileList.empty());
        EXPECT_TRUE(engine.settings.fileList.empty());
    }
}

TEST(SearchRun, aCancelAfterTheEngineReturnedStillClosesAndKeepsNoGroups) {
    testing::TempTree tree;
    tree.createFile("x", "dup");
    tree.createFile("y", "dup");
    testing::EngineHarness engine;
    engine.settings.listFolderPaths = {tree.root()};
    engine.settings.minimumFileSize = 0;
    platform::RunLoop loop;
    bool finished = false;
    auto run =
        SearchRun::create({engine.settings, engine.center, loop, loop}, [&] { finished = true; });
    run->runSearch();  // the worker is done and has scheduled the end on the main queue
    ASSERT_EQ(engine.settings.duplicateFileList.size(), 1u);
    engine.settings.searchCanceledByUser = true;  // the user clicks cancel just now
    loop.async([&] { loop.quit(); });
    loop.run();
    EXPECT_FALSE(finished);
    EXPECT_EQ(engine.count(kSearchThreadFinished), 1u);
    EXPECT_TRUE(engine.settings.duplicateFileList.empty());
}

// The progress window starts the next search from the end of the last one. Cancelled at every
// step and started again at once, on a pool whose second worker would run the next search
// beside the last one's remains: no search touches the next one's results or notifications.
TEST(SearchRun, searchesCancelledAndStartedAgainAtOnceNeverOverlap) {
    testing::TempTree tree;
    for (int i = 0; i < 12; ++i) {
        tree.createFilled("d" + std::to_string(i % 3) + "/f" + std::to_string(i), 4000 + i % 4,
                          static_cast<char>('a' + i % 2));
    }
    testing::EngineHarness engine;
    engine.settings.listFolderPaths = {tree.root()};
    engine.settings.minimumFileSize = 0;
    platform::WorkerPool pool(2);
    platform::RunLoop loop;
    for (std::size_t round = 0; round < 60; ++round) {
        engine.settings.searchCanceledByUser = false;
        const std::size_t before = engine.posted.size();
        engine.onPost = [&, cancelAt = before + 1 + round % 40](std::size_t posted) {
            if (posted == cancelAt) engine.settings.searchCanceledByUser = true;
        };
        bool finished = false;
        bool ended = false;
        auto run = SearchRun::create({engine.settings, engine.center, pool, loop},
                                     [&] { finished = true; });
        run->setOnEnded([&] {
            ended = true;
            loop.quit();
        });
        run->setHashThreads(round % 3);
        run->startSearch();
        loop.run();
        ASSERT_TRUE(ended);
        std::size_t stops = 0;
        for (std::size_t k = before; k < engine.posted.size(); ++k) {
            stops += engine.posted[k].name == kSearchThreadFinished;
        }
        EXPECT_EQ(stops, finished ? 0u : 1u) << "round " << round;
        EXPECT_EQ(engine.settings.duplicateFileList.empty(), !finished) << "round " << round;
        EXPECT_TRUE(engine.settings.fileList.empty());
        engine.settings.duplicateFileList.clear();
    }
}

// Every copy the results list shows, its head included, carries what the search saw of it,
// change time and all, and whether its contents could be read.
TEST(SearchRun, everyCopyCarriesItsStampAndWhetherItCouldBeRead) {
    for (unsigned threads : {0u, 2u}) {
        testing::TempTree tree;
        for (const char* name : {"same1", "same2"}) tree.createFilled(name, 3000, 's');
        for (const char* name : {"gone1", "gone2"}) tree.createFilled(name, 5000, 'g');
        std::map<std::string, FileStamp> seen;
        for (const char* name : {"same1", "same2", "gone1", "gone2"}) {
            seen[tree.path(name)] = *FileTools::currentStamp(tree.path(name));
        }
        testing::EngineHarness engine;
        engine.settings.listFolderPaths = {tree.root()};
        engine.settings.minimumFileSize = 0;
        // Once the walk has listed all four, two go before they are read.
        engine.onPost = [&](std::size_t) {
            if (engine.posted.back().totalFiles == 4 &&
                std::filesystem::exists(tree.path("gone1"))) {
                std::filesystem::remove(tree.path("gone1"));
                std::filesystem::remove(tree.path("gone2"));
            }
        };
        testing::ConsoleCollector console;
        platform::RunLoop loop;
        auto run = SearchRun::create({engine.settings, engine.center, loop, loop}, [] {});
        run->setHashThreads(threads);
        run->runSearch();
        loop.async([&] { loop.quit(); });
        loop.run();
        const FileList& groups = engine.settings.duplicateFileList;
        ASSERT_EQ(groups.size(), 2u) << threads << " threads";
        for (const FilePtr& group : groups) {
            ASSERT_EQ(group->duplicates.size(), 2u);
            for (const DuplicateFile& member : group->duplicates) {
                EXPECT_EQ(member.stamp, seen[member.path]) << member.path;
                EXPECT_NE(member.stamp.changed, 0) << member.path;
                EXPECT_EQ(member.unreadable, member.path.find("/gone") != std::string::npos)
                    << member.path << ", " << threads << " threads";
            }
        }
        EXPECT_EQ(console.lines().size(), 2u);
    }
}

}  // namespace
}  // namespace kelvora
