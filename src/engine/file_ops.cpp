// The size and date texts as operations of the engine class, for the windows that use it as
// their library of file operations.
#include "core/Texts.h"
#include "engine/FileTools.h"

namespace kelvora {

std::string FileTools::sizeText(std::uint64_t bytes) const { return kelvora::sizeText(bytes); }

std::optional<std::string> FileTools::attributeDateText(const std::string& path,
                                                        platform::DateAttribute attribute) const {
    const auto date = platform::itemDate(path, attribute);
    if (!date) return std::nullopt;
    return formatDate(*date);
}

std::optional<std::string> FileTools::creationDateText(const std::string& path) const {
    return attributeDateText(path, platform::DateAttribute::Creation);
}

std::optional<std::string> FileTools::modificationDateText(const std::string& path) const {
    return attributeDateText(path, platform::DateAttribute::Modification);
}

}  // namespace kelvora
