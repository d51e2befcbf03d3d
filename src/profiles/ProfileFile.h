// Profile files on disk: read whole, and replaced in one step so that a failed save never
// leaves a damaged or half-written profile behind.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/Result.h"
#include "profiles/Profile.h"

namespace kelvora {

// Far more than any list of extensions a person keeps; stops a wrong choice such as a device
// or a huge file from being read into memory.
inline constexpr std::size_t kMaximumProfileBytes = 1024 * 1024;

// The profile in the file, or only the reason when the file cannot be read, is larger than
// kMaximumProfileBytes or does not hold a whole profile.
platform::Result<Profile> loadProfile(const std::string& path);

// Writes the profile to a new file beside path, flushes it to the disk and moves it over path.
// A link at path is followed, so the link stays and the file it names gets the profile; an
// existing file keeps its permissions. nullopt on success; on failure the reason, the file
// that was at path is as it was and nothing else is left in its folder.
std::optional<std::string> saveProfile(const std::string& path, const Profile& profile);

}  // namespace kelvora
