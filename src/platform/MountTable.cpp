// /proc/self/mountinfo read for the mounts that show other folders' data: overlay layers,
// bindfs and mergerfs sources.
#include "platform/MountTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>

namespace kelvora::platform {

struct MountTable::Origins {
    // The path itself and the folders whose data reach it through mounts.
    std::vector<std::string> folders;
    // Mount points of mounts on the way that do not say where their data comes from.
    std::vector<std::string> unknownMounts;
};

namespace {

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end - start));
        if (end == std::string_view::npos) return parts;
        start = end + 1;
    }
}

bool isOctal(char c) {
    return c >= '0' && c <= '7';
}

// The kernel writes space, tab, newline, backslash (and in options ',' and '=') as \ooo.
std::string unescapeOctal(std::string_view field) {
    std::string out;
    out.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) &&
            isOctal(field[i + 2]) && isOctal(field[i + 3])) {
            out += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 +
                                     (field[i + 3] - '0'));
            i += 3;
        } else {
            out += field[i];
        }
    }
    return out;
}

// A folder path without trailing separators, or nothing when it is not absolute.
std::optional<std::string> folderPath(std::string_view path) {
    if (!path.starts_with('/')) return std::nullopt;
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    return std::string(path);
}

// Overlay's own escaping inside lowerdir: a backslash keeps the next character (':' too).
std::vector<std::string> overlayLayers(std::string_view value) {
    std::vector<std::string> layers(1);
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            layers.back() += value[++i];
        } else if (value[i] == ':') {
            layers.emplace_back();
        } else {
            layers.back() += value[i];
        }
    }
    // "::" marks where the data-only layers start: an empty layer is no layer.
    std::erase(layers, std::string());
    return layers;
}

std::vector<std::string> overlaySources(std::string_view superOptions) {
    std::vector<std::string> sources;
    // Split first: a ',' inside a value is written as \054.
    for (const std::string_view raw : split(superOptions, ',')) {
        const std::string option = unescapeOctal(raw);
        std::string_view view(option);
        if (view.starts_with("lowerdir=")) {
            for (std::string& layer : overlayLayers(view.substr(9))) sources.push_back(layer);
        } else if (view.starts_with("lowerdir+=") || view.starts_with("datadir+=")) {
            sources.push_back(overlayLayers(view.substr(view.find('=') + 1)).front());
        } else if (view.starts_with("upperdir=")) {
            sources.push_back(overlayLayers(view.substr(9)).front());
        }
    }
    return sources;
}

// mergerfs branches may carry a mode ("/mnt/disk1=RW"); cutting at '=' can only widen the
// folder, never miss one.
std::vector<std::string> mergerfsBranches(std::string_view source) {
    std::vector<std::string> branches;
    for (std::string_view branch : split(source, ':')) {
        branches.emplace_back(branch.substr(0, branch.find('=')));
    }
    return branches;
}

bool isUnder(std::string_view path, std::string_view folder) {
    if (!path.starts_with(folder)) return false;
    return path.size() == folder.size() || folder == "/" || path[folder.size()] == '/';
}

bool related(std::string_view a, std::string_view b) {
    return isUnder(a, b) || isUnder(b, a);
}

template <typename T>
void addOnce(std::vector<T>& list, const T& value) {
    if (std::find(list.begin(), list.end(), value) == list.end()) list.push_back(value);
}

}  // namespace

MountTable MountTable::current() {
    std::string text;
    const int fd = ::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return {};
    // Its size reads as 0: read to the end.
    char buffer[65536];
    for (ssize_t got; (got = ::read(fd, buffer, sizeof buffer)) != 0;) {
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            ::close(fd);
            return {};
        }
        text.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    return parse(text);
}

MountTable MountTable::parse(std::string_view mountinfo) {
    MountTable table;
    for (const std::string_view line : split(mountinfo, '\n')) {
        const std::vector<std::string_view> fields = split(line, ' ');
        const auto dash =
            std::find(fields.begin() + std::min<std::size_t>(fields.size(), 6), fields.end(), "-");
        if (fields.size() < 6 || fields.end() - dash < 4) continue;
        Mount mount{unescapeOctal(fields[4]), {}, false};
        const std::string_view type = dash[1], source = dash[2], superOptions = dash[3];
        std::vector<std::string> sources;
        if (type == "overlay") {
            sources = overlaySources(superOptions);
        } else if (type == "fuse.bindfs") {
            sources.push_back(unescapeOctal(source));
        } else if (type == "fuse.mergerfs") {
            sources = mergerfsBranches(unescapeOctal(source));
        }
        for (const std::string& folder : sources) {
            const auto path = folderPath(folder);
            if (path) mount.sources.push_back(*path);
            mount.sourcesUnknown = mount.sourcesUnknown || !path;
        }
        table.mounts_.push_back(std::move(mount));
    }
    return table;
}

const MountTable::Mount* MountTable::deepestMount(std::string_view path) const {
    const Mount* deepest = nullptr;
    // Of mounts stacked on one point, the last listed is the one seen.
    for (const Mount& mount : mounts_) {
        if (isUnder(path, mount.mountPoint) &&
            (deepest == nullptr || mount.mountPoint.size() >= deepest->mountPoint.size())) {
            deepest = &mount;
        }
    }
    return deepest;
}

MountTable::Origins MountTable::originsOf(std::string_view path) const {
    Origins origins{{std::string(path)}, {}};
    // A source may lie in a mount with sources of its own; a few rounds reach any real setup
    // and stop where mounts show each other's folders.
    constexpr std::size_t kMaxFolders = 64;
    for (std::size_t next = 0; next < origins.folders.size() && next < kMaxFolders; ++next) {
        const Mount* mount = deepestMount(origins.folders[next]);
        if (mount == nullptr) continue;
        if (mount->sourcesUnknown) addOnce(origins.unknownMounts, mount->mountPoint);
        for (const std::string& source : mount->sources) addOnce(origins.folders, source);
    }
    return origins;
}

bool MountTable::mayShareData(std::string_view first, std::string_view second) const {
    const Origins a = originsOf(first), b = originsOf(second);
    for (const std::string& x : a.folders) {
        for (const std::string& y : b.folders) {
            if (related(x, y)) return true;
        }
    }
    for (const std::string& mount : a.unknownMounts) {
        if (!isUnder(second, mount)) return true;
    }
    for (const std::string& mount : b.unknownMounts) {
        if (!isUnder(first, mount)) return true;
    }
    return false;
}

}  // namespace kelvora::platform
