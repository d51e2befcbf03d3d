// Mounts that show other folders' data: read from mountinfo text as the kernel writes it, and
// from a real overlay where this machine lets the test mount one.
#include <gtest/gtest.h>

#include <fstream>

#include "platform/MountTable.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

// Escapes as the kernel writes them: \040 a space, \134 a backslash (overlay's own escape
// of the ':' that follows), \054 a comma inside an option.
constexpr const char* kMountinfo =
    "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
    "30 22 0:40 / /merged rw,relatime shared:2 - overlay overlay "
    "rw,lowerdir=/layers/with\\134:colon:/layers/with\\040space:/layers/plain,"
    "upperdir=/layers/up\\054per,workdir=/layers/work,uuid=on\n"
    "31 30 8:33 / /merged/inner rw - ext4 /dev/sdc1 rw\n"
    "32 22 0:41 / /mnt/my\\040photos rw,nosuid - fuse.bindfs /srv/photos rw,user_id=0\n"
    "33 22 0:42 / /mnt/again rw,nosuid - fuse.bindfs /srv/photos rw,user_id=0\n"
    "34 22 8:17 / /data rw - ext4 /dev/sdb1 rw\n"
    "35 22 0:43 / /pool rw - fuse.mergerfs /disks/one:/disks/two=RW rw,user_id=0\n"
    "36 22 0:44 / /pool2 rw - fuse.mergerfs one:two rw,user_id=0\n";

TEST(MountTable, tellsLayersAndSourcesFromUnrelatedFolders) {
    const auto table = platform::MountTable::parse(kMountinfo);
    struct Case {
        const char* first;
        const char* second;
        bool mayShare;
    };
    const Case cases[] = {
        {"/merged/a.txt", "/layers/with:colon/a.txt", true},
        {"/layers/with space/b/c.txt", "/merged/b/c.txt", true},
        {"/merged/a.txt", "/layers/plain/a.txt", true},
        {"/layers/up,per/a.txt", "/merged/a.txt", true},
        {"/mnt/my photos/2020/a.jpg", "/srv/photos/2020/a.jpg", true},
        {"/mnt/my photos/a.jpg", "/mnt/again/a.jpg", true},
        {"/pool/x.mkv", "/disks/two/x.mkv", true},
        {"/pool2/x.mkv", "/data/x.mkv", true},
        {"/merged/a.txt", "/data/a.txt", false},
        {"/merged/inner/a.txt", "/layers/plain/a.txt", false},
        {"/merged/a.txt", "/layers/work/a.txt", false},
        {"/merged/a.txt", "/layers/plainer/a.txt", false},
        {"/mnt/my photos/a.jpg", "/srv/photos-old/a.jpg", false},
        {"/data/a.jpg", "/srv/photos/a.jpg", false},
        {"/pool2/a.mkv", "/pool2/b.mkv", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(table.mayShareData(c.first, c.second), c.mayShare) << c.first << " " << c.second;
        EXPECT_EQ(table.mayShareData(c.second, c.first), c.mayShare) << c.second << " " << c.first;
    }
}

TEST(MountTable, findsTheLayerOfARealOverlay) {
    testing::TempTree tree;
    const std::string lower = tree.createFolder("low:er 1");
    tree.createFile("low:er 1/file.txt", "data");
    const std::string other = tree.createFile("other/file.txt", "data");
    const std::string merged = tree.createFolder("merged");
    const std::string options = "lowerdir=" + tree.root() +
                                "/low\\:er 1,upperdir=" + tree.createFolder("upper") +
                                ",workdir=" + tree.createFolder("work");
    const testing::ScopedMount overlay("overlay", merged, options);
    if (!overlay.mounted()) GTEST_SKIP() << overlay.refusal();
    ASSERT_TRUE(std::ifstream(merged + "/file.txt").good());

    const auto table = platform::MountTable::current();
    EXPECT_TRUE(table.mayShareData(merged + "/file.txt", lower + "/file.txt"));
    EXPECT_FALSE(table.mayShareData(merged + "/file.txt", other));
}

}  // namespace
}  // namespace kelvora
