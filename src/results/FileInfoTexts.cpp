// The texts of the file information window.
#include "results/FileInfoTexts.h"

#include "core/Texts.h"
#include "engine/FileTools.h"
#include "platform/FileSystem.h"

namespace kelvora {

FileInfoTexts fileInfoTexts(const std::string& path, std::uint64_t groupSize) {
    FileInfoTexts texts;
    const std::string_view name = platform::lastPathComponent(path);
    const auto dot = name.rfind('.');
    // As for the categories, a leading dot names a hidden file rather than an extension.
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) {
        texts.fileName = std::string(name);
    } else {
        texts.fileName = std::string(name.substr(0, dot));
        texts.extension = std::string(name.substr(dot + 1));
    }
    texts.fileSize = sizeText(groupSize);
    const FileTools tools;
    texts.creationDate = tools.creationDateText(path);
    texts.modificationDate = tools.modificationDateText(path);
    return texts;
}

}  // namespace kelvora
