// The two location tables.
#include "platform/Locations.h"

#include <array>

#include "platform/FileSystem.h"

namespace kelvora::platform {

LocationTable LocationTable::macOS(std::string root) {
    return {Kind::MacOS, std::move(root)};
}
LocationTable LocationTable::linux(std::string root) {
    return {Kind::Linux, std::move(root)};
}

bool LocationTable::allows(std::string_view path) const {
    return kind_ == Kind::MacOS ? macOSAllows(path) : linuxAllows(path);
}

bool LocationTable::macOSAllows(std::string_view path) const {
    // Plain string prefixes, as the rule has always been: "/Usersx" passes too.
    const std::string users = root_ + "/Users";
    if (path.starts_with(root_ + "/Volumes")) return true;
    const bool ownLibrary = lastPathComponent(path) == "Library" &&
                            deletingLastPathComponent(deletingLastPathComponent(path)) == users;
    if (ownLibrary) return false;
    return path.starts_with(users) || path.starts_with(root_ + "/Applications");
}

bool LocationTable::linuxAllows(std::string_view path) const {
    if (!root_.empty()) {
        if (!path.starts_with(root_) || (path.size() > root_.size() && path[root_.size()] != '/')) {
            return true;  // outside the table's tree
        }
        path.remove_prefix(root_.size());
    }
    // The first component decides, except under /run where removable media are mounted.
    if (path.empty() || path[0] != '/') return true;
    const std::string_view rest = path.substr(1);
    const std::string_view first = rest.substr(0, rest.find('/'));
    static constexpr std::array<std::string_view, 11> systemTrees = {
        "proc", "sys", "dev", "boot", "etc", "usr", "bin", "sbin", "var", "snap", "lost+found"};
    // Image-based systems (Fedora Silverblue, other ostree systems) keep the users' folders
    // below /var and link /home, /mnt and /root there: what a link leads to is judged, so
    // those places must stay user data.
    if (first == "var") {
        const std::string_view below = rest.substr(std::min(rest.size(), std::size_t{4}));
        const std::string_view second = below.substr(0, below.find('/'));
        return rest == "var" || second == "home" || second == "mnt" || second == "roothome";
    }
    for (std::string_view tree : systemTrees) {
        if (first == tree) return false;
    }
    if (first.starts_with("lib")) return false;  // lib, lib32, lib64, libx32
    // /run itself is entered so that the media mounted under it can be reached.
    if (first == "run") {
        return rest == "run" || rest == "run/media" || rest.starts_with("run/media/");
    }
    return true;
}

}  // namespace kelvora::platform
