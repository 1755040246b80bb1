// Fills in parts that stay in the first-level cache and leave the state of one long fill.
#pragma once

#include <cstddef>

#include "streams/generator_table.h"

namespace korvan::KORVAN_COPY {
namespace {

// A part, the last one in particular, has to have more than longestBlock words.
[[gnu::always_inline]] inline bool canBeSplit(const GeneratorRow& row) {
    return row.splitting != Splitting::bound;
}

// By how much the first part has to exceed a multiple of four elements.
[[gnu::always_inline]] inline std::size_t firstExcess(const GeneratorRow& row,
                                                      const StreamRecord* stream) {
    return row.waitingWords ? static_cast<std::size_t>(row.waitingWords(stream)) : 0;
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
