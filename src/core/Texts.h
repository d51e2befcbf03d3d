// The size and date texts that every window shows, and the date reading the rule texts need.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/SettingsManager.h"

namespace kelvora {

// Powers of 1024 with one decimal ("200.0 KB"); computed in single precision so that the
// rounding matches what users have always seen (1048575 bytes read "1024.0 KB").
std::string sizeText(std::uint64_t bytes);

// "yy-MM-dd hh:mm:ss" (12-hour clock, no AM/PM) in the current locale and time zone.
std::string formatDate(Date date, std::string_view pattern = "yy-MM-dd hh:mm:ss");
// The same through ICU for every pattern, which formatDate may spare for its default one.
std::string formatDateWithIcu(Date date, std::string_view pattern);

// "2023-11-26T18:22:49-05:00": ISO 8601 to the second in the local time zone, with its
// offset, for scripts; the date texts above are for people and drop the AM/PM.
std::string isoDateText(Date date);

// Reads a date with a Unicode date pattern in the local time zone; nothing when it fails.
// The two-digit-year window reads "01/01/2017" with "dd/MM/yy" as 2017.
std::optional<Date> parseDate(std::string_view text, std::string_view pattern);

}  // namespace kelvora
