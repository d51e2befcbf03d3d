// Trashing many items of one name: each item costs the same however many went before, with
// and without its record made durable first.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/FileSystem.h"
#include "platform/Trash.h"

namespace kelvora::platform {
namespace {

using Clock = std::chrono::steady_clock;

// A home trash and a source folder of their own: the user's trash is never touched.
struct Scratch {
    std::string root;
    FileHandle source;

    Scratch() {
        const char* tmp = std::getenv("TMPDIR");
        root = std::string(tmp != nullptr ? tmp : "/tmp") + "/kelvora-trash-bench-XXXXXX";
        if (::mkdtemp(root.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
        ::setenv("XDG_DATA_HOME", (root + "/share").c_str(), 1);
        ::mkdir((root + "/src").c_str(), 0700);
        source = FileHandle(::open((root + "/src").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    ~Scratch() {
        std::error_code error;
        std::filesystem::remove_all(root, error);
    }
    void makeItem() const {
        const int fd = ::openat(source.get(), "a", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (fd >= 0) ::close(fd);
    }
};

double microseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

// sync: 0 none, 1 the record, 2 the record and its folder. The counters give the mean time
// of the first and of the last thousand items: equal when the cost does not grow.
void trashOneName(benchmark::State& state) {
    const auto sync = static_cast<TrashSync>(state.range(0));
    const Scratch scratch;
    const std::string path = scratch.root + "/src/a";
    const auto total = static_cast<std::int64_t>(state.max_iterations);
    Clock::duration first{}, last{};
    std::int64_t done = 0;
    for (auto _ : state) {
        state.PauseTiming();
        scratch.makeItem();
        state.ResumeTiming();
        const auto start = Clock::now();
        const auto item = trashEntry(scratch.source.get(), "a", path, sync);
        const auto took = Clock::now() - start;
        if (!item) {
            state.SkipWithError(item.error().c_str());
            break;
        }
        if (done < 1000) first += took;
        if (done >= total - 1000) last += took;
        ++done;
    }
    state.counters["first1000_us"] = microseconds(first) / 1000;
    state.counters["last1000_us"] = microseconds(last) / 1000;
}
BENCHMARK(trashOneName)->ArgName("sync")->Arg(0)->Iterations(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(trashOneName)
    ->ArgName("sync")
    ->Arg(0)
    ->Iterations(100'000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(trashOneName)->ArgName("sync")->Arg(1)->Iterations(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(trashOneName)->ArgName("sync")->Arg(2)->Iterations(10'000)->Unit(benchmark::kMicrosecond);

// The floor under trashOneName: the same record written and the same move made by number,
// without looking for the trash or a free name.
void recordAndMoveOnly(benchmark::State& state) {
    const Scratch scratch;
    const std::string trash = scratch.root + "/share/Trash";
    std::filesystem::create_directories(trash + "/files");
    std::filesystem::create_directories(trash + "/info");
    const FileHandle files(::open((trash + "/files").c_str(), O_RDONLY | O_DIRECTORY));
    const FileHandle info(::open((trash + "/info").c_str(), O_RDONLY | O_DIRECTORY));
    const std::string text =
        "[Trash Info]\nPath=" + scratch.root + "/src/a\nDeletionDate=2024-01-01T00:00:00\n";
    const auto total = static_cast<std::int64_t>(state.max_iterations);
    Clock::duration first{}, last{};
    std::int64_t done = 0;
    for (auto _ : state) {
        state.PauseTiming();
        scratch.makeItem();
        state.ResumeTiming();
        const auto start = Clock::now();
        const std::string name = "a." + std::to_string(done);
        const int fd = ::openat(info.get(), (name + ".trashinfo").c_str(),
                                O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        benchmark::DoNotOptimize(::write(fd, text.data(), text.size()));
        ::close(fd);
        ::renameat2(scratch.source.get(), "a", files.get(), name.c_str(), RENAME_NOREPLACE);
        const auto took = Clock::now() - start;
        if (done < 1000) first += took;
        if (done >= total - 1000) last += took;
        ++done;
    }
    state.counters["first1000_us"] = microseconds(first) / 1000;
    state.counters["last1000_us"] = microseconds(last) / 1000;
}
BENCHMARK(recordAndMoveOnly)->Iterations(100'000)->Unit(benchmark::kMicrosecond);

// The first item of a name in a trash that an earlier run filled with `names` of it: no hint
// yet, so the tries step over the taken numbers in growing strides.
void trashAfterAnEarlierRun(benchmark::State& state) {
    const auto names = state.range(0);
    for (auto _ : state) {
        const Scratch scratch;
        const std::string info = scratch.root + "/share/Trash/info/";
        std::filesystem::create_directories(info);
        std::filesystem::create_directories(scratch.root + "/share/Trash/files");
        for (std::int64_t n = 1; n <= names; ++n) {
            const std::string record = n == 1 ? "a" : "a." + std::to_string(n);
            ::close(::open((info + record + ".trashinfo").c_str(), O_WRONLY | O_CREAT, 0600));
        }
        scratch.makeItem();
        const auto start = Clock::now();
        const auto item = trashEntry(scratch.source.get(), "a", scratch.root + "/src/a");
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        if (!item) state.SkipWithError(item.error().c_str());
    }
}
BENCHMARK(trashAfterAnEarlierRun)
    ->ArgName("names")
    ->Arg(100'000)
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace kelvora::platform
