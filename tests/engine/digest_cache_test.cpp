// The digest cache saves reads and nothing else: whatever state its file is in, a search finds
// what it finds without one, says once what is wrong, and leaves a damaged file set aside.
#include <gtest/gtest.h>

#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "support/EngineHarness.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;

struct Found {
    std::vector<std::string> groups;
    std::vector<std::string> console;
};

Found search(const std::string& root, const std::string& cachePath) {
    testing::ConsoleCollector console;
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    tools.hashThreads = 2;
    std::optional<platform::DigestCache> cache;
    if (!cachePath.empty()) {
        cache.emplace(cachePath);
        tools.digestCache = &*cache;
    }
    Found found;
    for (const FilePtr& group : tools.findDuplicateGroups({root}, 1, UINT64_MAX, true, {})) {
        std::string line = group->path;
        for (const DuplicateFile& member : group->duplicates) line += " " + member.path;
        found.groups.push_back(line);
    }
    // What the write had to say is said once it is done.
    if (cache) cache->waitForStore();
    found.console = console.lines();
    return found;
}

// Pairs of copies and files that share only their size, small and large.
void buildTree(testing::TempTree& tree) {
    for (const std::size_t size : {3000u, 40000u}) {
        const std::string tag = std::to_string(size);
        tree.createFilled("a/" + tag + "-one", size, 'o');
        tree.createFilled("b/" + tag + "-one", size, 'o');
        tree.createFilled("a/" + tag + "-other", size, 'x');
        tree.createFilled("b/" + tag + "-third", size, 't');
    }
}

struct CacheTest : ::testing::Test {
    testing::TempTree tree;
    testing::TempTree home;
    std::string path = home.path("kelvora/digests.sqlite");
    Found reference;
    void SetUp() override {
        buildTree(tree);
        reference = search(tree.root(), "");
        ASSERT_EQ(reference.groups.size(), 2u);
        ASSERT_TRUE(reference.console.empty());
    }
    void runSql(const std::string& sql) {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
        sqlite3_close(db);
    }
    // The rows of a table, or -1 when there is no such table.
    std::int64_t rows(const std::string& table) {
        sqlite3* db = nullptr;
        std::int64_t count = -1;
        sqlite3_stmt* query = nullptr;
        if (sqlite3_open(path.c_str(), &db) == SQLITE_OK &&
            sqlite3_prepare_v2(db, ("SELECT count(*) FROM " + table).c_str(), -1, &query,
                               nullptr) == SQLITE_OK &&
            sqlite3_step(query) == SQLITE_ROW) {
            count = sqlite3_column_int64(query, 0);
        }
        sqlite3_finalize(query);
        sqlite3_close(db);
        return count;
    }
};

TEST_F(CacheTest, aMissingCacheIsMadeInAPrivateFolderAndThenSparesTheReads) {
    EXPECT_EQ(search(tree.root(), path).groups, reference.groups);
    struct stat folder {};
    ASSERT_EQ(::stat(home.path("kelvora").c_str(), &folder), 0);
    EXPECT_EQ(folder.st_mode & 0777, 0700u);
    // What the cache says is taken without a read: a cached digest that lies shows up as a
    // group that is not one. (Only a file that changes without a new change time could do this,
    // which the system does not allow.)
    const auto keyOf = [&](const std::string& name) {
        const FileStamp stamp = *FileTools::currentStamp(tree.path(name));
        return platform::DigestCache::Key{stamp.device, stamp.inode, stamp.size, stamp.modified,
                                          stamp.changed};
    };
    {
        platform::DigestCache cache(path);
        const std::vector keys{keyOf("a/3000-other"), keyOf("b/3000-third")};
        for (const auto& known : cache.lookUp(keys)) EXPECT_TRUE(known);
        cache.store({{keys[0], {7, true, {}}}, {keys[1], {7, true, {}}}});
    }
    const Found lied = search(tree.root(), path);
    EXPECT_EQ(lied.groups.size(), 3u);
    EXPECT_TRUE(lied.console.empty());
}

