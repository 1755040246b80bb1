// What the digital sequences in base 2 share: vector n of the sequence is, component by component,
// the XOR of the direction numbers v[d][j] over the set bits j of n XOR (n >> 1).  In this order,
// Gray code's, vector n + 1 differs from vector n by the v[d][c] alone, c the place of the lowest
// zero bit of n.
//
// Source: I. A. Antonov and V. M. Saleev, An economic method of computing LP_tau-sequences, USSR
// Comput. Math. Math. Phys. 19 (1979) 252-256.
#pragma once

#include "streams/stream_record.h"

namespace korvan {

inline constexpr std::size_t directionsPerDimension = 32;
inline constexpr std::int32_t allComponents = -1;
inline constexpr std::uint32_t lastVector = 0xFFFFFFFF;

// The first words of every digital sequence's state.
struct SequencePosition {
    std::uint32_t index;      // of the current vector; the first one given is 1
    std::int32_t dimension;   // components of a vector
    std::int32_t component;   // the one that is given, or allComponents
    std::uint32_t remaining;  // components of the current vector not given yet; 0: all of them
};

// A stream's position with its tables, wherever they are.
struct DigitalSequence {
    SequencePosition* at;
    std::uint32_t* point;             // the current vector; null: the stream has lost its tables
    const std::uint32_t* directions;  // v[d][j] at j * dimension + d
};

// The first vector, all components of it.
inline constexpr SequencePosition firstPosition(std::int32_t dimension) {
    return {.index = 1, .dimension = dimension, .component = allComponents, .remaining = 0};
}

// Sets a point of `width` components, whose direction numbers j begin at directions + j * stride,
// from vector `from` to vector `to`.
void movePoint(std::uint32_t* point, const std::uint32_t* directions, std::size_t width,
               std::size_t stride, std::uint32_t from, std::uint32_t to);

// initStream for every operation but seeding.
std::int32_t splitSequence(std::int32_t op, const DigitalSequence& sequence, std::int32_t n,
                           const std::uint32_t* params);

// Can a sequence of at most `dimensions` components stand there?
bool isPosition(const SequencePosition& at, std::uint32_t dimensions);

// Is the point the vector of the index?  Of a chosen component alone, as only that one is kept.
bool isAtIndex(const DigitalSequence& sequence);

// The direction numbers that a caller gives, 32 a dimension, in the order of a sequence's.
void transposeDirections(const std::uint32_t* byDimension, std::size_t dimension,
                         std::uint32_t* directions);

bool areZeros(const std::uint32_t* begin, const std::uint32_t* end);

// Does the stream hold one attachment with the tag, and is that of this size, and its own?  Of two,
// a copy of the stream would find the other one first.
enum class Sharing { own, any };
bool hasAttachment(const StreamRecord* stream, std::uint32_t tag, std::uint64_t size,
                   Sharing sharing);

}  // namespace korvan
