// The search engine and library of file operations: the folder walk, the grouping by size and
// MD5 digest, the size and date texts. One instance serves one search or one call.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "core/File.h"
#include "core/FileCategory.h"
#include "core/SettingsManager.h"
#include "engine/IdentitySet.h"
#include "engine/ScanList.h"
#include "engine/StatAhead.h"
#include "platform/DigestCache.h"
#include "platform/FileSystem.h"
#include "platform/Locations.h"
#include "platform/NotificationCenter.h"

namespace kelvora {

class DigestPipeline;

inline constexpr const char* kUpdateProgress = "UpdateProgress";
inline constexpr const char* kSearchThreadFinished = "SearchThreadFinished";
inline constexpr const char* kTotalFiles = "totalFiles";
inline constexpr const char* kCheckedFiles = "checkedFiles";

// From this size on, files of equal size are taken as identical without being read.
inline constexpr std::uint64_t kHashThreshold = 104857600;

// Groups from the threshold up were matched on their size alone; every place that shows a
// group says so.
inline bool matchedOnSizeAlone(const File& group) {
    return group.size >= kHashThreshold;
}
inline constexpr const char* kSizeOnlyNote = "matched on size alone";
inline constexpr const char* kSizeOnlyExplanation =
    "Matched on size alone: files of 100 MiB and more are not read. Before a copy is removed, "
    "it is compared byte for byte with a copy that stays.";

inline FileStamp stampOf(const platform::Attributes& attributes) {
    return {static_cast<std::uint64_t>(attributes.device),
            static_cast<std::uint64_t>(attributes.inode), attributes.size,
            attributes.modifiedNanoseconds, attributes.changedNanoseconds};
}

class FileTools {
public:
    explicit FileTools(
        SettingsManager& settings = SettingsManager::shared(),
        platform::NotificationCenter& center = platform::NotificationCenter::defaultCenter(),
        platform::LocationTable locations = platform::LocationTable::linux());

    // The walk (walk.cpp). scanFolders appends the files found to fileList.
    static std::vector<std::string> removeNestedFolders(const std::vector<std::string>& paths);
    void scanFolders(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                     std::uint64_t maximumSize, bool ignorePackages,
                     const std::vector<std::string>& extensions);
    std::uint64_t packageSize(const std::string& path);

    // Grouping and hashing (grouping.cpp). Every file found that is no copy of an earlier
    // one, largest first, each with its copies in duplicates.
    FileList findDuplicates(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                            std::uint64_t maximumSize, bool ignorePackages,
                            const std::vector<std::string>& extensions);
    // The same search, the same notifications, but only the files that have copies are
    // returned: the files without are never made into records.
    FileList findDuplicateGroups(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                                 std::uint64_t maximumSize, bool ignorePackages,
                                 const std::vector<std::string>& extensions);
    void sortBySizeDescending(FileList& list, std::int64_t low, std::int64_t high);
    std::string md5HashOfFile(const std::string& path);
    // The digest text of no bytes, which unreadable files get too.
    static const std::string& emptyDigest();
    // The console line of a file that changed size since the walk.
    static std::string changedSinceScanLine(const std::string& path);

    // Texts (file_ops.cpp).
    std::string sizeText(std::uint64_t bytes) const;
    std::optional<std::string> creationDateText(const std::string& path) const;
    // The creation date text of a file the walk found: from what the walk read, with hash
    // threads; read again, one by one, without ("" when it cannot be read).
    std::string scannedCreationDateText(const File& file) const;
    std::string scannedCreationDateText(const std::string& path,
                                        std::int64_t createdNanoseconds) const;
    std::optional<std::string> modificationDateText(const std::string& path) const;
    std::optional<std::string> attributeDateText(const std::string& path,
                                                 platform::DateAttribute attribute) const;

    // Keep rules (keep_rules.cpp). The member to keep under keep oldest / keep newest, read
    // from the members' date texts; the array holds at least one member.
    const DuplicateFile& oldestDuplicate(const std::vector<DuplicateFile>& duplicates) const;
    const DuplicateFile& newestDuplicate(const std::vector<DuplicateFile>& duplicates) const;
    // True when the member is to be selected for removal under the custom rules held in
    // settingsManager. groupSize and groupExtension are the group head's size and ext.
    bool matchesCustomSettings(const DuplicateFile& member, std::uint64_t groupSize,
                               const std::string& groupExtension) const;
    std::optional<Date> creationDay(const DuplicateFile& member) const;
    std::optional<Date> modificationDay(const DuplicateFile& member) const;
    std::optional<Date> attributeDay(const DuplicateFile& member,
                                     platform::DateAttribute attribute) const;

    // What is at the path now, links followed, in the terms the walk recorded it.
    static platform::Result<FileStamp> currentStamp(const std::string& path);

    // Removal (file_ops.cpp). A failure prints an "Error:  " line; true when the item is gone.
    bool trashFile(const std::string& path) const;
    bool removeFile(const std::string& path) const;

    // True once this instance has posted "SearchThreadFinished": it posts at most once.
    bool postedSearchThreadFinished() const { return postedFinished_; }
    void postSearchThreadFinished();

