// Cleanings taken back from their journals: real files, the real trash of a temporary home.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "engine/FileTools.h"
#include "platform/FileSystem.h"
#include "results/CleaningJournal.h"
#include "results/Undo.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;
using testing::TempTree;

// Read through descriptors: some paths here are longer than one system call takes.
std::string contentsOf(const std::string& path) {
    auto file = platform::openPath(path, O_RDONLY);
    if (!file) return "(missing)";
    std::string text(1 << 16, '\0');
    const ssize_t got = ::read(file->get(), text.data(), text.size());
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

std::int64_t modifiedOf(const std::string& path) {
    const platform::PathLocation location(path);
    struct stat st;
    if (location.error() != 0 ||
        ::fstatat(location.folder(), location.name(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        return -1;
    return st.st_mtim.tv_sec * 1'000'000'000 + st.st_mtim.tv_nsec;
}

// A file below folders whose path together is longer than the system's limit.
std::string createDeepFile(const std::string& root, const std::string& contents) {
    std::string path = root;
    int folder = ::open(root.c_str(), O_RDONLY | O_DIRECTORY);
    const std::string name(200, 'd');
    for (int level = 0; level < 25; ++level) {
        ::mkdirat(folder, name.c_str(), 0755);
        const int next = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = next;
        path += "/" + name;
    }
    const int file = ::openat(folder, "long.bin", O_WRONLY | O_CREAT, 0644);
    const bool written =
        ::write(file, contents.data(), contents.size()) == static_cast<ssize_t>(contents.size());
    ::close(file);
    ::close(folder);
    return written ? path + "/long.bin" : "";
}

FilePtr groupOf(const std::vector<std::string>& paths) {
    auto group = std::make_shared<File>(paths[0], "", 0);
    for (const std::string& path : paths) {
        DuplicateFile& member = group->duplicates.emplace_back(path, "");
        member.stamp = *FileTools::currentStamp(path);
        member.checkState = path == paths[0] ? 0 : 1;
    }
    return group;
}

JournalRecord newestJournal() {
    const auto history = cleaningHistory();
    EXPECT_FALSE(history.empty());
    return history.empty() ? JournalRecord{} : history.front();
}

TEST(Undo, putsEveryTrashedCopyBackWithItsBytesAndDatesAndSaysWhatItCannot) {
    TempTree tree;
    std::vector<std::string> paths;
    for (const char* name : {"a/keep.bin", "a/one.bin", "b/raw\xff\nname.bin"})
        paths.push_back(tree.createFilled(name, 3000, 'u'));
    paths.push_back(createDeepFile(tree.createFolder("deep"), std::string(3000, 'u')));
    ASSERT_GT(paths.back().size(), std::size_t{PATH_MAX});
    for (const char* name : {"c/taken.bin", "c/emptied.bin", "c/changed.bin"})
        paths.push_back(tree.createFilled(name, 3000, 'u'));
    const FilePtr group = groupOf(paths);
    std::vector<std::int64_t> dates;
    for (const std::string& path : paths) dates.push_back(modifiedOf(path));
    // One copy the cleaning keeps back: it changed since the search.
    tree.createFilled("c/changed.bin", 3000, 'X');

    SettingsManager settings;
    settings.duplicateFileList = {group};
    const CleanReport cleaned = removeSelectedCopies(settings, {group});
    ASSERT_EQ(cleaned.removed.size(), 5u);
    ASSERT_EQ(cleaned.kept.size(), 1u);
    for (std::size_t i = 1; i < 6; ++i) ASSERT_EQ(modifiedOf(paths[i]), -1) << i;
    fs::remove_all(tree.path("b"));  // its folder is gone too
    tree.createFile("c/taken.bin", "something else now");
    const JournalRecord record = newestJournal();
    for (const JournalCopy& copy : record.copies) {
        if (copy.path == paths[5]) fs::remove(copy.trashed.trashedPath);  // the trash emptied
    }
    EXPECT_EQ(restorableCopies(record), 4u);

    const UndoReport report = undoCleaning(record);
    EXPECT_EQ(report.restored, (std::vector<std::string>{paths[1], paths[2], paths[3]}));
    ASSERT_EQ(report.left.size(), 2u);
    EXPECT_EQ(report.left[0].path, paths[4]);
    EXPECT_EQ(report.left[0].reason, "its place is taken; it stays in the trash");
    EXPECT_EQ(report.left[1].path, paths[5]);
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(contentsOf(paths[i]), std::string(3000, 'u')) << paths[i];
        EXPECT_EQ(modifiedOf(paths[i]), dates[i]) << paths[i];
    }
    EXPECT_EQ(contentsOf(paths[4]), "something else now");

    // Twice is harmless: what came back is in place, the rest is as it was.
    const UndoReport again = undoCleaning(newestJournal());
    EXPECT_TRUE(again.restored.empty());
    EXPECT_EQ(again.alreadyInPlace, (std::vector<std::string>{paths[1], paths[2], paths[3]}));
    EXPECT_EQ(again.left.size(), 2u);
}

TEST(Undo, copiesDeletedForGoodAreSaidSoAndADamagedJournalIsSetAside) {
    TempTree tree;
    const std::string stays = tree.createFilled("x/a", 100, 'd');
    const std::string goes = tree.createFilled("x/b", 100, 'd');
    const FilePtr group = groupOf({stays, goes});
    SettingsManager settings;
    settings.moveToTrash = false;
    settings.duplicateFileList = {group};
    ASSERT_EQ(removeSelectedCopies(settings, {group}).removed.size(), 1u);
    const UndoReport report = undoCleaning(newestJournal());
    EXPECT_EQ(report.deletedForGood, std::vector<std::string>{goes});
    EXPECT_FALSE(report.complete());

    std::ofstream(cleaningsFolder() + "/99999999-999999-1.jsonl") << "not a journal\n";
    std::vector<std::string> skipped;
    const auto history = cleaningHistory(&skipped);
    ASSERT_EQ(skipped.size(), 1u);
    EXPECT_NE(skipped[0].find("not a cleaning journal"), std::string::npos);
    EXPECT_FALSE(history.empty());
}

TEST(Undo, aJournalThatCannotBeWrittenStopsTheCleaningBeforeAnythingMoves) {
    TempTree tree;
    const std::string goes = tree.createFilled("y/b", 100, 'j');
    const FilePtr group = groupOf({tree.createFilled("y/a", 100, 'j'), goes});
    const std::string folder = cleaningsFolder();
    fs::create_directories(folder);
    fs::rename(folder, folder + ".aside");
    std::ofstream(folder) << "a file where the folder belongs";
    SettingsManager settings;
    settings.duplicateFileList = {group};
    const CleanReport report = removeSelectedCopies(settings, {group});
    fs::remove(folder);
    fs::rename(folder + ".aside", folder);
    EXPECT_EQ(report.outcome, CleanOutcome::Refused);
    EXPECT_NE(report.stopReason.find("journal"), std::string::npos);
    EXPECT_TRUE(fs::exists(goes));
    EXPECT_EQ(group->duplicates.size(), 2u);
}

}  // namespace
}  // namespace kelvora
