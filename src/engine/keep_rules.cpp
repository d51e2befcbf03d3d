// The keep rules: which copy of a group stays under keep oldest and keep newest, and whether
// a copy is selected under the user's custom rules.
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include "core/Texts.h"
#include "engine/FileTools.h"

namespace kelvora {

namespace {

constexpr std::string_view kDateTextPattern = "yy-MM-dd hh:mm:ss";
constexpr std::string_view kDayPattern = "dd/MM/yy";

// Paths often come decomposed from the file system while typed text comes precomposed;
// comparing canonical decompositions makes both spellings of an accented name one text.
// Bytes that are not UTF-8 pass through unchanged, so such names still compare exactly.
std::string decomposed(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status)) return std::string(text);
    std::string out;
    icu::StringByteSink<std::string> sink(&out, static_cast<int32_t>(text.size()));
    nfd->normalizeUTF8(0, icu::StringPiece(text.data(), static_cast<int32_t>(text.size())), sink,
                       nullptr, status);
    return U_SUCCESS(status) ? out : std::string(text);
}

bool canonicallyEqual(std::string_view a, std::string_view b) {
    return a == b || decomposed(a) == decomposed(b);
}

// True when no character before offset can combine with the one at offset.
bool startsCharacter(const std::string& text, std::size_t offset) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) return true;
    auto index = static_cast<int32_t>(offset);
    UChar32 c = 0;
    U8_NEXT(text.data(), index, static_cast<int32_t>(text.size()), c);
    return c < 0 || nfc->hasBoundaryBefore(c);
}

// A prefix that ends inside a composed character is no prefix: "cafe" does not begin "café",
// however the é is written, or the answer would depend on the spelling.
bool canonicallyBeginsWith(std::string_view text, std::string_view prefix) {
    const std::string whole = decomposed(text);
    const std::string start = decomposed(prefix);
    if (!std::string_view(whole).starts_with(start)) return false;
    return whole.size() == start.size() || startsCharacter(whole, start.size());
}

// The hour of a date text is on the twelve-hour clock without a marker, so 13:30 reads back
// as 01:30 of the same day. Keep oldest and keep newest have always ordered copies this way.
std::optional<Date> readDateText(const std::string& text) {
    return parseDate(text, kDateTextPattern);
}

// Walks the group in order; a member replaces the kept one only when strictly preferred, so
// ties keep the earlier member. Once the kept member's text does not read, it stays.
template <typename Preferred>
const DuplicateFile& keptMember(const std::vector<DuplicateFile>& duplicates, Preferred preferred) {
    const DuplicateFile* kept = &duplicates.front();
    std::optional<Date> keptDate = readDateText(kept->date);
    for (std::size_t i = 1; i < duplicates.size() && keptDate; ++i) {
        const std::optional<Date> date = readDateText(duplicates[i].date);
        if (date && preferred(*date, *keptDate)) {
            kept = &duplicates[i];
            keptDate = date;
        }
    }
    return *kept;
}

struct DateCondition {
    std::int64_t selectedItem;    // 0 creation date, else modification date
    std::int64_t comparisonItem;  // 0 earlier, else later
    Date reference;
};

DateCondition firstDateCondition(const SettingsManager& rules) {
    return {rules.firstDateSelectedItem, rules.firstDateComparisonItem, rules.firstDate};
}

DateCondition secondDateCondition(const SettingsManager& rules) {
    return {rules.secondDateSelectedItem, rules.secondDateComparisonItem, rules.secondDate};
}

// The file side is reduced to the start of its day, the reference keeps its time of day.
bool dateTest(const FileTools& tools, const DuplicateFile& member, const DateCondition& rule) {
    const std::optional<Date> day =
        rule.selectedItem == 0 ? tools.creationDay(member) : tools.modificationDay(member);
    if (!day) return true;
    return rule.comparisonItem == 0 ? *day <= rule.reference : *day >= rule.reference;
}

// B, KB and MB; every other unit value is GB.
std::uint64_t unitMultiplier(std::int64_t unit) {
    constexpr std::uint64_t kMultipliers[] = {1, 1024, 1048576};
    return unit >= 0 && unit < 3 ? kMultipliers[unit] : 1073741824;
}

// The window keeps counts within 0 to 100000, but a count confirmed while still being edited
// arrives unchecked; it is held to the byte counts a file can have instead of wrapping round.
std::uint64_t sizeThreshold(std::int64_t count, std::int64_t unit) {
    constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (count <= 0) return 0;
    std::uint64_t bytes = 0;
    if (__builtin_mul_overflow(static_cast<std::uint64_t>(count), unitMultiplier(unit), &bytes)) {
        return kLargest;
    }
    return std::min(bytes, kLargest);
}