TEST_F(CacheTest, aDamagedCacheIsSetAsideWithOneLineAndANewOneIsStarted) {
    fs::create_directories(home.path("kelvora"));
    std::ofstream(path) << std::string(9000, 'z');
    const Found damaged = search(tree.root(), path);
    EXPECT_EQ(damaged.groups, reference.groups);
    ASSERT_EQ(damaged.console.size(), 1u);
    EXPECT_NE(damaged.console[0].find("damaged; set aside as"), std::string::npos);
    int aside = 0;
    for (const auto& entry : fs::directory_iterator(home.path("kelvora"))) {
        aside += entry.path().filename().string().starts_with("digests.sqlite.damaged-");
    }
    EXPECT_EQ(aside, 1);
    EXPECT_FALSE(fs::exists(path));
    const Found next = search(tree.root(), path);
    EXPECT_EQ(next.groups, reference.groups);
    EXPECT_TRUE(next.console.empty());
    EXPECT_TRUE(fs::exists(path));
    // Damage inside the file, in what only this Kelvora reads: set aside the same way.
    // A bucket cut short, one whose entries say they have more digests than it holds, and
    // buckets whose entries are gone.
    for (const char* damage : {"UPDATE packs SET packed = x'0102'",
                               "UPDATE packs SET packed = substr(packed, 1, length(packed) - 16)",
                               "DELETE FROM packs"}) {
        EXPECT_EQ(search(tree.root(), path).groups, reference.groups);
        runSql(damage);
        const Found inside = search(tree.root(), path);
        EXPECT_EQ(inside.groups, reference.groups);
        ASSERT_EQ(inside.console.size(), 1u) << damage;
        EXPECT_NE(inside.console[0].find("damaged; set aside as"), std::string::npos);
    }
}

TEST_F(CacheTest, aCacheFromANewerKelvoraIsLeftAloneAndUnused) {
    EXPECT_EQ(search(tree.root(), path).groups, reference.groups);
    runSql("PRAGMA user_version = 9; DELETE FROM buckets;");
    const Found newer = search(tree.root(), path);
    EXPECT_EQ(newer.groups, reference.groups);
    ASSERT_EQ(newer.console.size(), 1u);
    EXPECT_NE(newer.console[0].find("written by a newer Kelvora"), std::string::npos);
    runSql("PRAGMA user_version = 5");
    EXPECT_EQ(rows("buckets"), 0) << "nothing was written into it";
}

// A cache in an older format is started again without a word: the first kept a row per file,
// the second a signature computed otherwise, which must not be compared with today's.
TEST_F(CacheTest, aCacheInAnOlderFormatIsStartedAgain) {
    fs::create_directories(home.path("kelvora"));
    runSql(
        "CREATE TABLE digests(device INTEGER NOT NULL, inode INTEGER NOT NULL, size INTEGER "
        "NOT NULL, modified INTEGER NOT NULL, changed INTEGER NOT NULL, signature INTEGER NOT "
        "NULL, md5 BLOB, seen INTEGER NOT NULL, PRIMARY KEY(device, inode)) WITHOUT ROWID;"
        "INSERT INTO digests VALUES (1, 2, 3, 4, 5, 6, NULL, 7); PRAGMA user_version = 1;");
    for (int round = 0; round < 2; ++round) {
        const Found found = search(tree.root(), path);
        EXPECT_EQ(found.groups, reference.groups);
        EXPECT_TRUE(found.console.empty());
    }
    EXPECT_EQ(rows("digests"), -1);
    EXPECT_GT(rows("buckets"), 0);

    // Entries of an older format, here all of one signature: trusted, they would send the
    // files that only share their size to be read whole, and make groups of them if they also
    // claimed one digest.
    {
        platform::DigestCache cache(path);
        std::vector<platform::DigestCache::Key> keys;
        for (const char* name : {"a/3000-other", "b/3000-third"}) {
            const FileStamp stamp = *FileTools::currentStamp(tree.path(name));
            keys.push_back({stamp.device, stamp.inode, stamp.size, stamp.modified, stamp.changed});
        }
        for (const auto& known : cache.lookUp(keys)) EXPECT_TRUE(known);
        cache.store({{keys[0], {7, true, {}}}, {keys[1], {7, true, {}}}});
    }
    runSql("PRAGMA user_version = 4");
    const Found second = search(tree.root(), path);
    EXPECT_EQ(second.groups, reference.groups);
    EXPECT_TRUE(second.console.empty());
    EXPECT_GT(rows("buckets"), 0) << "learned again";
    EXPECT_EQ(search(tree.root(), path).groups, reference.groups);
}

