// The platform layer: digests, file-system helpers, notifications and queues.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "platform/FileSystem.h"
#include "platform/Md5.h"
#include "platform/NotificationCenter.h"
#include "platform/Queues.h"
#include "platform/ReadMeter.h"
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

    // Every byte hashed reaches the meter that the progress window watches, the last
    // mebibyte's odd end included.
    const std::uint64_t before = contentsReadMeter().load();
    ASSERT_TRUE(md5OfFile(tree.createFilled("meter", (5 << 20) + 3)));
    EXPECT_EQ(contentsReadMeter().load() - before, (5u << 20) + 3);
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

std::string systemRealPath(const std::string& path) {
    char* resolved = ::realpath(path.c_str(), nullptr);
    std::string out =
        resolved != nullptr ? resolved : "(" + std::string(std::strerror(errno)) + ")";
    std::free(resolved);
    return out;
}

std::string ourRealPath(const std::string& path) {
    std::string resolved;
    const int error = realPath(path, resolved);
    return error == 0 ? resolved : "(" + std::string(std::strerror(error)) + ")";
}

TEST(FileSystem, realPathResolvesAsTheSystemDoes) {
    testing::TempTree tree;
    tree.createFile("a/b/file", "f");
    tree.createSymlink("a/up", "..");
    tree.createSymlink("a/abs", tree.path("a/b"));
    tree.createSymlink("a/rel-file", "b/file");
    tree.createSymlink("a/chain", "abs/../up/a/rel-file");
    tree.createSymlink("loop1", "loop2");
    tree.createSymlink("loop2", "loop1");
    tree.createSymlink("dangling", "missing");
    for (const char* relative :
         {"a/b/file", "a/./b//file", "a/b/", "a/up/a/b", "a/abs/file", "a/abs/../b", "a/rel-file",
          "a/chain", "loop1", "dangling", "a/b/file/x", "a/missing/x"}) {
        EXPECT_EQ(ourRealPath(tree.path(relative)), systemRealPath(tree.path(relative)))
            << relative;
    }
    EXPECT_EQ(ourRealPath("/"), "/");
    EXPECT_EQ(ourRealPath("/.."), "/");
    EXPECT_EQ(ourRealPath(""), systemRealPath(""));
    // Relative paths start from the working directory.
    const std::string before = systemRealPath(".");
    ASSERT_EQ(::chdir(tree.path("a").c_str()), 0);
    const std::string relative = ourRealPath("abs/file");
    const std::string dot = ourRealPath(".");
    ASSERT_EQ(::chdir(before.c_str()), 0);
    EXPECT_EQ(relative, tree.path("a/b/file"));
    EXPECT_EQ(dot, tree.path("a"));
}

TEST(FileSystem, realPathResolvesPathsPastTheSystemLimit) {
    testing::TempTree tree;
    tree.createFile("target/file", "t");
    // 250 levels of 20-character names: past PATH_MAX, so no single call takes the path.
    std::string deep = tree.root();
    int folder = ::open(tree.root().c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < 250; ++level) {
        const std::string name = "folder-with-long-nm" + std::to_string(level % 10);
        ASSERT_EQ(::mkdirat(folder, name.c_str(), 0755), 0);
        const int next = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = next;
        deep += "/" + name;
    }
    ASSERT_EQ(::symlinkat(tree.path("target").c_str(), folder, "out"), 0);
    ASSERT_EQ(::symlinkat("../..", folder, "up"), 0);
    ::close(folder);
    ASSERT_GT(deep.size(), static_cast<std::size_t>(PATH_MAX));
    EXPECT_EQ(ourRealPath(deep), deep);
    EXPECT_EQ(ourRealPath(deep + "/out/file"), tree.path("target/file"));
    EXPECT_EQ(ourRealPath(deep + "/up"), deep.substr(0, deep.rfind('/', deep.rfind('/') - 1)));
}

TEST(FileSystem, attributesCarryTheChangeTime) {
    testing::TempTree tree;
    const std::string file = tree.createFile("f", "contents");
    ASSERT_EQ(::chmod(file.c_str(), 0600), 0);  // moves the change time only
    struct stat st {};
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    const std::int64_t changed =
        std::int64_t{st.st_ctim.tv_sec} * 1'000'000'000 + st.st_ctim.tv_nsec;
    ASSERT_NE(changed, 0);
    EXPECT_EQ(itemAttributes(file)->changedNanoseconds, changed);
    EXPECT_EQ(followedAttributes(tree.createSymlink("link", file))->changedNanoseconds, changed);
    const auto opened = openPath(file, O_RDONLY);
    ASSERT_TRUE(opened);
    EXPECT_EQ(attributesOf(opened->get(), file)->changedNanoseconds, changed);
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
