// Texts of the freedesktop.org trash: the escaped path, the record, the names.
#include "platform/TrashInfo.h"

#include <unistd.h>

#include <cerrno>
#include <vector>

namespace kelvora::platform {

namespace {

bool keptAsIs(unsigned char byte) {
    if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
        (byte >= '0' && byte <= '9')) {
        return true;
    }
    return std::string_view("-_.!~*'()/").find(static_cast<char>(byte)) != std::string_view::npos;
}

std::string workingFolder() {
    std::vector<char> buffer(4096);
    while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE) return "/";
        buffer.resize(buffer.size() * 2);
    }
    return buffer.data();
}

// A name's extension: from its last dot, unless the dot leads the name (".bashrc") or what
// follows is too long to be one.
std::size_t extensionStart(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || name.size() - dot > 16) return name.size();
    return dot;
}

// At most `limit` bytes of text, backing off from the middle of a UTF-8 sequence.
std::string_view cutTo(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) return text;
    std::size_t end = limit;
    for (int back = 0; back < 3 && end > 0 && (text[end] & 0xC0) == 0x80; ++back) --end;
    return text.substr(0, end);
}

}  // namespace

std::string percentEncoded(std::string_view path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(path.size());
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (keptAsIs(byte)) {
            out += c;
        } else {
            out += '%';
            out += kHex[byte >> 4];
            out += kHex[byte & 0xF];
        }
    }
    return out;
}

std::string trashInfoText(std::string_view recordedPath, std::time_t when) {
    struct tm local;
    char date[32] = "";
    if (::localtime_r(&when, &local) != nullptr) {
        std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    }
    std::string text = "[Trash Info]\nPath=";
    text.append(percentEncoded(recordedPath)).append("\nDeletionDate=").append(date) += '\n';
    return text;
}

std::string absolutePath(std::string_view path) {
    std::string whole = path.starts_with('/') ? std::string() : workingFolder();
    std::string out;
    out.reserve(whole.size() + path.size() + 1);
    whole.append("/").append(path);
    for (std::size_t start = 0; start < whole.size();) {
        std::size_t end = whole.find('/', start);
        if (end == std::string::npos) end = whole.size();
        const std::string_view part(whole.data() + start, end - start);
        if (!part.empty() && part != ".") out.append("/").append(part);
        start = end + 1;
    }
    return out.empty() ? "/" : out;
}

std::string trashName(std::string_view name, std::uint64_t counter) {
    const std::string suffix = counter > 1 ? "." + std::to_string(counter) : std::string();
    const std::size_t dot = extensionStart(name);
    const std::string_view extension = name.substr(dot);
    std::string out(cutTo(name.substr(0, dot), kMaxTrashName - suffix.size() - extension.size()));
    out.append(suffix).append(extension);
    return out;
}

}  // namespace kelvora::platform
