// Keep oldest, keep newest and the custom keep rules (the tests run with TZ=America/New_York).
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <climits>

#include "core/Texts.h"
#include "engine/FileTools.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

using Members = std::vector<DuplicateFile>;

// A local date and time such as "2023-05-10 13:30".
Date local(const char* text) {
    const auto date = parseDate(text, "yyyy-MM-dd HH:mm");
    EXPECT_TRUE(date) << text;
    return date.value_or(Date{});
}

DuplicateFile memberAt(const char* name, const char* created) {
    return DuplicateFile(std::string("/photos/") + name, formatDate(local(created)));
}

void setModified(const std::string& path, Date date) {
    using namespace std::chrono;
    const auto ns = duration_cast<nanoseconds>(date.time_since_epoch()).count();
    const timespec time{static_cast<time_t>(ns / 1'000'000'000), 0};
    const timespec times[2] = {time, time};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

bool keepsBirthTimes(const std::string& path) {
    struct statx stx;
    return ::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &stx) == 0 &&
           (stx.stx_mask & STATX_BTIME) != 0;
}

TEST(KeepOldestAndNewest, readTheTwelveHourTextsSoAfternoonsCountAsMornings) {
    const FileTools tools;
    const Members members = {memberAt("a.jpg", "2023-05-10 11:00"),
                             memberAt("b.jpg", "2023-05-10 13:30"),
                             memberAt("c.jpg", "2023-05-09 23:00")};
    ASSERT_EQ(members[1].date, "23-05-10 01:30:00");
    // 13:30 reads as 01:30 and 23:00 of the day before as 11:00 of that day.
    EXPECT_EQ(&tools.oldestDuplicate(members), &members[2]);
    EXPECT_EQ(&tools.newestDuplicate(members), &members[0]);
    const Members sameDay(members.begin(), members.begin() + 2);
    EXPECT_EQ(&tools.oldestDuplicate(sameDay), &sameDay[1]);
    EXPECT_EQ(&tools.newestDuplicate(sameDay), &sameDay[0]);
}

TEST(KeepOldestAndNewest, keepTheEarlierMemberOnTiesAndTheOnlyMemberAlone) {
    const FileTools tools;
    const Members single = {memberAt("only.jpg", "2020-01-01 10:00")};
    EXPECT_EQ(&tools.oldestDuplicate(single), &single[0]);
    EXPECT_EQ(&tools.newestDuplicate(single), &single[0]);
    const Members ties = {memberAt("x.jpg", "2021-03-04 08:00"),
                          memberAt("y.jpg", "2021-03-04 08:00"),
                          memberAt("z.jpg", "2021-03-04 20:00")};  // reads as 08:00 too
    EXPECT_EQ(&tools.oldestDuplicate(ties), &ties[0]);
    EXPECT_EQ(&tools.newestDuplicate(ties), &ties[0]);
    const Members laterTie = {memberAt("x.jpg", "2019-01-01 08:00"),
                              memberAt("y.jpg", "2021-03-04 08:00"),
                              memberAt("z.jpg", "2021-03-04 08:00")};
    EXPECT_EQ(&tools.newestDuplicate(laterTie), &laterTie[1]);
}

TEST(KeepOldestAndNewest, passOverDateTextsThatDoNotRead) {
    const FileTools tools;
    const Members unreadableFirst = {DuplicateFile("/a", ""), memberAt("b", "2001-01-01 01:00"),
                                     memberAt("c", "2030-01-01 01:00")};
    EXPECT_EQ(&tools.oldestDuplicate(unreadableFirst), &unreadableFirst[0]);
    EXPECT_EQ(&tools.newestDuplicate(unreadableFirst), &unreadableFirst[0]);
    const Members unreadableMiddle = {memberAt("a", "2010-01-01 01:00"),
                                      DuplicateFile("/b", "23-05-10 01:30"),  // seconds missing
                                      DuplicateFile("/c", "not a date"),
                                      memberAt("d", "2005-01-01 01:00")};
    EXPECT_EQ(&tools.oldestDuplicate(unreadableMiddle), &unreadableMiddle[3]);
    EXPECT_EQ(&tools.newestDuplicate(unreadableMiddle), &unreadableMiddle[0]);
}

class CustomKeepRules : public ::testing::Test {
protected:
    bool matches(const std::string& path, std::uint64_t size = 1000,
                 const std::string& ext = "jpg") {
        return FileTools(settings).matchesCustomSettings(DuplicateFile(path, ""), size, ext);
    }
    void onlySizeRule(std::int64_t comparison, std::int64_t count, std::int64_t unit) {
        settings.firstFileSizeState = 1;
        settings.firstFileSizeComparisonItem = comparison;
        settings.firstFileSize = count;
        settings.firstFileSizeUnit = unit;
    }
    void firstDateRule(std::int64_t selected, std::int64_t comparison, Date reference) {
        settings.firstDateState = 1;
        settings.firstDateSelectedItem = selected;
        settings.firstDateComparisonItem = comparison;
        settings.firstDate = reference;
    }
    void folderRule(const std::string& folder, bool subfolders) {
        settings.customFilePathState = 1;
        settings.customFilePath = folder;
        settings.subfoldersState = subfolders ? 1 : 0;
    }

    testing::TempTree tree;
    SettingsManager settings;
};

TEST_F(CustomKeepRules, selectNothingWhenNoConditionTakesPartEvenWhenInverted) {
    EXPECT_FALSE(matches("/photos/a.jpg"));
    settings.matchState = 1;
    settings.customFilePathState = 2;  // only 1 switches a condition on
    settings.firstFileSizeState = -1;
    EXPECT_FALSE(matches("/photos/a.jpg"));
}

TEST_F(CustomKeepRules, sizesCountInPowersOf1024WithInclusiveBounds) {
    onlySizeRule(0, 200, 1);  // larger than 200 KB
    EXPECT_TRUE(matches("/a", 204800));
    EXPECT_FALSE(matches("/a", 204799));
    settings.firstFileSizeComparisonItem = 1;  // smaller
    EXPECT_TRUE(matches("/a", 204800));
    EXPECT_FALSE(matches("/a", 204801));
    const std::pair<std::int64_t, std::uint64_t> units[] = {
        {0, 100}, {2, 104857600}, {3, 107374182400ULL}, {7, 107374182400ULL}};
    for (const auto& [unit, bytes] : units) {
        onlySizeRule(0, 100, unit);
        EXPECT_TRUE(matches("/a", bytes)) << unit;
        EXPECT_FALSE(matches("/a", bytes - 1)) << unit;
    }
}

TEST_F(CustomKeepRules, sizeCountsOutsideTheWindowsRangeAreHeldNotWrappedRound) {
    onlySizeRule(0, -5, 1);  // larger than a negative size: every group
    EXPECT_TRUE(matches("/a", 1));
    onlySizeRule(0, INT64_C(1) << 34, 3);  // 2^64 bytes would wrap round to 0
    EXPECT_FALSE(matches("/a", 1099511627776ULL));
    settings.firstFileSizeComparisonItem = 1;
    EXPECT_TRUE(matches("/a", 1099511627776ULL));
}

TEST_F(CustomKeepRules, fileTypeIsTheGroupExtensionComparedExactly) {
    settings.customFileTypesState = 1;
    EXPECT_TRUE(matches("/a.png"));  // an empty list leaves the answer alone
    settings.matchState = 1;
    EXPECT_FALSE(matches("/a.png"));
    settings.matchState = 0;
    settings.customFileExtensions = {"png", ".jpg", "JPG", "jpg "};
    EXPECT_FALSE(matches("/a.jpg", 1000, "jpg"));
    EXPECT_TRUE(matches("/a.jpg", 1000, "png"));  // the group's ext, not the member's name
    settings.customFileExtensions = {"caf\u00e9"};
    EXPECT_TRUE(matches("/a", 1000, "cafe\u0301"));
    EXPECT_FALSE(matches("/a", 1000, "CAF\u00c9"));
}

TEST_F(CustomKeepRules, folderWithSubfoldersIsAPlainPrefixOfThePath) {
    folderRule("/a/b", true);
    EXPECT_TRUE(matches("/a/b/x.jpg"));
    EXPECT_TRUE(matches("/a/b/c/d/x.jpg"));
    EXPECT_TRUE(matches("/a/bc/x.jpg"));
    EXPECT_FALSE(matches("/a/x.jpg"));
    EXPECT_FALSE(matches("/A/b/x.jpg"));
    settings.matchState = 1;
    EXPECT_TRUE(matches("/a/x.jpg"));
    EXPECT_FALSE(matches("/a/b/x.jpg"));
}

TEST_F(CustomKeepRules, folderWithoutSubfoldersIsTheMembersOwnFolder) {
    folderRule("/a/b", false);
    EXPECT_TRUE(matches("/a/b/x.jpg"));
    EXPECT_FALSE(matches("/a/b/c/x.jpg"));
    EXPECT_FALSE(matches("/a/bc/x.jpg"));
    folderRule("/a/b/", false);  // the parent is written without a trailing separator
    EXPECT_FALSE(matches("/a/b/x.jpg"));
    folderRule("/", false);
    EXPECT_TRUE(matches("/x.jpg"));
    folderRule("", false);  // an empty folder selects nothing, or everything when inverted
    EXPECT_FALSE(matches("/x.jpg"));
    settings.matchState = 1;
    EXPECT_TRUE(matches("/x.jpg"));
}

TEST_F(CustomKeepRules, folderNamesMatchWhetherAccentsComeComposedOrNot) {
    const std::string composed = "/Photos/Caf\u00e9";
    const std::string decomposed = "/Photos/Cafe\u0301";
    for (const bool subfolders : {true, false}) {
        folderRule(composed, subfolders);
        EXPECT_TRUE(matches(decomposed + "/x.jpg")) << subfolders;
        EXPECT_TRUE(matches(composed + "/x.jpg")) << subfolders;
        folderRule(decomposed, subfolders);
        EXPECT_TRUE(matches(composed + "/x.jpg")) << subfolders;
        EXPECT_FALSE(matches("/Photos/CAF\u00c9/x.jpg")) << subfolders;
    }
    // The accent belongs to the e, so "Cafe" begins neither spelling of "Café".
    folderRule("/Photos/Cafe", true);
    EXPECT_FALSE(matches(decomposed + "/x.jpg"));
    EXPECT_FALSE(matches(composed + "/x.jpg"));
    EXPECT_TRUE(matches("/Photos/Cafes/x.jpg"));
}

TEST_F(CustomKeepRules, modificationDayIsTheStartOfTheLocalDay) {
    const std::string path = tree.createFile("a.jpg", "a");
    setModified(path, local("2023-05-10 09:00"));
    const auto day = FileTools(settings).modificationDay(DuplicateFile(path, ""));
    ASSERT_TRUE(day);
    EXPECT_EQ(*day, local("2023-05-10 00:00"));
    // The reference keeps its time of day: a file of that day is earlier than 14:00.
    firstDateRule(1, 0, local("2023-05-10 14:00"));
    EXPECT_TRUE(matches(path));
    settings.firstDateComparisonItem = 1;
    EXPECT_FALSE(matches(path));
    settings.firstDate = local("2023-05-10 00:00");
    EXPECT_TRUE(matches(path));
    settings.firstDateComparisonItem = 0;
    EXPECT_TRUE(matches(path));
    settings.firstDate = local("2023-05-09 23:59");
    EXPECT_FALSE(matches(path));
}

TEST_F(CustomKeepRules, twoDigitYearsArePlacedAgainByTheYearWindow) {
    const std::string path = tree.createFile("old.jpg", "a");
    setModified(path, local("1930-06-15 12:00"));
    const auto day = FileTools(settings).modificationDay(DuplicateFile(path, ""));
    ASSERT_TRUE(day);
    EXPECT_EQ(*day, local("2030-06-15 00:00"));
}

TEST_F(CustomKeepRules, creationAndModificationDatesAreToldApart) {
    const std::string path = tree.createFile("a.jpg", "a");
    setModified(path, local("2001-01-01 12:00"));
    firstDateRule(1, 1, local("2020-01-01 00:00"));  // modified later than 2020
    EXPECT_FALSE(matches(path));
    if (!keepsBirthTimes(path)) GTEST_SKIP() << "this file system keeps no birth times";
    settings.firstDateSelectedItem = 0;  // created later than 2020: made just now
    EXPECT_TRUE(matches(path));
    settings.firstDateComparisonItem = 0;
    settings.firstDate = local("2090-01-01 00:00");
    EXPECT_TRUE(matches(path));
    settings.firstDate = local("2020-01-01 00:00");
    EXPECT_FALSE(matches(path));
}

TEST_F(CustomKeepRules, bothDateConditionsMakeAWindow) {
    const std::string inside = tree.createFile("in.jpg", "a");
    const std::string outside = tree.createFile("out.jpg", "a");
    setModified(inside, local("2023-05-10 09:00"));
    setModified(outside, local("2024-02-01 09:00"));
    firstDateRule(1, 1, local("2023-01-01 00:00"));
    settings.secondDateState = 1;
    settings.secondDateSelectedItem = 1;
    settings.secondDateComparisonItem = 0;
    settings.secondDate = local("2023-12-31 00:00");
    EXPECT_TRUE(matches(inside));
    EXPECT_FALSE(matches(outside));
    settings.firstDateState = 0;  // the second date alone still takes part
    EXPECT_TRUE(matches(inside));
    EXPECT_FALSE(matches(outside));
}

TEST_F(CustomKeepRules, aMemberWithoutDatesHoldsEveryDateCondition) {
    const std::string missing = tree.path("gone.jpg");
    EXPECT_FALSE(FileTools(settings).creationDay(DuplicateFile(missing, "")));
    firstDateRule(0, 0, local("1990-01-01 00:00"));
    settings.secondDateState = 1;
    settings.secondDateSelectedItem = 1;
    settings.secondDateComparisonItem = 1;
    settings.secondDate = local("2090-01-01 00:00");
    EXPECT_TRUE(matches(missing));
    settings.matchState = 1;
    EXPECT_FALSE(matches(missing));
}

TEST_F(CustomKeepRules, everyConditionMustHoldBeforeTheAnswerIsInverted) {
    const std::string path = tree.createFile("Trip/a.jpg", "a");
    setModified(path, local("2023-05-10 09:00"));
    firstDateRule(1, 0, local("2024-01-01 00:00"));
    onlySizeRule(0, 100, 0);
    settings.secondFileSizeState = 1;  // at most 1 KB
    settings.secondFileSizeComparisonItem = 1;
    settings.secondFileSize = 1;
    settings.secondFileSizeUnit = 1;
    settings.customFileTypesState = 1;
    settings.customFileExtensions = {"png", "jpg"};
    folderRule(tree.path("Trip"), false);
    EXPECT_TRUE(matches(path, 100, "jpg"));
    EXPECT_TRUE(matches(path, 1024, "jpg"));
    EXPECT_FALSE(matches(path, 99, "jpg"));
    EXPECT_FALSE(matches(path, 1025, "jpg"));
    EXPECT_FALSE(matches(path, 100, "gif"));
    settings.matchState = 1;
    EXPECT_FALSE(matches(path, 100, "jpg"));
    EXPECT_TRUE(matches(path, 100, "gif"));
    settings.matchState = 0;
    settings.firstDate = local("2023-01-01 00:00");
    EXPECT_FALSE(matches(path, 100, "jpg"));
}

}  // namespace
}  // namespace kelvora
