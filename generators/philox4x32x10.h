// Philox4x32-10: ten rounds of a keyed bijection over a 128-bit counter, four words a counter.
//
// Source: J. K. Salmon, M. A. Moraes, R. O. Dror, D. E. Shaw, Parallel random numbers: as easy as
// 1, 2, 3, SC11 (2011).
#pragma once

#include "generators/block_counter.h"
#include "streams/stream_record.h"

namespace korvan {

struct PhiloxState {
    std::uint32_t key[2];
    BlockCounter counter;     // the next block to compute
    std::uint32_t leftover;   // words of the last block not given yet: the last ones of buffer
    std::uint32_t buffer[4];  // the last block, computed from counter - 1
    std::uint32_t spare;      // 0
};
static_assert(sizeof(StreamRecord) + sizeof(PhiloxState) == 64);

inline constexpr int philoxRounds = 10;
inline constexpr std::uint32_t philoxMultiplier0 = 0xD2511F53, philoxMultiplier1 = 0xCD9E8D57;
inline constexpr std::uint32_t philoxWeyl0 = 0x9E3779B9, philoxWeyl1 = 0xBB67AE85;

// The words of the block of a counter.
[[gnu::always_inline]] inline void philoxBlock(BlockCounter counter, const std::uint32_t* key,
                                               std::uint32_t* words) {
    auto c0 = static_cast<std::uint32_t>(counter.low);
    auto c1 = static_cast<std::uint32_t>(counter.low >> 32);
    auto c2 = static_cast<std::uint32_t>(counter.high);
    auto c3 = static_cast<std::uint32_t>(counter.high >> 32);
    std::uint32_t k0 = key[0], k1 = key[1];
    for (int round = 0; round < philoxRounds; ++round) {
        const std::uint64_t p0 = static_cast<std::uint64_t>(philoxMultiplier0) * c0;
        const std::uint64_t p1 = static_cast<std::uint64_t>(philoxMultiplier1) * c2;
        c0 = static_cast<std::uint32_t>(p1 >> 32) ^ c1 ^ k0;
        c1 = static_cast<std::uint32_t>(p1);
        c2 = static_cast<std::uint32_t>(p0 >> 32) ^ c3 ^ k1;
        c3 = static_cast<std::uint32_t>(p0);
        k0 += philoxWeyl0;
        k1 += philoxWeyl1;
    }
    words[0] = c0;
    words[1] = c1;
    words[2] = c2;
    words[3] = c3;
}

}  // namespace korvan
