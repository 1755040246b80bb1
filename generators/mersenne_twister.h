// What the Mersenne Twisters MT19937 and MT2203 share: everything but their numbers.
//
// A raw word follows from three of the words before it; the words given out are tempered.  The
// state is a block of raw words, renewed only when a word is wanted behind its last one.
//
// Source: M. Matsumoto, T. Nishimura, Mersenne Twister: a 623-dimensionally equidistributed
// uniform pseudo-random number generator, ACM TOMACS 8 (1998) 3-30.
#pragma once

#include <cstddef>
#include <cstdint>

namespace korvan {

// x[k + words] = x[k + middle] ^ y A, where y has its top bits from x[k] and its low bits from
// x[k + 1], and y A is y >> 1, XORed with matrixA if y is odd.
template <std::size_t wordsInBlock, std::size_t middleWord, int lowBitsOfNext, int firstShift>
struct TwisterShape {
    static constexpr std::size_t words = wordsInBlock;
    static constexpr std::size_t middle = middleWord;
    static constexpr int temperShift = firstShift;
    static constexpr std::uint32_t lowMask = (std::uint32_t{1} << lowBitsOfNext) - 1;
};

using Mt19937Shape = TwisterShape<624, 397, 31, 11>;
using Mt2203Shape = TwisterShape<69, 34, 5, 12>;

struct TwisterConstants {
    std::uint32_t matrixA, maskB, maskC;
};

// The raw word behind a window of raw words, `oldest` being its first one, `next` the one after
// that.
template <class Shape>
[[gnu::always_inline]] inline std::uint32_t twisted(std::uint32_t oldest, std::uint32_t next,
                                                    std::uint32_t middle, std::uint32_t matrixA) {
    const std::uint32_t y = (oldest & ~Shape::lowMask) | (next & Shape::lowMask);
    return middle ^ (y >> 1) ^ (next & 1 ? matrixA : 0);
}

// Fills a block from a key of `count` words; a count below 1 means the key {1}.  Key words past the
// block's length have their effect as well.
// Source: the array initialisation of the authors' program mt19937ar.c (2002).
void seedTwister(std::uint32_t* block, std::size_t words, const std::uint32_t* key,
                 std::int32_t count);

// Whether a block and its index can be a stream's: the index in range, and not all of the words
// zero, since zeros stay zeros.  The low bits of the oldest word are no part of the state.
template <class Shape>
bool isTwisterState(const std::uint32_t* block, std::int32_t index) {
    if (index < 0 || index > static_cast<std::int32_t>(Shape::words)) return false;
    std::uint32_t bits = block[0] & ~Shape::lowMask;
    for (std::size_t k = 1; k < Shape::words && bits == 0; ++k) bits = block[k];
    return bits != 0;
}

}  // namespace korvan
