// What the file information window says about one copy: its name, the group's size, its
// extension as the user wrote it, and its dates as the file system gives them now.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kelvora {

struct FileInfoTexts {
    std::string fileName;   // the last path component without its extension
    std::string fileSize;   // every copy of a group has the group's size
    std::string extension;  // unchanged, without the dot; empty when there is none
    std::optional<std::string> creationDate;  // nothing when the attributes cannot be read
    std::optional<std::string> modificationDate;
};

// Reads the copy's dates from the file system.
FileInfoTexts fileInfoTexts(const std::string& path, std::uint64_t groupSize);

}  // namespace kelvora
