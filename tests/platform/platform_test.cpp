// The platform layer: digests, notifications and queues.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "platform/Md5.h"
#include "platform/NotificationCenter.h"
#include "platform/Queues.h"
#include "support/TempTree.h"

namespace kelvora::platform {
namespace {

TEST(Md5, matchesTheKnownDigestsWhetherStreamedOrNot) {
    testing::TempTree tree;
    EXPECT_EQ(base64(md5OfBytes(nullptr, 0)), "1B2M2Y8AsgTpgAmY7PhCfg==");
    const auto abc = md5OfFile(tree.createFile("abc", "abc"));
    ASSERT_TRUE(abc);
    EXPECT_EQ(base64(*abc), "kAFQmDzST7DWlj99KOF/cg==");  // RFC 1321 test suite
    // Larger than the streaming buffer, with a boundary that falls mid-buffer.
    std::string big(3 * 256 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 31 % 251);
    const auto streamed = md5OfFile(tree.createFile("big", big));
    ASSERT_TRUE(streamed);
    EXPECT_EQ(*streamed, md5OfBytes(big.data(), big.size()));
}

TEST(Md5, refusesFoldersAndPipesWithoutBlocking) {
    testing::TempTree tree;
    EXPECT_FALSE(md5OfFile(tree.createFolder("folder")));
    ASSERT_EQ(::mkfifo(tree.path("pipe").c_str(), 0644), 0);
    const auto pipe = md5OfFile(tree.path("pipe"));
    EXPECT_FALSE(pipe);
    EXPECT_NE(pipe.error().find("not a regular file"), std::string::npos);
    EXPECT_FALSE(md5OfFile(tree.path("missing")));
}

TEST(NotificationCenter, deliversToObserversOfTheNameUntilTheyAreRemoved) {
    NotificationCenter center;
    std::vector<std::int64_t> seen;
    {
        ObserverRegistration progress(center, "UpdateProgress", [&](const UserInfo& info) {
            seen.push_back(info.at("totalFiles"));
        });
        ObserverRegistration other(center, "Other", [&](const UserInfo&) { seen.push_back(-1); });
        center.post("UpdateProgress", {{"totalFiles", 3}});
        center.post("UpdateProgress", {{"totalFiles", 4}});
    }
    center.post("UpdateProgress", {{"totalFiles", 5}});
    EXPECT_EQ(seen, (std::vector<std::int64_t>{3, 4}));
}

TEST(Queues, runLoopRunsTasksFromWorkersInOrderUntilQuit) {
    RunLoop loop;
    std::vector<int> order;
    WorkerPool pool(2);
    pool.async([&] {
        for (int i = 0; i < 100; ++i) loop.async([&order, i] { order.push_back(i); });
        loop.async([&] { loop.quit(); });
    });
    loop.run();
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(order[i], i);
}

}  // namespace
}  // namespace kelvora::platform
