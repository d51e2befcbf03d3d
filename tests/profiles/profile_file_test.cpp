// Profile files on disk, and what a loaded profile does to the shared settings.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "profiles/ProfileFile.h"
#include "profiles/ProfileText.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Lines names(const std::string& folder) {
    Lines found;
    for (const auto& entry : fs::directory_iterator(folder))
        found.push_back(entry.path().filename());
    std::sort(found.begin(), found.end());
    return found;
}

const Profile kAwkward{
    {"JPG", "jpg", "", "tar.gz", "\u00FC"}, 0, UINT64_MAX, 1.0f / 3, -0.0f, 0, 1, 0, -1, INT64_MIN};

TEST(ProfileFile, savesAndLoadsBackEveryValueBitForBit) {
    testing::TempTree tree;
    const std::string path = tree.path("a.kvr");
    ASSERT_EQ(saveProfile(path, kAwkward), std::nullopt);
    EXPECT_EQ(contents(path), profileText(kAwkward));
    const auto loaded = loadProfile(path);
    ASSERT_TRUE(loaded) << loaded.error();
    EXPECT_EQ(*loaded, kAwkward);
    EXPECT_TRUE(std::signbit(loaded->sliderMaximumFileSize));
    EXPECT_EQ(names(tree.root()), Lines{"a.kvr"});

    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(fs::status(path).permissions(), static_cast<fs::perms>(0666 & ~mask));
}

TEST(ProfileFile, replacesTheOldFileWholeAndKeepsItsPermissionsAndLinks) {
    testing::TempTree tree;
    const std::string path = tree.createFile("p.kvr", std::string(500, 'x'));
    ::chmod(path.c_str(), 0640);
    ASSERT_EQ(saveProfile(path, Profile{}), std::nullopt);
    EXPECT_EQ(contents(path), profileText(Profile{}));
    EXPECT_EQ(fs::status(path).permissions(), static_cast<fs::perms>(0640));

    const std::string link = tree.createSymlink("link.kvr", path);
    ASSERT_EQ(saveProfile(link, kAwkward), std::nullopt);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(contents(path), profileText(kAwkward));
    EXPECT_EQ(names(tree.root()), (Lines{"link.kvr", "p.kvr"}));
}

TEST(ProfileFile, aFailedSaveLeavesTheOldFileAndNothingBesideIt) {
    testing::TempTree tree;
    const std::string old = profileText(Profile{});
    const std::string path = tree.createFile("p.kvr", old);

    // The disk fills up halfway through the write; root is held to this limit too.
    rlimit saved{};
    ::getrlimit(RLIMIT_FSIZE, &saved);
    const rlimit full{8, saved.rlim_max};
    const auto previous = ::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &full);
    const std::optional<std::string> diskFull = saveProfile(path, kAwkward);
    ::setrlimit(RLIMIT_FSIZE, &saved);
    ::signal(SIGXFSZ, previous);
    EXPECT_NE(diskFull, std::nullopt);

    ::chmod(tree.root().c_str(), 0555);
    EXPECT_TRUE(
        testing::runWithoutPrivileges([&] { return saveProfile(path, kAwkward).has_value(); }));
    ::chmod(tree.root().c_str(), 0755);

    // Written in full, but the move over a folder fails.
    tree.createFolder("folder.kvr");
    EXPECT_NE(saveProfile(tree.path("folder.kvr"), kAwkward), std::nullopt);
    EXPECT_NE(saveProfile(path + "/inside.kvr", kAwkward), std::nullopt);

    // Profiles that would not read back are not written at all.
    Profile unreadable = kAwkward;
    unreadable.sliderMinimumFileSize = NAN;
    EXPECT_NE(saveProfile(path, unreadable), std::nullopt);
    for (const char* extension : {"a\nb", "a\u2028b", "\xFF"}) {
        unreadable = kAwkward;
        unreadable.listFileExtensions.push_back(extension);
        EXPECT_NE(saveProfile(path, unreadable), std::nullopt) << extension;
    }

    EXPECT_EQ(contents(path), old);
    EXPECT_EQ(names(tree.root()), (Lines{"folder.kvr", "p.kvr"}));
    EXPECT_TRUE(fs::is_empty(tree.path("folder.kvr")));
}

