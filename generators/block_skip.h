// How far a skip leads in a generator that makes its words in blocks of four.
#pragma once

#include <cstdint>

#include "generators/block_counter.h"

namespace korvan {

// A count of words, up to 192 bits long.
class SkipCount {
  public:
    explicit SkipCount(std::uint64_t count) : words_{count, 0, 0} {}

    // OP_SKIPAHEAD_WORDS: `count` 64-bit words at params, low word first, of which three count.
    SkipCount(std::int32_t count, const std::uint32_t* params);

    std::uint64_t low() const { return words_[0]; }
    bool isAtMost(std::uint64_t bound) const {
        return (words_[1] | words_[2]) == 0 && words_[0] <= bound;
    }

    void subtract(std::uint32_t fewer);  // no more than the count

    // A quarter of it, rounded down: whole blocks, modulo 2^128.
    BlockCounter blocks() const;

    // The words of the next block that are skipped as well: 0 to 3.
    std::uint32_t wordsInBlock() const { return static_cast<std::uint32_t>(words_[0] & 3); }

  private:
    std::uint64_t words_[3];
};

}  // namespace korvan
