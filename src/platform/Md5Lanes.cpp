// MD5 (RFC 1321) of eight equal-length streams in the 32-bit lanes of AVX2 registers.
#include "platform/Md5Lanes.h"

#include <immintrin.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace kelvora::platform {

namespace {

using Words = std::array<std::uint32_t, Md5Lanes::kLanes>;
using State = std::array<Words, 4>;
using Pointers = std::array<const unsigned char*, Md5Lanes::kLanes>;

// floor(|sin(i + 1)| * 2^32), the additive constant of step i.
constexpr std::uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};
constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
constexpr std::uint32_t kInitial[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// Which message word step i adds: each round walks the block in its own order.
constexpr int messageIndex(int i) {
    const int j = i % 16;
    switch (i / 16) {
        case 0:
            return j;
        case 1:
            return (1 + 5 * j) % 16;
        case 2:
            return (5 + 3 * j) % 16;
        default:
            return 7 * j % 16;
    }
}

// The state words rotate through the a, b, c, d roles, one place per step.
constexpr int roleA(int i) {
    return (64 - i) % 4;
}

// The round functions of b, c and d, one per round of sixteen steps.
constexpr auto kRoundF = [](auto b, auto c, auto d) { return d ^ (b & (c ^ d)); };
constexpr auto kRoundG = [](auto b, auto c, auto d) { return c ^ (d & (b ^ c)); };
constexpr auto kRoundH = [](auto b, auto c, auto d) { return b ^ c ^ d; };
constexpr auto kRoundI = [](auto b, auto c, auto d) { return c ^ (b | ~d); };

constexpr std::uint32_t rotl(std::uint32_t x, int s) {
    return (x << s) | (x >> (32 - s));
}

// One lane at a time, for CPUs without AVX2.
void compressPortable(State& state, std::size_t lane, const unsigned char* block,
                      std::size_t count) {
    for (; count > 0; --count, block += Md5Lanes::kBlockSize) {
        std::uint32_t x[16];
        for (int k = 0; k < 16; ++k) {
            const unsigned char* p = block + 4 * k;
            x[k] = p[0] | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
                   std::uint32_t{p[3]} << 24;
        }
        std::uint32_t v[4];
        for (int w = 0; w < 4; ++w) v[w] = state[w][lane];
        for (int i = 0; i < 64; ++i) {
            const int a = roleA(i);
            const std::uint32_t b = v[(a + 1) % 4], c = v[(a + 2) % 4], d = v[(a + 3) % 4];
            std::uint32_t f;
            switch (i / 16) {
                case 0:
                    f = kRoundF(b, c, d);
                    break;
                case 1:
                    f = kRoundG(b, c, d);
                    break;
                case 2:
                    f = kRoundH(b, c, d);
                    break;
                default:
                    f = kRoundI(b, c, d);
                    break;
            }
            v[a] = b + rotl(v[a] + f + x[messageIndex(i)] + kSines[i], kShifts[i / 16][i % 4]);
        }
        for (int w = 0; w < 4; ++w) state[w][lane] += v[w];
    }
}

#define KELVORA_AVX2 [[gnu::target("avx2"), gnu::always_inline]] inline

KELVORA_AVX2 __m256i add(__m256i x, __m256i y) {
    return _mm256_add_epi32(x, y);
}

// GCC reassociates the additions of a step so that the round function joins first, which
// lengthens the serial path through b by one add; an empty asm keeps the early sum whole.
KELVORA_AVX2 __m256i settled(__m256i x) {
    asm("" : "+v"(x));
    return x;
}

template <int S>
KELVORA_AVX2 __m256i rotate(__m256i x) {
    return _mm256_or_si256(_mm256_slli_epi32(x, S), _mm256_srli_epi32(x, 32 - S));
}

// Rows of eight words, one row per lane, become eight vectors of one word across the lanes.
KELVORA_AVX2 void transpose(const __m256i (&r)[8], __m256i* out) {
    __m256i t[8], u[8];
    for (int i = 0; i < 8; i += 2) {
        t[i] = _mm256_unpacklo_epi32(r[i], r[i + 1]);
        t[i + 1] = _mm256_unpackhi_epi32(r[i], r[i + 1]);
    }
    for (int i = 0; i < 8; i += 4) {
        u[i] = _mm256_unpacklo_epi64(t[i], t[i + 2]);
        u[i + 1] = _mm256_unpackhi_epi64(t[i], t[i + 2]);
        u[i + 2] = _mm256_unpacklo_epi64(t[i + 1], t[i + 3]);
        u[i + 3] = _mm256_unpackhi_epi64(t[i + 1], t[i + 3]);
    }
    for (int i = 0; i < 4; ++i) {
        out[i] = _mm256_permute2x128_si256(u[i], u[i + 4], 0x20);
        out[i + 4] = _mm256_permute2x128_si256(u[i], u[i + 4], 0x31);
    }
}

KELVORA_AVX2 void loadBlock(const Pointers& lanes, __m256i (&w)[16]) {
    for (int half = 0; half < 2; ++half) {
        __m256i rows[8];
        for (int lane = 0; lane < 8; ++lane)
            rows[lane] =
                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lanes[lane] + 32 * half));
        transpose(rows, w + 8 * half);
    }
}

