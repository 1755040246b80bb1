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

}  // namespace
}  // namespace korvan::KORVAN_COPY
