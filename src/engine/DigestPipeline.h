// Computes, ahead of the comparison loop and on a few threads, the digests that the loop will
// ask for, so that the loop's results, order and progress stay those of the one-by-one search
// while both cores read and hash.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "engine/ScanList.h"
#include "platform/DigestCache.h"
#include "platform/FileSystem.h"
#include "platform/Md5.h"

namespace kelvora {

class DigestPipeline {
public:
    // files are sorted by size, largest first, and do not change while the pipeline lives,
    // except that the records the loop has passed may be released.
    // batchedReads: read the first bytes of files in batches where the kernel allows it.
    // folders: descriptors of the walk's folders, by ScanList::handle, for opening files by
    // their names alone. Once no worker reads any more, the workers and the destructor
    // close them together (the kernel's part of closing a listed folder is no small thing).
    // cache: what earlier searches learned, looked up before any worker starts; a file it
    // knows is not read for what it knows.
    DigestPipeline(const ScanList& files, const std::atomic<bool>& canceled, unsigned threads,
                   bool batchedReads = true, std::vector<platform::FileHandle>* folders = nullptr,
                   platform::DigestCache* cache = nullptr);
    ~DigestPipeline();
    DigestPipeline(const DigestPipeline&) = delete;
    DigestPipeline& operator=(const DigestPipeline&) = delete;

    // Blocks until every file of index's run of equal sizes is settled: its digest known, or
    // known to differ from every other file of the run. False when the search was canceled.
    bool waitFor(std::size_t index);
    // The MD5 digest of a settled file, as the one-by-one search compares them: an unreadable
    // file has the digest of no bytes; a file that changed size since the walk, or whose
    // first bytes differ from those of every other file of its size (never read whole), has
    // none and equals nothing.
    const platform::Md5Digest* hashedDigest(std::size_t index) const {
        const Digest& settled = digest(index);
        return settled.state == kHashed ? &settled.bytes : nullptr;
    }
    // Frees what is kept of the files before index, which the loop has passed; asking for
    // them afterwards is an error.
    void releaseBefore(std::size_t index);
    // The digest as File::MD5Hash holds it: empty for a file never read whole.
    std::string digestText(std::size_t index) const;
    // The console lines the one-by-one search would print when it first hashes each file of
    // the settled positions [begin, end), in their order.
    std::vector<std::string> takeErrors(std::size_t begin, std::size_t end);
    // Of a settled file: its contents could not be read, so it has the digest of no bytes.
    bool unreadable(std::size_t index) const { return digest(index).unreadable; }
    // With a cache, once every run is settled: what the cache did not know yet of the files
    // that were read without a fault.
    platform::DigestCache::LearnedLists takeLearned();

private:
    enum State : std::uint8_t { kPending, kHashed, kChanged, kDistinct };
    struct Digest {
        platform::Md5Digest bytes;
        State state = kPending;
        bool unreadable = false;  // hashed as no bytes because it could not be read
    };
    // What the cache knew of a file.
    struct Known {
        std::uint32_t position;
        bool hasMd5 = false;
        std::uint64_t signature = 0;
        platform::Md5Digest md5{};
    };
    struct Run {
        std::size_t begin;
        std::size_t end;
    };
    // Neighbouring runs settled together, so that their files' first bytes are read in one
    // batch: most runs hold two or three files.
    struct Chunk {
        std::size_t firstRun;
        std::size_t endRun;
        // The runs' files, not the span of the list they cover, which also holds the files
        // between the runs that are read by no one.
        std::size_t files;
    };
    class Worker;
    void work();
    void readChunk(const Chunk& chunk, Worker& worker);
    void readBatch(const std::vector<std::size_t>& batch, Worker& worker);
    void readOrdinary(std::size_t index, Worker& worker);
    // lasting: the bytes stay where they are until the chunk is settled.
    void take(std::size_t index, std::string_view bytes, Worker& worker, bool lasting);
    // Marks the run's files that cannot be copies, and lists those that must be hashed.
    void sortOut(const Run& run, Worker& worker, std::vector<std::size_t>& toHash);
    void hashAll(std::vector<std::size_t> toHash, Worker& worker);
    void lookUpKnown();
    void learn(const Chunk& chunk, Worker& worker);
    void handOver(Worker& worker);
    void hashWhole(std::size_t index);
    void setUnreadable(std::size_t index, std::string line);
    void setChanged(std::size_t index);
    static constexpr unsigned kDigestShift = 12;
    Digest& digest(std::size_t index) const {
        return digests_[index >> kDigestShift][index & ((std::size_t{1} << kDigestShift) - 1)];
    }
    std::uint64_t sizeAt(std::size_t index) const { return files_.size(index); }
    // What the files hold is read with the sizes of what the walk found (a link's target),
    // not its own sizes.
    std::uint64_t lengthAt(std::size_t index) const;
    // Where to open the file: its kept folder and its name, or else its whole path, kept in
    // path for as long as the returned name is used.
    std::pair<int, const char*> placeOf(std::size_t index, std::string& path) const;
    void note(std::size_t index, std::string line);
    // reader: a worker that has read its last file. Waits until every worker has.
    void closeFolders(bool reader);
    // Asked by the loop alone, in order: it looks from the run it found last.
    std::size_t runOf(std::size_t index);

    const ScanList& files_;
    const std::atomic<bool>& canceled_;
    std::vector<Run> runs_;
    std::size_t lastRun_ = 0;  // runOf's last answer
    // By position, in chunks that the loop frees behind it; each entry is written by the
    // worker of its run (mutable: the chunks are fixed, only their entries change).
    mutable std::vector<std::vector<Digest>> digests_;
    std::size_t releasedDigests_ = 0;
    std::vector<char> settled_;  // per run
    std::vector<Chunk> chunks_;
    bool batchedReads_;
    std::vector<platform::FileHandle>* folders_;
    unsigned readers_ = 0;  // workers still reading; guarded by the mutex
    bool foldersFree_ = false;
    std::condition_variable readersDone_;
    std::atomic<std::size_t> nextToClose_{0};
    std::map<std::size_t, std::string> errors_;  // by position; guarded by the mutex
    platform::DigestCache* cache_;
    std::vector<Known> known_;    // with a cache, the files it knew, in the order of positions
    std::size_t candidates_ = 0;  // with a cache, the files that could be read
    platform::DigestCache::LearnedLists learned_;  // guarded by the mutex
    std::size_t handedOver_ = 0;  // workers whose learned_ is in; guarded by the mutex
    std::atomic<std::size_t> nextChunk_{0};
    std::mutex mutex_;
    std::condition_variable runSettled_;
    std::vector<std::thread> threads_;
};

}  // namespace kelvora
