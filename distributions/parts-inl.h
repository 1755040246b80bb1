// Fills in parts that stay in the first-level cache and leave the state of one long fill.
#pragma once

#include <cstddef>

#include "generators/sfmt19937.h"
#include "streams/generator_table.h"

namespace korvan::KORVAN_COPY {
namespace {

// A part, the last one in particular, has to have more than this: generators keep blocks of up to
// so many words, and leave the last words of a longer fill in them, whatever was there before.
constexpr std::size_t longestBlock = sfmtWords;

[[gnu::always_inline]] inline bool canBeSplit(const GeneratorRow& row) {
    return row.splitting != Splitting::bound;
}

// By how much the first part has to exceed a multiple of four elements.
[[gnu::always_inline]] inline std::size_t firstExcess(const GeneratorRow& row,
                                                      const StreamRecord* stream) {
    if (row.splitting != Splitting::inElements) return 0;
    const auto& state = stateOf<Sfmt19937State>(stream);
    return static_cast<std::size_t>(state.tailCount - state.tailPosition);
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
