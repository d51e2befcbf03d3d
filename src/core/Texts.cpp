// Size texts, and date texts through ICU so that the Unicode date patterns mean what they say.
#include "core/Texts.h"

#include <cstdio>
#include <map>
#include <memory>

#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

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

namespace {

// Building an ICU formatter costs far more than formatting one date, and a search formats
// one date per duplicate, so each thread keeps one formatter per pattern.
icu::SimpleDateFormat* formatterFor(std::string_view pattern) {
    thread_local std::map<std::string, std::unique_ptr<icu::SimpleDateFormat>, std::less<>> cache;
    auto found = cache.find(pattern);
    if (found != cache.end()) return found->second.get();
    UErrorCode status = U_ZERO_ERROR;
    auto formatter = std::make_unique<icu::SimpleDateFormat>(
        icu::UnicodeString::fromUTF8(icu::StringPiece(pattern.data(), pattern.size())),
        icu::Locale::getDefault(), status);
    if (U_FAILURE(status)) return nullptr;
    return cache.emplace(std::string(pattern), std::move(formatter)).first->second.get();
}

UDate toUDate(Date date) {
    using namespace std::chrono;
    return static_cast<UDate>(duration_cast<milliseconds>(date.time_since_epoch()).count());
}

}  // namespace

std::string formatDate(Date date, std::string_view pattern) {
    icu::SimpleDateFormat* formatter = formatterFor(pattern);
    if (formatter == nullptr) return {};
    icu::UnicodeString text;
    formatter->format(toUDate(date), text);
    std::string out;
    text.toUTF8String(out);
    return out;
}

std::optional<Date> parseDate(std::string_view text, std::string_view pattern) {
    icu::SimpleDateFormat* formatter = formatterFor(pattern);
    if (formatter == nullptr) return std::nullopt;
    const icu::UnicodeString input =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), text.size()));
    icu::ParsePosition position(0);
    const UDate parsed = formatter->parse(input, position);
    // The whole text must be a date, not just its beginning.
    if (position.getErrorIndex() >= 0 || position.getIndex() != input.length()) return std::nullopt;
    using namespace std::chrono;
    // A date the clock cannot hold (beyond about 1678 to 2262 in nanoseconds) is not a date
    // any file or rule can mean.
    const auto limit = duration_cast<milliseconds>(Date::duration::max()).count() - 1;
    if (!(parsed > -static_cast<UDate>(limit) && parsed < static_cast<UDate>(limit)))
        return std::nullopt;
    return Date(duration_cast<Date::duration>(milliseconds(static_cast<std::int64_t>(parsed))));
}

}  // namespace kelvora
