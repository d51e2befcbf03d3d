// The custom keep rule text: written, read back, read from the default text, read when damaged.
#include <gtest/gtest.h>

#include "core/Texts.h"
#include "results/CustomSettingsText.h"

namespace kelvora {
namespace {

Date day(const char* text) {
    return parseDate(text, "dd/MM/yy").value();
}

TEST(CustomSettingsText, writesEveryRuleAndReadsItBack) {
    SettingsManager written;
    written.firstDateState = 1;
    written.firstDate = day("10/05/23");
    written.secondDateComparisonItem = 1;
    written.secondFileSize = 100000;
    written.customFileType = "png ";
    written.customFilePath = "/home/ann/Pictures";
    written.matchState = 1;
    written.customFileExtensions = {"jpg", "png"};
    const std::string text = CustomSettingsString(written);
    EXPECT_EQ(text,
              "1\n0\n1\n10/05/23\n0\n0\n1\n01/01/17\n0\n1\n200\n1\n0\n0\n100000\n3\n0\npng \n0\n"
              "/home/ann/Pictures\n1\n1\n2\njpg\npng\n");

    SettingsManager read;
    LoadCustomSettings(read, text);
    EXPECT_EQ(CustomSettingsString(read), text);
    EXPECT_EQ(read.firstDate, written.firstDate);

    ResetCustomSettings(read);
    EXPECT_EQ(
        CustomSettingsString(read),
        "0\n0\n1\n01/01/17\n0\n0\n0\n01/01/17\n0\n1\n200\n1\n0\n0\n100\n3\n0\njpg\n0\n\n1\n0\n0\n");
    EXPECT_EQ(read.customSettingsOption, "Cancel");
}

TEST(CustomSettingsText, readsFourDigitYearsAndStopsAtTheFirstBadLine) {
    SettingsManager settings;
    settings.firstDate = day("10/05/23");
    EXPECT_TRUE(LoadCustomSettings(settings, kDefaultCustomSettings));
    EXPECT_EQ(formatDate(settings.firstDate, "yyyy-MM-dd HH:mm"), "2017-01-01 00:00");
    EXPECT_EQ(settings.customFilePath, " ");

    settings.customFileExtensions = {"kept"};
    EXPECT_FALSE(
        LoadCustomSettings(settings, "1\n1\n0\n31/12/99\n1\n0\n0\n01/01/2017\n1\n0\n2x0\n"));
    EXPECT_EQ(settings.secondDateState, 1);
    EXPECT_EQ(settings.firstFileSizeComparisonItem, 0);
    EXPECT_EQ(formatDate(settings.firstDate, "yyyy"), "1999") << "two-digit years take a window";
    EXPECT_EQ(settings.firstFileSize, 200) << "the bad line and those after it are not read";
    EXPECT_EQ(settings.customFileExtensions, std::vector<std::string>{"kept"});

    const std::string rules =
        "0\n0\n1\n01/01/17\n0\n0\n0\n01/01/17\n0\n1\n200\n1\n0\n0\n100\n3\n"
        "0\njpg\n0\n \n1\n0";
    EXPECT_FALSE(LoadCustomSettings(settings, rules));
    EXPECT_TRUE(settings.customFileExtensions.empty()) << "no count line: no extensions";
    EXPECT_FALSE(LoadCustomSettings(settings, rules + "\r\n3\r\npng\n")) << "two of three";
    EXPECT_EQ(settings.customFileExtensions, (std::vector<std::string>{"png", ""}));
}

}  // namespace
}  // namespace kelvora
