// Construction of the shared settings with their defaults.
#include "core/SettingsManager.h"

#include "core/Texts.h"

namespace kelvora {

SettingsManager::SettingsManager() {
    // Both rule dates start as the default rule text reads them, in the local time zone.
    const Date defaultDate = parseDate("01/01/2017", "dd/MM/yy").value_or(Date{});
    firstDate = defaultDate;
    secondDate = defaultDate;
}

SettingsManager& SettingsManager::shared() {
    static SettingsManager instance;
    return instance;
}

}  // namespace kelvora
