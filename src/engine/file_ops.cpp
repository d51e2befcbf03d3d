// The size and date texts and the removal of copies as operations of the engine class, for
// the windows that use it as their library of file operations.
#include <array>

#include "core/Texts.h"
#include "engine/FileTools.h"
#include "platform/Console.h"
#include "platform/FileOperations.h"

namespace kelvora {

platform::Result<FileStamp> FileTools::currentStamp(const std::string& path) {
    const auto now = platform::followedAttributes(path);
    if (!now) return platform::Result<FileStamp>::failure(now.error());
    return stampOf(*now);
}

std::string FileTools::sizeText(std::uint64_t bytes) const {
    return kelvora::sizeText(bytes);
}

std::optional<std::string> FileTools::attributeDateText(const std::string& path,
                                                        platform::DateAttribute attribute) const {
    const auto date = platform::itemDate(path, attribute);
    if (!date) return std::nullopt;
    return formatDate(*date);
}

std::optional<std::string> FileTools::creationDateText(const std::string& path) const {
    return attributeDateText(path, platform::DateAttribute::Creation);
}

std::string FileTools::scannedCreationDateText(const File& file) const {
    return scannedCreationDateText(file.path, file.createdNanoseconds);
}

std::string FileTools::scannedCreationDateText(const std::string& path,
                                               std::int64_t createdNanoseconds) const {
    if (hashThreads == 0 || createdNanoseconds == 0) return creationDateText(path).value_or("");
    // Copies made together share their creation second, and a date costs far more to format
    // than to look up, so the texts of recent seconds are kept on this thread, each in the
    // place its second hashes to.
    struct Formatted {
        std::int64_t second = 0;
        std::string text;
    };
    thread_local std::array<Formatted, 256> recent;
    constexpr std::int64_t kBillion = 1'000'000'000;
    const std::int64_t ns = createdNanoseconds;
    const std::int64_t second = ns / kBillion - (ns % kBillion < 0 ? 1 : 0);
    Formatted& place = recent[static_cast<std::uint64_t>(second) * 0x9E3779B97F4A7C15ull >> 56];
    if (place.text.empty() || place.second != second) {
        place.text = formatDate(
            Date(std::chrono::duration_cast<Date::duration>(std::chrono::nanoseconds(ns))));
        place.second = second;
    }
    return place.text;
}

std::optional<std::string> FileTools::modificationDateText(const std::string& path) const {
    return attributeDateText(path, platform::DateAttribute::Modification);
}

namespace {

// The cleaning goes on after a failure; the console line is the only trace of it.
bool reportRemoval(const std::optional<std::string>& error) {
    if (!error) return true;
    platform::console("Error:  " + *error);
    return false;
}

}  // namespace

bool FileTools::trashFile(const std::string& path) const {
    return reportRemoval(platform::trashItem(path));
}

bool FileTools::removeFile(const std::string& path) const {
    return reportRemoval(platform::removeItem(path));
}

}  // namespace kelvora
