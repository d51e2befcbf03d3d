// Text and JSON reports.
#include "cli/Report.h"

#include <cstdio>

#include "core/FileCategory.h"
#include "core/Texts.h"
#include "engine/FileTools.h"
#include "platform/FileSystem.h"

namespace kelvora::cli {

namespace {

// Length of the valid UTF-8 sequence at text[i], or 0 when the byte there starts none.
std::size_t utf8SequenceLength(std::string_view text, std::size_t i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    std::size_t length = 0;
    std::uint32_t minimum = 0;
    std::uint32_t code = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, minimum = 0x80, code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, minimum = 0x800, code = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, minimum = 0x10000, code = lead & 0x07;
    } else {
        return 0;
    }
    if (i + length > text.size()) return 0;
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xC0) != 0x80) return 0;
        code = (code << 6) | (byte(i + k) & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
    return length;
}

// The instant behind the date text, read again where it is printed: the records keep only
// the text. Links are followed, as the search follows them; empty when it cannot be read.
std::string isoCreationDate(const DuplicateFile& member) {
    if (member.date.empty()) return {};
    const auto attributes = platform::followedAttributes(member.path);
    if (!attributes) return {};
    const auto since = std::chrono::nanoseconds(attributes->createdNanoseconds);
    return isoDateText(Date(std::chrono::duration_cast<Date::duration>(since)));
}

}  // namespace

std::string jsonString(std::string_view text) {
    std::string out = "\"";
    char escape[8];
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            if (c == '"' || c == '\\') {
                out += '\\';
                out += static_cast<char>(c);
            } else if (c < 0x20 || c == 0x7F) {
                std::snprintf(escape, sizeof escape, "\\u%04x", c);
                out += escape;
            } else {
                out += static_cast<char>(c);
            }
            ++i;
            continue;
        }
        const std::size_t length = utf8SequenceLength(text, i);
        if (length == 0) {
            std::snprintf(escape, sizeof escape, "\\u%04x", 0xDC00 + c);
            out += escape;
            ++i;
        } else {
            out.append(text.substr(i, length));
            i += length;
        }
    }
    out += '"';
    return out;
}

void writeText(std::ostream& out, const FileList& groups, bool showChecks) {
    if (groups.empty()) {
        out << "No duplicate files found.\n";
        return;
    }
    for (const FilePtr& group : groups) {
        out << sizeText(group->size) << ", " << group->duplicates.size() << " files";
        if (matchedOnSizeAlone(*group)) out << " (" << kSizeOnlyNote << ")";
        out << '\n';
        for (const DuplicateFile& member : group->duplicates) {
            if (showChecks) out << (member.checkState == 1 ? "remove  " : "keep    ");
            out << member.path << '\n';
        }
        out << '\n';
    }
}

void writeJson(std::ostream& out, std::int64_t filesFound, const FileList& groups) {
    out << "{\"filesFound\": " << filesFound << ", \"groups\": [";
    const char* groupSeparator = "";
    for (const FilePtr& group : groups) {
        const bool sizeOnly = matchedOnSizeAlone(*group);
        out << groupSeparator << "\n  {\"size\": " << group->size
            << ", \"sizeText\": " << jsonString(sizeText(group->size))
            << ", \"ext\": " << jsonString(group->ext)
            << ", \"category\": " << static_cast<int>(categoryForExtension(group->ext))
            << ", \"sizeOnly\": " << (sizeOnly ? "true" : "false")
            << ", \"md5\": " << jsonString(group->MD5Hash.view()) << ", \"members\": [";
        const char* memberSeparator = "";
        for (const DuplicateFile& member : group->duplicates) {
            out << memberSeparator << "\n    {\"path\": " << jsonString(member.path)
                << ", \"date\": " << jsonString(member.date)
                << ", \"dateISO\": " << jsonString(isoCreationDate(member))
                << ", \"checkState\": " << member.checkState << "}";
            memberSeparator = ",";
        }
        out << "]}";
        groupSeparator = ",";
    }
    out << (groups.empty() ? "]}\n" : "\n]}\n");
}

}  // namespace kelvora::cli
