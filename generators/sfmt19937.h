// SFMT19937: the SIMD-oriented Fast Mersenne Twister of period 2^19937 - 1 (a multiple of it), a
// recursion over elements of 128 bits without tempering.
//
// Source: M. Saito, M. Matsumoto, SIMD-oriented Fast Mersenne Twister: a 128-bit pseudorandom
// number generator, Monte Carlo and Quasi-Monte Carlo Methods 2006 (2008) 607-622.
#pragma once

#include <cstddef>
#include <cstring>

#include "generators/polynomial_jump.h"
#include "streams/stream_record.h"

namespace korvan {

inline constexpr std::size_t sfmtElements = 156;
inline constexpr std::size_t sfmtWords = 4 * sfmtElements;
inline constexpr std::size_t sfmtMiddle = 122;

struct Sfmt19937State {
    std::uint32_t w[sfmtWords];  // elements of four words, the low word first
    std::int32_t index;          // words of w used, whole elements: 0 .. 624
    std::uint32_t tail[3];       // words of the last element used that are still to be given
    std::int32_t tailPosition;   // of the next one
    std::int32_t tailCount;
};
static_assert(sizeof(StreamRecord) + sizeof(Sfmt19937State) == 2536);

// For jumps in elements; the characteristic polynomial has the degree 19968.
extern const JumpingGenerator sfmt19937Jumping;

// Low word first.
inline constexpr std::uint32_t sfmtMask[4] = {0xDFFFFFEF, 0xDDFECB7F, 0xBFFAFFFF, 0xBFFFFFF6};

// The element behind a window of 156, from its first one, number 122 and the last two:
//   oldest ^ (oldest << 8) ^ ((middle >>> 11) & mask) ^ (secondLast >> 8) ^ (last <<< 18)
// where << and >> shift the element and <<< and >>> its words.  `result` may be one of the others.
[[gnu::always_inline]] inline void sfmtNext(const std::uint32_t* oldest,
                                            const std::uint32_t* middle,
                                            const std::uint32_t* secondLast,
                                            const std::uint32_t* last, std::uint32_t* result) {
    // In halves of 64 bits: masks take away what the shifts carry from word to word.
    constexpr std::uint64_t kept = 0xFFFFFFFF >> 11, dropped = 0xFFFFFFFF << 18 & 0xFFFFFFFF;
    constexpr std::uint64_t keptPair = kept << 32 | kept, droppedPair = dropped << 32 | dropped;
    constexpr std::uint64_t mask0 = sfmtMask[0] | std::uint64_t{sfmtMask[1]} << 32;
    constexpr std::uint64_t mask1 = sfmtMask[2] | std::uint64_t{sfmtMask[3]} << 32;
    std::uint64_t a[2], b[2], c[2], d[2];
    std::memcpy(a, oldest, 16);
    std::memcpy(b, middle, 16);
    std::memcpy(c, secondLast, 16);
    std::memcpy(d, last, 16);
    const std::uint64_t next[2] = {
        a[0] ^ a[0] << 8 ^ (b[0] >> 11 & keptPair & mask0) ^ (c[0] >> 8 | c[1] << 56) ^
            (d[0] << 18 & droppedPair),
        a[1] ^ (a[1] << 8 | a[0] >> 56) ^ (b[1] >> 11 & keptPair & mask1) ^ c[1] >> 8 ^
            (d[1] << 18 & droppedPair),
    };
    std::memcpy(result, next, 16);
}

}  // namespace korvan
