// Vectors of words, or single words in the copies without vectors, in one notation.
//
// For kernel files only.
#pragma once

#include "generators/word_output-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

#if HWY_TARGET == HWY_SCALAR

HWY_INLINE WordBatch loadWords(const std::uint32_t* words) {
    return *words;
}
HWY_INLINE void storeWords(WordBatch batch, std::uint32_t* words) {
    *words = batch;
}
HWY_INLINE WordBatch xorOf(WordBatch x, WordBatch y) {
    return x ^ y;
}
#else

HWY_INLINE WordBatch loadWords(const std::uint32_t* words) {
    return hn::LoadU(WordTag(), words);
}
HWY_INLINE void storeWords(WordBatch batch, std::uint32_t* words) {
    hn::StoreU(batch, WordTag(), words);
}
HWY_INLINE WordBatch xorOf(WordBatch x, WordBatch y) {
    return hn::Xor(x, y);
}

// x ^ (y & mask)
template <class Vector>
HWY_INLINE Vector xorAnd(Vector x, Vector y, Vector mask) {
#    if HWY_TARGET <= HWY_AVX3
    constexpr int truthTable = 0x78;
    if constexpr (sizeof(Vector) == 64) {
        return Vector{_mm512_ternarylogic_epi32(x.raw, y.raw, mask.raw, truthTable)};
    } else if constexpr (sizeof(Vector) == 32) {
        return Vector{_mm256_ternarylogic_epi32(x.raw, y.raw, mask.raw, truthTable)};
    } else {
        return Vector{_mm_ternarylogic_epi32(x.raw, y.raw, mask.raw, truthTable)};
    }
#    else
    return hn::Xor(x, hn::And(y, mask));
#    endif
}

#endif

// Two batches at a time: g++ takes the loop with one for a copy of memory and makes it a string
// instruction, which is slower at these lengths.
template <std::size_t count>
HWY_INLINE void copyWords(const std::uint32_t* from, std::uint32_t* to) {
    constexpr std::size_t inPairs = count / (2 * wordLanes) * (2 * wordLanes);
    for (std::size_t k = 0; k < inPairs; k += 2 * wordLanes) {
        const WordBatch first = loadWords(from + k), second = loadWords(from + k + wordLanes);
        storeWords(first, to + k);
        storeWords(second, to + k + wordLanes);
    }
    for (std::size_t k = inPairs; k < count; ++k) to[k] = from[k];
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
