// Construction of the shared settings with their defaults.
#include "core/SettingsManager.h"

#include <ctime>

namespace kelvora {

namespace {

// The start of 1 January 2017 on the local clock, the date the default rule text "01/01/2017"
// stands for. Worked out by the C library rather than by the date reader, so that a run that
// never reads or shows a date does not load ICU's formatting half and its data.
Date defaultRuleDate() {
    std::tm day{};
    day.tm_year = 2017 - 1900;
    day.tm_mday = 1;
    day.tm_isdst = -1;
    const std::time_t time = std::mktime(&day);
    if (time == static_cast<std::time_t>(-1)) return Date{};
    return std::chrono::system_clock::from_time_t(time);
}

}  // namespace

SettingsManager::SettingsManager() {
    // Both rule dates start as the default rule text reads them, in the local time zone.
    const Date defaultDate = defaultRuleDate();
    firstDate = defaultDate;
    secondDate = defaultDate;
}

SettingsManager& SettingsManager::shared() {
    static SettingsManager instance;
    return instance;
}

}  // namespace kelvora