// Another search writing: this one reads what is there and keeps nothing of its own. A file
// locked for any reading at all: it runs without the cache.
TEST_F(CacheTest, aLockedCacheCostsOneLineAndNothingElse) {
    EXPECT_EQ(search(tree.root(), path).groups, reference.groups);
    tree.createFilled("c/3000-new", 3000, 'n');
    const Found expected = search(tree.root(), "");
    sqlite3* writer = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &writer), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(writer, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    const Found whileWritten = search(tree.root(), path);
    EXPECT_EQ(whileWritten.groups, expected.groups);
    ASSERT_EQ(whileWritten.console.size(), 1u);
    EXPECT_NE(whileWritten.console[0].find("in use by another search"), std::string::npos);
    sqlite3_exec(writer, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_exec(writer,
                 "PRAGMA locking_mode=EXCLUSIVE; PRAGMA journal_mode=DELETE;"
                 "BEGIN EXCLUSIVE",
                 nullptr, nullptr, nullptr);
    const Found whileLocked = search(tree.root(), path);
    EXPECT_EQ(whileLocked.groups, expected.groups);
    EXPECT_EQ(whileLocked.console.size(), 1u);
    sqlite3_close(writer);
}

TEST_F(CacheTest, aCacheThatCannotBeWrittenIsNotUsed) {
    EXPECT_EQ(search(tree.root(), path).groups, reference.groups);
    ::chmod(path.c_str(), 0444);
    ::chmod(home.path("kelvora").c_str(), 0555);
    ::chmod(home.root().c_str(), 0755);
    const bool alike = testing::runWithoutPrivileges([&] {
        const Found readOnly = search(tree.root(), path);
        return readOnly.groups == reference.groups && readOnly.console.size() == 1;
    });
    ::chmod(home.path("kelvora").c_str(), 0700);
    EXPECT_TRUE(alike);
}

TEST_F(CacheTest, twoSearchesAtOnceBothFindWhatTheyShouldAndLeaveAUsableCache) {
    for (int round = 0; round < 3; ++round) {
        Found first;
        Found second;
        std::thread other([&] { second = search(tree.root(), path); });
        first = search(tree.root(), path);
        other.join();
        EXPECT_EQ(first.groups, reference.groups);
        EXPECT_EQ(second.groups, reference.groups);
    }
    const Found after = search(tree.root(), path);
    EXPECT_EQ(after.groups, reference.groups);
    EXPECT_TRUE(after.console.empty());
}

// Entries age by the day they were last met: one met again after a week is written anew, one
// not met for 90 days goes at the next write, and what a search learns now wins over an entry
// it only met.
TEST(DigestCacheAgeing, entriesNotMetFor90DaysGoAndThoseMetStay) {
    testing::TempTree home;
    const std::string path = home.path("digests.sqlite");
    using Key = platform::DigestCache::Key;
    const Key met{1, 10, 3000, 111, 222};
    const Key forgotten{1, 11, 3000, 111, 222};
    const auto learned = [](const Key& key, std::uint64_t signature) {
        return platform::DigestCache::Learned{key, {signature, false, {}}};
    };
    constexpr std::int64_t kDay = 20000;
    {
        platform::DigestCache cache(path);
        cache.setToday(kDay);
        cache.lookUp({met, forgotten});
        cache.store({learned(met, 7), learned(forgotten, 8)});
    }
    for (const std::int64_t day : {kDay + 30, kDay + 60, kDay + 95}) {
        platform::DigestCache cache(path);
        cache.setToday(day);
        const auto found = cache.lookUp({met});
        ASSERT_TRUE(found[0]) << day;
        EXPECT_EQ(found[0]->signature, 7u);
        cache.store({});
    }
    {
        // Met again after two weeks, it is due to be written anew as well as learned again.
        platform::DigestCache cache(path);
        cache.setToday(kDay + 110);
        const auto found = cache.lookUp({met, forgotten});
        EXPECT_TRUE(found[0]) << "met every month, it stays";
        EXPECT_FALSE(found[1]) << "not met since its first day, it went";
        cache.store({learned(met, 9)});
    }
    platform::DigestCache cache(path);
    cache.setToday(kDay + 150);
    const auto found = cache.lookUp({met});
    ASSERT_TRUE(found[0]);
    EXPECT_EQ(found[0]->signature, 9u) << "what was learned last wins";
}

// Over the cap, the entries met longest ago go first, with the others of their bucket.
TEST(DigestCacheAgeing, overTheCapTheLeastRecentlyMetGoFirst) {
    testing::TempTree home;
    const std::string path = home.path("digests.sqlite");
    using Key = platform::DigestCache::Key;
    // Inodes far enough apart to be kept in three buckets.
    const std::vector<Key> keys{{1, 10, 3000, 1, 2}, {1, 5000, 3000, 1, 2}, {1, 90000, 3000, 1, 2}};
    constexpr std::int64_t kDay = 20000;
    for (std::size_t k = 0; k < keys.size(); ++k) {
        platform::DigestCache cache(path);
        cache.setToday(kDay + static_cast<std::int64_t>(k));
        cache.setMostEntries(2);
        cache.lookUp({keys[k]});
        cache.store({{keys[k], {k + 1, false, {}}}});
    }
    platform::DigestCache cache(path);
    cache.setToday(kDay + 3);
    const auto found = cache.lookUp(keys);
    EXPECT_FALSE(found[0]) << "met first, it went first";
    ASSERT_TRUE(found[1]);
    ASSERT_TRUE(found[2]);
    EXPECT_EQ(found[2]->signature, 3u);
}

// Every search writes what it learned to the log; the log is copied into the file and cut
// once long, when the next search opens it, so that it does not grow with every search.
TEST(DigestCacheAgeing, theLogDoesNotGrowWithEverySearch) {
    testing::TempTree home;
    const std::string path = home.path("digests.sqlite");
    std::uintmax_t oneSearch = 0;
    std::uintmax_t longest = 0;
    constexpr int kRounds = 12;
    for (std::uint64_t round = 0; round < kRounds; ++round) {
        std::vector<platform::DigestCache::Learned> learned;
        for (std::uint64_t i = 0; i < 100'000; ++i) {
            learned.push_back({{1, round * 1'000'000 + i, 3000 + i % 7, 1, 2}, {i, false, {}}});
        }
        platform::DigestCache cache(path);
        cache.lookUp({learned.front().key});
        cache.store(std::move(learned));
        const std::uintmax_t log = fs::file_size(path + "-wal");
        if (round == 0) oneSearch = log;
        longest = std::max(longest, log);
    }
    // A search copies the log into the file once it is past 4 MB, so it never holds more than
    // that and one search's, where all of them together would hold far more.
    const std::uintmax_t most = (4u << 20) + oneSearch + (oneSearch >> 2);
    ASSERT_GT(kRounds * oneSearch, 2 * most);
    EXPECT_LT(longest, most);
}

// A search gathers and sorts only the keys whose bucket the file may hold: every key with an
// entry gets through, on every device, and most of those that cannot have one do not.
TEST(DigestCacheLookUp, onlyKeysInBucketsTheFileHoldsAreLookedUp) {
    testing::TempTree home;
    const std::string path = home.path("digests.sqlite");
    using Key = platform::DigestCache::Key;
    std::mt19937_64 random(7);
    std::vector<platform::DigestCache::Learned> learned;
    for (std::uint64_t i = 0; i < 3000; ++i) {
        // One device whose number SQLite sorts below the others; inodes in buckets far apart.
        const std::uint64_t device = i % 3 == 0 ? 0x8000000000000001ULL : 2049 + i % 2;
        learned.push_back({{device, random() >> 24, 3000, 1, 2}, {i, false, {}}});
    }
    std::vector<Key> keys;
    for (const auto& item : learned) keys.push_back(item.key);
    {
        platform::DigestCache cache(path);
        cache.store(learned);
    }
    testing::ConsoleCollector console;
    platform::DigestCache cache(path);
    ASSERT_TRUE(cache.holdsEntries());
    for (const Key& key : keys) ASSERT_TRUE(cache.mayHold(key));
    int through = 0;
    for (int i = 0; i < 10000; ++i) through += cache.mayHold({2049, random() >> 24, 3000, 1, 2});
    EXPECT_LT(through, 2500) << "a filter that lets most through saves nothing";
    const auto found = cache.lookUp(keys);
    for (std::size_t k = 0; k < keys.size(); ++k) {
        ASSERT_TRUE(found[k]) << k;
        EXPECT_EQ(found[k]->signature, learned[k].facts.signature);
    }
    // Begun and given no keys, the look-up still ends: the next write is not held up by it.
    const Key added{2049, 1, 3000, 1, 2};
    ASSERT_TRUE(cache.holdsEntries());
    EXPECT_TRUE(cache.lookUp({}).empty());
    cache.store({{added, {99, false, {}}}});
    const auto again = cache.lookUp({added});
    ASSERT_TRUE(again[0]);
    EXPECT_EQ(again[0]->signature, 99u);
    EXPECT_TRUE(console.lines().empty());
}

// Inodes past 2^56 (some file systems give out 64-bit numbers) cannot share one sort number with
// their device: their entries are ordered by comparing keys, and still land in their own
// buckets, one per inode, beside ordinary ones.
TEST(DigestCacheWrite, inodesPast2To56AreKeptInTheirBucketsLikeAnyOther) {
    testing::TempTree home;
    const std::string path = home.path("digests.sqlite");
    constexpr std::uint64_t kHigh = 1ULL << 60;
    std::vector<platform::DigestCache::Learned> learned;
    for (std::uint64_t i = 0; i < 2000; ++i) {
        const std::uint64_t inode = i % 2 == 0 ? kHigh + i * 7 : 100 + i * 5;
        learned.push_back({{2049 + i % 3, inode, 3000, 1, 2}, {i, i % 4 == 0, {}}});
    }
    platform::DigestCache::LearnedLists lists(2);
    lists[0].assign(learned.begin(), learned.begin() + 900);
    lists[1].assign(learned.begin() + 900, learned.end());
    // A link and its target: the same file learned twice, in both lists.
    lists[1].push_back(learned[4]);
    testing::ConsoleCollector console;
    {
        platform::DigestCache cache(path);
        cache.storeInBackground(std::move(lists));
        cache.waitForStore();
    }
    std::vector<platform::DigestCache::Key> keys;
    for (const auto& item : learned) keys.push_back(item.key);
    platform::DigestCache cache(path);
    const auto found = cache.lookUp(keys);
    for (std::size_t k = 0; k < keys.size(); ++k) {
        ASSERT_TRUE(found[k]) << k;
        EXPECT_EQ(found[k]->signature, learned[k].facts.signature) << k;
        EXPECT_EQ(found[k]->hasMd5, learned[k].facts.hasMd5) << k;
    }
    EXPECT_TRUE(console.lines().empty());
}

}  // namespace
// The write goes on while the search shows its results: a search of the same process that
// starts meanwhile finds what it wrote rather than learn it all again (and find the cache busy
// when it writes what it learned).
TEST(DigestCacheWrite, aLookUpWaitsForAWriteGoingOnInTheBackground) {
    testing::TempTree home;
    const std::string path = home.path("digests.sqlite");
    std::vector<platform::DigestCache::Learned> learned;
    std::vector<platform::DigestCache::Key> keys;
    for (std::uint64_t i = 0; i < 200'000; ++i) {
        learned.push_back({{1, i * 3, 3000, 1, 2}, {i, false, {}}});
        keys.push_back(learned.back().key);
    }
    testing::ConsoleCollector console;
    platform::DigestCache first(path);
    first.lookUp({keys.front()});
    // In the lists a search's threads hand over: uneven, one of them empty.
    platform::DigestCache::LearnedLists lists(3);
    lists[0].assign(learned.begin() + 70'000, learned.end());
    lists[2].assign(learned.begin(), learned.begin() + 70'000);
    first.storeInBackground(std::move(lists));
    platform::DigestCache next(path);
    const auto found = next.lookUp(keys);
    EXPECT_EQ(std::count_if(found.begin(), found.end(), [](const auto& facts) { return facts; }),
              200'000);
    first.waitForStore();
    EXPECT_TRUE(console.lines().empty());
}

}  // namespace kelvora
