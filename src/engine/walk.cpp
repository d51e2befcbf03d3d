// The folder walk: depth first, pre-order, under the location, hidden-name, package,
// extension and size filters, one progress notification per entry looked at and one at the
// end of every folder's call.
//
// The walk keeps its own stack of folder calls instead of recursing, so no tree is deep
// enough to overflow the thread's stack; the notifications and cancel checks happen exactly
// where the recursive walk would make them. Each folder is opened once and its entries are
// looked at relative to its descriptor, so no path is resolved twice and paths longer than
// the system's limit are walked like any other.
//
// The location rule judges each entry by its path; an entry that is a link, or that was
// reached through one, also by its real path, so that no link leads the walk into a system
// tree. Ordinary entries pay nothing for that: only links resolve their paths.
#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>
#include <optional>

#include "engine/FileTools.h"
#include "engine/StatAhead.h"
#include "platform/Console.h"

namespace kelvora {

namespace {
// Descriptors kept open for the folders on the walk's stack. Deeper trees close the
// outermost ones and open them again by path when the walk comes back to them.
constexpr std::size_t kOpenFolderBudget = 128;

// The real path of a chosen folder is its own text, but for the separators at its end.
bool samePlace(std::string_view path, std::string_view real) {
    while (path.size() > real.size() && path.back() == '/') path.remove_suffix(1);
    return path == real;
}

// Folders kept open for the reads after the walk: what the process may hold, less a margin
// for everything else it opens; past that, files are opened by their whole paths.
std::size_t folderHandleBudget() {
    constexpr std::size_t kMargin = 512;
    constexpr std::size_t kMost = 1 << 20;
    struct rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur <= kMargin) return 0;
    return std::min<std::size_t>(limit.rlim_cur - kMargin, kMost);
}
}  // namespace

struct FileTools::WalkFolder {
    // A chosen folder's path. Any other folder's path is the start of walkPath_ up to
    // pathLength: the folders on the stack below the chosen ones each lie in the one
    // before, so one string holds all their paths.
    std::string path;
    std::size_t pathLength = 0;
    platform::FileHandle fd;  // the walk's own, when the folder is not kept for the reads
    int kept = -1;            // else the one in folderHandles_, open until the search ends
    std::shared_ptr<StatAhead::Listing> listing;  // its entries and their attributes
    std::uint32_t scanned = 0;                    // in scanned_'s folder table
    // Where path really leads, in realPaths_, when a link on the way makes that another
    // place; 0 when path is it. The location rule then judges each entry by both.
    std::uint32_t real = 0;
    // What the folder is, to know it again when it is opened as the folder above another.
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
};