// The part of the round function that does not wait for the newest word (b) goes into the
// sum first, so the serial chain through b is as short as it can be.
template <int I>
KELVORA_AVX2 void step(__m256i (&v)[4], const __m256i (&w)[16]) {
    constexpr int a = roleA(I), b = (a + 1) % 4, c = (a + 2) % 4, d = (a + 3) % 4;
    const __m256i sine = _mm256_set1_epi32(static_cast<int>(kSines[I]));
    const __m256i early = settled(add(v[a], add(w[messageIndex(I)], sine)));
    __m256i sum;
    if constexpr (I < 16) {
        const __m256i f =
            _mm256_xor_si256(v[d], _mm256_and_si256(v[b], _mm256_xor_si256(v[c], v[d])));
        sum = add(early, f);
    } else if constexpr (I < 32) {
        // (b & d) | (c & ~d): the two halves share no bits, so they can be added apart.
        sum = add(add(early, _mm256_andnot_si256(v[d], v[c])), _mm256_and_si256(v[b], v[d]));
    } else if constexpr (I < 48) {
        sum = add(early, _mm256_xor_si256(v[b], _mm256_xor_si256(v[c], v[d])));
    } else {
        const __m256i notD = _mm256_xor_si256(v[d], _mm256_set1_epi32(-1));
        sum = add(early, _mm256_xor_si256(v[c], _mm256_or_si256(v[b], notD)));
    }
    v[a] = add(v[b], rotate<kShifts[I / 16][I % 4]>(sum));
}

template <int... I>
KELVORA_AVX2 void steps(__m256i (&v)[4], const __m256i (&w)[16], std::integer_sequence<int, I...>) {
    (step<I>(v, w), ...);
}

[[gnu::target("avx2")]] void compressAvx2(State& state, Pointers lanes, std::size_t count) {
    __m256i v[4];
    for (int i = 0; i < 4; ++i)
        v[i] = _mm256_load_si256(reinterpret_cast<const __m256i*>(state[i].data()));
    for (; count > 0; --count) {
        __m256i w[16];
        loadBlock(lanes, w);
        const __m256i before[4] = {v[0], v[1], v[2], v[3]};
        steps(v, w, std::make_integer_sequence<int, 64>());
        for (int i = 0; i < 4; ++i) v[i] = add(v[i], before[i]);
        for (auto& lane : lanes) lane += Md5Lanes::kBlockSize;
    }
    for (int i = 0; i < 4; ++i)
        _mm256_store_si256(reinterpret_cast<__m256i*>(state[i].data()), v[i]);
}

// AVX-512VL on the same 256-bit vectors: a rotate and each round function are one
// instruction, and 32 registers hold the whole block without spilling.
#define KELVORA_AVX512 [[gnu::target("avx2,avx512f,avx512vl"), gnu::always_inline]] inline

// vpternlogd's truth table of f: f applied to the bit patterns of its three operands.
template <class F>
constexpr int truthTable(F f) {
    return static_cast<int>(f(0xF0u, 0xCCu, 0xAAu) & 0xFFu);
}
constexpr int kTruthTables[4] = {truthTable(kRoundF), truthTable(kRoundG), truthTable(kRoundH),
                                 truthTable(kRoundI)};

template <int I>
KELVORA_AVX512 void step512(__m256i (&v)[4], const __m256i (&w)[16]) {
    constexpr int a = roleA(I), b = (a + 1) % 4, c = (a + 2) % 4, d = (a + 3) % 4;
    const __m256i sine = _mm256_set1_epi32(static_cast<int>(kSines[I]));
    const __m256i early = settled(add(v[a], add(w[messageIndex(I)], sine)));
    // Named constants: unoptimised builds take the immediates only as plain constants.
    constexpr int table = kTruthTables[I / 16], shift = kShifts[I / 16][I % 4];
    const __m256i f = _mm256_ternarylogic_epi32(v[b], v[c], v[d], table);
    v[a] = add(v[b], _mm256_rol_epi32(add(early, f), shift));
}

template <int... I>
KELVORA_AVX512 void steps512(__m256i (&v)[4], const __m256i (&w)[16],
                             std::integer_sequence<int, I...>) {
    (step512<I>(v, w), ...);
}

[[gnu::target("avx2,avx512f,avx512vl")]] void compressAvx512(State& state, Pointers lanes,
                                                             std::size_t count) {
    __m256i v[4];
    for (int i = 0; i < 4; ++i)
        v[i] = _mm256_load_si256(reinterpret_cast<const __m256i*>(state[i].data()));
    for (; count > 0; --count) {
        __m256i w[16];
        loadBlock(lanes, w);
        const __m256i before[4] = {v[0], v[1], v[2], v[3]};
        steps512(v, w, std::make_integer_sequence<int, 64>());
        for (int i = 0; i < 4; ++i) v[i] = add(v[i], before[i]);
        for (auto& lane : lanes) lane += Md5Lanes::kBlockSize;
    }
    for (int i = 0; i < 4; ++i)
        _mm256_store_si256(reinterpret_cast<__m256i*>(state[i].data()), v[i]);
}

