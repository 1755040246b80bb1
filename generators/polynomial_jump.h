// Jumps of generators that are linear over GF(2).
//
// With T the step of such a generator and p its characteristic polynomial, n steps are h(T), where
// h(t) = t^n mod p(t): so a jump costs about as many steps as p has degree, however far it goes.
//
// Source: H. Haramoto, M. Matsumoto, T. Nishimura, F. Panneton, P. L'Ecuyer, Efficient jump ahead
// for F2-linear random number generators, INFORMS J. Comput. 20 (2008) 385-390.
#pragma once

#include <cstddef>
#include <cstdint>

#include "generators/gf2_polynomial.h"

namespace korvan {

// A generator as the jump sees it.
struct JumpingGenerator {
    void (*zeroState)(void* state);
    void (*addState)(void* target, const void* source);
    void (*copyState)(void* target, const void* source);
    void (*stepState)(void* state);
    // Writes the state reached into the stream's.  `flag` is what advanceShort set.
    void (*storeState)(void* target, const void* source, std::uint32_t flag);
    // Advances inside what the state already holds.  True if that is all; else the state stands at
    // its end, `nskip` is the number of steps still to go, at least 1, and `flag` a note for
    // storeState.
    bool (*advanceShort)(void* state, std::uint64_t& nskip, std::uint32_t& flag);

    std::size_t stateBytes;
    const Gf2Polynomial& characteristic;
};

// Both return RNG_OK, or RNG_NO_MEMORY with the state as advanceShort left it.  A count of 0 does
// nothing.

// For any distance: takes eight coefficients of h at a time, with a table of 128 states.
std::int32_t jumpWithTable(const JumpingGenerator& generator, void* state, std::uint64_t nskip);

// One coefficient at a time, without a table: for distances of less than the characteristic
// polynomial's degree.  It works for any, but is slow where the polynomial is dense.
std::int32_t jumpPlainly(const JumpingGenerator& generator, void* state, std::uint64_t nskip);

// For addState and storeState of generators with a circular store of words.

// target += source, `words` of each, read in circles from the positions of their oldest words.
void addCircular(std::uint32_t* target, std::size_t targetOldest, const std::uint32_t* source,
                 std::size_t sourceOldest, std::size_t words);

// Writes the source into the target, oldest word first.
void unroll(std::uint32_t* target, const std::uint32_t* source, std::size_t sourceOldest,
            std::size_t words);

}  // namespace korvan