struct FileTools::WalkFrame {
    using Folder = WalkFolder;
    struct Entry {
        std::uint32_t folder;  // index in folders
        std::uint32_t index;   // index in the folder's listing
    };
    std::vector<Folder> folders;
    std::vector<Entry> entries;
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

// Adds one folder's entries to the frame. False when the listing failed, which drops every
// entry of the call, as a failed listing always has.
bool FileTools::addFolder(WalkFrame& frame, std::string path, platform::FileHandle fd,
                          std::string real, std::uint32_t parent) {
    const auto folder = platform::attributesOf(fd.get(), path);
    if (!folder) {
        platform::console("Ooops! Something went wrong: " + folder.error());
        frame.entries.clear();
        return false;
    }
    // A folder reached a second time (a link loop, or two chosen folders naming the same
    // place) lists nothing: its files are already in, or on their way.
    if (!walkedFolders_.insert(folder->device, folder->inode)) return true;
    auto entries = platform::listFolderAt(fd.get(), path);
    if (!entries) {
        platform::console("Ooops! Something went wrong: " + entries.error());
        frame.entries.clear();
        return false;
    }
    // A folder kept for the reads is walked with that same descriptor, which stays open to
    // the end of the search; only the others count against the walk's own budget.
    std::uint32_t handle = ScanList::kNoHandle;
    int kept = -1;
    if (folderHandles_.size() < folderHandleLimit_) {
        handle = static_cast<std::uint32_t>(folderHandles_.size());
        kept = fd.get();
        folderHandles_.push_back(std::move(fd));
    }
    // The descriptor kept for the reads outlives the attribute reader: it reads with it too.
    const int walkWith = kept >= 0 ? kept : fd.get();
    auto listing = statAhead_ ? statAhead_->add(std::move(*entries), walkWith, kept)
                              : std::make_shared<StatAhead::Listing>(std::move(*entries),
                                                                     platform::FileHandle());
    pushFolder(frame, std::move(path), std::move(fd), kept, handle, std::move(listing),
               std::move(real), parent);
    frame.folders.back().device = static_cast<std::uint64_t>(folder->device);
    frame.folders.back().inode = static_cast<std::uint64_t>(folder->inode);
    return true;
}

void FileTools::addListedFolder(WalkFrame& frame, std::string path,
                                std::shared_ptr<StatAhead::Listing> listing, std::string real,
                                std::uint32_t parent) {
    const platform::Attributes& folder = listing->folderAttributes();
    if (!walkedFolders_.insert(folder.device, folder.inode)) {
        statAhead_->leave(*listing);
        return;
    }
    std::uint32_t handle = ScanList::kNoHandle;
    int kept = -1;
    platform::FileHandle own;
    if (folderHandles_.size() < folderHandleLimit_) {
        handle = static_cast<std::uint32_t>(folderHandles_.size());
        folderHandles_.push_back(listing->takeOpened());
        kept = folderHandles_.back().get();
    } else {
        // The reader's descriptor closes with its listing; the walk closes and opens its own
        // within its budget (or by path, if even the copy fails).
        own = platform::FileHandle(::fcntl(listing->descriptor(), F_DUPFD_CLOEXEC, 0));
    }
    statAhead_->enter(listing);
    pushFolder(frame, std::move(path), std::move(own), kept, handle, std::move(listing),
               std::move(real), parent);
    frame.folders.back().device = static_cast<std::uint64_t>(folder.device);
    frame.folders.back().inode = static_cast<std::uint64_t>(folder.inode);
}

void FileTools::pushFolder(WalkFrame& frame, std::string path, platform::FileHandle fd, int kept,
                           std::uint32_t handle, std::shared_ptr<StatAhead::Listing> listing,
                           std::string real, std::uint32_t parent) {
    const auto index = static_cast<std::uint32_t>(frame.folders.size());
    const auto count = static_cast<std::uint32_t>(listing->entries().size());
    frame.entries.reserve(frame.entries.size() + count);
    for (std::uint32_t entry = 0; entry < count; ++entry) frame.entries.push_back({index, entry});
    std::uint32_t scanned = 0;
    std::size_t pathLength = 0;
    if (parent == ScanList::kNoParent) {
        scanned = scanned_.addFolder(path, handle);
    } else {
        const std::size_t slash = path.rfind('/');
        scanned = scanned_.addFolder(parent, std::string_view(path).substr(slash + 1), handle);
        walkPath_.swap(path);
        pathLength = walkPath_.size();
        // What path holds now is the old walkPath_, as long as the deepest path so far:
        // kept in the folder's record, one per level, it would make the stack's memory grow
        // with the square of its depth.
        std::string().swap(path);
    }
    if (fd.valid()) ++openFolders_;
    std::uint32_t realIndex = 0;
    if (!real.empty()) {
        realIndex = static_cast<std::uint32_t>(realPaths_.size());
        realPaths_.push_back(std::move(real));
    }
    frame.folders.push_back(
        {std::move(path), pathLength, std::move(fd), kept, std::move(listing), scanned, realIndex});
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
        // A chosen folder reached through a link is judged by where it leads, like any entry
        // that is a link; one that cannot be resolved meets its failure in the open below.
        std::string real;
        if (platform::realPath(path, real) != 0 || samePlace(path, real)) {
            real.clear();
        } else if (!locations_.allows(real)) {
            continue;
        }
        auto fd = platform::openPath(path, O_RDONLY | O_DIRECTORY | O_NOCTTY);
        if (!fd) {
            platform::console("Ooops! Something went wrong: " + fd.error());
            frame.entries.clear();
            return frame;
        }
        if (!addFolder(frame, path, std::move(*fd), std::move(real), ScanList::kNoParent)) {
            return frame;
        }
    }
    return frame;
}

