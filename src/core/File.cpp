// Creation of the records.
#include "core/File.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include "platform/Console.h"
#include "platform/FileSystem.h"

namespace kelvora {

const std::string kDefaultCustomSettings =
    "0\n0\n1\n01/01/2017\n0\n0\n0\n01/01/2017\n0\n1\n200\n1\n0\n0\n100\n3\n0\njpg\n0\n \n1\n0\n0\n";

const std::shared_ptr<const std::string>& RuleText::defaultText() {
    static const auto text = std::make_shared<const std::string>(kDefaultCustomSettings);
    return text;
}

std::string lowerCased(std::string_view text) {
    bool ascii = true;
    std::string out(text);
    for (char& c : out) {
        if (static_cast<unsigned char>(c) >= 0x80) ascii = false;
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    if (ascii) return out;
    // Unicode lower-casing only for valid UTF-8: a name of raw bytes keeps its bytes.
    const icu::UnicodeString unicode =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), text.size()));
    std::string roundTrip;
    unicode.toUTF8String(roundTrip);
    if (roundTrip != text) return out;
    std::string lowered;
    icu::UnicodeString(unicode).toLower(icu::Locale::getRoot()).toUTF8String(lowered);
    return lowered;
}

std::string pathExtension(std::string_view path) {
    const auto slash = path.rfind('/');
    const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    const auto dot = name.rfind('.');
    // A leading dot names a hidden file, it does not start an extension.
    if (dot == std::string_view::npos || dot == 0) return {};
    return lowerCased(name.substr(dot + 1));
}

File::File(std::string path, std::string ext, std::uint64_t size)
    : path(std::move(path)), ext(std::move(ext)), size(size) {}

File::File(std::string path) : path(std::move(path)), ext(pathExtension(this->path)) {
    auto attributes = platform::itemAttributes(this->path);
    if (attributes) {
        size = attributes->size;
    } else {
        platform::console("Error: " + attributes.error());
    }
}

bool inReferenceFolder(std::string_view path, const std::vector<std::string>& referenceFolders) {
    for (const std::string& folder : referenceFolders) {
        if (folder.empty()) continue;
        if (path == folder) return true;
        const bool slashEnds = folder.back() == '/';
        if (path.size() > folder.size() && path.starts_with(folder) &&
            (slashEnds || path[folder.size()] == '/'))
            return true;
    }
    return false;
}

}  // namespace kelvora
