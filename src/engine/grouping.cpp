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
#include "platform/Console.h"
#include "platform/Md5.h"

namespace kelvora {

FileList FileTools::findDuplicates(const std::vector<std::string>& paths, std::uint64_t minimumSize,
                                   std::uint64_t maximumSize, bool ignorePackages,
                                   const std::vector<std::string>& extensions) {
    scanFolders(removeNestedFolders(paths), minimumSize, maximumSize, ignorePackages, extensions);
    // The walk's folders stay open for the reads until the comparison is done, whichever way
    // this returns; declared before the pipeline, they close after its workers are joined.
    struct CloseFolders {
        std::vector<platform::FileHandle>& handles;
        ~CloseFolders() { handles.clear(); }
    } closeFolders{folderHandles_};
    // What the walk met is not needed past the walk.
    listedObjects_ = {};
    walkedFolders_ = {};
    if (canceled()) {
        postSearchThreadFinished();
        return {};
    }
    const std::size_t n = fileList.size();
    if (n < 2) return fileList;
    sortBySizeDescending(fileList, 0, static_cast<std::int64_t>(n) - 1);
    if (canceled()) {
        postSearchThreadFinished();
        return {};
    }
    std::unique_ptr<DigestPipeline> pipeline;
    if (hashThreads > 0) {
        pipeline = std::make_unique<DigestPipeline>(fileList, settingsManager.searchCanceledByUser,
                                                    hashThreads, batchedReads, &folderHandles_);
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
            bool copy = true;
            if (head.size < kHashThreshold) {
                if (pipeline && !pipeline->waitFor(i)) {
                    postSearchThreadFinished();
                    return {};
                }
                copy = pipeline ? sameContents(*pipeline, i, j) : sameDigest(head, candidate);
            }
            if (copy) {
                candidate.wasFound = true;
                DuplicateFile& member = head.duplicates.emplace_back(
                    candidate.path, scannedCreationDateText(candidate));
                member.stamp = candidate.stamp;
            }
        }
    }
    postProgress(static_cast<std::int64_t>(n));
    return buildResult();
}

bool FileTools::sameDigest(File& a, File& b) {
    if (a.MD5Hash.empty()) a.MD5Hash = digestOfScannedFile(a);
    if (b.MD5Hash.empty()) b.MD5Hash = digestOfScannedFile(b);
    return a.MD5Hash == b.MD5Hash && a.MD5Hash != kChangedSinceScan;
}

std::string FileTools::digestOfScannedFile(const File& file) {
    std::uint64_t bytes = 0;
    auto digest = platform::md5OfFile(file.path, &settingsManager.searchCanceledByUser, &bytes);
    if (!digest) {
        if (canceled()) return emptyDigest();  // the loop stops at its next check
        platform::console("Ooops! Something went wrong: " + digest.error());
        return emptyDigest();
    }
    if (bytes != file.stamp.size) {
        platform::console(changedSinceScanLine(file));
        return std::string(kChangedSinceScan);
    }
    return platform::base64(*digest);
}

// A file that changed size between the walk and its reading is not the file that was scanned:
// whatever it holds now, it is grouped with nothing.
std::string FileTools::changedSinceScanLine(const File& file) {
    return "Ooops! Something went wrong: \"" + file.path + "\": changed size since the scan";
}

const std::string& FileTools::emptyDigest() {
    static const std::string digest = platform::base64(platform::md5OfBytes(nullptr, 0));
    return digest;
}

bool FileTools::sameContents(DigestPipeline& pipeline, std::size_t a, std::size_t b) {
    // The console lines of unreadable files come out where the one-by-one comparison would
    // have printed them: when a file is first compared.
    for (std::size_t index : {a, b}) {
        const std::string line = pipeline.takeError(index);
        if (!line.empty()) platform::console(line);
    }
    if (pipeline.isDistinct(a) || pipeline.isDistinct(b)) return false;
    return fileList[a]->MD5Hash == fileList[b]->MD5Hash &&
           fileList[a]->MD5Hash != kChangedSinceScan;
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

namespace {

// True when sizes never grow from low to high.
bool nonIncreasing(const FileList& list, std::int64_t low, std::int64_t high) {
    for (std::int64_t k = low; k < high; ++k) {
        if (list[k]->size < list[k + 1]->size) return false;
    }
    return true;
}

bool strictlyIncreasing(const FileList& list, std::int64_t low, std::int64_t high) {
    for (std::int64_t k = low; k < high; ++k) {
        if (list[k]->size >= list[k + 1]->size) return false;
    }
    return true;
}

}  // namespace

void FileTools::sortBySizeDescending(FileList& list, std::int64_t low, std::int64_t high) {
    // The two parts of a partition never touch each other, so sorting the smaller one first
    // by recursion and the larger one by the loop gives the same order as the left-first
    // quicksort while the stack stays logarithmic in the list's length.
    //
    // The quicksort takes quadratic time where each partition splits off a single file: a
    // part already in descending order (a long run of equal sizes is one) or in strictly
    // ascending order. Its result there is known without running it: on a part that never
    // grows, each run of equal sizes ends up with its last file first and the others after it
    // in their order; a strictly ascending part ends up reversed.
    while (low < high) {
        if (canceled()) return;
        if (nonIncreasing(list, low, high)) {
            for (std::int64_t begin = low; begin <= high;) {
                std::int64_t end = begin;
                while (end < high && list[end + 1]->size == list[begin]->size) ++end;
                std::rotate(list.begin() + begin, list.begin() + end, list.begin() + end + 1);
                begin = end + 1;
            }
            return;
        }
        if (strictlyIncreasing(list, low, high)) {
            std::reverse(list.begin() + low, list.begin() + high + 1);
            return;
        }
        const std::uint64_t pivot = list[high]->size;
        std::int64_t s = low;
        for (std::int64_t k = low; k < high; ++k) {
            if (list[k]->size > pivot) {
                std::swap(list[k], list[s]);
                ++s;
            }
        }
        std::swap(list[s], list[high]);
        if (s - low < high - s) {
            sortBySizeDescending(list, low, s - 1);
            low = s + 1;
        } else {
            sortBySizeDescending(list, s + 1, high);
            high = s - 1;
        }
    }
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
