// Computes, ahead of the comparison loop and on a few threads, the digests that the loop will
// ask for, so that the loop's results, order and progress stay those of the one-by-one search
// while both cores read and hash.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "core/File.h"
#include "platform/FileSystem.h"

namespace kelvora {

class DigestPipeline {
public:
    // list is sorted by size, largest first, and must not change while the pipeline lives.
    // batchedReads: read the first bytes of files in batches where the kernel allows it.
    // folders: descriptors of the walk's folders, by File::scanFolder, for opening files by
    // their names alone.
    DigestPipeline(const FileList& list, const std::atomic<bool>& canceled, unsigned threads,
                   bool batchedReads = true,
                   const std::vector<platform::FileHandle>* folders = nullptr);
    ~DigestPipeline();
    DigestPipeline(const DigestPipeline&) = delete;
    DigestPipeline& operator=(const DigestPipeline&) = delete;

    // Blocks until every file of index's run of equal sizes is settled: its MD5Hash set, or
    // known to differ from every other file of the run. False when the search was canceled.
    bool waitFor(std::size_t index);
    // A file whose first bytes differ from those of every other file of its size cannot be
    // a copy of any of them; it is never read whole and its MD5Hash stays empty.
    bool isDistinct(std::size_t index) const { return distinct_[index] != 0; }
    // The console line the one-by-one search would print when it first hashes this file.
    std::string takeError(std::size_t index);

private:
    struct Run {
        std::size_t begin;
        std::size_t end;
    };
    // Neighbouring runs settled together, so that their files' first bytes are read in one
    // batch: most runs hold two or three files.
    struct Chunk {
        std::size_t firstRun;
        std::size_t endRun;
    };
    class Worker;
    void work();
    void readChunk(const Chunk& chunk, Worker& worker);
    void readBatch(const std::vector<std::size_t>& batch, Worker& worker);
    void readOrdinary(std::size_t index, Worker& worker);
    void take(std::size_t index, std::string_view bytes, Worker& worker);
    // Marks the run's files that cannot be copies, and lists those that must be hashed.
    void sortOut(const Run& run, Worker& worker, std::vector<std::size_t>& toHash);
    void hashAll(const std::vector<std::size_t>& toHash, Worker& worker);
    void hashWhole(std::size_t index, File& file);
    void note(std::size_t index, std::string line);
    std::size_t runOf(std::size_t index) const;

    const FileList& list_;
    const std::atomic<bool>& canceled_;
    std::vector<Run> runs_;
    std::vector<std::uint8_t> distinct_;  // bytes, not bits: workers write neighbouring entries
    std::vector<char> settled_;           // per run
    std::vector<Chunk> chunks_;
    bool batchedReads_;
    const std::vector<platform::FileHandle>* folders_;
    std::unordered_map<std::size_t, std::string> errors_;
    std::atomic<std::size_t> nextChunk_{0};
    std::mutex mutex_;
    std::condition_variable runSettled_;
    std::vector<std::thread> threads_;
};

}  // namespace kelvora