    SettingsManager& settingsManager;
    FileList fileList;
    platform::UserInfo userInfo;
    // Threads that read and hash ahead of the comparison (and one that reads attributes
    // ahead of the walk). 0 hashes each file when the comparison first needs it, one by one;
    // every setting gives the same groups, order and progress.
    unsigned hashThreads = defaultHashThreads();
    static unsigned defaultHashThreads();
    // With hash threads: read the first bytes of files in kernel batches where the system
    // allows it. Off, every file is read with ordinary calls; the results are the same.
    bool batchedReads = true;
    // With hash threads: what earlier searches learned of the files' contents, or null.
    // Not owned; it must outlive the search.
    platform::DigestCache* digestCache = nullptr;

private:
    using FileIdSet = IdentitySet;

    struct WalkFrame;
    struct WalkFolder;
    void walk(const std::vector<std::string>& paths, std::uint64_t minimumSize,
              std::uint64_t maximumSize, bool ignorePackages,
              const std::vector<std::string>& extensions);
    FileList search(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                    std::uint64_t maximumSize, bool ignorePackages,
                    const std::vector<std::string>& extensions, bool withSingles);
    FileList groupFileList();
    FileList groupScanned(bool withSingles);
    bool canceled() const { return settingsManager.searchCanceledByUser.load(); }
    void postProgress(std::int64_t checkedFiles);
    WalkFrame openFrame(const std::vector<std::string>& paths, bool ignorePackages);
    // real: where path really leads when a link on the way makes that another place, else
    // empty.
    // parent: the folder that holds it, in scanned_'s folder table; ScanList::kNoParent for
    // a chosen folder.
    bool addFolder(WalkFrame& frame, std::string path, platform::FileHandle fd, std::string real,
                   std::uint32_t parent);
    void addListedFolder(WalkFrame& frame, std::string path,
                         std::shared_ptr<StatAhead::Listing> listing, std::string real,
                         std::uint32_t parent);
    void pushFolder(WalkFrame& frame, std::string path, platform::FileHandle fd, int kept,
                    std::uint32_t handle, std::shared_ptr<StatAhead::Listing> listing,
                    std::string real, std::uint32_t parent);
    void lookAt(std::size_t index, std::vector<WalkFrame>& stack, std::uint64_t minimumSize,
                std::uint64_t maximumSize, const std::vector<std::string>& extensions);
    bool claimObject(const platform::Attributes& item, const platform::Attributes& target);
    // The location rule for an entry whose path's text is not where it is: one in a folder
    // reached through a link, and one that is a link. Each leaves its real path in entryReal_.
    bool allowsBelowLink(const std::string& folderReal, const std::string& name);
    bool allowsLink(const std::string& path);
    // listedAhead: the folder as the attribute reader listed it, or null. throughLink: the
    // entry is a link to the folder, else it must be the folder itself. The folder's real
    // path, when it differs from path, is in entryReal_.
    void enterFolder(std::vector<WalkFrame>& stack, int parent, const std::string& name,
                     std::string path, bool ignorePackages,
                     std::shared_ptr<StatAhead::Listing> listedAhead, bool throughLink,
                     std::uint32_t parentScanned);
    int folderDescriptor(std::vector<WalkFrame>& stack, std::uint32_t folder);
    std::string_view folderPath(const WalkFolder& folder) const;
    void keepWithinFolderBudget(std::vector<WalkFrame>& stack);
    void popFrame(std::vector<WalkFrame>& stack);
    void reopenParentFromChild(std::vector<WalkFrame>& stack);
    FileList buildResult();
    bool sameDigest(File& a, File& b);
    // Marks the file unreadable when its contents cannot be read.
    std::string digestOfScannedFile(File& file);
    // A run of equal sizes below the hash threshold, linked once its digests are settled:
    // for each file, the next file of the run with the same contents.
    struct RunLinks {
        static constexpr std::size_t kNone = SIZE_MAX;
        static constexpr std::uint32_t kUnlinked = UINT32_MAX;
        std::size_t begin = 0;
        std::size_t end = 0;
        std::vector<std::uint32_t> following;  // by position in the run
        std::size_t next(std::size_t index) const {
            const std::uint32_t at = following[index - begin];
            return at == kUnlinked ? kNone : begin + at;
        }
    };
    // Links the run that begins at begin; false when the search was canceled.
    bool linkRun(DigestPipeline& pipeline, std::size_t begin, RunLinks& links);
    DuplicateFile scannedMember(std::size_t index) const;

    platform::NotificationCenter& center_;
    platform::LocationTable locations_;
    // What the walk found, while the search runs.
    ScanList scanned_;
    FileIdSet listedObjects_;
    // Objects listed through links under the links' own sizes: device, inode, that size.
    std::set<std::tuple<std::uint64_t, std::uint64_t, std::uint64_t>> linkClaims_;
    bool rememberEveryObject_ = false;
    FileIdSet walkedFolders_;
    StatAhead* statAhead_ = nullptr;  // during a walk with hash threads
    // During a search with hash threads: a descriptor of each folder the walk listed (as
    // many as the process may hold), indexed by ScanList::handle.
    std::vector<platform::FileHandle> folderHandles_;
    std::size_t folderHandleLimit_ = 0;
    std::size_t openFolders_ = 0;
    std::size_t lowestOpenFrame_ = 0;
    std::string entryPath_;  // the path of the entry the walk looks at
    // The path of the deepest folder the walk has entered below a chosen one; the folders on
    // the stack hold their lengths.
    std::string walkPath_;
    // Where that entry really is, when a link makes its path's text say otherwise; else empty.
    std::string entryReal_;
    // Where the folders reached through links really are, during a walk; the first is empty.
    std::vector<std::string> realPaths_;
    bool postedFinished_ = false;
};

}  // namespace kelvora