std::string_view FileTools::folderPath(const WalkFolder& folder) const {
    if (folder.pathLength == 0) return folder.path;
    return std::string_view(walkPath_).substr(0, folder.pathLength);
}

int FileTools::folderDescriptor(std::vector<WalkFrame>& stack, std::uint32_t folder) {
    WalkFrame::Folder& entry = stack.back().folders[folder];
    if (entry.kept >= 0) return entry.kept;
    if (!entry.fd.valid()) {
        auto reopened =
            platform::openPath(std::string(folderPath(entry)), O_RDONLY | O_DIRECTORY | O_NOCTTY);
        if (!reopened) return -1;
        entry.fd = std::move(*reopened);
        ++openFolders_;
        lowestOpenFrame_ = std::min(lowestOpenFrame_, stack.size() - 1);
    }
    return entry.fd.get();
}

void FileTools::keepWithinFolderBudget(std::vector<WalkFrame>& stack) {
    while (openFolders_ > kOpenFolderBudget && lowestOpenFrame_ + 1 < stack.size()) {
        for (WalkFrame::Folder& folder : stack[lowestOpenFrame_].folders) {
            if (folder.fd.valid()) --openFolders_;
            folder.fd.reset();
        }
        ++lowestOpenFrame_;
    }
}

void FileTools::popFrame(std::vector<WalkFrame>& stack) {
    reopenParentFromChild(stack);
    for (const WalkFrame::Folder& folder : stack.back().folders) {
        if (folder.fd.valid()) --openFolders_;
        if (statAhead_) statAhead_->leave(*folder.listing);
    }
    // Real paths are added as folders are entered, so the ones of the folders left go last.
    for (auto folder = stack.back().folders.rbegin(); folder != stack.back().folders.rend();
         ++folder) {
        if (folder->real != 0 && folder->real + 1 == realPaths_.size()) realPaths_.pop_back();
    }
    stack.pop_back();
    lowestOpenFrame_ = std::min(lowestOpenFrame_, stack.size());
}

// A folder closed to stay within the budget is needed again when the walk comes back to it
// from the folder it entered last, which is still open. Opening it again by its path would
// cost a step for every folder above it, so a deep tree would take time that grows with the
// square of its depth; ".." of that folder is one step, and is taken when it is the same
// folder (not where a link or a mount would lead instead).
void FileTools::reopenParentFromChild(std::vector<WalkFrame>& stack) {
    if (stack.size() < 2 || stack.back().folders.size() != 1) return;
    WalkFrame& above = stack[stack.size() - 2];
    if (above.next == 0 || above.next >= above.entries.size()) return;
    WalkFrame::Folder& parent = above.folders[above.entries[above.next - 1].folder];
    if (parent.kept >= 0 || parent.fd.valid()) return;
    const WalkFrame::Folder& child = stack.back().folders.front();
    const int from = child.kept >= 0 ? child.kept : child.fd.get();
    if (from < 0) return;
    platform::FileHandle up(::openat(from, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY));
    if (!up.valid()) return;
    const auto attributes = platform::attributesOf(up.get(), {});
    if (!attributes || static_cast<std::uint64_t>(attributes->device) != parent.device ||
        static_cast<std::uint64_t>(attributes->inode) != parent.inode) {
        return;
    }
    parent.fd = std::move(up);
    ++openFolders_;
    lowestOpenFrame_ = std::min(lowestOpenFrame_, stack.size() - 2);
}

void FileTools::scanFolders(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                            std::uint64_t maximumSize, bool ignorePackages,
                            const std::vector<std::string>& extensions) {
    walk(paths, minimumSize, maximumSize, ignorePackages, extensions);
    fileList.reserve(fileList.size() + scanned_.size());
    for (std::size_t i = 0; i < scanned_.size(); ++i) fileList.push_back(scanned_.file(i));
    scanned_.clear();
}

