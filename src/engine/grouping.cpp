// Grouping by size and MD5 digest.
//
// The order matters: files are sorted largest first by a Lomuto quicksort whose order among
// files of equal size decides which file heads a group, and each file, taken in that order,
// claims every later file of its size with the same contents. Users see the head as "the"
// original, so the sort must stay this exact quicksort. Digests are computed lazily, only
// for files that share their size with another, and at most once per file; files of the
// hash threshold and above are grouped on their size alone and never read.
//
// With hash threads, a pipeline settles each run of equal sizes ahead of the loop: files told
// apart by their first bytes are never read whole, the rest are hashed on several cores. The
// loop itself, its notifications and its cancel checks stay exactly as they are.
#include <algorithm>
#include <memory>
#include <thread>
#include <utility>

#include "engine/DigestPipeline.h"
#include "engine/FileTools.h"
#include "engine/SizeSort.h"
#include "platform/Console.h"
#include "platform/Md5.h"
#include "platform/Memory.h"

namespace kelvora {

FileList FileTools::findDuplicates(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                                   std::uint64_t maximumSize, bool ignorePackages,
                                   const std::vector<std::string>& extensions) {
    return search(paths, minimumSize, maximumSize, ignorePackages, extensions, true);
}

FileList FileTools::findDuplicateGroups(const std::vector<std::string>& paths,
                                        std::uint64_t minimumSize, std::uint64_t maximumSize,
                                        bool ignorePackages,
                                        const std::vector<std::string>& extensions) {
    return search(paths, minimumSize, maximumSize, ignorePackages, extensions, false);
}

FileList FileTools::search(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                           std::uint64_t maximumSize, bool ignorePackages,
                           const std::vector<std::string>& extensions, bool withSingles) {
    // A long log is copied into the digest cache's file while the walk runs: that is mostly
    // waiting for the disk, and the walk leaves the look-up nothing else to wait for. Any
    // other opening waits for the end of the walk (below), as a third thread slows the walk
    // down more than it would save (a first search of 20,000 files: 1 to 4 ms). The cache
    // waits for the opening at the look-up, or when it is let go of, whichever way the walk
    // leaves.
    if (digestCache != nullptr && hashThreads > 0 && digestCache->present()) {
        digestCache->openInBackground(true);
    }
    walk(removeNestedFolders(paths), minimumSize, maximumSize, ignorePackages, extensions);
    // The walk's folders stay open for the reads until the comparison is done, whichever way
    // this returns; declared before the pipeline, they close after its workers are joined.
    struct CloseFolders {
        std::vector<platform::FileHandle>& handles;
        ScanList& scanned;
        ~CloseFolders() {
            handles.clear();
            scanned.clear();
        }
    } closeFolders{folderHandles_, scanned_};
    // What the walk met is not needed past the walk.
    listedObjects_ = {};
    linkClaims_ = {};
    rememberEveryObject_ = false;
    walkedFolders_ = {};
    if (canceled()) {
        postSearchThreadFinished();
        return {};
    }
    if (hashThreads > 0) {
        // The file is opened, or made, while what the walk found is sorted, which leaves a
        // core free: a first search of 20,000 files opened it at the look-up, on the way to
        // the comparison, and made it after the comparison, on the way to the results.
        if (digestCache != nullptr && scanned_.size() >= 2) digestCache->openInBackground(false);
        return groupScanned(withSingles);
    }
    // The reference search works on File records from the start, one by one.
    fileList.reserve(scanned_.size());
    for (std::size_t i = 0; i < scanned_.size(); ++i) fileList.push_back(scanned_.file(i));
    scanned_.clear();
    FileList result = groupFileList();
    if (!withSingles)
        std::erase_if(result, [](const FilePtr& file) { return file->duplicates.empty(); });
    return result;
}

FileList FileTools::groupFileList() {
    const std::size_t n = fileList.size();
    if (n < 2) return fileList;
    sortBySizeDescending(fileList, 0, static_cast<std::int64_t>(n) - 1);
    if (canceled()) {
        postSearchThreadFinished();
        return {};
    }
    for (std::size_t i = 0; i + 1 < n; ++i) {
        postProgress(static_cast<std::int64_t>(i + 1));
        if (canceled()) {
            postSearchThreadFinished();
            return {};
        }
        File& head = *fileList[i];
        if (head.wasFound) continue;
        for (std::size_t j = i + 1; j < n; ++j) {
            File& candidate = *fileList[j];
            if (head.size != candidate.size) break;
            if (canceled()) {
                postSearchThreadFinished();
                return {};
            }
            if (head.size >= kHashThreshold || sameDigest(head, candidate)) {
                candidate.wasFound = true;
                DuplicateFile& member = head.duplicates.emplace_back(
                    candidate.path, scannedCreationDateText(candidate));
                member.stamp = candidate.stamp;
                member.unreadable = candidate.unreadable;
            }
        }
    }
    postProgress(static_cast<std::int64_t>(n));
    return buildResult();
}

// The same loop as groupFileList, on the walk's compact records in sorted order, with the
// pipeline settling each run of equal sizes ahead of it. Records become File records only
// for what is returned: with withSingles every file, all of them left in fileList as the
// reference search leaves it; without, only the files that have copies.
FileList FileTools::groupScanned(bool withSingles) {
    const std::size_t n = scanned_.size();
    if (n < 2) {
        if (withSingles && n == 1) fileList.push_back(scanned_.file(0));
        scanned_.clear();
        return fileList;
    }
    {
        struct Keyed {
            std::uint64_t size;
            std::uint32_t index;
        };
        // Nothing else runs while the sort does: the pages of its two arrays come in one
        // call each instead of a fault each.
        std::vector<Keyed> keyed;
        platform::reservePopulated(keyed, n);
        for (std::size_t i = 0; i < n; ++i) {
            keyed.push_back({scanned_.size(i), static_cast<std::uint32_t>(i)});
        }
        kelvora::sortBySizeDescendingOnTwoThreads(
            keyed, 0, static_cast<std::int64_t>(n) - 1, [](const Keyed& k) { return k.size; },
            [this] { return canceled(); });
        if (canceled()) {
            postSearchThreadFinished();
            return {};
        }
        std::vector<std::uint32_t> order;
        platform::reservePopulated(order, n);
        for (std::size_t i = 0; i < n; ++i) order.push_back(keyed[i].index);
        keyed = {};
        scanned_.reorder(std::move(order));
    }
    DigestPipeline pipeline(scanned_, settingsManager.searchCanceledByUser, hashThreads,
                            batchedReads, &folderHandles_, digestCache);
    const auto fileAt = [&](std::size_t position) {
        FilePtr file = scanned_.file(position);
        file->MD5Hash = pipeline.digestText(position);
        file->unreadable = pipeline.unreadable(position);
        return file;
    };
    std::vector<std::uint8_t> found(n, 0);
    RunLinks links;
    std::vector<FilePtr> all(withSingles ? n : 0);
    FileList groups;
    const auto stop = [&] {
        postSearchThreadFinished();
        return FileList{};
    };
    for (std::size_t i = 0; i + 1 < n; ++i) {
        postProgress(static_cast<std::int64_t>(i + 1));
        if (canceled()) return stop();
        // Nothing reads the records before i any more: the pipeline works ahead of the loop.
        if (!withSingles) {
            scanned_.releaseBefore(i);
            pipeline.releaseBefore(i);
        }
        if (found[i]) continue;
        const std::uint64_t size = scanned_.size(i);
        FilePtr head;
        const auto claim = [&](std::size_t j) {
            found[j] = 1;
            if (!head) head = fileAt(i);
            head->duplicates.push_back(scannedMember(j));
            head->duplicates.back().unreadable = pipeline.unreadable(j);
        };
        if (size >= kHashThreshold) {
            for (std::size_t j = i + 1; j < n && scanned_.size(j) == size; ++j) {
                if (canceled()) return stop();
                claim(j);
            }
        } else {
            if (i >= links.end && !linkRun(pipeline, i, links)) return stop();
            for (std::size_t j = links.next(i); j != RunLinks::kNone; j = links.next(j)) {
                if (canceled()) return stop();
                claim(j);
            }
        }
        if (withSingles) {
            all[i] = head ? std::move(head) : fileAt(i);
        } else if (head) {
            groups.push_back(std::move(head));
        }
    }
    postProgress(static_cast<std::int64_t>(n));
    // Written while the comparison gives back its memory and the caller makes and shows the
    // results, on the core the comparison has left: a first search of 200,000 files paid
    // 48 ms for the cache when it waited for the write, 32 once it was written beside the
    // results, and a first search of 20,000 files 1.2 ms less again since it starts here
    // rather than once the comparison is gone.
    if (digestCache != nullptr && !canceled()) {
        digestCache->storeInBackground(pipeline.takeLearned());
    }
    if (!withSingles) return canceled() ? stop() : groups;
    for (std::size_t position = 0; position < n; ++position) {
        if (!all[position]) all[position] = fileAt(position);
        all[position]->wasFound = found[position] != 0;
    }
    fileList = std::move(all);
    return buildResult();
}

bool FileTools::linkRun(DigestPipeline& pipeline, std::size_t begin, RunLinks& links) {
    const std::uint64_t size = scanned_.size(begin);
    std::size_t end = begin + 1;
    while (end < scanned_.size() && scanned_.size(end) == size) ++end;
    links.begin = begin;
    links.end = end;
    links.following.assign(end - begin, RunLinks::kUnlinked);
    if (end - begin < 2) return true;
    if (!pipeline.waitFor(begin)) return false;
    // The one-by-one search compares the run's first file with every other before any
    // other file of the run: that is where it meets, and reports, each unreadable one.
    for (const std::string& line : pipeline.takeErrors(begin, end)) {
        if (!line.empty()) platform::console(line);
    }
    // Files of one digest form a chain in their order: a head claims the rest of its chain,
    // exactly the files the one-by-one loop finds equal to it, and each of them is then
    // passed over as found. Sorting by digest finds the chains without comparing every file
    // with every later one, which grows with the square of the run.
    std::vector<std::pair<platform::Md5Digest, std::uint32_t>> byDigest;
    byDigest.reserve(end - begin);
    for (std::size_t k = begin; k < end; ++k) {
        if (const platform::Md5Digest* digest = pipeline.hashedDigest(k)) {
            byDigest.emplace_back(*digest, static_cast<std::uint32_t>(k - begin));
        }
    }
    std::sort(byDigest.begin(), byDigest.end());
    for (std::size_t k = 1; k < byDigest.size(); ++k) {
        if (byDigest[k].first == byDigest[k - 1].first) {
            links.following[byDigest[k - 1].second] = byDigest[k].second;
        }
    }
    return !canceled();
}

DuplicateFile FileTools::scannedMember(std::size_t index) const {
    std::string path = scanned_.path(index);
    std::string date = scannedCreationDateText(path, scanned_[index].created);
    DuplicateFile member(std::move(path), std::move(date));
    member.stamp = scanned_.stamp(index);
    return member;
}

bool FileTools::sameDigest(File& a, File& b) {
    if (a.MD5Hash.empty()) a.MD5Hash = digestOfScannedFile(a);
    if (b.MD5Hash.empty()) b.MD5Hash = digestOfScannedFile(b);
    return a.MD5Hash == b.MD5Hash && a.MD5Hash != kChangedSinceScan;
}

std::string FileTools::digestOfScannedFile(File& file) {
    std::uint64_t bytes = 0;
    auto digest = platform::md5OfFile(file.path, &settingsManager.searchCanceledByUser, &bytes);
    if (!digest) {
        if (canceled()) return emptyDigest();  // the loop stops at its next check
        platform::console("Ooops! Something went wrong: " + digest.error());
        file.unreadable = true;
        return emptyDigest();
    }
    if (bytes != file.stamp.size) {
        platform::console(changedSinceScanLine(file.path));
        return std::string(kChangedSinceScan);
    }
    return platform::base64(*digest);
}

// A file that changed size between the walk and its reading is not the file that was scanned:
// whatever it holds now, it is grouped with nothing.
std::string FileTools::changedSinceScanLine(const std::string& path) {
    return "Ooops! Something went wrong: \"" + path + "\": changed size since the scan";
}

const std::string& FileTools::emptyDigest() {
    static const std::string digest = platform::base64(platform::md5OfBytes(nullptr, 0));
    return digest;
}

unsigned FileTools::defaultHashThreads() {
    return std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
}

FileList FileTools::buildResult() {
    FileList result;
    for (const FilePtr& file : fileList) {
        if (canceled()) {
            postSearchThreadFinished();
            return {};
        }
        if (!file->wasFound) result.push_back(file);
    }
    return result;
}

void FileTools::sortBySizeDescending(FileList& list, std::int64_t low, std::int64_t high) {
    kelvora::sortBySizeDescending(
        list, low, high, [](const FilePtr& file) { return file->size; },
        [this] { return canceled(); });
}

std::string FileTools::md5HashOfFile(const std::string& path) {
    auto digest = platform::md5OfFile(path);
    if (!digest) {
        // An unreadable file counts as zero bytes: it still groups with others of its size
        // that are unreadable too, as it always has.
        platform::console("Ooops! Something went wrong: " + digest.error());
        return emptyDigest();
    }
    return platform::base64(*digest);
}

}  // namespace kelvora
