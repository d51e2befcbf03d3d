// The profile text: the layout written, and what the reader takes and refuses.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "profiles/ProfileText.h"

namespace kelvora {
namespace {

using Lines = std::vector<std::string>;

// jpg and png, start-up sizes and sliders, custom types, to the trash, bundles ignored.
const Lines kExample = {"2", "jpg", "png", "204800", "107374182400", "2.0", "8.0", "0",
                        "1", "1",   "0",   "1"};

std::string joined(const Lines& lines, std::string_view separator = "\n") {
    std::string text;
    for (const std::string& line : lines) text += line + std::string(separator);
    return text;
}

std::string exampleWith(std::size_t line, const std::string& replacement) {
    Lines lines = kExample;
    lines.at(line - 1) = replacement;
    return joined(lines);
}

TEST(ProfileText, writesTheLayoutLineByLineAndReadsItBack) {
    Profile profile;
    EXPECT_EQ(profileText(profile), "0\n204800\n107374182400\n2.0\n8.0\n1\n0\n1\n0\n1\n");
    profile.listFileExtensions = {"jpg", "png"};
    profile.radioScanAllFileTypes = 0;
    profile.radioCustomFileTypes = 1;
    EXPECT_EQ(profileText(profile), joined(kExample));
    const auto read = parseProfile(joined(kExample));
    ASSERT_TRUE(read) << read.error();
    EXPECT_EQ(*read, profile);
}

TEST(ProfileText, sliderTextIsTheShortestThatReadsBackToTheSameFloat) {
    EXPECT_EQ(sliderText(2.0f), "2.0");
    EXPECT_EQ(sliderText(0.1f), "0.1");
    EXPECT_EQ(sliderText(1.0f / 3), "0.33333334");
    EXPECT_EQ(sliderText(-0.0f), "-0.0");
    EXPECT_EQ(sliderText(16777216.0f), "16777216.0");
    EXPECT_EQ(sliderText(1e20f), "1e+20");
    EXPECT_EQ(sliderText(std::numeric_limits<float>::denorm_min()), "1e-45");

    // A spread of bit patterns over the whole float range, through the reader.
    for (std::uint64_t bits = 0; bits <= UINT32_MAX; bits += 262147) {
        const float value = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
        if (!std::isfinite(value)) continue;
        const std::string text = sliderText(value);
        ASSERT_NE(text.find_first_of(".e"), std::string::npos) << text;
        const auto read = parseProfile(exampleWith(6, text));
        ASSERT_TRUE(read) << text;
        ASSERT_EQ(std::bit_cast<std::uint32_t>(read->sliderMinimumFileSize), bits) << text;
    }
}

TEST(ProfileText, everyLineBreakCharacterEndsALineByItself) {
    const auto example = parseProfile(joined(kExample));
    for (const char* separator : {"\r", "\v", "\f", "\u0085", "\u2028", "\u2029"}) {
        const auto read = parseProfile(joined(kExample, separator));
        ASSERT_TRUE(read) << read.error();
        EXPECT_EQ(*read, *example);
    }
    // CR LF leaves an empty line between: the layout shifts and the file is refused, unless
    // the count takes the empty line in as an extension.
    EXPECT_FALSE(parseProfile(joined(kExample, "\r\n")));
    const auto shifted =
        parseProfile("2\r\njpg\n" + joined({kExample.begin() + 3, kExample.end()}));
    ASSERT_TRUE(shifted) << shifted.error();
    EXPECT_EQ(shifted->listFileExtensions, (Lines{"", "jpg"}));

    std::string unended = joined(kExample);
    unended.pop_back();
    EXPECT_TRUE(parseProfile(unended));
    EXPECT_TRUE(parseProfile(joined(kExample) + "\nnot a profile line\n\u0085"));
    // The empty piece after the last line feed is no line: one value short is refused.
    EXPECT_FALSE(parseProfile(joined({kExample.begin(), kExample.end() - 1})));
    // An editor's byte order mark is not part of the count.
    EXPECT_TRUE(parseProfile("\xEF\xBB\xBF" + joined(kExample)));
}

TEST(ProfileText, handEditedExtensionsAreKeptExactlyAsTheyStand) {
    const auto read = parseProfile(joined(
        {"4", "JPG", "jpg", "JPG", " tar.gz ", "0", "0", "0.5", "+9", "7", "-1", "0", "2", "0"}));
    ASSERT_TRUE(read) << read.error();
    EXPECT_EQ(read->listFileExtensions, (Lines{"JPG", "jpg", "JPG", " tar.gz "}));
    EXPECT_EQ(read->sliderMaximumFileSize, 9.0f);
    EXPECT_EQ(read->radioCustomFileTypes, -1);
    EXPECT_EQ(read->radioRemoveDuplicateFilesPermanently, 2);
}

TEST(ProfileText, numbersFollowTheirLinesGrammarExactly) {
    struct Grammar {
        std::size_t line;
        Lines accepted, refused;
    };
    const Grammar grammars[] = {
        {1, {"+2", "002"}, {"-2", " 2", "2.0", "0x2", "", "two"}},
        {4, {"18446744073709551615", "+1"}, {"18446744073709551616", "-1", "200 KB", "1e5"}},
        {6,
         {"2", ".5", "2E0", "+2.0", "-1.5"},
         {"2,5", " 2.0", "2.0 ", "+-2", "inf", "nan", "1e39", "0x1p3"}},
        {8, {"-9223372036854775808", "9223372036854775807"}, {"9223372036854775808", "1.0", "on"}},
    };
    for (const Grammar& grammar : grammars) {
        for (const std::string& text : grammar.accepted) {
            EXPECT_TRUE(parseProfile(exampleWith(grammar.line, text))) << grammar.line << text;
        }
        for (const std::string& text : grammar.refused) {
            EXPECT_FALSE(parseProfile(exampleWith(grammar.line, text))) << grammar.line << text;
        }
    }
}

TEST(ProfileText, damagedTextIsRefusedWhole) {
    const std::string example = joined(kExample);
    const std::string damaged[] = {
        "", "\n", joined({"-1", "204800", "1", "2.0", "8.0", "1", "0", "1", "0", "1"}),
        // Counts far beyond the lines present, up to the largest that parses.
        "3" + example.substr(1), "1000000000000" + example.substr(1),
        "9223372036854775807" + example.substr(1), "9223372036854775808" + example.substr(1),
        std::string("\x7F\x45LF\x02\x01\x01\0\0\0\n\x03\0>\0", 15),
        std::string("\xFF\xFE\x32\0\n\0", 6),  // UTF-16
        // Not UTF-8: a stray continuation byte, an overlong '/', a surrogate, a code point
        // past U+10FFFF, a sequence cut off at the end.
        "2\nj\x80g\n" + example.substr(6), "2\n\xC0\xAF\n" + example.substr(6),
        "2\n\xED\xA0\x80\n" + example.substr(6), "2\n\xF4\x90\x80\x80\n" + example.substr(6),
        example + "\xE2\x82"};
    for (const std::string& text : damaged) EXPECT_FALSE(parseProfile(text)) << text;
}

}  // namespace
}  // namespace kelvora
