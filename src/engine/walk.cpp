// The folder walk: depth first, pre-order, under the location, hidden-name, package,
// extension and size filters, one progress notification per entry looked at and one at the
// end of every folder's call.
//
// The walk keeps its own stack of folder calls instead of recursing, so no tree is deep
// enough to overflow the thread's stack; the notifications and cancel checks happen exactly
// where the recursive walk would make them.
#include <algorithm>

#include "engine/FileTools.h"
#include "platform/Console.h"

namespace kelvora {

struct FileTools::WalkFrame {
    std::vector<std::string> entries;
    std::size_t next = 0;
    bool ignorePackages = true;
    bool stopped = false;  // canceled: only the end-of-call notification is left
};

std::vector<std::string> FileTools::removeNestedFolders(const std::vector<std::string>& paths) {
    std::vector<std::string> kept;
    for (const std::string& candidate : paths) {
        const bool nested = std::any_of(paths.begin(), paths.end(), [&](const std::string& other) {
            return candidate.size() > other.size() && candidate.starts_with(other) &&
                   candidate[other.size()] == '/';
        });
        if (!nested) kept.push_back(candidate);
    }
    return kept;
}

FileTools::WalkFrame FileTools::openFrame(const std::vector<std::string>& paths,
                                          bool ignorePackages) {
    WalkFrame frame;
    frame.ignorePackages = ignorePackages;
    for (const std::string& path : paths) {
        if (canceled()) {
            frame.entries.clear();
            frame.stopped = true;
            return frame;
        }
        // A folder reached a second time (a link loop, or two chosen folders naming the
        // same place) lists nothing: its files are already in, or on their way.
        const auto folder = platform::followedAttributes(path);
        if (folder && folder->isFolder &&
            walkedFolders_.contains({folder->device, folder->inode})) {
            continue;
        }
        auto names = platform::listFolder(path);
        if (!names) {
            platform::console("Ooops! Something went wrong: " + names.error());
            frame.entries.clear();
            return frame;
        }
        if (folder) walkedFolders_.insert({folder->device, folder->inode});
        frame.entries.reserve(frame.entries.size() + names->size());
        for (const std::string& name : *names) {
            frame.entries.push_back(platform::appendingPathComponent(path, name));
        }
    }
    return frame;
}

void FileTools::scanFolders(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                            std::uint64_t maximumSize, bool ignorePackages,
                            const std::vector<std::string>& extensions) {
    std::vector<WalkFrame> stack;
    stack.push_back(openFrame(paths, ignorePackages));
    while (!stack.empty()) {
        WalkFrame& frame = stack.back();
        if (frame.stopped || frame.next == frame.entries.size()) {
            postProgress(0);
            stack.pop_back();
            continue;
        }
        const std::string path = std::move(frame.entries[frame.next++]);
        postProgress(0);
        if (canceled()) {
            frame.stopped = true;
            continue;
        }
        lookAt(path, stack, minimumSize, maximumSize, extensions);
    }
}

void FileTools::lookAt(const std::string& path, std::vector<WalkFrame>& stack,
                       std::uint64_t minimumSize, std::uint64_t maximumSize,
                       const std::vector<std::string>& extensions) {
    if (!locations_.allows(path)) return;
    if (platform::lastPathComponent(path).starts_with('.')) return;
    const std::string ext = pathExtension(path);
    const bool packageName = isPackageExtension(ext);
    const bool ignorePackages = stack.back().ignorePackages;
    if (ignorePackages && packageName) return;

    // The existence and folder tests follow links; the item's own attributes give its size.
    // Only a link needs the second look.
    const auto item = platform::itemAttributes(path);
    if (!item) return;
    const auto target = item->isLink ? platform::followedAttributes(path) : item;
    if (!target) return;
    if (canceled()) {
        stack.back().stopped = true;
        return;
    }
    const bool package = target->isFolder && packageName;
    if (target->isFolder && !package) {
        stack.push_back(openFrame({path}, ignorePackages));
        return;
    }
    if (!extensions.empty() && std::find(extensions.begin(), extensions.end(), ext) == extensions.end()) {
        return;
    }
    const std::uint64_t size = package ? packageSize(path) : item->size;
    if (size < minimumSize || size > maximumSize) return;
    // One file-system object is one file: the first path that passes every filter lists it,
    // so hard links and links to a listed file never group with themselves.
    if (!listedObjects_.insert({target->device, target->inode}).second) return;
    fileList.push_back(std::make_shared<File>(path, ext, size));
}

std::uint64_t FileTools::packageSize(const std::string& path) {
    std::uint64_t sum = 0;
    FileIdSet visited;
    if (const auto root = platform::followedAttributes(path)) {
        visited.insert({root->device, root->inode});
    }
    std::vector<std::string> folders{path};
    while (!folders.empty()) {
        const std::string folder = std::move(folders.back());
        folders.pop_back();
        auto names = platform::listFolder(folder);
        if (!names) {
            platform::console("Ooops! Something went wrong: " + names.error());
            continue;
        }
        for (const std::string& name : *names) {
            if (canceled()) return sum;
            const std::string entry = platform::appendingPathComponent(folder, name);
            const auto target = platform::followedAttributes(entry);
            if (!target) continue;
            if (target->isFolder) {
                // A link loop inside a package would otherwise be summed for ever.
                if (visited.insert({target->device, target->inode}).second) {
                    folders.push_back(entry);
                }
                continue;
            }
            const auto item = platform::itemAttributes(entry);
            if (item) {
                sum += item->size;
            } else {
                platform::console("Error: " + item.error());
            }
        }
    }
    return sum;
}

}  // namespace kelvora
