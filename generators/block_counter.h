// The 128-bit counter of the counter-based generators: which block of four words comes next.
#pragma once

#include <cstdint>

namespace korvan {

struct BlockCounter {
    std::uint64_t low, high;

    // Modulo 2^128.  always_inline: kernel files use it.
    [[gnu::always_inline]] inline BlockCounter plus(std::uint64_t blocks) const {
        const std::uint64_t sum = low + blocks;
        return {sum, high + (sum < low ? 1 : 0)};
    }
    [[gnu::always_inline]] inline BlockCounter plus(BlockCounter blocks) const {
        const BlockCounter sum = plus(blocks.low);
        return {sum.low, sum.high + blocks.high};
    }
};

}  // namespace korvan
