// The digest pipeline: runs of equal sizes are taken in sorted order by the workers; in each,
// the files are told apart by their first bytes, and only those that could still be copies
// are read whole.
#include "engine/DigestPipeline.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include "engine/FileTools.h"
#include "platform/Md5.h"

namespace kelvora {

namespace {

// Files up to this size are read whole at once: their digest costs no more than a prefix.
constexpr std::uint64_t kReadWhole = 16 * 1024;
constexpr std::size_t kPrefix = 4 * 1024;

}  // namespace

DigestPipeline::DigestPipeline(const FileList& list, const std::atomic<bool>& canceled,
                               unsigned threads)
    : list_(list), canceled_(canceled), distinct_(list.size(), 0) {
    for (std::size_t begin = 0; begin < list.size();) {
        std::size_t end = begin + 1;
        while (end < list.size() && list[end]->size == list[begin]->size) ++end;
        if (end - begin >= 2 && list[begin]->size < kHashThreshold) runs_.push_back({begin, end});
        begin = end;
    }
    settled_.assign(runs_.size(), 0);
    const unsigned count =
        std::max(1u, std::min<unsigned>(threads, static_cast<unsigned>(runs_.size())));
    if (runs_.empty()) return;
    for (unsigned i = 0; i < count; ++i) threads_.emplace_back([this] { work(); });
}

DigestPipeline::~DigestPipeline() {
    // Workers stop at the next file once the flag is set; otherwise they finish what is left.
    for (std::thread& thread : threads_) thread.join();
}

void DigestPipeline::work() {
    for (;;) {
        const std::size_t index = nextRun_.fetch_add(1);
        if (index >= runs_.size() || canceled_.load()) return;
        settle(runs_[index]);
        {
            std::lock_guard lock(mutex_);
            settled_[index] = 1;
        }
        runSettled_.notify_all();
    }
}

void DigestPipeline::settle(const Run& run) {
    // What tells the files apart cheaply: the digest of a small file, of a big one's prefix.
    // Sizes are those of what the walk found (a link's target), not the walk's own sizes.
    std::vector<std::string> signatures(run.end - run.begin);
    for (std::size_t i = run.begin; i < run.end; ++i) {
        if (canceled_.load()) return;
        File& file = *list_[i];
        const bool readWhole = file.stamp.size <= kReadWhole;
        std::uint64_t sizeNow = 0;
        auto read = platform::readPrefix(file.path, readWhole ? kReadWhole : kPrefix, &sizeNow);
        if (!read) {
            // An unreadable file counts as zero bytes, as it always has; its line is printed
            // when the comparison first reaches it.
            file.MD5Hash = FileTools::emptyDigest();
            note(i, "Ooops! Something went wrong: " + read.error());
            continue;
        }
        if (sizeNow != file.stamp.size || (readWhole && read->size() != file.stamp.size)) {
            file.MD5Hash = kChangedSinceScan;
            note(i, FileTools::changedSinceScanLine(file));
            continue;
        }
        std::string digest = platform::base64(platform::md5OfBytes(read->data(), read->size()));
        if (readWhole) file.MD5Hash = digest;
        signatures[i - run.begin] = std::move(digest);
    }
    std::unordered_map<std::string_view, int> counts;
    for (const std::string& signature : signatures) {
        if (!signature.empty()) ++counts[signature];
    }
    for (std::size_t i = run.begin; i < run.end; ++i) {
        File& file = *list_[i];
        if (!file.MD5Hash.empty()) continue;
        if (counts[signatures[i - run.begin]] < 2) {
            distinct_[i] = 1;
            continue;
        }
        if (canceled_.load()) return;
        hashWhole(i, file);
    }
}

void DigestPipeline::hashWhole(std::size_t index, File& file) {
    std::uint64_t bytes = 0;
    auto digest = platform::md5OfFile(file.path, &canceled_, &bytes);
    if (!digest) {
        file.MD5Hash = FileTools::emptyDigest();
        if (!canceled_.load()) note(index, "Ooops! Something went wrong: " + digest.error());
    } else if (bytes != file.stamp.size) {
        file.MD5Hash = kChangedSinceScan;
        note(index, FileTools::changedSinceScanLine(file));
    } else {
        file.MD5Hash = platform::base64(*digest);
    }
}

void DigestPipeline::note(std::size_t index, std::string line) {
    std::lock_guard lock(mutex_);
    errors_[index] = std::move(line);
}

std::size_t DigestPipeline::runOf(std::size_t index) const {
    const auto after =
        std::upper_bound(runs_.begin(), runs_.end(), index,
                         [](std::size_t i, const Run& run) { return i < run.begin; });
    return static_cast<std::size_t>(after - runs_.begin()) - 1;
}

bool DigestPipeline::waitFor(std::size_t index) {
    const std::size_t run = runOf(index);
    std::unique_lock lock(mutex_);
    while (!settled_[run]) {
        if (canceled_.load()) return false;
        // Woken by each settled run; the timeout notices a cancel while a big file is read.
        runSettled_.wait_for(lock, std::chrono::milliseconds(50));
    }
    return !canceled_.load();
}

std::string DigestPipeline::takeError(std::size_t index) {
    std::lock_guard lock(mutex_);
    const auto found = errors_.find(index);
    if (found == errors_.end()) return {};
    std::string error = std::move(found->second);
    errors_.erase(found);
    return error;
}

}  // namespace kelvora
