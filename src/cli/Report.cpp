// Text and JSON reports.
#include "cli/Report.h"

#include <cstdio>

#include "core/FileCategory.h"
#include "core/JsonText.h"
#include "core/Texts.h"
#include "engine/FileTools.h"
#include "platform/FileSystem.h"

namespace kelvora::cli {

namespace {

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
            out << member.path << (member.reference ? "  (reference)" : "") << '\n';
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
                << ", \"checkState\": " << member.checkState
                << (member.reference ? ", \"reference\": true" : "") << "}";
            memberSeparator = ",";
        }
        out << "]}";
        groupSeparator = ",";
    }
    out << (groups.empty() ? "]}\n" : "\n]}\n");
}

}  // namespace kelvora::cli