struct SizeCondition {
    std::int64_t comparisonItem;  // 0 larger, else smaller
    std::int64_t count;
    std::int64_t unit;
};

SizeCondition firstSizeCondition(const SettingsManager& rules) {
    return {rules.firstFileSizeComparisonItem, rules.firstFileSize, rules.firstFileSizeUnit};
}

SizeCondition secondSizeCondition(const SettingsManager& rules) {
    return {rules.secondFileSizeComparisonItem, rules.secondFileSize, rules.secondFileSizeUnit};
}

// Both bounds are inclusive: a group exactly at the threshold is larger and smaller.
bool sizeTest(std::uint64_t groupSize, const SizeCondition& rule) {
    const std::uint64_t threshold = sizeThreshold(rule.count, rule.unit);
    return rule.comparisonItem == 0 ? groupSize >= threshold : groupSize <= threshold;
}

bool typeTest(const std::vector<std::string>& extensions, const std::string& groupExtension) {
    return std::any_of(extensions.begin(), extensions.end(), [&](const std::string& entry) {
        return canonicallyEqual(entry, groupExtension);
    });
}

// With subfolders the test is a plain prefix test that ignores separators, so a folder
// /a/b also takes in /a/bc; without, the member's own folder must be the folder.
bool folderTest(const SettingsManager& rules, const std::string& path) {
    if (rules.customFilePath.empty()) return false;
    if (rules.subfoldersState == 1) return canonicallyBeginsWith(path, rules.customFilePath);
    return canonicallyEqual(platform::deletingLastPathComponent(path), rules.customFilePath);
}

bool anyConditionAfterFirstDate(const SettingsManager& rules) {
    return rules.secondDateState == 1 || rules.firstFileSizeState == 1 ||
           rules.secondFileSizeState == 1 || rules.customFileTypesState == 1 ||
           rules.customFilePathState == 1;
}

}  // namespace

const DuplicateFile& FileTools::oldestDuplicate(
    const std::vector<DuplicateFile>& duplicates) const {
    return keptMember(duplicates, [](Date date, Date kept) { return date < kept; });
}

const DuplicateFile& FileTools::newestDuplicate(
    const std::vector<DuplicateFile>& duplicates) const {
    return keptMember(duplicates, [](Date date, Date kept) { return date > kept; });
}

// Every enabled condition is evaluated, even once the answer is false, and none enabled
// selects nothing whatever "Don't match" says.
bool FileTools::matchesCustomSettings(const DuplicateFile& member, std::uint64_t groupSize,
                                      const std::string& groupExtension) const {
    const SettingsManager& rules = settingsManager;
    bool answer = true;
    if (rules.firstDateState == 1) {
        answer = dateTest(*this, member, firstDateCondition(rules));
    } else if (!anyConditionAfterFirstDate(rules)) {
        return false;
    }
    if (rules.secondDateState == 1) {
        answer = dateTest(*this, member, secondDateCondition(rules)) && answer;
    }
    if (rules.firstFileSizeState == 1) {
        answer = sizeTest(groupSize, firstSizeCondition(rules)) && answer;
    }
    if (rules.secondFileSizeState == 1) {
        answer = sizeTest(groupSize, secondSizeCondition(rules)) && answer;
    }
    if (rules.customFileTypesState == 1 && !rules.customFileExtensions.empty()) {
        answer = typeTest(rules.customFileExtensions, groupExtension) && answer;
    }
    if (rules.customFilePathState == 1) answer = folderTest(rules, member.path) && answer;
    return answer != (rules.matchState == 1);
}

std::optional<Date> FileTools::creationDay(const DuplicateFile& member) const {
    return attributeDay(member, platform::DateAttribute::Creation);
}

std::optional<Date> FileTools::modificationDay(const DuplicateFile& member) const {
    return attributeDay(member, platform::DateAttribute::Modification);
}

// The round trip through the short day text is the reduction: it lands on 00:00 of the local
// calendar day, and the two-digit year is placed again by the formatter's year window.
std::optional<Date> FileTools::attributeDay(const DuplicateFile& member,
                                            platform::DateAttribute attribute) const {
    const std::optional<Date> date = platform::itemDate(member.path, attribute);
    if (!date) return std::nullopt;
    return parseDate(formatDate(*date, kDayPattern), kDayPattern);
}

}  // namespace kelvora
