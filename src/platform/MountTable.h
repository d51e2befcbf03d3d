// The mounts of this process, read to tell when two paths may reach the same data although
// their devices and inodes differ: a layer of an overlay seen beside its merged view, or the
// source of a re-exporting mount (bindfs, mergerfs) beside the mount.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

class MountTable {
public:
    // The table of /proc/self/mountinfo; an empty table when it cannot be read.
    static MountTable current();
    // The same from the text of a mountinfo file.
    static MountTable parse(std::string_view mountinfo);

    // True when the two real paths (links resolved) may be one file's data under two names:
    // one lies in a mount whose data comes from a folder the other lies under.
    bool mayShareData(std::string_view first, std::string_view second) const;

private:
    struct Mount {
        std::string mountPoint;
        std::vector<std::string> sources;  // folders whose data the mount shows again
        // The mount shows other folders' data but does not say which (a mergerfs named
        // with its branches' common start left out): any folder outside it may be one.
        bool sourcesUnknown = false;
    };
    struct Origins;
    const Mount* deepestMount(std::string_view path) const;
    Origins originsOf(std::string_view path) const;

    std::vector<Mount> mounts_;
};

}  // namespace kelvora::platform
