// The search with hash threads and prefix checks gives exactly what the one-by-one search
// gives: the same groups, heads, member order, progress and console lines.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <random>

#include "support/EngineHarness.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

struct Outcome {
    std::vector<std::string> groups;  // head, then members, per returned file
    std::vector<std::pair<std::int64_t, std::int64_t>> progress;
    std::vector<std::string> console;
};

Outcome search(const std::string& root, unsigned threads) {
    testing::ConsoleCollector console;
    testing::EngineHarness engine;
    FileTools tools = engine.tools();
    tools.hashThreads = threads;
    Outcome outcome;
    for (const FilePtr& file : tools.findDuplicates({root}, 0, UINT64_MAX, true, {})) {
        std::string line = file->path + " <-";
        for (const DuplicateFile& member : file->duplicates) line += " " + member.path;
        outcome.groups.push_back(line);
    }
    outcome.progress = engine.progress();
    outcome.console = console.lines();
    return outcome;
}

// Sizes from a small set so that runs of equal sizes are long; contents that share their
// first bytes, their last bytes, or everything.
void buildRandomTree(testing::TempTree& tree, std::mt19937& random) {
    const std::size_t sizes[] = {0, 1, 100, 4096, 4097, 16384, 16385, 70000};
    std::vector<std::string> originals;
    const int files = 40 + static_cast<int>(random() % 60);
    for (int i = 0; i < files; ++i) {
        const std::size_t size = sizes[random() % std::size(sizes)];
        std::string contents(size, 'a');
        for (char& c : contents) c = static_cast<char>('a' + random() % 3);
        if (size > 10 && random() % 2 == 0) contents.replace(0, 10, "HEADERHEAD");
        const bool copy = !originals.empty() && random() % 3 == 0;
        const std::string& data = copy ? originals[random() % originals.size()] : contents;
        const std::string name = "d" + std::to_string(random() % 5) + "/f" + std::to_string(i);
        tree.createFile(name, data);
        if (!copy) originals.push_back(contents);
    }
    tree.createFolder("d0/empty-folder");
    tree.createSymlink("d1/pipe-like-link", tree.path("d0/missing"));
}

TEST(Equivalence, hashThreadsChangeNothingOnRandomTrees) {
    std::mt19937 random(20261123);
    for (int round = 0; round < 12; ++round) {
        testing::TempTree tree;
        buildRandomTree(tree, random);
        const Outcome reference = search(tree.root(), 0);
        for (unsigned threads : {1u, 2u, 3u}) {
            const Outcome fast = search(tree.root(), threads);
            ASSERT_EQ(fast.groups, reference.groups) << "round " << round << ", " << threads << " threads";
            ASSERT_EQ(fast.progress, reference.progress);
            ASSERT_EQ(fast.console, reference.console);
        }
    }
}

TEST(Equivalence, unreadableFilesAreReportedInTheSameOrder) {
    testing::TempTree tree;
    for (const char* name : {"a", "b", "c", "d"}) tree.createFilled(name, 20000, name[0]);
    tree.createFilled("e", 20000, 'a');
    ::chmod(tree.path("b").c_str(), 0);
    ::chmod(tree.path("d").c_str(), 0);
    EXPECT_TRUE(testing::runWithoutPrivileges([&] {
        const Outcome reference = search(tree.root(), 0);
        const Outcome fast = search(tree.root(), 2);
        return reference.console.size() == 2 && fast.groups == reference.groups &&
               fast.console == reference.console && fast.progress == reference.progress;
    }));
}

}  // namespace
}  // namespace kelvora
