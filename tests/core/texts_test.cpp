// Size and date texts (the tests run with TZ=America/New_York).
#include <gtest/gtest.h>

#include "core/Texts.h"
#include "engine/FileTools.h"
#include "support/TempTree.h"

namespace kelvora {
namespace {

TEST(SizeText, usesPowersOf1024InSinglePrecision) {
    const std::pair<std::uint64_t, const char*> cases[] = {
        {0, "0 B"},
        {512, "512 B"},
        {1023, "1023 B"},
        {1024, "1.0 KB"},
        {204800, "200.0 KB"},
        {1048575, "1024.0 KB"},
        {1048576, "1.0 MB"},
        {107374182400ULL, "100.0 GB"},
        {1099511627776ULL, "1.0 TB"},
        {UINT64_MAX, "16777216.0 TB"},
        // 2^24 + 1 bytes is not a float; single precision rounds it down to exactly 16.0 MB.
        {16777217, "16.0 MB"},
    };
    for (const auto& [bytes, text] : cases) EXPECT_EQ(sizeText(bytes), text) << bytes;
}

TEST(DateText, isTwelveHourClockWithoutMarkerInTheLocalZone) {
    // 18:03:09 UTC is 14:03:09 in New York in April (daylight time).
    const auto afternoon = parseDate("2023-04-05 18:03:09 +0000", "yyyy-MM-dd HH:mm:ss Z");
    const auto night = parseDate("2023-04-05 06:03:09 +0000", "yyyy-MM-dd HH:mm:ss Z");
    ASSERT_TRUE(afternoon && night);
    EXPECT_EQ(formatDate(*afternoon), "23-04-05 02:03:09");
    EXPECT_EQ(formatDate(*night), "23-04-05 02:03:09");
}

TEST(DateText, isoTextCarriesTheLocalOffsetOfItsOwnSeason) {
    const auto summer = parseDate("2023-04-05 18:03:09 +0000", "yyyy-MM-dd HH:mm:ss Z");
    const auto winter = parseDate("2023-11-26 23:22:49 +0000", "yyyy-MM-dd HH:mm:ss Z");
    ASSERT_TRUE(summer && winter);
    EXPECT_EQ(isoDateText(*summer), "2023-04-05T14:03:09-04:00");
    EXPECT_EQ(isoDateText(*winter), "2023-11-26T18:22:49-05:00");
    EXPECT_EQ(isoDateText(*winter + std::chrono::milliseconds(999)), "2023-11-26T18:22:49-05:00");
}

TEST(DateText, readsFourAndTwoDigitYearsWithTheShortPattern) {
    const auto fourDigits = parseDate("01/01/2017", "dd/MM/yy");
    const auto twoDigits = parseDate("01/01/17", "dd/MM/yy");
    ASSERT_TRUE(fourDigits && twoDigits);
    EXPECT_EQ(*fourDigits, *twoDigits);
    EXPECT_EQ(formatDate(*fourDigits, "yyyy-MM-dd HH:mm"), "2017-01-01 00:00");
    EXPECT_FALSE(parseDate("31/02/17 and more", "dd/MM/yy"));
    EXPECT_FALSE(parseDate("yesterday", "dd/MM/yy"));
}

TEST(DateText, comesFromTheFileOrIsAbsent) {
    testing::TempTree tree;
    const std::string path = tree.createFile("a.txt", "x");
    const FileTools tools;
    const auto created = tools.creationDateText(path);
    const auto modified = tools.modificationDateText(path);
    ASSERT_TRUE(created && modified);
    EXPECT_EQ(created->size(), 17u);
    const auto now = std::chrono::system_clock::now();
    EXPECT_TRUE(*created == formatDate(now) ||
                *created == formatDate(now - std::chrono::seconds(1)))
        << *created << " for a file made just now";
    EXPECT_FALSE(tools.creationDateText(tree.path("missing")));
    EXPECT_FALSE(tools.modificationDateText(tree.path("missing")));
}

}  // namespace
}  // namespace kelvora