#undef KELVORA_AVX512
#undef KELVORA_AVX2

}  // namespace

bool Md5Lanes::available() {
    return supports(Kernel::avx2);
}

bool Md5Lanes::supports(Kernel kernel) {
    switch (kernel) {
        case Kernel::avx2:
            return __builtin_cpu_supports("avx2");
        case Kernel::avx512:
            return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl");
        default:
            return true;
    }
}

Md5Lanes::Md5Lanes(std::size_t lanes) : Md5Lanes(lanes, Kernel::fastest) {}

Md5Lanes::Md5Lanes(std::size_t lanes, Kernel kernel)
    : lanes_(std::clamp<std::size_t>(lanes, 1, kLanes)), kernel_(kernel) {
    if (kernel_ == Kernel::fastest || !supports(kernel_)) {
        kernel_ = supports(Kernel::avx512) ? Kernel::avx512
                  : available()            ? Kernel::avx2
                                           : Kernel::portable;
    }
    for (int w = 0; w < 4; ++w) state_[w].fill(kInitial[w]);
}

void Md5Lanes::compress(const unsigned char* const* blocks, std::size_t count) {
    if (kernel_ == Kernel::portable) {
        for (std::size_t lane = 0; lane < lanes_; ++lane)
            compressPortable(state_, lane, blocks[lane], count);
        return;
    }
    // Lanes nobody asked for repeat the first stream: any readable bytes of the right length.
    Pointers lanes;
    for (std::size_t lane = 0; lane < kLanes; ++lane)
        lanes[lane] = blocks[lane < lanes_ ? lane : 0];
    if (kernel_ == Kernel::avx512)
        compressAvx512(state_, lanes, count);
    else
        compressAvx2(state_, lanes, count);
}

void Md5Lanes::update(const unsigned char* const* data, std::size_t length) {
    if (length == 0) return;
    totalLength_ += length;
    std::size_t used = 0;
    if (pendingLength_ > 0) {
        used = std::min(length, kBlockSize - pendingLength_);
        for (std::size_t lane = 0; lane < lanes_; ++lane)
            std::memcpy(pending_[lane].data() + pendingLength_, data[lane], used);
        pendingLength_ += used;
        if (pendingLength_ < kBlockSize) return;
        const unsigned char* blocks[kLanes] = {};
        for (std::size_t lane = 0; lane < lanes_; ++lane) blocks[lane] = pending_[lane].data();
        compress(blocks, 1);
        pendingLength_ = 0;
    }
    const std::size_t count = (length - used) / kBlockSize;
    const unsigned char* from[kLanes] = {};
    for (std::size_t lane = 0; lane < lanes_; ++lane) from[lane] = data[lane] + used;
    if (count > 0) {
        compress(from, count);
        for (std::size_t lane = 0; lane < lanes_; ++lane) from[lane] += count * kBlockSize;
    }
    pendingLength_ = length - used - count * kBlockSize;
    for (std::size_t lane = 0; lane < lanes_ && pendingLength_ > 0; ++lane)
        std::memcpy(pending_[lane].data(), from[lane], pendingLength_);
}

std::array<Md5Digest, Md5Lanes::kLanes> Md5Lanes::finish() {
    // The 0x80 marker, zeros up to 8 bytes short of a block boundary, then the length in bits,
    // least significant byte first; one block, or two when the marker and length do not fit.
    const std::size_t tailLength = pendingLength_ < kBlockSize - 8 ? kBlockSize : 2 * kBlockSize;
    const std::uint64_t bits = totalLength_ * 8;
    std::array<std::array<unsigned char, 2 * kBlockSize>, kLanes> tails{};
    const unsigned char* blocks[kLanes] = {};
    for (std::size_t lane = 0; lane < lanes_; ++lane) {
        auto& tail = tails[lane];
        std::copy_n(pending_[lane].begin(), pendingLength_, tail.begin());
        tail[pendingLength_] = 0x80;
        for (int i = 0; i < 8; ++i)
            tail[tailLength - 8 + i] = static_cast<unsigned char>(bits >> (8 * i));
        blocks[lane] = tail.data();
    }
    compress(blocks, tailLength / kBlockSize);
    std::array<Md5Digest, kLanes> digests{};
    for (std::size_t lane = 0; lane < lanes_; ++lane) digests[lane] = laneDigest(lane);
    return digests;
}

void Md5Lanes::restartLane(std::size_t lane) {
    for (int w = 0; w < 4; ++w) state_[w][lane] = kInitial[w];
}

Md5Digest Md5Lanes::laneDigest(std::size_t lane) const {
    Md5Digest digest{};
    for (int w = 0; w < 4; ++w)
        for (int i = 0; i < 4; ++i)
            digest[4 * w + i] = static_cast<std::uint8_t>(state_[w][lane] >> (8 * i));
    return digest;
}

}  // namespace kelvora::platform
