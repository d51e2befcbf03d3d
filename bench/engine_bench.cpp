// The walk, the sort and the grouping on their own.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>

#include "engine/FileTools.h"

namespace kelvora {
namespace {

FileList recordsOfSizes(const std::vector<std::uint64_t>& sizes) {
    FileList list;
    for (std::uint64_t size : sizes) list.push_back(std::make_shared<File>("", "", size));
    return list;
}

// Sizes for the sort: "random" has many ties, as real folders do; "descending" is a tree
// walked largest first; "equal" is one long run of equal sizes.
std::vector<std::uint64_t> sizesFor(int shape, std::size_t n) {
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> sizes(n);
    for (auto& size : sizes) size = random() % (n / 4 + 1);
    if (shape == 1) std::sort(sizes.begin(), sizes.end(), std::greater<>());
    if (shape == 2) std::fill(sizes.begin(), sizes.end(), 4096);
    return sizes;
}

void sortBySize(benchmark::State& state) {
    const auto sizes =
        sizesFor(static_cast<int>(state.range(0)), static_cast<std::size_t>(state.range(1)));
    SettingsManager settings;
    platform::NotificationCenter center;
    FileTools tools(settings, center);
    for (auto _ : state) {
        state.PauseTiming();
        FileList list = recordsOfSizes(sizes);
        state.ResumeTiming();
        tools.sortBySizeDescending(list, 0, static_cast<std::int64_t>(list.size()) - 1);
        benchmark::DoNotOptimize(list.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(1));
}
BENCHMARK(sortBySize)
    ->ArgNames({"shape", "n"})
    ->Args({0, 100000})
    ->Args({1, 100000})
    ->Args({2, 100000})
    ->Unit(benchmark::kMillisecond);

// A tree of its own under /tmp: 8,000 files in 200 folders, a fifth of them copies.
const std::string& benchTree() {
    static const std::string root = [] {
        const std::string path = std::filesystem::temp_directory_path() / "kelvora-bench-tree";
        if (std::filesystem::exists(path)) return path;
        std::mt19937 random(2);
        for (int i = 0; i < 8000; ++i) {
            // Names by snprintf: g++ 12 at -O3 warns falsely about "d" + std::to_string(i).
            char name[32];
            std::snprintf(name, sizeof name, "d%d", i % 200);
            const auto folder = std::filesystem::path(path) / name;
            std::filesystem::create_directories(folder);
            const int original = i % 5 == 0 && i > 0 ? static_cast<int>(random() % i) : i;
            std::string contents(1024 + original % 3000, 'x');
            contents.replace(0, 8, std::to_string(original + 10000000));
            std::snprintf(name, sizeof name, "f%d", i);
            std::ofstream(folder / name) << contents;
        }
        return path;
    }();
    return root;
}

void walk(benchmark::State& state) {
    const std::string& root = benchTree();
    for (auto _ : state) {
        SettingsManager settings;
        platform::NotificationCenter center;
        FileTools tools(settings, center);
        tools.scanFolders({root}, 1, UINT64_MAX, true, {});
        benchmark::DoNotOptimize(tools.fileList.size());
    }
}
BENCHMARK(walk)->Unit(benchmark::kMillisecond);

void findDuplicates(benchmark::State& state) {
    const std::string& root = benchTree();
    for (auto _ : state) {
        SettingsManager settings;
        platform::NotificationCenter center;
        FileTools tools(settings, center);
        tools.hashThreads = static_cast<unsigned>(state.range(0));
        benchmark::DoNotOptimize(tools.findDuplicates({root}, 1, UINT64_MAX, true, {}).size());
    }
}
BENCHMARK(findDuplicates)
    ->ArgName("threads")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvora
