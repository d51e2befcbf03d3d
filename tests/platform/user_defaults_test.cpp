// The user-defaults store on real files.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/UserDefaults.h"
#include "support/TempTree.h"

namespace kelvora::platform {
namespace {

TEST(UserDefaults, keepsValuesThroughTheFileOnceSynchronized) {
    testing::TempTree tree;
    const std::string path = tree.path("config/kelvora/defaults.ini");
    UserDefaults defaults(path);
    EXPECT_EQ(defaults.stringForKey("ShowRateMessage"), std::nullopt);
    defaults.setString("ShowRateMessage", "Yes");
    EXPECT_EQ(defaults.stringForKey("ShowRateMessage"), "Yes");
    EXPECT_EQ(UserDefaults(path).stringForKey("ShowRateMessage"), std::nullopt);
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_EQ(UserDefaults(path).stringForKey("ShowRateMessage"), "Yes");

    const std::string awkward = "two\nlines = [x] \\ caf\u00e9 ";
    UserDefaults other(path);
    other.setString("Note", awkward);
    ASSERT_TRUE(other.synchronize());
    defaults.setString("ShowRateMessage", "No");
    ASSERT_TRUE(defaults.synchronize());  // rereads the file, so the other value survives
    const UserDefaults reread(path);
    EXPECT_EQ(reread.stringForKey("ShowRateMessage"), "No");
    EXPECT_EQ(reread.stringForKey("Note"), awkward);
}

TEST(UserDefaults, readsAMissingOrDamagedFileAsEmptyAndWritesOverIt) {
    testing::TempTree tree;
    static constexpr char binary[] = "[Kelvora]\nShowRateMessage=Yes\n\xff\xfe\0\x01";
    const std::string damaged[] = {"no group line\nShowRateMessage=Yes\n",
                                   std::string(binary, sizeof binary - 1),
                                   "[Kelvora\nShowRateMessage=Yes\n"};
    for (const std::string& contents : damaged) {
        const std::string path = tree.createFile("defaults.ini", contents);
        UserDefaults defaults(path);
        EXPECT_EQ(defaults.stringForKey("ShowRateMessage"), std::nullopt) << contents;
        defaults.setString("ShowRateMessage", "No");
        ASSERT_TRUE(defaults.synchronize());
        EXPECT_EQ(UserDefaults(path).stringForKey("ShowRateMessage"), "No");
    }
    // A folder where the file belongs cannot be read or written.
    UserDefaults blocked(tree.createFolder("folder.ini"));
    EXPECT_EQ(blocked.stringForKey("ShowRateMessage"), std::nullopt);
    blocked.setString("ShowRateMessage", "Yes");
    EXPECT_FALSE(blocked.synchronize());
    EXPECT_EQ(blocked.stringForKey("ShowRateMessage"), "Yes");
}

}  // namespace
}  // namespace kelvora::platform
