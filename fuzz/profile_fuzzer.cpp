// Feeds arbitrary bytes to the profile reader: it must refuse or accept, never crash, hang or
// read out of bounds, and what it accepts must write back to a text it reads the same way.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "profiles/ProfileText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto profile = kelvora::parseProfile(bytes);
    if (profile && !kelvora::unwritableReason(*profile)) {
        const auto again = kelvora::parseProfile(kelvora::profileText(*profile));
        if (!again || !(*again == *profile)) std::abort();
    }
    return 0;
}
