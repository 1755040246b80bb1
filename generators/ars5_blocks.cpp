// The block function of ARS-5.
//
//   k_0 = key, k_(r+1) = k_r + w, the additions in each 64-bit half alone;
//   x = counter xor k_0, four AES rounds with k_1 .. k_4, the last one, without MixColumns, with
//   k_5
//
// Compiled once, without processor flags: each form has its instructions by a target of its own,
// and all copies call the form that the processor has.  An AES instruction gives its result after
// several cycles and starts every half cycle, so eight registers are in flight.  A 512-bit form
// was measured to be no faster than that of 256 bits: both are bound by the processor's AES units.
#include <immintrin.h>

#include <atomic>

#include "frame/branch.h"
#include "generators/ars5.h"

namespace korvan {
namespace {

constexpr int rounds = 5;
constexpr std::size_t inFlight = 8;

// w: the fractions of the golden ratio and of the square root of 3, in 64 bits.
constexpr std::uint64_t weylLow = 0x9E3779B97F4A7C15, weylHigh = 0xBB67AE8584CAA73B;

__m128i both(std::uint64_t low, std::uint64_t high) {
    return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}

// The forms proper, for runs of counters whose low half doesn't wrap: `lanes` registers side by
// side through the rounds.

template <std::size_t lanes>
[[gnu::target("aes"), gnu::always_inline]] inline void putBlocks(__m128i& counter,
                                                                 const __m128i* keys,
                                                                 __m128i* out) {
    __m128i x[lanes];
#pragma GCC unroll 8
    for (__m128i& lane : x) {
        lane = _mm_xor_si128(counter, keys[0]);
        counter = _mm_add_epi64(counter, both(1, 0));
    }
#pragma GCC unroll 8
    for (int round = 1; round < rounds; ++round) {
#pragma GCC unroll 8
        for (__m128i& lane : x) lane = _mm_aesenc_si128(lane, keys[round]);
    }
#pragma GCC unroll 8
    for (std::size_t k = 0; k < lanes; ++k) {
        _mm_storeu_si128(out + k, _mm_aesenclast_si128(x[k], keys[rounds]));
    }
}

[[gnu::target("aes")]] void run128(const std::uint64_t* key, BlockCounter first, std::size_t count,
                                   std::uint32_t* words) {
    __m128i keys[rounds + 1] = {both(key[0], key[1])};
    for (int round = 0; round < rounds; ++round) {
        keys[round + 1] = _mm_add_epi64(keys[round], both(weylLow, weylHigh));
    }
    __m128i counter = both(first.low, first.high);
    auto* out = reinterpret_cast<__m128i*>(words);
    for (; count >= inFlight; count -= inFlight, out += inFlight) {
        putBlocks<inFlight>(counter, keys, out);
    }
    for (; count > 0; --count, ++out) putBlocks<1>(counter, keys, out);
}

// Two blocks a register.
template <std::size_t lanes>
[[gnu::target("avx2,vaes"), gnu::always_inline]] inline void putBlocks(__m256i& counters,
                                                                       const __m256i* keys,
                                                                       __m256i* out) {
    __m256i x[lanes];
#pragma GCC unroll 8
    for (__m256i& lane : x) {
        lane = _mm256_xor_si256(counters, keys[0]);
        counters = _mm256_add_epi64(counters, _mm256_broadcastsi128_si256(both(2, 0)));
    }
#pragma GCC unroll 8
    for (int round = 1; round < rounds; ++round) {
#pragma GCC unroll 8
        for (__m256i& lane : x) lane = _mm256_aesenc_epi128(lane, keys[round]);
    }
#pragma GCC unroll 8
    for (std::size_t k = 0; k < lanes; ++k) {
        _mm256_storeu_si256(out + k, _mm256_aesenclast_epi128(x[k], keys[rounds]));
    }
}

[[gnu::target("avx2,vaes")]] void run256(const std::uint64_t* key, BlockCounter first,
                                         std::size_t count, std::uint32_t* words) {
    __m128i roundKey = both(key[0], key[1]);
    __m256i keys[rounds + 1];
    for (__m256i& pair : keys) {
        pair = _mm256_broadcastsi128_si256(roundKey);
        roundKey = _mm_add_epi64(roundKey, both(weylLow, weylHigh));
    }
    __m256i counters =
        _mm256_set_m128i(both(first.low + 1, first.high), both(first.low, first.high));
    auto* out = reinterpret_cast<__m256i*>(words);
    for (; count >= 2 * inFlight; count -= 2 * inFlight, out += inFlight) {
        putBlocks<inFlight>(counters, keys, out);
    }
    for (; count >= 2; count -= 2, ++out) putBlocks<1>(counters, keys, out);
    if (count == 0) return;
    __m256i last;
    putBlocks<1>(counters, keys, &last);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(last));
}

// `run`, twice where the low half of the counter wraps.
template <Ars5Blocks run>
void blocks(const std::uint64_t* key, BlockCounter first, std::size_t count, std::uint32_t* words) {
    const std::uint64_t untilWrap = 0 - first.low;  // 0 stands for 2^64
    const std::size_t head = untilWrap - 1 < count ? untilWrap : count;
    run(key, first, head, words);
    if (head < count) run(key, first.plus(head), count - head, words + 4 * head);
}

}  // namespace

void ars5Blocks128(const std::uint64_t* key, BlockCounter first, std::size_t count,
                   std::uint32_t* words) {
    blocks<run128>(key, first, count, words);
}

void ars5Blocks256(const std::uint64_t* key, BlockCounter first, std::size_t count,
                   std::uint32_t* words) {
    blocks<run256>(key, first, count, words);
}

Ars5Blocks* ars5Blocks() {
    constexpr std::int32_t firstWideBranch = 9;
    static constinit std::atomic<Ars5Blocks*> chosen{nullptr};
    Ars5Blocks* form = chosen.load(std::memory_order_relaxed);
    if (!form) {
        const bool isWide = branchNumber() >= firstWideBranch && processorHasFeatures("avx2,vaes");
        form = isWide ? ars5Blocks256 : ars5Blocks128;
        chosen.store(form, std::memory_order_relaxed);
    }
    return form;
}

}  // namespace korvan
