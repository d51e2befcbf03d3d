#include "engine/ScanList.h"

#include <algorithm>
#include <cstring>

#include "platform/FileSystem.h"
#include "platform/Memory.h"

namespace kelvora {

static_assert(sizeof(ScanList::Record) == 56);

std::uint32_t ScanList::addFolder(std::string path, std::uint32_t handle) {
    folders_.push_back({std::move(path), 0, kNoParent, handle});
    return static_cast<std::uint32_t>(folders_.size() - 1);
}

std::uint32_t ScanList::addFolder(std::uint32_t parent, std::string_view name,
                                  std::uint32_t handle) {
    folders_.push_back({std::string(), storeName(name), parent, handle});
    return static_cast<std::uint32_t>(folders_.size() - 1);
}

std::uint64_t ScanList::storeName(std::string_view name) {
    if (nameEnd_ + name.size() + 1 > kNameChunk) {
        names_.push_back(platform::populatedArray<char>(kNameChunk));
        nameEnd_ = 0;
    }
    char* stored = names_.back().get() + nameEnd_;
    std::memcpy(stored, name.data(), name.size());
    stored[name.size()] = '\0';
    const std::uint64_t at = (names_.size() - 1) * kNameChunk + nameEnd_;
    nameEnd_ += name.size() + 1;
    return at;
}

void ScanList::add(std::uint32_t folder, std::string_view name, std::uint64_t size,
                   const FileStamp& stamp, std::int64_t created) {
    if ((count_ & (kRecordsPerChunk - 1)) == 0) {
        records_.push_back(platform::populatedArray<Record>(kRecordsPerChunk));
    }
    const std::uint64_t nameAt = storeName(name);
    // Nearly every search stays on one device; the table is searched from its newest entry.
    auto known = std::find(devices_.rbegin(), devices_.rend(), stamp.device);
    if (known == devices_.rend()) {
        devices_.push_back(stamp.device);
        known = devices_.rbegin();
    }
    auto device = static_cast<std::uint32_t>(devices_.rend() - known - 1);
    if (stamp.size != size) {
        device |= kOtherSize;
        otherSizes_.emplace_back(count_, stamp.size);
    }
    records_.back()[count_ & (kRecordsPerChunk - 1)] = {
        size, stamp.inode, stamp.modified, stamp.changed, created, nameAt, folder, device};
    ++count_;
}

std::string ScanList::path(std::size_t index) const {
    // The names from the file up to its chosen folder, measured first and then written from
    // the end: one allocation and no list of the names, for every member of every group.
    const char* leaf = name(index);
    std::size_t length = std::strlen(leaf);
    std::uint32_t top = (*this)[index].folder;
    for (; folders_[top].parent != kNoParent; top = folders_[top].parent) {
        length += std::strlen(storedName(folders_[top].name)) + 1;
    }
    const std::string& root = folders_[top].path;
    const bool slash = root.empty() || root.back() != '/';
    length += root.size() + (slash ? 1 : 0);
    std::string path(length, '/');
    char* end = path.data() + length;
    const auto put = [&end](const char* name) {
        const std::size_t size = std::strlen(name);
        end -= size;
        std::memcpy(end, name, size);
    };
    put(leaf);
    for (std::uint32_t folder = (*this)[index].folder; folder != top;
         folder = folders_[folder].parent) {
        --end;  // the '/' the string was filled with
        put(storedName(folders_[folder].name));
    }
    std::memcpy(path.data(), root.data(), root.size());
    return path;
}

FileStamp ScanList::stamp(std::size_t index) const {
    const Record& record = (*this)[index];
    FileStamp stamp{devices_[record.device & ~kOtherSize], record.inode, record.size,
                    record.modified, record.changed};
    if ((record.device & kOtherSize) != 0) {
        stamp.size = std::lower_bound(otherSizes_.begin(), otherSizes_.end(),
                                      std::pair<std::size_t, std::uint64_t>(index, 0))
                         ->second;
    }
    return stamp;
}

void ScanList::reorder(std::vector<std::uint32_t> order) {
    if (!otherSizes_.empty()) {
        std::vector<std::pair<std::size_t, std::uint64_t>> moved;
        for (std::size_t k = 0; k < count_; ++k) {
            if (((*this)[order[k]].device & kOtherSize) != 0) {
                moved.emplace_back(k, stamp(order[k]).size);
            }
        }
        otherSizes_ = std::move(moved);
    }
    // Each cycle of the permutation is followed once, with one record held aside; a place
    // filled is marked by order[k] = k.
    for (std::size_t start = 0; start < count_; ++start) {
        if (order[start] == start) continue;
        const Record saved = at(start);
        std::size_t k = start;
        for (;;) {
            const std::size_t from = order[k];
            order[k] = static_cast<std::uint32_t>(k);
            if (from == start) {
                at(k) = saved;
                break;
            }
            at(k) = at(from);
            k = from;
        }
    }
}

void ScanList::releaseBefore(std::size_t index) {
    for (; released_ < records_.size() && (released_ + 1) * kRecordsPerChunk <= index;
         ++released_) {
        records_[released_].reset();
    }
}

FilePtr ScanList::file(std::size_t index) const {
    const Record& record = (*this)[index];
    auto file = std::make_shared<File>(path(index), pathExtension(name(index)), record.size);
    file->stamp = stamp(index);
    file->createdNanoseconds = record.created;
    return file;
}

}  // namespace kelvora
