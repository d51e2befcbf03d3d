// The digest pipeline: runs of equal sizes are taken in sorted order by the workers; in each,
// the files are told apart by their first bytes, and only those that could still be copies
// are read whole.
#include "engine/DigestPipeline.h"

#include <fcntl.h>
#include <xxhash.h>
#if defined(__x86_64__)
#include <xxh_x86dispatch.h>
#endif

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <span>
#include <string_view>
#include <tuple>

#include "engine/FileTools.h"
#include "platform/Md5.h"
#include "platform/Md5Streams.h"
#include "platform/Memory.h"
#include "platform/PrefixReads.h"
#include "platform/RadixSort.h"

namespace kelvora {

namespace {

// Files up to this size are read whole at once: their digest costs no more than a prefix.
constexpr std::uint64_t kReadWhole = 16 * 1024;
constexpr std::size_t kPrefix = 4 * 1024;
// Room per file of a batch: a file read whole asks for one byte more than it should have.
constexpr std::size_t kSlot = kReadWhole + 1;
// A chunk read in one batch keeps its bytes in the batch buffers until it is settled. A run
// too long for one batch is read in several: small files that may be copies are then hashed
// from copies of their bytes, as long as a worker's copies stay within this; beyond it they
// are read again.
constexpr std::size_t kKeptBytes = 1024 * 1024;
// Up to this many files, a run is told apart by comparing the bytes read pair by pair: most
// files differ in their first bytes, so that costs next to nothing.
constexpr std::size_t kComparedPairwise = 16;

// The signature of the bytes read from a file: XXH3 of its first 4 KB at most, the part read
// of every file, whatever its size. It only sorts the files of a run into those that may be
// copies and those that cannot be: equal bytes always give one signature, and the rare
// unequal bytes that share one are told apart by their MD5 digests afterwards. The digest
// cache keeps it from one search to the next, so what it is computed from must not change
// without a new format of the cache. (With the cache on, every file read gets one: the
// 16 KB of a small file hashed by hand cost a first search of 200,000 files 37 ms of work,
// its first 4 KB through XXH3 about 15.)
//
// On x86-64 it goes through the library's own choice of the widest vectors the processor
// has: Debian builds the plain entry point for SSE2 alone, at 200 ns per 4 KB on this machine
// against 58 through AVX-512. Both give the same value: XXH3 is defined by its result, not
// by the instructions that compute it.
std::uint64_t signatureOf(std::string_view bytes) {
#if defined(__x86_64__)
    return XXH3_64bits_dispatch(bytes.data(), std::min(bytes.size(), kPrefix));
#else
    return XXH3_64bits(bytes.data(), std::min(bytes.size(), kPrefix));
#endif
}

}  // namespace

// What one worker thread keeps between the runs it settles.
class DigestPipeline::Worker {
public:
    // Neither the batch buffers nor kept are cleared or given their pages ahead: a page
    // comes when bytes first reach it, so a small search, or one of small files, holds only
    // the memory its reads fill (a file read whole fills a quarter of its slot on average).
    explicit Worker(bool batchedReads)
        : reads(batchedReads),
          buffers(reads.active() ? std::make_unique_for_overwrite<char[]>(
                                       platform::PrefixReads::kBatch * kSlot)
                                 : nullptr) {
        // Reserved once, so that nothing is moved.
        kept.reserve(kKeptBytes);
    }

    struct Look {
        // The bytes read, while the chunk is settled: in a batch buffer or in kept. Null
        // when they were not kept; the signature stands for them then.
        const char* bytes = nullptr;
        std::uint32_t length = 0;
        bool read = false;  // false: unreadable, changed, or not reached before a cancel
        bool signatureKnown = false;
        std::uint64_t signature = 0;
        const Known* known = nullptr;  // what the cache knew of it
    };
    Look& look(std::size_t index) { return looks[index - base]; }

