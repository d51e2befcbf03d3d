// Sorting and grouping: which file heads a group, and what counts as a copy.
#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "engine/SizeSort.h"
#include "support/EngineHarness.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

using Paths = std::vector<std::string>;
using testing::relativePaths;

FileList recordsOfSizes(const std::vector<std::uint64_t>& sizes) {
    FileList list;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        list.push_back(std::make_shared<File>(std::to_string(i), "", sizes[i]));
    }
    return list;
}

std::string names(const FileList& list) {
    std::string out;
    for (const FilePtr& file : list) out += file->path + " ";
    return out;
}

// The quicksort as users have always had it: recursion into the left part first.
void leftFirstQuicksort(FileList& list, std::int64_t low, std::int64_t high) {
    while (low < high) {
        const std::uint64_t pivot = list[high]->size;
        std::int64_t s = low;
        for (std::int64_t k = low; k < high; ++k) {
            if (list[k]->size > pivot) std::swap(list[k], list[s++]);
        }
        std::swap(list[s], list[high]);
        leftFirstQuicksort(list, low, s - 1);
        low = s + 1;
    }
}

TEST(Sort, ordersEqualSizesAsTheLomutoQuicksortDoes) {
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    FileList three = recordsOfSizes({7, 7, 7});  // walked as A, B, C
    tools.sortBySizeDescending(three, 0, 2);
    EXPECT_EQ(names(three), "2 0 1 ");             // C, A, B
    FileList four = recordsOfSizes({5, 9, 5, 9});  // A, B, C, D
    tools.sortBySizeDescending(four, 0, 3);
    EXPECT_EQ(names(four), "3 1 0 2 ");  // D, B, A, C
}

TEST(Sort, boundedStackVersionGivesTheSameOrderOnListsWithManyTies) {
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::uint64_t> sizes(1 + random() % 400);
        const unsigned spread = 1 + random() % 20;
        for (auto& size : sizes) size = random() % spread;
        // Sorted parts are where the quicksort is slow and where shortcuts must not change it.
        if (round % 5 == 0) std::sort(sizes.begin(), sizes.end(), std::greater<>());
        if (round % 5 == 1) std::sort(sizes.begin(), sizes.end());
        if (round % 5 == 2) std::iota(sizes.begin(), sizes.end(), 1);
        if (round % 5 == 3)
            std::sort(sizes.begin(), sizes.begin() + sizes.size() / 2, std::greater<>());
        FileList ours = recordsOfSizes(sizes);
        FileList reference = recordsOfSizes(sizes);
        tools.sortBySizeDescending(ours, 0, static_cast<std::int64_t>(ours.size()) - 1);
        leftFirstQuicksort(reference, 0, static_cast<std::int64_t>(reference.size()) - 1);
        ASSERT_EQ(names(ours), names(reference)) << "round " << round;
    }
}

