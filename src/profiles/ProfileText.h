// The text of a profile file: one value per line in a fixed order, every line ended by a line
// feed. Writing and reading are pure so that the format is checked without touching a disk.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Result.h"
#include "profiles/Profile.h"

namespace kelvora {

// The whole file text for the profile.
std::string profileText(const Profile& profile);

// Why the profile's text would not read back as the same profile (a slider that is not a
// number, an extension with a line break or bytes that are not UTF-8); nullopt when it would.
std::optional<std::string> unwritableReason(const Profile& profile);

// The shortest decimal text that reads back to exactly this float; whole numbers in plain
// notation get ".0" ("2.0"), very large or small ones keep their exponent ("1e+20").
std::string sliderText(float value);

// Reads file bytes back into a profile. The bytes must be UTF-8 and every line the layout needs
// must parse; otherwise nothing comes back but the reason, so the caller changes nothing.
// Lines after the last one the layout needs are ignored.
platform::Result<Profile> parseProfile(std::string_view bytes);

}  // namespace kelvora
