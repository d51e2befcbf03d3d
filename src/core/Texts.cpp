// Size texts, and date texts through ICU so that the Unicode date patterns mean what they say.
#include "core/Texts.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>

#include <unicode/udat.h>
#include <unicode/ustring.h>
#include <unicode/uvernum.h>

#include "platform/LazyLibrary.h"

namespace kelvora {

std::string sizeText(std::uint64_t bytes) {
    if (bytes < 1024) return std::to_string(bytes) + " B";
    struct Row {
        std::uint64_t below;
        float scale;
        const char* unit;
    };
    static constexpr Row rows[] = {
        {1ULL << 20, 0x1p-10f, " KB"},
        {1ULL << 30, 0x1p-20f, " MB"},
        {1ULL << 40, 0x1p-30f, " GB"},
    };
    const float value = static_cast<float>(bytes);
    float scaled = value * 0x1p-40f;
    const char* unit = " TB";
    for (const Row& row : rows) {
        if (bytes < row.below) {
            scaled = value * row.scale;
            unit = row.unit;
            break;
        }
    }
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.1f", static_cast<double>(scaled));
    return buffer + std::string(unit);
}

std::string isoDateText(Date date) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date.time_since_epoch());
    const std::time_t time = static_cast<std::time_t>(seconds.count());
    std::tm local{};
    if (::localtime_r(&time, &local) == nullptr) return {};
    char buffer[40];
    const std::size_t length = std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%S%z", &local);
    if (length < 5) return {};
    // strftime writes the offset as +hhmm; ISO 8601 wants the colon between hours and minutes.
    std::string text(buffer, length);
    text.insert(text.size() - 2, 1, ':');
    return text;
}

namespace {

// ICU's C functions carry its major version in their names (udat_open is udat_open_72); the
// header's renaming macros give the name to look up.
#define KELVORA_ICU_QUOTE(name) #name
#define KELVORA_ICU_NAME(function) KELVORA_ICU_QUOTE(function)
#define KELVORA_ICU_FUNCTION(member, function) \
    decltype(&function) member = library.symbol<decltype(function)>(KELVORA_ICU_NAME(function))

// ICU's formatting half and its locale data are opened by the first date read or written:
// a run that shows no date never pays for them. The text conversions come through the same
// handle from the common half it stands on.
struct Icu {
    platform::LazyLibrary library{"libicui18n.so." U_ICU_VERSION_SHORT};
    KELVORA_ICU_FUNCTION(open, udat_open);
    KELVORA_ICU_FUNCTION(close, udat_close);
    KELVORA_ICU_FUNCTION(format, udat_format);
    KELVORA_ICU_FUNCTION(parse, udat_parse);
    KELVORA_ICU_FUNCTION(fromUtf8, u_strFromUTF8WithSub);
    KELVORA_ICU_FUNCTION(toUtf8, u_strToUTF8WithSub);
};

#undef KELVORA_ICU_FUNCTION
#undef KELVORA_ICU_NAME
#undef KELVORA_ICU_QUOTE

const Icu& icu() {
    static const Icu api;
    return api;
}

// Bad UTF-8 reads as U+FFFD, one per bad sequence, and unpaired surrogates write as it.
constexpr UChar32 kReplacement = 0xFFFD;

std::u16string toUtf16(std::string_view text) {
    // Never more UTF-16 units than UTF-8 bytes.
    std::u16string out(text.size(), u'\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    icu().fromUtf8(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
                   static_cast<int32_t>(text.size()), kReplacement, nullptr, &status);
    out.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return out;
}

std::string toUtf8(std::u16string_view text) {
    // Never more than three UTF-8 bytes for one UTF-16 unit.
    std::string out(text.size() * 3, '\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    icu().toUtf8(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
                 static_cast<int32_t>(text.size()), kReplacement, nullptr, &status);
    out.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return out;
}

struct FormatterClose {
    void operator()(UDateFormat* formatter) const { icu().close(formatter); }
};
using Formatter = std::unique_ptr<UDateFormat, FormatterClose>;

// Building an ICU formatter costs far more than formatting one date, and a search formats
// one date per duplicate, so each thread keeps one formatter per pattern. Neither a locale
// nor a zone is named, so both are the process's defaults, as for any date the system shows.
UDateFormat* formatterFor(std::string_view pattern) {
    thread_local std::map<std::string, Formatter, std::less<>> cache;
    auto found = cache.find(pattern);
    if (found != cache.end()) return found->second.get();
    const std::u16string text = toUtf16(pattern);
    UErrorCode status = U_ZERO_ERROR;
    Formatter formatter(icu().open(UDAT_PATTERN, UDAT_PATTERN, nullptr, nullptr, 0, text.data(),
                                   static_cast<int32_t>(text.size()), &status));
    if (U_FAILURE(status) || !formatter) return nullptr;
    return cache.emplace(std::string(pattern), std::move(formatter)).first->second.get();
}

UDate toUDate(Date date) {
    using namespace std::chrono;
    return static_cast<UDate>(duration_cast<milliseconds>(date.time_since_epoch()).count());
}

}  // namespace