// Large lists are sorted on two threads; the order must be the one thread's, ties and all.
TEST(Sort, twoThreadsGiveTheOrderOfOne) {
    std::mt19937 random(11);
    struct Item {
        std::uint64_t size;
        std::uint32_t index;
        bool operator==(const Item&) const = default;
    };
    const auto sizeOf = [](const Item& item) { return item.size; };
    const auto never = [] { return false; };
    for (const unsigned spread : {1'000'000u, 20u, 3u}) {
        std::vector<Item> one(120'000);
        for (std::uint32_t i = 0; i < one.size(); ++i) one[i] = {random() % spread, i};
        if (spread == 3u) {
            std::sort(one.begin(), one.begin() + 60'000,
                      [](const Item& a, const Item& b) { return a.size > b.size; });
        }
        std::vector<Item> two = one;
        const auto high = static_cast<std::int64_t>(one.size()) - 1;
        sortBySizeDescending(one, 0, high, sizeOf, never);
        sortBySizeDescendingOnTwoThreads(two, 0, high, sizeOf, never);
        ASSERT_TRUE(one == two) << "spread " << spread;
    }
}

FileList search(testing::EngineHarness& engine, const std::string& folder,
                std::uint64_t minimum = 0, bool ignorePackages = true) {
    FileTools tools = engine.tools();
    return tools.findDuplicates({folder}, minimum, UINT64_MAX, ignorePackages, {});
}

TEST(Grouping, theFirstFileInSortedOrderHeadsItsGroup) {
    testing::TempTree tree;
    tree.createFile("a", "same!");
    tree.createFile("b", "diff!");
    tree.createFile("c", "same!");
    testing::EngineHarness engine;
    const FileList result = search(engine, tree.root());
    ASSERT_EQ(relativePaths(result, tree.root()), (Paths{"c", "b"}));
    ASSERT_EQ(result[0]->duplicates.size(), 1u);
    EXPECT_EQ(result[0]->duplicates[0].path, tree.path("a"));
    EXPECT_EQ(result[0]->duplicates[0].checkState, 0);
    EXPECT_EQ(result[0]->duplicates[0].date.size(), 17u);
    EXPECT_EQ(result[0]->MD5Hash.size(), 24u);
    EXPECT_TRUE(result[1]->duplicates.empty());
}

TEST(Grouping, largerGroupsComeFirstAndMembersFollowTheSortedOrder) {
    testing::TempTree tree;
    for (const char* name : {"p", "q", "r", "s"}) tree.createFilled(name, 300, 'k');
    tree.createFilled("big1", 900, 'b');
    tree.createFilled("big2", 900, 'b');
    testing::EngineHarness engine;
    const FileList result = search(engine, tree.root());
    // Walked big1 big2 p q r s; the sort puts big2 before big1 and s, p, q, r.
    ASSERT_EQ(relativePaths(result, tree.root()), (Paths{"big2", "s"}));
    EXPECT_EQ(result[0]->duplicates.size(), 1u);
    std::vector<std::string> members;
    for (const auto& member : result[1]->duplicates) members.push_back(member.path);
    EXPECT_EQ(members, (Paths{tree.path("p"), tree.path("q"), tree.path("r")}));
}

TEST(Grouping, filesFrom100MiBUpAreGroupedOnTheirSizeAlone) {
    testing::TempTree tree;
    tree.createSparse("at/one", kHashThreshold, 10, 'a');
    tree.createSparse("at/two", kHashThreshold, 20, 'b');
    tree.createSparse("below/one", kHashThreshold - 1, 10, 'a');
    tree.createSparse("below/two", kHashThreshold - 1, 20, 'b');
    testing::EngineHarness engine;
    const FileList at = search(engine, tree.path("at"));
    ASSERT_EQ(at.size(), 1u);
    EXPECT_EQ(at[0]->duplicates.size(), 1u);
    EXPECT_TRUE(at[0]->MD5Hash.empty()) << "never read";
    const FileList below = search(engine, tree.path("below"));
    ASSERT_EQ(below.size(), 2u);
    EXPECT_TRUE(below[0]->duplicates.empty() && below[1]->duplicates.empty());
}

TEST(Grouping, emptyUnreadableAndPackageFilesGroupByTheDigestOfNothing) {
    testing::TempTree tree;
    tree.createFile("empty/e1", "");
    tree.createFile("empty/e2", "");
    testing::EngineHarness engine;
    const FileList empties = search(engine, tree.path("empty"));
    ASSERT_EQ(empties.size(), 1u);
    EXPECT_EQ(empties[0]->MD5Hash, "1B2M2Y8AsgTpgAmY7PhCfg==");

    tree.createFilled("packages/One.app/x", 50, '1');
    tree.createFilled("packages/Two.app/y", 50, '2');
    const FileList packages = search(engine, tree.path("packages"), 0, false);
    ASSERT_EQ(packages.size(), 1u);
    EXPECT_EQ(packages[0]->duplicates.size(), 1u);

    tree.createFilled("locked/u1", 64, '1');
    tree.createFilled("locked/u2", 64, '2');
    ::chmod(tree.path("locked/u1").c_str(), 0);
    ::chmod(tree.path("locked/u2").c_str(), 0);
    EXPECT_TRUE(testing::runWithoutPrivileges([&] {
        testing::ConsoleCollector console;
        testing::EngineHarness unprivileged;
        const FileList locked = search(unprivileged, tree.path("locked"));
        return locked.size() == 1 && locked[0]->duplicates.size() == 1 &&
               console.lines().size() == 2 &&
               console.anyStartsWith("Ooops! Something went wrong: ");
    }));
}

TEST(Grouping, aSingleFileIsReturnedAloneWithoutComparing) {
    testing::TempTree tree;
    tree.createFile("only", "x");
    testing::EngineHarness engine;
    const FileList result = search(engine, tree.root());
    ASSERT_EQ(result.size(), 1u);
    EXPECT_TRUE(result[0]->duplicates.empty());
    for (const auto& [total, checked] : engine.progress()) EXPECT_EQ(checked, 0);
}

}  // namespace
}  // namespace kelvora
