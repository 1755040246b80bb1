// What the digital sequences in base 2 share: vector n of the sequence is, component by component,
// the XOR of the direction numbers v[d][j] over the set bits j of n XOR (n >> 1).  In this order,
// Gray code's, vector n + 1 differs from vector n by the v[d][c] alone, c the place of the lowest
// zero bit of n.
//
// Source: I. A. Antonov and V. M. Saleev, An economic method of computing LP_tau-sequences, USSR
// Comput. Math. Math. Phys. 19 (1979) 252-256.
#pragma once

#include <iterator>

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

// v[d][0 .. 31] of a dimension, and a 0.
using DirectionRow = std::uint32_t[directionsPerDimension + 1];

// A state with room for the tables of `Dimensions` components.  What of it isn't used is 0: all of
// the tables, if they are attachments of the stream.
template <std::size_t Dimensions, std::size_t PointWords, std::size_t ScratchWords>
struct SequenceState {
    SequencePosition at;
    std::uint32_t point[PointWords];
    DirectionRow directions[Dimensions];
    // Made from the directions whenever they come from elsewhere: v[d][j] at j * dimension + d, for
    // the kernels.
    std::uint32_t byBit[ScratchWords];
    static_assert(ScratchWords >= Dimensions * directionsPerDimension);
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
// Direction number j of component d stands at directions[d * dimensionStride + j * bitStride].
bool isAtIndex(const SequencePosition& at, const std::uint32_t* point,
               const std::uint32_t* directions, std::size_t dimensionStride, std::size_t bitStride);
bool isAtIndex(const DigitalSequence& sequence);

// The same of a state's own tables, by what they are kept in first.
template <class State>
bool isAtOwnIndex(const State& state) {
    return isAtIndex(state.at, state.point, state.directions[0], std::size(state.directions[0]), 1);
}

// Puts v[d][0 .. 31] to their places in the tables of a sequence of `dimension` components.
void scatterDirections(const std::uint32_t* v, std::size_t d, std::size_t dimension,
                       std::uint32_t* directions);

// Builds the state's tables from fill(d, v), which writes v[d][0 .. 31].
template <class State, class Fill>
void fillTables(State& state, const Fill& fill) {
    const auto dimension = static_cast<std::size_t>(state.at.dimension);
    for (std::size_t d = 0; d < dimension; ++d) {
        fill(d, state.directions[d]);
        state.point[d] = state.directions[d][0];
        scatterDirections(state.directions[d], d, dimension, state.byBit);
    }
}

// The same of attached ones.
template <class Fill>
void fillTables(std::size_t dimension, const Fill& fill, std::uint32_t* point,
                std::uint32_t* directions) {
    for (std::size_t d = 0; d < dimension; ++d) {
        std::uint32_t v[directionsPerDimension];
        fill(d, v);
        point[d] = v[0];
        scatterDirections(v, d, dimension, directions);
    }
}

// Makes `byBit` anew for a state with `dimension` components in its tables, or 0 of them.
template <class State>
void deriveByBit(State& state, std::size_t dimension) {
    for (std::uint32_t& word : state.byBit) word = 0;
    for (std::size_t d = 0; d < dimension; ++d) {
        scatterDirections(state.directions[d], d, dimension, state.byBit);
    }
}

bool areZeros(const std::uint32_t* begin, const std::uint32_t* end);

// Are the words of point and directions zeros that a state with `dimension` components in its
// tables doesn't use?
template <class State>
bool isUnusedZero(const State& state, std::size_t dimension) {
    for (std::size_t d = 0; d < std::size(state.directions); ++d) {
        const std::size_t used = d < dimension ? directionsPerDimension : 0;
        if (!areZeros(state.directions[d] + used, std::end(state.directions[d]))) return false;
    }
    return areZeros(state.point + dimension, std::end(state.point));
}

// Does the stream hold one attachment with the tag, and is that of this size?  Of two, a copy of
// the stream would find the other one first.
bool hasAttachment(const StreamRecord* stream, std::uint32_t tag, std::uint64_t size);

}  // namespace korvan