TEST(ProfileFile, aFileThatCannotBeReadWholeChangesNoSettings) {
    testing::TempTree tree;
    const std::string valid = profileText(kAwkward);
    SettingsManager settings;
    settings.listFileExtensions = {"keep"};
    const auto loadInto = [&settings](const std::string& path) {
        const auto profile = loadProfile(path);
        if (profile) applyProfile(*profile, settings);
        return static_cast<bool>(profile);
    };

    EXPECT_FALSE(loadInto(tree.path("missing.kvr")));
    EXPECT_FALSE(loadInto(tree.createFolder("folder.kvr")));
    ASSERT_EQ(::mkfifo(tree.path("pipe.kvr").c_str(), 0644), 0);
    EXPECT_FALSE(loadInto(tree.path("pipe.kvr")));  // and does not wait for a writer
    EXPECT_FALSE(loadInto(tree.createFile("short.kvr", valid.substr(0, valid.rfind('-')))));
    const std::string padded = valid + std::string(kMaximumProfileBytes - valid.size(), '\n');
    EXPECT_FALSE(loadInto(tree.createFile("huge.kvr", padded + "\n")));
    const std::string locked = tree.createFile("locked.kvr", valid);
    ::chmod(locked.c_str(), 0);
    EXPECT_TRUE(testing::runWithoutPrivileges([&] { return !loadProfile(locked); }));

    EXPECT_EQ(settings.listFileExtensions, Lines{"keep"});
    EXPECT_EQ(settings.minimumFileSize, 204800u);
    EXPECT_EQ(settings.maximumFileSize, 107374182400u);
    EXPECT_TRUE(!settings.customFileTypes && settings.moveToTrash && settings.ignorePackages);

    EXPECT_TRUE(loadInto(tree.createFile("largest.kvr", padded)));
    EXPECT_EQ(settings.listFileExtensions, kAwkward.listFileExtensions);
}

TEST(ApplyProfile, derivesTheFlagsAsTheWindowDoesAndLeavesTheFoldersAlone) {
    // scan all, custom, trash, ignore bundles -> customFileTypes, moveToTrash, ignorePackages
    // The last case leaves custom types, permanent removal and bundles searched.
    const std::array<std::int64_t, 7> cases[] = {{1, 0, 1, 1, 0, 1, 1},
                                                 {1, 1, 1, 1, 0, 1, 1},
                                                 {0, 1, 0, 0, 1, 0, 0},
                                                 {0, 0, 2, -1, 1, 0, 0}};
    SettingsManager settings;
    settings.listFolderPaths = {"/home/me"};
    for (const auto& c : cases) {
        const Profile profile{{"old"}, 1, 2, 0, 0, c[0], c[1], c[2], 0, c[3]};
        applyProfile(profile, settings);
        EXPECT_EQ(settings.customFileTypes, c[4] == 1) << c[0] << c[1];
        EXPECT_EQ(settings.moveToTrash, c[5] == 1) << c[2];
        EXPECT_EQ(settings.ignorePackages, c[6] == 1) << c[3];
    }
    EXPECT_EQ(settings.listFileExtensions, Lines{"old"});
    EXPECT_EQ(settings.listFolderPaths, Lines{"/home/me"});

    // The profile a writer makes of these settings restores them in full.
    settings.listFileExtensions = {"png", "PNG"};
    const Profile profile = profileFromSettings(settings, 0.0f, 9.0f);
    EXPECT_EQ(profileText(profile), "2\npng\nPNG\n1\n2\n0.0\n9.0\n0\n1\n0\n1\n0\n");
    SettingsManager restored;
    applyProfile(profile, restored);
    EXPECT_EQ(restored.listFileExtensions, settings.listFileExtensions);
    EXPECT_EQ(restored.minimumFileSize, 1u);
    EXPECT_EQ(restored.maximumFileSize, 2u);
    EXPECT_TRUE(restored.customFileTypes && !restored.moveToTrash && !restored.ignorePackages);
}

TEST(ProfileTitle, isTheFileNameWithoutItsLastFourCharacters) {
    EXPECT_EQ(profileTitle("/home/me/a.kvr"), "Kelvora - a");
    EXPECT_EQ(profileTitle("scans/my scans.kvr"), "Kelvora - my scans");
    EXPECT_EQ(profileTitle("/home/me/kvr"), "Kelvora - ");
    // An accent written as a combining mark is part of its letter's character.
    EXPECT_EQ(profileTitle("/home/me/abcde\u0301"), "Kelvora - a");
}

}  // namespace
}  // namespace kelvora