void FileTools::walk(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                     std::uint64_t maximumSize, bool ignorePackages,
                     const std::vector<std::string>& extensions) {
    // The reference search, without hash threads, reads every attribute itself.
    std::optional<StatAhead> statAhead;
    if (hashThreads > 0) statAhead.emplace();
    statAhead_ = statAhead ? &*statAhead : nullptr;
    folderHandles_.clear();
    realPaths_.assign(1, std::string());
    folderHandleLimit_ = hashThreads > 0 ? folderHandleBudget() : 0;
    std::vector<WalkFrame> stack;
    stack.push_back(openFrame(paths, ignorePackages));
    while (!stack.empty()) {
        WalkFrame& frame = stack.back();
        if (frame.stopped || frame.next == frame.entries.size()) {
            postProgress(0);
            popFrame(stack);
            continue;
        }
        const std::size_t index = frame.next++;
        postProgress(0);
        if (canceled()) {
            frame.stopped = true;
            continue;
        }
        lookAt(index, stack, minimumSize, maximumSize, extensions);
    }
    statAhead_ = nullptr;
    realPaths_ = {};
    walkPath_ = {};
}

void FileTools::lookAt(std::size_t index, std::vector<WalkFrame>& stack, std::uint64_t minimumSize,
                       std::uint64_t maximumSize, const std::vector<std::string>& extensions) {
    const WalkFrame::Entry& entry = stack.back().entries[index];
    // Valid while the stack stays as it is: until a folder is entered, the last thing done.
    const WalkFrame::Folder& in = stack.back().folders[entry.folder];
    StatAhead::Listing& listing = *in.listing;
    const platform::FolderEntry& listed = listing.entries()[entry.index];
    // A folder the attribute reader listed ahead is the walk's from here on: entered, or
    // dropped when this returns.
    struct ListedAhead {
        StatAhead* reader;
        std::shared_ptr<StatAhead::Listing> listing;
        ~ListedAhead() {
            if (listing) reader->leave(*listing);
        }
    } ahead{statAhead_, statAhead_ != nullptr && listed.type == DT_DIR
                            ? statAhead_->takeFolder(listing, entry.index)
                            : nullptr};
    const std::string& name = listed.name;
    // Built in place: most entries need their path only for the location check.
    std::string& path = entryPath_;
    path.assign(folderPath(in));
    if (path.empty() || path.back() != '/') path += '/';
    path += name;
    if (!locations_.allows(path)) return;
    entryReal_.clear();
    if (in.real != 0 && !allowsBelowLink(realPaths_[in.real], name)) return;
    if (name[0] == '.') return;
    std::string ext = pathExtension(name);
    const bool packageName = isPackageExtension(ext);
    const bool ignorePackages = stack.back().ignorePackages;
    if (ignorePackages && packageName) return;

    const int folder = folderDescriptor(stack, entry.folder);
    if (folder < 0) return;
    // The existence and folder tests follow links; the item's own attributes give its size.
    // A folder as the listing reports it needs no look before it is opened.
    const bool listedAsFolder = listed.type == DT_DIR;
    platform::Result<platform::Attributes> item = platform::Attributes{};
    platform::Result<platform::Attributes> target = platform::Attributes{};
    if (!listedAsFolder) {
        // A failed read of the entry itself drops it without a word, as it always has.
        if (listing.attributes(entry.index, folder, *item) != 0) return;
        target = item->isLink ? platform::attributesAt(folder, name.c_str(), true, path) : item;
        if (!target) return;
        // Pipes, sockets and devices are never files to compare: opening a pipe for reading
        // would wait for a writer for ever.
        if (!target->isFolder && !target->isRegular) return;
        if (item->isLink && !allowsLink(path)) return;
    }
    if (canceled()) {
        stack.back().stopped = true;
        return;
    }
    const bool isFolder = listedAsFolder || target->isFolder;
    const bool package = isFolder && packageName;
    if (isFolder && !package) {
        enterFolder(stack, folder, name, path, ignorePackages, std::move(ahead.listing),
                    item->isLink, in.scanned);
        return;
    }
    if (!extensions.empty() &&
        std::find(extensions.begin(), extensions.end(), ext) == extensions.end()) {
        return;
    }
    if (package && listedAsFolder) {
        target = platform::attributesAt(folder, name.c_str(), true, path);
        if (!target) return;
    }
    const std::uint64_t size = package ? packageSize(path) : item->size;
    if (size < minimumSize || size > maximumSize) return;
    // A package listed as a folder was read only through its target.
    if (!claimObject(listedAsFolder ? *target : *item, *target)) return;
    scanned_.add(stack.back().folders[entry.folder].scanned, name, size, stampOf(*target),
                 item->createdNanoseconds);
}

