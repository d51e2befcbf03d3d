// Between a profile and the shared settings, and the title a profile gives the window.
#include "profiles/Profile.h"

#include <unicode/ubrk.h>
#include <unicode/utext.h>

#include <algorithm>
#include <memory>

#include "platform/FileSystem.h"

namespace kelvora {

namespace {

constexpr std::int64_t kOn = 1;

// The text without its last `count` characters as a reader sees them (grapheme clusters), so a
// name never loses half an accented letter. Bytes that are not UTF-8 count one each.
std::string_view dropLastCharacters(std::string_view text, int count) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UText, UText* (*)(UText*)> utext(
        utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status),
        utext_close);
    std::unique_ptr<UBreakIterator, void (*)(UBreakIterator*)> breaks(
        ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status), ubrk_close);
    if (U_SUCCESS(status)) ubrk_setUText(breaks.get(), utext.get(), &status);
    if (U_FAILURE(status))
        return text.substr(0, text.size() - std::min<std::size_t>(count, text.size()));

    std::int32_t end = ubrk_last(breaks.get());
    for (int i = 0; i < count && end > 0; ++i) end = ubrk_previous(breaks.get());
    return text.substr(0, static_cast<std::size_t>(std::max(end, 0)));
}

}  // namespace

void applyProfile(const Profile& profile, SettingsManager& settings) {
    settings.listFileExtensions = profile.listFileExtensions;
    settings.minimumFileSize = profile.minimumFileSize;
    settings.maximumFileSize = profile.maximumFileSize;
    // Custom types apply whenever "all types" is not on, even if neither radio is.
    settings.customFileTypes = profile.radioScanAllFileTypes != kOn;
    settings.moveToTrash = profile.radioMoveDuplicateFilesToTrash == kOn;
    settings.ignorePackages = profile.checkIgnoreBundles == kOn;
}

Profile profileFromSettings(const SettingsManager& settings, float sliderMinimumFileSize,
                            float sliderMaximumFileSize) {
    Profile profile;
    profile.listFileExtensions = settings.listFileExtensions;
    profile.minimumFileSize = settings.minimumFileSize;
    profile.maximumFileSize = settings.maximumFileSize;
    profile.sliderMinimumFileSize = sliderMinimumFileSize;
    profile.sliderMaximumFileSize = sliderMaximumFileSize;
    profile.radioScanAllFileTypes = settings.customFileTypes ? 0 : 1;
    profile.radioCustomFileTypes = settings.customFileTypes ? 1 : 0;
    profile.radioMoveDuplicateFilesToTrash = settings.moveToTrash ? 1 : 0;
    profile.radioRemoveDuplicateFilesPermanently = settings.moveToTrash ? 0 : 1;
    profile.checkIgnoreBundles = settings.ignorePackages ? 1 : 0;
    return profile;
}

std::string profileTitle(std::string_view path) {
    return "Kelvora - " + std::string(dropLastCharacters(platform::lastPathComponent(path), 4));
}

}  // namespace kelvora