namespace {

constexpr std::string_view kCreationPattern = "yy-MM-dd hh:mm:ss";

// The locale ICU takes as its default when none is named: the messages category as the
// process set it, else the environment, "C" and "POSIX" meaning ICU's own POSIX locale.
std::string defaultLocaleName() {
    const auto unset = [](const char* name) {
        return name == nullptr || std::string_view(name) == "C" ||
               std::string_view(name) == "POSIX";
    };
    const char* name = std::setlocale(LC_MESSAGES, nullptr);
    if (unset(name)) name = std::getenv("LC_ALL");
    if (name == nullptr) name = std::getenv("LC_MESSAGES");
    if (name == nullptr) name = std::getenv("LANG");
    return unset(name) ? "C" : name;
}

// True when ICU writes the creation pattern with the digits 0 to 9, as the C library does:
// the languages below count in them by default, unless the locale asks for other digits.
// For any other language (Arabic, Persian, Bengali, Marathi, ...) ICU writes the dates.
bool localeWritesAsciiDigits() {
    static const bool ascii = [] {
        const std::string name = defaultLocaleName();
        if (name.empty() || name.find('@') != std::string::npos) return false;
        const std::string language = name.substr(0, name.find_first_of("_.-"));
        static constexpr std::string_view kLatinDigits[] = {
            "C",  "POSIX", "en", "de", "fr", "es", "it", "pt", "nl", "sv", "da", "nb", "nn",
            "no", "fi",    "pl", "cs", "sk", "sl", "hr", "sr", "bs", "hu", "ro", "bg", "ru",
            "uk", "be",    "el", "tr", "et", "lv", "lt", "ja", "zh", "ko", "vi", "id", "ms",
            "he", "ca",    "eu", "gl", "is", "ga", "cy", "sq", "mk", "ka", "hy", "af", "lb"};
        for (std::string_view latin : kLatinDigits) {
            if (language == latin) return true;
        }
        return false;
    }();
    return ascii;
}

// The creation date of every copy a search lists is written in this pattern. The C library
// writes it as ICU does wherever the digits are 0 to 9, and a search that lists dates then
// never loads ICU's formatting library and its locale data: a few megabytes and a few
// milliseconds at every start.
bool formatCreationDate(Date date, std::string& text) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date.time_since_epoch());
    const std::time_t time = static_cast<std::time_t>(seconds.count());
    std::tm local{};
    if (::localtime_r(&time, &local) == nullptr) return false;
    char buffer[40];
    // %y and %I are the two-digit year and the 12-hour clock from 01 to 12, as yy and hh.
    const std::size_t length = std::strftime(buffer, sizeof buffer, "%y-%m-%d %I:%M:%S", &local);
    if (length == 0) return false;
    text.assign(buffer, length);
    return true;
}

}  // namespace

std::string formatDate(Date date, std::string_view pattern) {
    std::string text;
    if (pattern == kCreationPattern && localeWritesAsciiDigits() &&
        formatCreationDate(date, text)) {
        return text;
    }
    return formatDateWithIcu(date, pattern);
}

std::string formatDateWithIcu(Date date, std::string_view pattern) {
    UDateFormat* formatter = formatterFor(pattern);
    if (formatter == nullptr) return {};
    std::u16string text(32, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = icu().format(formatter, toUDate(date), text.data(),
                                  static_cast<int32_t>(text.size()), nullptr, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        text.resize(static_cast<std::size_t>(length));
        status = U_ZERO_ERROR;
        length = icu().format(formatter, toUDate(date), text.data(),
                              static_cast<int32_t>(text.size()), nullptr, &status);
    }
    if (U_FAILURE(status)) return {};
    text.resize(static_cast<std::size_t>(length));
    return toUtf8(text);
}

std::optional<Date> parseDate(std::string_view text, std::string_view pattern) {
    const UDateFormat* formatter = formatterFor(pattern);
    if (formatter == nullptr) return std::nullopt;
    const std::u16string input = toUtf16(text);
    int32_t position = 0;
    UErrorCode status = U_ZERO_ERROR;
    const UDate parsed = icu().parse(formatter, input.data(), static_cast<int32_t>(input.size()),
                                     &position, &status);
    // The whole text must be a date, not just its beginning.
    if (U_FAILURE(status) || position != static_cast<int32_t>(input.size())) return std::nullopt;
    using namespace std::chrono;
    // A date the clock cannot hold (beyond about 1678 to 2262 in nanoseconds) is not a date
    // any file or rule can mean.
    const auto limit = duration_cast<milliseconds>(Date::duration::max()).count() - 1;
    if (!(parsed > -static_cast<UDate>(limit) && parsed < static_cast<UDate>(limit)))
        return std::nullopt;
    return Date(duration_cast<Date::duration>(milliseconds(static_cast<std::int64_t>(parsed))));
}

}  // namespace kelvora
