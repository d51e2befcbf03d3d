// The two location tables as functions of the path.
#include <gtest/gtest.h>

#include "platform/Locations.h"

namespace kelvora::platform {
namespace {

TEST(MacLocations, scanUsersApplicationsAndVolumesButNotAUsersOwnLibrary) {
    const LocationTable table = LocationTable::macOS();
    EXPECT_TRUE(table.allows("/Users/me/Pictures"));
    EXPECT_TRUE(table.allows("/Users"));
    EXPECT_TRUE(table.allows("/Applications/Tool.app"));
    EXPECT_TRUE(table.allows("/Volumes/Backup/Users/me/Library"));
    EXPECT_TRUE(table.allows("/Users/me/Library/Caches"));  // inside it, if chosen directly
    EXPECT_TRUE(table.allows("/Usersfoo"));                 // a plain prefix, as it always was
    EXPECT_FALSE(table.allows("/Users/me/Library"));
    EXPECT_FALSE(table.allows("/Library"));
    EXPECT_FALSE(table.allows("/System/Library"));
    EXPECT_FALSE(table.allows("/private/tmp"));
}

TEST(MacLocations, canBeRootedInAnotherFolder) {
    const LocationTable table = LocationTable::macOS("/tmp/root");
    EXPECT_TRUE(table.allows("/tmp/root/Users/me/a.jpg"));
    EXPECT_FALSE(table.allows("/tmp/root/Users/me/Library"));
    EXPECT_FALSE(table.allows("/Users/me/a.jpg"));
}

TEST(LinuxLocations, scanUserDataEverywhereButTheSystemTrees) {
    const LocationTable table = LocationTable::linux();
    for (const char* allowed :
         {"/home/me/a.jpg", "/tmp/x", "/media/usb", "/mnt/disk", "/srv/data", "/opt/photos",
          "/data/archive", "/root/Pictures", "/run", "/run/media/me/USB/a.jpg", "/home/me/usr/lib",
          "/var", "/var/home/me/a.jpg", "/var/mnt/disk", "/var/roothome/x"}) {
        EXPECT_TRUE(table.allows(allowed)) << allowed;
    }
    for (const char* denied :
         {"/proc", "/proc/1/fd", "/sys/kernel", "/dev/sda", "/run/user/1000", "/boot/vmlinuz",
          "/etc/passwd", "/usr/share", "/bin", "/sbin/init", "/lib", "/lib64/ld.so", "/libx32",
          "/var/log", "/var/lib/x", "/var/homework", "/snap/core", "/lost+found"}) {
        EXPECT_FALSE(table.allows(denied)) << denied;
    }
}

TEST(LinuxLocations, rootedTableDeniesOnlyInsideItsRoot) {
    const LocationTable table = LocationTable::linux("/tmp/t");
    EXPECT_FALSE(table.allows("/tmp/t/proc/self"));
    EXPECT_FALSE(table.allows("/tmp/t/usr"));
    EXPECT_TRUE(table.allows("/tmp/t/home/a"));
    EXPECT_TRUE(table.allows("/tmp/tusr"));
    EXPECT_TRUE(table.allows("/usr/share"));  // outside the rooted tree
}

}  // namespace
}  // namespace kelvora::platform