    platform::PrefixReads reads;
    std::unique_ptr<char[]> buffers;
    std::vector<Look> looks;  // for the list indexes of the chunk being settled
    std::size_t base = 0;
    bool oneBatch = false;  // the chunk's files fit in one batch: its buffers hold them all
    std::vector<char> kept;
    // With a cache, what it learned, handed over once it has settled its last chunk, and how
    // much of its room has its pages.
    std::vector<platform::DigestCache::Learned> learned;
    std::size_t learnedReady = 0;
    // The whole paths of a batch's files whose folders were not kept open.
    std::array<std::string, platform::PrefixReads::kBatch> paths;
};

DigestPipeline::DigestPipeline(const ScanList& files, const std::atomic<bool>& canceled,
                               unsigned threads, bool batchedReads,
                               std::vector<platform::FileHandle>* folders,
                               platform::DigestCache* cache)
    : files_(files),
      canceled_(canceled),
      batchedReads_(batchedReads),
      folders_(folders),
      cache_(cache) {
    const std::size_t n = files.size();
    for (std::size_t at = 0; at < n; at += std::size_t{1} << kDigestShift) {
        // Set up before any worker starts, while the other core waits: the pages come in
        // one call instead of a fault each.
        std::vector<Digest>& block = digests_.emplace_back();
        platform::reservePopulated(block, std::size_t{1} << kDigestShift);
        block.resize(std::size_t{1} << kDigestShift);
    }
    for (std::size_t begin = 0; begin < n;) {
        const std::uint64_t size = sizeAt(begin);
        std::size_t end = begin + 1;
        while (end < n && sizeAt(end) == size) ++end;
        if (end - begin >= 2 && size < kHashThreshold) runs_.push_back({begin, end});
        begin = end;
    }
    settled_.assign(runs_.size(), 0);
    // As many runs as one batch holds, or one run that needs several.
    for (std::size_t run = 0; run < runs_.size();) {
        const std::size_t first = run;
        std::size_t files = runs_[run].end - runs_[run].begin;
        for (++run; run < runs_.size() &&
                    files + (runs_[run].end - runs_[run].begin) <= platform::PrefixReads::kBatch;
             ++run) {
            files += runs_[run].end - runs_[run].begin;
        }
        chunks_.push_back({first, run, files});
    }
    const unsigned count =
        std::max(1u, std::min<unsigned>(threads, static_cast<unsigned>(chunks_.size())));
    if (chunks_.empty()) return;
    if (cache_ != nullptr) lookUpKnown();
    readers_ = count;
    for (unsigned i = 0; i < count; ++i) threads_.emplace_back([this] { work(); });
}

DigestPipeline::~DigestPipeline() {
    // Workers stop at the next file once the flag is set; otherwise they finish what is left.
    if (!threads_.empty()) closeFolders(false);
    for (std::thread& thread : threads_) thread.join();
}

namespace {
platform::DigestCache::Key cacheKey(const FileStamp& stamp) {
    return {stamp.device, stamp.inode, stamp.size, stamp.modified, stamp.changed};
}
}  // namespace

// Only the files that share their size with another are ever read, so only they are looked up.
void DigestPipeline::lookUpKnown() {
    std::size_t candidates = 0;
    for (const Run& run : runs_) candidates += run.end - run.begin;
    candidates_ = candidates;
    // An empty cache (the first search, or the one after it was cleared) knows nothing: the
    // keys are not even gathered (200,000 files: 5 ms and 6.6 MB).
    if (!cache_->holdsEntries()) return;
    // Only the files in the buckets the cache holds are looked up: beside the entries of other
    // trees, that is next to none of them, and their keys are neither gathered nor sorted.
    std::vector<std::uint32_t> positions;
    positions.reserve(candidates);
    for (const Run& run : runs_) {
        for (std::size_t i = run.begin; i < run.end; ++i) {
            if (cache_->mayHold(cacheKey(files_.stamp(i)))) {
                positions.push_back(static_cast<std::uint32_t>(i));
            }
        }
    }
    // The keys are filled once, in full: their pages come in one call rather than a fault
    // each.
    std::vector<platform::DigestCache::Key> keys;
    platform::reservePopulated(keys, positions.size());
    for (const std::uint32_t i : positions) keys.push_back(cacheKey(files_.stamp(i)));
    // What the cache knows comes in the order of the inodes, and is put in the order of the
    // files, where each worker finds its chunk's part. A table of every file, written where
    // each fact belonged, cost 6 MB and 10 ms at 200,000 files, even when nothing was known.
    known_.reserve(keys.size());
    const bool usable =
        cache_->lookUp(keys, [&](std::size_t k, const platform::DigestCache::Facts& facts) {
            known_.push_back({positions[k], facts.hasMd5, facts.signature, facts.md5});
        });
    // A cache found damaged part of the way through is not trusted for any file.
    if (!usable) known_.clear();
    platform::radixSort(known_, [](const Known& known) { return known.position; });
}

// Called by the worker of the chunk before it is marked settled: what the runs' files gave
// that the cache did not hold. Unreadable and changed files are never kept.
void DigestPipeline::learn(const Chunk& chunk, Worker& worker) {
    std::vector<platform::DigestCache::Learned>& learned = worker.learned;
    // The room for what the chunk may add gets its pages ahead, a thousand entries at least
    // at a time, in one call rather than a fault each.
    constexpr std::size_t kReadyAhead = 1024;
    if (learned.size() + chunk.files > worker.learnedReady) {
        const std::size_t ready =
            std::min(learned.capacity(), learned.size() + std::max(chunk.files, kReadyAhead));
        if (ready > worker.learnedReady) {
            platform::populate(learned.data() + worker.learnedReady,
                               (ready - worker.learnedReady) * sizeof(learned.front()));
            worker.learnedReady = ready;
        }
    }
    for (std::size_t run = chunk.firstRun; run < chunk.endRun; ++run) {
        for (std::size_t i = runs_[run].begin; i < runs_[run].end; ++i) {
            const Digest& settled = digest(i);
            const Worker::Look& look = worker.look(i);
            const bool hashed = settled.state == kHashed && !settled.unreadable;
            if (!look.signatureKnown || !(hashed || settled.state == kDistinct)) continue;
            if (look.known != nullptr && (look.known->hasMd5 || !hashed)) continue;
            platform::DigestCache::Facts facts{look.signature, hashed, {}};
            if (hashed) facts.md5 = settled.bytes;
            learned.push_back({cacheKey(files_.stamp(i)), facts});
        }
    }
}

// Each worker learns into a list of its own and hands it over whole: the cache reads the lists
// as one. Gathered chunk by chunk and appended under the lock, each entry was copied twice
// more on its way (a first search of 18,000 small files took 0.9 ms longer in paired runs);
// the lists appended to one another at the end, the second's entries were copied once more
// (650 KB, and 157 pages of memory touched, for the same search).
void DigestPipeline::handOver(Worker& worker) {
    {
        std::lock_guard lock(mutex_);
        learned_.push_back(std::move(worker.learned));
        ++handedOver_;
    }
    runSettled_.notify_all();
}

// A worker hands over after it has found no chunk left, which is after the loop may have seen
// every run settled.
platform::DigestCache::LearnedLists DigestPipeline::takeLearned() {
    std::unique_lock lock(mutex_);
    runSettled_.wait(lock, [this] { return handedOver_ == threads_.size(); });
    return std::move(learned_);
}

void DigestPipeline::closeFolders(bool reader) {
    if (folders_ == nullptr) return;
    {
        std::unique_lock lock(mutex_);
        if (reader && --readers_ == 0) {
            foldersFree_ = true;
            readersDone_.notify_all();
        }
        readersDone_.wait(lock, [this] { return foldersFree_; });
    }
    constexpr std::size_t kStep = 32;
    for (;;) {
        const std::size_t first = nextToClose_.fetch_add(kStep);
        if (first >= folders_->size()) return;
        const std::size_t end = std::min(first + kStep, folders_->size());
        for (std::size_t k = first; k < end; ++k) (*folders_)[k].reset();
    }
}

void DigestPipeline::work() {
    {
        Worker worker(batchedReads_);
        // Room for every file that could be learned, so that nothing is moved as it grows; a
        // page is taken only once it is filled, and on a second search the list stays nearly
        // empty.
        if (cache_ != nullptr) worker.learned.reserve(candidates_);
        for (;;) {
            const std::size_t index = nextChunk_.fetch_add(1);
            if (index >= chunks_.size() || canceled_.load()) break;
            const Chunk& chunk = chunks_[index];
            readChunk(chunk, worker);
            std::vector<std::size_t> toHash;
            for (std::size_t run = chunk.firstRun; run < chunk.endRun; ++run) {
                sortOut(runs_[run], worker, toHash);
            }
            hashAll(std::move(toHash), worker);
            if (cache_ != nullptr && !canceled_.load()) learn(chunk, worker);
            {
                std::lock_guard lock(mutex_);
                for (std::size_t run = chunk.firstRun; run < chunk.endRun; ++run) {
                    settled_[run] = 1;
                }
            }
            runSettled_.notify_all();
        }
        handOver(worker);
    }
    closeFolders(true);
}

void DigestPipeline::readChunk(const Chunk& chunk, Worker& worker) {
    worker.base = runs_[chunk.firstRun].begin;
    worker.looks.assign(runs_[chunk.endRun - 1].end - worker.base, {});
    worker.oneBatch = chunk.files <= platform::PrefixReads::kBatch;
    worker.kept.clear();
    std::vector<std::size_t> batch;
    batch.reserve(platform::PrefixReads::kBatch);
    // The chunk's part of what the cache knew, in the same order as its files.
    auto known = std::lower_bound(
        known_.begin(), known_.end(), worker.base,
        [](const Known& entry, std::size_t position) { return entry.position < position; });
    for (std::size_t run = chunk.firstRun; run < chunk.endRun; ++run) {
        for (std::size_t i = runs_[run].begin; i < runs_[run].end; ++i) {
            while (known != known_.end() && known->position < i) ++known;
            if (known != known_.end() && known->position == i) {
                // Known from an earlier search: the file is not opened to be told apart.
                Worker::Look& look = worker.look(i);
                look.known = &*known;
                look.read = true;
                look.signatureKnown = true;
                look.signature = known->signature;
                continue;
            }
            batch.push_back(i);
            if (batch.size() == platform::PrefixReads::kBatch) {
                readBatch(batch, worker);
                batch.clear();
            }
        }
    }
    readBatch(batch, worker);
}

void DigestPipeline::readBatch(const std::vector<std::size_t>& batch, Worker& worker) {
    if (batch.empty() || canceled_.load()) return;
    std::array<platform::PrefixReads::Item, platform::PrefixReads::kBatch> items;
    if (worker.reads.active()) {
        // Each file gets the room its read can fill, one after the other: a batch of small
        // files touches only the pages its bytes need, not a whole slot each.
        std::size_t used = 0;
        for (std::size_t k = 0; k < batch.size(); ++k) {
            std::tie(items[k].folder, items[k].path) = placeOf(batch[k], worker.paths[k]);
            const std::uint64_t length = lengthAt(batch[k]);
            items[k].expectedSize = length;
            items[k].length = length <= kReadWhole ? kReadWhole : kPrefix;
            items[k].buffer = worker.buffers.get() + used;
            used += std::min<std::uint64_t>(length, items[k].length) + 1;
        }
        worker.reads.read(std::span(items.data(), batch.size()));
    }
    for (std::size_t k = 0; k < batch.size(); ++k) {
        if (worker.reads.active() && items[k].ok) {
            take(batch[k], std::string_view(items[k].buffer, items[k].bytes), worker,
                 worker.oneBatch);
        } else {
            // Whatever kept the batch from reading the file, the ordinary read meets it again
            // and reports it as the one-by-one search does.
            readOrdinary(batch[k], worker);
        }
    }
}

void DigestPipeline::readOrdinary(std::size_t index, Worker& worker) {
    if (canceled_.load()) return;
    const std::uint64_t length = lengthAt(index);
    const bool readWhole = length <= kReadWhole;
    std::uint64_t sizeNow = 0;
    auto read =
        platform::readPrefix(files_.path(index), readWhole ? kReadWhole : kPrefix, &sizeNow);
    if (!read) {
        // An unreadable file counts as zero bytes, as it always has; its line is printed
        // when the comparison first reaches it.
        setUnreadable(index, "Ooops! Something went wrong: " + read.error());
        return;
    }
    if (sizeNow != length || (readWhole && read->size() != length)) {
        setChanged(index);
        return;
    }
    take(index, *read, worker, false);
}

void DigestPipeline::take(std::size_t index, std::string_view bytes, Worker& worker, bool lasting) {
    Worker::Look& look = worker.look(index);
    look.read = true;
    look.length = static_cast<std::uint32_t>(bytes.size());
    if (lasting) {
        look.bytes = bytes.data();
        return;
    }
    // kept never grows past what was reserved, so what it holds stays where it is.
    if (lengthAt(index) <= kReadWhole && worker.kept.size() + bytes.size() <= kKeptBytes) {
        look.bytes = worker.kept.data() + worker.kept.size();
        worker.kept.insert(worker.kept.end(), bytes.begin(), bytes.end());
        return;
    }
    look.signature = signatureOf(bytes);
    look.signatureKnown = true;
}

void DigestPipeline::sortOut(const Run& run, Worker& worker, std::vector<std::size_t>& toHash) {
    // A file whose bytes read hash unlike those of every other file of its size cannot be a
    // copy of any of them.
    const std::size_t length = run.end - run.begin;
    std::vector<char> shared(length, 0);
    bool allKept = true;
    for (std::size_t i = run.begin; i < run.end; ++i) {
        Worker::Look& look = worker.look(i);
        if (look.read && look.bytes == nullptr) allKept = false;
    }
    // Signatures stand in for the bytes when some were not kept, or were not read because the
    // cache knew them; with a cache every file read gets one, to be kept for the next search.
    if (!allKept || length > kComparedPairwise || cache_ != nullptr) {
        for (std::size_t i = run.begin; i < run.end; ++i) {
            Worker::Look& look = worker.look(i);
            if (look.read && !look.signatureKnown) {
                look.signature = signatureOf(std::string_view(look.bytes, look.length));
                look.signatureKnown = true;
            }
        }
    }
    if (length <= kComparedPairwise) {
        // With a cache, every file has its signature already, and the bytes are compared only
        // without one: comparing them as well, which goes through the whole of every copy,
        // cost a first search of 18,000 small files 1.2 ms, and of the mixed 20,000 files 2.3.
        // Small files alike in their first 4 KB but not after are then told apart by their
        // digests, as files too large to be read whole always are.
        const bool bySignature = !allKept || cache_ != nullptr;
        const auto same = [&](const Worker::Look& first, const Worker::Look& second) {
            if (bySignature) return first.signature == second.signature;
            return first.length == second.length &&
                   std::memcmp(first.bytes, second.bytes, first.length) == 0;
        };
        for (std::size_t a = 0; a < length; ++a) {
            const Worker::Look& first = worker.look(run.begin + a);
            for (std::size_t b = a + 1; first.read && b < length; ++b) {
                const Worker::Look& second = worker.look(run.begin + b);
                if (!second.read || (shared[a] && shared[b])) continue;
                if (same(first, second)) shared[a] = shared[b] = 1;
            }
        }
    } else {
        std::unordered_map<std::uint64_t, int> counts;
        for (std::size_t i = run.begin; i < run.end; ++i) {
            if (worker.look(i).read) ++counts[worker.look(i).signature];
        }
        for (std::size_t i = run.begin; i < run.end; ++i) {
            const Worker::Look& look = worker.look(i);
            shared[i - run.begin] = look.read && counts[look.signature] > 1;
        }
    }
    for (std::size_t i = run.begin; i < run.end; ++i) {
        if (digest(i).state != kPending) continue;  // unreadable or changed: settled already
        if (!worker.look(i).read) return;           // canceled before it was read
        if (shared[i - run.begin]) {
            toHash.push_back(i);
        } else {
            digest(i).state = kDistinct;
        }
    }
}

void DigestPipeline::hashAll(std::vector<std::size_t> toHash, Worker& worker) {
    std::erase_if(toHash, [&](std::size_t index) {
        const Known* known = worker.look(index).known;
        if (known == nullptr || !known->hasMd5) return false;
        digest(index) = {known->md5, kHashed};
        return true;
    });
    // A small file's bytes read are all of it.
    const auto keptBytes = [&](std::size_t index) -> const unsigned char* {
        const Worker::Look& look = worker.look(index);
        if (look.bytes == nullptr || lengthAt(index) > kReadWhole) return nullptr;
        return reinterpret_cast<const unsigned char*>(look.bytes);
    };
    if (toHash.size() >= platform::Md5Streams::kWorthwhile && platform::Md5Streams::available()) {
        std::vector<platform::Md5Streams::Job> jobs(toHash.size());
        std::vector<std::string> paths(toHash.size());
        for (std::size_t k = 0; k < toHash.size(); ++k) {
            const std::size_t file = toHash[k];
            if (const unsigned char* bytes = keptBytes(file)) {
                jobs[k].data = bytes;
            } else {
                std::tie(jobs[k].folder, jobs[k].path) = placeOf(file, paths[k]);
            }
            jobs[k].length = lengthAt(file);
        }
        platform::Md5Streams::run(jobs, &canceled_);
        for (std::size_t k = 0; k < toHash.size(); ++k) {
            if (canceled_.load()) return;
            if (jobs[k].ok) {
                digest(toHash[k]) = {jobs[k].digest, kHashed};
            } else {
                // The ordinary read meets whatever went wrong again and reports it.
                hashWhole(toHash[k]);
            }
        }
        return;
    }
    for (const std::size_t index : toHash) {
        if (canceled_.load()) return;
        if (const unsigned char* bytes = keptBytes(index)) {
            digest(index) = {platform::md5OfBytes(bytes, static_cast<std::size_t>(lengthAt(index))),
                             kHashed};
        } else {
            hashWhole(index);
        }
    }
}

void DigestPipeline::hashWhole(std::size_t index) {
    std::uint64_t bytes = 0;
    auto whole = platform::md5OfFile(files_.path(index), &canceled_, &bytes);
    if (!whole) {
        if (canceled_.load()) {
            digest(index) = {platform::md5OfBytes(nullptr, 0), kHashed};
        } else {
            setUnreadable(index, "Ooops! Something went wrong: " + whole.error());
        }
    } else if (bytes != lengthAt(index)) {
        setChanged(index);
    } else {
        digest(index) = {*whole, kHashed};
    }
}

// An unreadable file counts as zero bytes, as it always has.
void DigestPipeline::setUnreadable(std::size_t index, std::string line) {
    static const platform::Md5Digest noBytes = platform::md5OfBytes(nullptr, 0);
    digest(index) = {noBytes, kHashed, true};
    note(index, std::move(line));
}

void DigestPipeline::setChanged(std::size_t index) {
    digest(index).state = kChanged;
    note(index, FileTools::changedSinceScanLine(files_.path(index)));
}

void DigestPipeline::releaseBefore(std::size_t index) {
    for (; releasedDigests_ < digests_.size() && (releasedDigests_ + 1) << kDigestShift <= index;
         ++releasedDigests_) {
        std::vector<Digest>().swap(digests_[releasedDigests_]);
    }
}

std::string DigestPipeline::digestText(std::size_t index) const {
    switch (digest(index).state) {
        case kHashed:
            return platform::base64(digest(index).bytes);
        case kChanged:
            return std::string(kChangedSinceScan);
        default:
            return {};
    }
}

std::pair<int, const char*> DigestPipeline::placeOf(std::size_t index, std::string& path) const {
    // By its name in its folder: one step for the kernel instead of the whole path.
    const std::uint32_t handle = files_.handle(index);
    if (folders_ != nullptr && handle < folders_->size()) {
        return {(*folders_)[handle].get(), files_.name(index)};
    }
    path = files_.path(index);
    return {AT_FDCWD, path.c_str()};
}

std::uint64_t DigestPipeline::lengthAt(std::size_t index) const {
    return files_.stamp(index).size;
}

void DigestPipeline::note(std::size_t index, std::string line) {
    std::lock_guard lock(mutex_);
    errors_[index] = std::move(line);
}

std::size_t DigestPipeline::runOf(std::size_t index) {
    const auto holds = [&](std::size_t run) {
        return runs_[run].begin <= index &&
               (run + 1 == runs_.size() || index < runs_[run + 1].begin);
    };
    for (const std::size_t run : {lastRun_, lastRun_ + 1}) {
        if (run < runs_.size() && holds(run)) return lastRun_ = run;
    }
    const auto after =
        std::upper_bound(runs_.begin(), runs_.end(), index,
                         [](std::size_t i, const Run& run) { return i < run.begin; });
    return lastRun_ = static_cast<std::size_t>(after - runs_.begin()) - 1;
}

std::vector<std::string> DigestPipeline::takeErrors(std::size_t begin, std::size_t end) {
    std::vector<std::string> lines;
    std::lock_guard lock(mutex_);
    // One look per run, not one per file: most runs have no errors at all.
    auto at = errors_.lower_bound(begin);
    while (at != errors_.end() && at->first < end) {
        lines.push_back(std::move(at->second));
        at = errors_.erase(at);
    }
    return lines;
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

}  // namespace kelvora
