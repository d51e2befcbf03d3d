// What the walk keeps of each file it lists, until the comparison knows which files are
// copies. A search meets far more files than it reports, so each is a fixed 56-byte record
// in chunks, with its name in a shared store of names and its folder's path kept once per
// folder; the reported files become File records only when the results are built.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/File.h"

namespace kelvora {

class ScanList {
public:
    struct Record {
        std::uint64_t size;
        std::uint64_t inode;
        std::int64_t modified;  // nanoseconds since the epoch
        std::int64_t changed;   // the change time, nanoseconds since the epoch
        std::int64_t created;   // as the walk read it; 0 when it has none
        std::uint64_t name;     // offset of the NUL-terminated name in the name store
        std::uint32_t folder;   // index in the folder table
        std::uint32_t device;   // index in the device table, kOtherSize set when the size of
                                // what the entry leads to differs from size
    };
    static constexpr std::uint32_t kNoHandle = UINT32_MAX;
    static constexpr std::uint32_t kNoParent = UINT32_MAX;

    // A folder whose files may be added; handle indexes the walk's open folder descriptors
    // (kNoHandle when it kept none). A chosen folder is kept by its path, any other by its
    // name in the folder that holds it: a deep tree's paths would otherwise take room that
    // grows with the square of its depth.
    std::uint32_t addFolder(std::string path, std::uint32_t handle);
    std::uint32_t addFolder(std::uint32_t parent, std::string_view name, std::uint32_t handle);
    // size is the entry's size as the search compares it; stamp what it leads to (links
    // followed), whose size differs for links and packages.
    void add(std::uint32_t folder, std::string_view name, std::uint64_t size,
             const FileStamp& stamp, std::int64_t created);

    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    const Record& operator[](std::size_t index) const {
        return records_[index >> kRecordShift][index & (kRecordsPerChunk - 1)];
    }
    std::uint64_t size(std::size_t index) const { return (*this)[index].size; }
    const char* name(std::size_t index) const { return storedName((*this)[index].name); }
    std::uint32_t handle(std::size_t index) const { return folders_[(*this)[index].folder].handle; }
    std::string path(std::size_t index) const;
    FileStamp stamp(std::size_t index) const;
    // The record as the search reports it.
    FilePtr file(std::size_t index) const;

    // Puts the records in the given order: the record at index k becomes the one that was
    // at order[k]. order is a permutation of the indexes.
    void reorder(std::vector<std::uint32_t> order);
    // Frees the records before index, which may no longer be read. Another thread may read
    // the records from index on meanwhile.
    void releaseBefore(std::size_t index);

    void clear() { *this = ScanList(); }

private:
    static constexpr unsigned kRecordShift = 12;
    static constexpr std::size_t kRecordsPerChunk = std::size_t{1} << kRecordShift;
    // Names never span two chunks; NAME_MAX is 255.
    static constexpr std::size_t kNameChunk = 64 * 1024;
    static constexpr std::uint32_t kOtherSize = 0x80000000u;

    struct Folder {
        std::string path;        // of a chosen folder; empty for the others
        std::uint64_t name = 0;  // in the name store, below parent
        std::uint32_t parent = kNoParent;
        std::uint32_t handle = kNoHandle;
    };
    // Stores name, NUL-terminated, and returns its offset.
    std::uint64_t storeName(std::string_view name);
    const char* storedName(std::uint64_t at) const {
        return names_[at / kNameChunk].get() + at % kNameChunk;
    }

    Record& at(std::size_t index) {
        return records_[index >> kRecordShift][index & (kRecordsPerChunk - 1)];
    }

    std::vector<std::unique_ptr<Record[]>> records_;
    std::size_t count_ = 0;
    std::size_t released_ = 0;  // chunks freed
    std::vector<std::unique_ptr<char[]>> names_;
    std::size_t nameEnd_ = kNameChunk;  // used bytes of the last name chunk
    std::vector<Folder> folders_;
    std::vector<std::uint64_t> devices_;
    // The followed sizes that differ from the records' own, by record index, in order.
    std::vector<std::pair<std::size_t, std::uint64_t>> otherSizes_;
};

}  // namespace kelvora
