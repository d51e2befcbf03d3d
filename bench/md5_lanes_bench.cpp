// MD5 throughput: the platform's one stream against eight streams in SIMD lanes.
#include <benchmark/benchmark.h>

#include <vector>

#include "platform/Md5.h"
#include "platform/Md5Lanes.h"

namespace kelvora::platform {
namespace {

constexpr std::size_t kBufferSize = 256 * 1024;

std::vector<unsigned char> bufferFor(std::size_t stream) {
    std::vector<unsigned char> buffer(kBufferSize);
    for (std::size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = static_cast<unsigned char>(i * 131 + stream * 17);
    return buffer;
}

void md5OneStream(benchmark::State& state) {
    const auto buffer = bufferFor(0);
    for (auto _ : state) benchmark::DoNotOptimize(md5OfBytes(buffer.data(), buffer.size()));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBufferSize));
}
BENCHMARK(md5OneStream);

// Bytes counted over all lanes: the aggregate that a run of equal-size files sees.
void md5Lanes(benchmark::State& state) {
    const auto kernel = static_cast<Md5Lanes::Kernel>(state.range(0));
    if (!Md5Lanes::supports(kernel)) {
        state.SkipWithError("kernel not supported by this CPU");
        return;
    }
    const auto count = static_cast<std::size_t>(state.range(1));
    std::vector<std::vector<unsigned char>> buffers;
    std::vector<const unsigned char*> data;
    for (std::size_t i = 0; i < count; ++i) buffers.push_back(bufferFor(i));
    for (const auto& buffer : buffers) data.push_back(buffer.data());
    for (auto _ : state) {
        Md5Lanes lanes(count, kernel);
        lanes.update(data.data(), kBufferSize);
        benchmark::DoNotOptimize(lanes.finish());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBufferSize * count));
}
// kernel: 1 portable, 2 AVX2, 3 AVX-512VL.
BENCHMARK(md5Lanes)
    ->ArgNames({"kernel", "lanes"})
    ->Args({3, 8})
    ->Args({2, 8})
    ->Args({1, 8})
    ->Args({3, 1});

}  // namespace
}  // namespace kelvora::platform