// Below a link the path's text does not say where an entry is; its real path does.
bool FileTools::allowsBelowLink(const std::string& folderReal, const std::string& name) {
    entryReal_ = platform::appendingPathComponent(folderReal, name);
    return locations_.allows(entryReal_);
}

// A link is judged by where it leads: one into a system tree would list system files under a
// path in the user's data, for a cleaning to remove.
bool FileTools::allowsLink(const std::string& path) {
    return platform::realPath(path, entryReal_) == 0 && locations_.allows(entryReal_);
}

// One file-system object is one file: the first path that passes every filter lists it, so
// hard links, links to a listed file and a file mounted over another path never group with
// themselves. A file with one name, found by that name, can be met again only through a link
// or a mount (a folder is never listed twice), so until the walk meets the first of those,
// only objects with several names are remembered: on most trees the set stays nearly empty
// instead of holding every file.
bool FileTools::claimObject(const platform::Attributes& item, const platform::Attributes& target) {
    const bool secondPath = item.isLink || item.mayBeMountRoot || target.mayBeMountRoot;
    if (secondPath && !rememberEveryObject_) {
        rememberEveryObject_ = true;
        for (std::size_t i = 0; i < scanned_.size(); ++i) {
            const FileStamp listed = scanned_.stamp(i);
            listedObjects_.insert(listed.device, listed.inode);
        }
    }
    if (!rememberEveryObject_ && target.links == 1) return true;
    // A link to a file is listed with its own size, so it never meets its target, nor a link
    // of another length to it, in one run of equal sizes. Met before its target, it claims
    // the object only under that size: claiming the object itself would hide the target and
    // its true copies. Met after, it is the object listed again and is dropped.
    if (item.isLink && !target.isFolder && item.size != target.size) {
        if (listedObjects_.contains(target.device, target.inode)) return false;
        return linkClaims_.emplace(target.device, target.inode, item.size).second;
    }
    return listedObjects_.insert(target.device, target.inode);
}

void FileTools::enterFolder(std::vector<WalkFrame>& stack, int parent, const std::string& name,
                            std::string path, bool ignorePackages,
                            std::shared_ptr<StatAhead::Listing> listedAhead, bool throughLink,
                            std::uint32_t parentScanned) {
    std::string real = std::move(entryReal_);
    entryReal_.clear();
    WalkFrame child;
    child.ignorePackages = ignorePackages;
    if (listedAhead) {
        addListedFolder(child, std::move(path), std::move(listedAhead), std::move(real),
                        parentScanned);
    } else if (auto fd = platform::openFolderAt(parent, name.c_str(), path, throughLink)) {
        // A folder that became a link since it was looked at is not followed: its place
        // was judged, not the link's.
        addFolder(child, std::move(path), std::move(*fd), std::move(real), parentScanned);
    } else {
        platform::console("Ooops! Something went wrong: " + fd.error());
    }
    stack.push_back(std::move(child));
    keepWithinFolderBudget(stack);
}

std::uint64_t FileTools::packageSize(const std::string& path) {
    std::uint64_t sum = 0;
    FileIdSet visited;
    if (const auto root = platform::followedAttributes(path)) {
        visited.insert(root->device, root->inode);
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
                if (visited.insert(target->device, target->inode)) {
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
