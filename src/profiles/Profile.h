// What a profile file keeps of the main window's scan settings, and how it meets the shared
// settings: the window and the command line both load and save through these.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/SettingsManager.h"

namespace kelvora {

inline constexpr const char* kCouldNotSaveProfile = "Could not save profile.";
inline constexpr const char* kCouldNotLoadProfile = "Could not load profile.";
inline constexpr const char* kProfileExtension = "kvr";

// One profile, field for field in file order. The defaults are the window's start-up state.
// Button states are the controls' integers (1 on, 0 off) and are kept as read, whatever they
// are, so that a file loaded and saved again says the same.
struct Profile {
    std::vector<std::string> listFileExtensions;
    std::uint64_t minimumFileSize = 204800;
    std::uint64_t maximumFileSize = 107374182400ULL;
    float sliderMinimumFileSize = 2.0f;
    float sliderMaximumFileSize = 8.0f;
    std::int64_t radioScanAllFileTypes = 1;
    std::int64_t radioCustomFileTypes = 0;
    std::int64_t radioMoveDuplicateFilesToTrash = 1;
    std::int64_t radioRemoveDuplicateFilesPermanently = 0;
    std::int64_t checkIgnoreBundles = 1;

    bool operator==(const Profile&) const = default;
};

// Writes what the search engine reads: the extensions and both sizes as stored, and the three
// flags the way the window derives them from its buttons. The folder list is left alone.
void applyProfile(const Profile& profile, SettingsManager& settings);

// The profile of the current settings, for a writer without the window's controls: the
// buttons follow the three flags and the sliders stand where the caller says.
Profile profileFromSettings(const SettingsManager& settings, float sliderMinimumFileSize,
                            float sliderMaximumFileSize);

// The window title of a bound profile: "Kelvora - " and the file name without its last four
// characters (the ".kvr").
std::string profileTitle(std::string_view path);

}  // namespace kelvora
