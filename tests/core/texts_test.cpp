// Size and date texts (the tests run with TZ=America/New_York).
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

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

// The creation dates are written without ICU where that gives the same text: the dates of
// 30 years, every few hours, in zones with odd offsets and daylight rules, both ways; and in
// a language that counts in other digits, by ICU. ICU keeps the zone and the locale it first
// met, so each is tried in a process of its own. (Zones whose rules changed after ICU's own
// copy of the zone data was made, such as Mexico's in 2022, differ since then: the system's
// newer data is the one that holds, and the one the ISO dates have always used.)
TEST(DateTextInZone, isWrittenAsIcuWritesIt) {
    const char* zone = std::getenv("KELVORA_DATE_ZONE");
    if (zone == nullptr) GTEST_SKIP() << "run by DateText.creationDatesMatchIcuInEveryZone";
    using namespace std::chrono;
    int differ = 0;
    for (std::int64_t at = 788918400; at < 1798761600 && differ < 5;
         at += 7 * 3600 + 13 * 60 + 17) {
        const Date date{seconds(at)};
        const std::string ours = formatDate(date);
        const std::string icus = formatDateWithIcu(date, "yy-MM-dd hh:mm:ss");
        if (ours != icus) ++differ;
        EXPECT_EQ(ours, icus) << zone << " at " << at;
    }
    if (std::string_view(std::getenv("LC_ALL")).starts_with("ar_EG")) {
        const std::string text = formatDate(Date{seconds(1700000000)});
        EXPECT_TRUE(std::any_of(text.begin(), text.end(), [](char c) { return c & 0x80; }))
            << "Egyptian Arabic dates are written in Arabic-Indic digits: " << text;
    }
}

TEST(DateText, creationDatesMatchIcuInEveryZone) {
    const std::pair<const char*, const char*> settings[] = {
        {"UTC", "C"},
        {"America/New_York", "en_US.UTF-8"},
        {"Europe/Berlin", "de_DE.UTF-8"},
        {"Europe/Dublin", "C"},
        {"Australia/Lord_Howe", "C"},
        {"Asia/Kolkata", "C"},
        {"Pacific/Chatham", "C"},
        {"America/Sao_Paulo", "pt_BR.UTF-8"},
        {"Asia/Kathmandu", "C"},
        {"Africa/Johannesburg", "ar_EG.UTF-8"},
    };
    for (const auto& [zone, locale] : settings) {
        const std::string zoneSetting = std::string("TZ=") + zone;
        const std::string named = std::string("KELVORA_DATE_ZONE=") + zone;
        const std::string localeSetting = std::string("LC_ALL=") + locale;
        char filter[] = "--gtest_filter=DateTextInZone.*";
        char* argv[] = {const_cast<char*>("/proc/self/exe"), filter, nullptr};
        char* envp[] = {const_cast<char*>(zoneSetting.c_str()), const_cast<char*>(named.c_str()),
                        const_cast<char*>(localeSetting.c_str()), nullptr};
        pid_t child = 0;
        ASSERT_EQ(::posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, argv, envp), 0);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << zone;
    }
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
