// Multi-lane MD5 against the platform's own MD5, lane by lane.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <random>
#include <vector>

#include "platform/Md5.h"
#include "platform/Md5Lanes.h"
#include "platform/Md5Streams.h"
#include "platform/ReadMeter.h"
#include "support/TempTree.h"

namespace kelvora::platform {
namespace {

// Lengths around the padding edges (55/56 bytes, block boundaries) and well past them.
const std::size_t kLengths[] = {0, 1, 55, 56, 63, 64, 65, 119, 120, 128, 1000, 1 << 20};

// Each lane its own bytes, starting at an odd offset so no load is aligned.
std::vector<std::vector<unsigned char>> streams(std::size_t lanes, std::size_t length) {
    std::mt19937 random(static_cast<unsigned>(lanes * 7919 + length));
    std::vector<std::vector<unsigned char>> result(lanes);
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        result[lane].resize(length + lane + 1);
        for (auto& byte : result[lane]) byte = static_cast<unsigned char>(random());
    }
    return result;
}

// Feeds the streams in pieces of the given sizes, cycled, then finishes.
std::array<Md5Digest, Md5Lanes::kLanes> hashInPieces(
    const std::vector<std::vector<unsigned char>>& data, std::size_t length,
    const std::vector<std::size_t>& pieces, Md5Lanes::Kernel kernel = Md5Lanes::Kernel::fastest) {
    Md5Lanes lanes(data.size(), kernel);
    // Exactly `lanes` pointers: reading past them would show under the address sanitizer.
    std::vector<const unsigned char*> at(data.size());
    for (std::size_t lane = 0; lane < data.size(); ++lane) at[lane] = data[lane].data() + lane + 1;
    for (std::size_t done = 0, i = 0; done < length; ++i) {
        const std::size_t piece = std::min(pieces[i % pieces.size()], length - done);
        lanes.update(at.data(), piece);
        for (auto& p : at) p += piece;
        done += piece;
    }
    return lanes.finish();
}

// Every kernel this CPU runs, so the AVX2 code is checked on a machine that prefers AVX-512.
std::vector<Md5Lanes::Kernel> kernelsHere() {
    std::vector<Md5Lanes::Kernel> kernels;
    for (auto kernel :
         {Md5Lanes::Kernel::portable, Md5Lanes::Kernel::avx2, Md5Lanes::Kernel::avx512})
        if (Md5Lanes::supports(kernel)) kernels.push_back(kernel);
    return kernels;
}

TEST(Md5Lanes, givesEachStreamItsOwnDigestWhateverTheLaneCountLengthAndPieces) {
    const std::vector<std::vector<std::size_t>> feeds = {
        {SIZE_MAX}, {1}, {3, 61, 64, 0, 200, 7}, {63, 65}, {4096, 1, 100000}};
    for (auto kernel : kernelsHere()) {
        for (std::size_t count = 1; count <= Md5Lanes::kLanes; ++count) {
            for (std::size_t length : kLengths) {
                // The long streams with one lane and all of them only, to keep the run short.
                const bool large = length > 100000;
                if (large && count != 1 && count != Md5Lanes::kLanes) continue;
                const auto data = streams(count, length);
                for (const auto& pieces : feeds) {
                    if (large && pieces.front() == 1) continue;
                    const auto digests = hashInPieces(data, length, pieces, kernel);
                    for (std::size_t lane = 0; lane < count; ++lane)
                        EXPECT_EQ(digests[lane], md5OfBytes(data[lane].data() + lane + 1, length))
                            << "kernel " << static_cast<int>(kernel) << ", " << count
                            << " lanes, length " << length << ", lane " << lane << ", first piece "
                            << pieces.front();
                }
            }
        }
    }
}

TEST(Md5Lanes, tellsApartStreamsThatDifferOnlyInTheirLastByte) {
    std::vector<std::vector<unsigned char>> data(
        Md5Lanes::kLanes, std::vector<unsigned char>(Md5Lanes::kLanes + 300));
    for (std::size_t lane = 0; lane < data.size(); ++lane) data[lane][lane + 300] = lane % 2;
    const auto digests = hashInPieces(data, 300, {300});
    for (std::size_t lane = 0; lane < data.size(); ++lane) {
        EXPECT_EQ(digests[lane], md5OfBytes(data[lane].data() + lane + 1, 300));
        EXPECT_EQ(digests[lane] == digests[0], lane % 2 == 0) << lane;
    }
}

// Streams of many lengths, from memory and from files, more of them than there are lanes,
// so lanes are refilled in the middle of others: each gets the digest of its own bytes. A
// file that is missing, shorter or longer than said is left to the caller, and no other
// stream suffers from it.
TEST(Md5Streams, hashesStreamsOfEveryLengthAndLeavesBrokenFilesToTheCaller) {
    if (!Md5Streams::available()) GTEST_SKIP() << "no vector lanes on this processor";
    testing::TempTree tree;
    std::mt19937 random(42);
    const std::size_t lengths[] = {0,   1,   55,  56,    63,    64,    65,     119,
                                   120, 128, 999, 65535, 65536, 65601, 300000, 7};
    std::vector<std::string> contents;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < 2 * std::size(lengths); ++i) {
        std::string bytes(lengths[i % std::size(lengths)], '\0');
        for (char& c : bytes) c = static_cast<char>(random());
        contents.push_back(bytes);
        paths.push_back(tree.createFile("f" + std::to_string(i), bytes));
    }
    std::vector<Md5Streams::Job> jobs(contents.size());
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        jobs[i].length = contents[i].size();
        if (i % 2 == 0) {
            jobs[i].data = reinterpret_cast<const unsigned char*>(contents[i].data());
        } else {
            jobs[i].path = paths[i].c_str();
        }
    }
    // A file named within an open folder, as the search names them.
    const FileHandle folder(::open(tree.root().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(folder.valid());
    jobs.push_back({nullptr, "f5", contents[5].size()});
    jobs.back().folder = folder.get();
    contents.push_back(contents[5]);
    // Broken files among the others: gone, shorter than said, longer than said, and a folder
    // and a named pipe where a file was, which must not keep the run waiting.
    const std::size_t firstBroken = jobs.size();
    const std::string gone = tree.path("gone");
    jobs.push_back({nullptr, gone.c_str(), 10});
    jobs.push_back({nullptr, paths[13].c_str(), contents[13].size() + 1});
    jobs.push_back({nullptr, paths[15].c_str(), contents[15].size() - 1});
    const std::string folderPath = tree.createFolder("in-a-file's-place");
    jobs.push_back({nullptr, folderPath.c_str(), 10});
    const std::string pipe = tree.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0644), 0);
    jobs.push_back({nullptr, pipe.c_str(), 10});
    const std::uint64_t meterBefore = contentsReadMeter().load();
    Md5Streams::run(jobs);
    ASSERT_EQ(firstBroken, contents.size());
    std::uint64_t readWhole = 0;
    for (std::size_t i = 0; i < firstBroken; ++i)
        if (jobs[i].path != nullptr) readWhole += jobs[i].length;
    EXPECT_GE(contentsReadMeter().load() - meterBefore, readWhole);
    for (std::size_t i = 0; i < contents.size(); ++i) {
        ASSERT_TRUE(jobs[i].ok) << i;
        EXPECT_EQ(jobs[i].digest, md5OfBytes(contents[i].data(), contents[i].size()))
            << "stream " << i << ", " << contents[i].size() << " bytes";
    }
    for (std::size_t i = contents.size(); i < jobs.size(); ++i) EXPECT_FALSE(jobs[i].ok) << i;

    std::atomic<bool> canceled{true};
    Md5Streams::run(jobs, &canceled);
    for (const Md5Streams::Job& job : jobs) EXPECT_FALSE(job.ok);
}

}  // namespace
}  // namespace kelvora::platform
