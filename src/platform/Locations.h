// Which parts of the file system a search may enter. Choosing "/" must scan the users' data
// and never the system, whatever the platform calls those places.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

class LocationTable {
public:
    // The desktop layout of the original platform: only /Users (but not a user's own
    // Library), /Applications and /Volumes. Kept for compatibility and tested as a function.
    static LocationTable macOS(std::string root = "");
    // The Linux layout: everything except the system trees (/proc, /sys, /usr, ...).
    // A non-empty root prefixes every entry, so tests can build a table inside a temp folder.
    static LocationTable linux(std::string root = "");

    // A pure function of the path: true when an entry at this path may be looked at.
    bool allows(std::string_view path) const;

private:
    enum class Kind { MacOS, Linux };
    LocationTable(Kind kind, std::string root) : kind_(kind), root_(std::move(root)) {}
    bool macOSAllows(std::string_view path) const;
    bool linuxAllows(std::string_view path) const;

    Kind kind_;
    std::string root_;
};

}  // namespace kelvora::platform
