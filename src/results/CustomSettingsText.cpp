// Writing, reading and resetting the custom keep rule text.
#include "results/CustomSettingsText.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <vector>

#include "core/Texts.h"

namespace kelvora {

namespace {

constexpr std::string_view kDatePattern = "dd/MM/yy";
using Settings = SettingsManager;

// One line of the text and the field it holds: exactly one of the three is set.
struct LineField {
    std::int64_t Settings::*integer = nullptr;
    Date Settings::*date = nullptr;
    std::string Settings::*text = nullptr;
};

const std::array<LineField, 22> kLineFields = {{
    {&Settings::firstDateState},
    {&Settings::firstDateSelectedItem},
    {&Settings::firstDateComparisonItem},
    {nullptr, &Settings::firstDate},
    {&Settings::secondDateState},
    {&Settings::secondDateSelectedItem},
    {&Settings::secondDateComparisonItem},
    {nullptr, &Settings::secondDate},
    {&Settings::firstFileSizeState},
    {&Settings::firstFileSizeComparisonItem},
    {&Settings::firstFileSize},
    {&Settings::firstFileSizeUnit},
    {&Settings::secondFileSizeState},
    {&Settings::secondFileSizeComparisonItem},
    {&Settings::secondFileSize},
    {&Settings::secondFileSizeUnit},
    {&Settings::customFileTypesState},
    {nullptr, nullptr, &Settings::customFileType},
    {&Settings::customFilePathState},
    {nullptr, nullptr, &Settings::customFilePath},
    {&Settings::subfoldersState},
    {&Settings::matchState},
}};

// Length of the line break starting at i (0 when none): LF, VT, FF, CR, CR LF, and the
// Unicode breaks NEL, LS and PS in UTF-8.
std::size_t lineBreakAt(std::string_view text, std::size_t i) {
    const auto byte = [&](std::size_t k) {
        return k < text.size() ? static_cast<unsigned char>(text[k]) : 0u;
    };
    if (byte(i) == '\r') return byte(i + 1) == '\n' ? 2 : 1;
    if (byte(i) >= 0x0A && byte(i) <= 0x0C) return 1;
    if (byte(i) == 0xC2 && byte(i + 1) == 0x85) return 2;
    if (byte(i) == 0xE2 && byte(i + 1) == 0x80 && (byte(i + 2) == 0xA8 || byte(i + 2) == 0xA9)) {
        return 3;
    }
    return 0;
}

// The piece after the last break is a line of its own, empty when the text ends with a break.
std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = lineBreakAt(text, i);
        if (length == 0) {
            ++i;
            continue;
        }
        lines.push_back(text.substr(start, i - start));
        i += length;
        start = i;
    }
    lines.push_back(text.substr(start));
    return lines;
}

// A whole line of decimal digits with an optional sign, within 64 bits.
bool parseInteger(std::string_view line, std::int64_t& value) {
    if (line.size() > 1 && line[0] == '+' && line[1] != '-') line.remove_prefix(1);
    const char* end = line.data() + line.size();
    const auto [stop, error] = std::from_chars(line.data(), end, value);
    return error == std::errc() && stop == end;
}

bool readLine(Settings& settings, const LineField& field, std::string_view line) {
    if (field.integer != nullptr) {
        std::int64_t value = 0;
        if (!parseInteger(line, value)) return false;
        settings.*field.integer = value;
    } else if (field.date != nullptr) {
        const auto date = parseDate(line, kDatePattern);
        if (!date) return false;
        settings.*field.date = *date;
    } else {
        settings.*field.text = std::string(line);
    }
    return true;
}

}  // namespace

std::string CustomSettingsString(const SettingsManager& settings) {
    std::string text;
    for (const LineField& field : kLineFields) {
        if (field.integer != nullptr) {
            text += std::to_string(settings.*field.integer);
        } else if (field.date != nullptr) {
            text += formatDate(settings.*field.date, kDatePattern);
        } else {
            text += settings.*field.text;
        }
        text += '\n';
    }
    text += std::to_string(settings.customFileExtensions.size()) + '\n';
    for (const std::string& extension : settings.customFileExtensions) text += extension + '\n';
    return text;
}

bool LoadCustomSettings(SettingsManager& settings, std::string_view text) {
    const std::vector<std::string_view> lines = splitLines(text);
    std::size_t next = 0;
    for (const LineField& field : kLineFields) {
        if (next >= lines.size() || !readLine(settings, field, lines[next])) return false;
        ++next;
    }
    settings.customFileExtensions.clear();
    std::int64_t count = 0;
    if (next >= lines.size() || !parseInteger(lines[next], count) || count < 0) return false;
    for (++next; count > 0 && next < lines.size(); --count, ++next) {
        settings.customFileExtensions.emplace_back(lines[next]);
    }
    return count == 0;
}

void ResetCustomSettings(SettingsManager& settings) {
    const auto defaultDate = parseDate("01/01/2017", kDatePattern);
    settings.firstDateState = 0;
    settings.firstDateSelectedItem = 0;
    settings.firstDateComparisonItem = 1;
    if (defaultDate) settings.firstDate = *defaultDate;
    settings.secondDateState = 0;
    settings.secondDateSelectedItem = 0;
    settings.secondDateComparisonItem = 0;
    if (defaultDate) settings.secondDate = *defaultDate;
    settings.firstFileSizeState = 0;
    settings.firstFileSizeComparisonItem = 1;
    settings.firstFileSize = 200;
    settings.firstFileSizeUnit = 1;
    settings.secondFileSizeState = 0;
    settings.secondFileSizeComparisonItem = 0;
    settings.secondFileSize = 100;
    settings.secondFileSizeUnit = 3;
    settings.customFileTypesState = 0;
    settings.customFileExtensions.clear();
    settings.customFileType = "jpg";
    settings.customFilePathState = 0;
    settings.customFilePath = "";
    settings.subfoldersState = 1;
    settings.matchState = 0;
    settings.customSettingsOption = "Cancel";
}

void copyCustomRules(const SettingsManager& from, SettingsManager& to) {
    for (const LineField& field : kLineFields) {
        if (field.integer != nullptr) to.*field.integer = from.*field.integer;
        if (field.date != nullptr) to.*field.date = from.*field.date;
        if (field.text != nullptr) to.*field.text = from.*field.text;
    }
    to.customFileExtensions = from.customFileExtensions;
    to.customSettingsOption = from.customSettingsOption;
    to.customMessageRespone = from.customMessageRespone;
}

}  // namespace kelvora
