// Feeds arbitrary bytes to the custom rule text reader: it must never crash, hang or read out
// of bounds, and the rules it leaves must write a text that reads back to the same rules.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/SettingsManager.h"
#include "results/CustomSettingsText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static kelvora::SettingsManager settings;
    kelvora::ResetCustomSettings(settings);
    kelvora::LoadCustomSettings(settings,
                                std::string_view(reinterpret_cast<const char*>(data), size));
    const std::string written = kelvora::CustomSettingsString(settings);
    kelvora::SettingsManager reread;
    if (!kelvora::LoadCustomSettings(reread, written) ||
        kelvora::CustomSettingsString(reread) != written) {
        std::abort();
    }
    return 0;
}
