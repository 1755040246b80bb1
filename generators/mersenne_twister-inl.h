// Fills of the Mersenne Twisters.  For kernel files only.
//
// Up to a block's length a fill takes words from the block, which it renews in place when need be.
// A longer one runs through a history of raw words and leaves the block as the window of the last
// ones, oldest first, all of them given.  Both ways give the same words.
//
// Reals: (word as an unsigned integer) * (b - a) / 2^32 + a, in double in both precisions.
#pragma once

#include <immintrin.h>

#include <type_traits>

#include "generators/mersenne_twister.h"
#include "generators/word_history-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

#if HWY_TARGET == HWY_SCALAR

template <class Shape>
HWY_INLINE WordBatch twistedBatch(WordBatch oldest, WordBatch next, WordBatch middle,
                                  std::uint32_t matrixA) {
    return twisted<Shape>(oldest, next, middle, matrixA);
}

template <class Shape>
HWY_INLINE WordBatch tempered(WordBatch y, const TwisterConstants& constants) {
    y ^= y >> Shape::temperShift;
    y ^= (y << 7) & constants.maskB;
    y ^= (y << 15) & constants.maskC;
    return y ^ (y >> 18);
}

#else

// `word` where the batch is odd, 0 elsewhere.
HWY_INLINE WordBatch whereOdd(WordBatch batch, std::uint32_t word) {
    const WordTag tag;
#    if defined(__AVX__)
    // This permutation looks up the lowest two bits of every word in a table: 0, word, 0, word.
    const hn::Repartition<std::uint64_t, WordTag> pairs;
    const auto table = hn::BitCast(tag, hn::ShiftLeft<32>(hn::BitCast(pairs, hn::Set(tag, word))));
#        if HWY_TARGET <= HWY_AVX3
    return WordBatch{_mm512_castps_si512(
        _mm512_maskz_permutevar_ps(0xFFFF, _mm512_castsi512_ps(table.raw), batch.raw))};
#        elif HWY_TARGET == HWY_AVX2
    return WordBatch{
        _mm256_castps_si256(_mm256_permutevar_ps(_mm256_castsi256_ps(table.raw), batch.raw))};
#        else
    return WordBatch{_mm_castps_si128(_mm_permutevar_ps(_mm_castsi128_ps(table.raw), batch.raw))};
#        endif
#    else
    // The product with the sign of 0 or 1.
    return WordBatch{_mm_sign_epi32(hn::Set(tag, word).raw, hn::And(batch, hn::Set(tag, 1)).raw)};
#    endif
}

template <class Shape>
HWY_INLINE WordBatch twistedBatch(WordBatch oldest, WordBatch next, WordBatch middle,
                                  std::uint32_t matrixA) {
    const auto lowMask = hn::Set(WordTag(), Shape::lowMask);
#    if HWY_TARGET <= HWY_AVX3
    const auto y = hn::IfVecThenElse(lowMask, next, oldest);
#    else  // there, IfVecThenElse looks at the mask's top bits only
    const auto y = hn::Or(hn::AndNot(lowMask, oldest), hn::And(next, lowMask));
#    endif
    return hn::Xor3(middle, whereOdd(y, matrixA), hn::ShiftRight<1>(y));
}

template <class Shape>
HWY_INLINE WordBatch tempered(WordBatch y, const TwisterConstants& constants) {
    const WordTag tag;
    y = hn::Xor(y, hn::ShiftRight<Shape::temperShift>(y));
    y = xorAnd(y, hn::ShiftLeft<7>(y), hn::Set(tag, constants.maskB));
    y = xorAnd(y, hn::ShiftLeft<15>(y), hn::Set(tag, constants.maskC));
    return hn::Xor(y, hn::ShiftRight<18>(y));
}

#endif

template <class Shape>
HWY_INLINE WordBatch batchBehind(const std::uint32_t* end, std::uint32_t matrixA) {
    const std::uint32_t* oldest = end - Shape::words;
    return twistedBatch<Shape>(loadWords(oldest), loadWords(oldest + 1),
                               loadWords(oldest + Shape::middle), matrixA);
}

template <class Shape>
struct TwisterInMemory {
    static constexpr std::size_t window = Shape::words, reach = window;
    static constexpr std::size_t newest = window - Shape::middle;
    std::uint32_t matrixA;

    HWY_INLINE auto after(const std::uint32_t*) const {
        return [*this](const std::uint32_t* end) { return batchBehind<Shape>(end, matrixA); };
    }
};

#if HWY_TARGET <= HWY_AVX3

// Where the way back to the middle tap is only two or three vectors long, a load would wait for
// the stores of what it needs; but then the whole window fits into a few registers.
template <class Shape>
struct TwisterInRegisters {
    static constexpr std::size_t window = Shape::words, newest = window - Shape::middle;
    static constexpr std::size_t batches = (window + wordLanes - 1) / wordLanes;
    static constexpr std::size_t reach = batches * wordLanes;
    std::uint32_t matrixA;

    struct After {
        std::uint32_t matrixA;
        WordBatch recent[batches];  // the newest at the end

        template <std::size_t distance>
        HWY_INLINE WordBatch wordsBack() const {
            constexpr std::size_t first = (reach - distance) / wordLanes;
            constexpr int lane = (reach - distance) % wordLanes;
            return WordBatch{
                _mm512_maskz_alignr_epi32(0xFFFF, recent[first + 1].raw, recent[first].raw, lane)};
        }
        HWY_INLINE WordBatch operator()(const std::uint32_t*) {
            const WordBatch made =
                twistedBatch<Shape>(wordsBack<window>(), wordsBack<window - 1>(),
                                    wordsBack<window - Shape::middle>(), matrixA);
            for (std::size_t k = 1; k < batches; ++k) recent[k - 1] = recent[k];
            recent[batches - 1] = made;
            return made;
        }
    };
    HWY_INLINE After after(const std::uint32_t* end) const {
        After routine{matrixA, {}};
        for (std::size_t k = 0; k < batches; ++k) {
            routine.recent[k] = loadWords(end - reach + k * wordLanes);
        }
        return routine;
    }
    HWY_INLINE WordBatch early(const std::uint32_t* end) const {
        return batchBehind<Shape>(end, matrixA);
    }
};

template <class Shape>
using TwisterRecurrence = std::conditional_t<(Shape::words < 6 * wordLanes),
                                             TwisterInRegisters<Shape>, TwisterInMemory<Shape>>;

#else

template <class Shape>
using TwisterRecurrence = TwisterInMemory<Shape>;

#endif

// A sink for raw words.
template <class Shape, class Sink>
struct Tempering : Sink {
    TwisterConstants constants;

    HWY_INLINE void put(std::size_t i, WordBatch raw) const {
        Sink::put(i, tempered<Shape>(raw, constants));
    }
};

// The block behind `mt`, in its place.  A batch is read before it is replaced; the words that don't
// make a batch, before the middle tap wraps and at the end, are made one by one.
template <class Shape>
HWY_INLINE void renewBlock(std::uint32_t* mt, std::uint32_t matrixA) {
    constexpr std::size_t words = Shape::words, wrap = words - Shape::middle;
    const auto one = [&](std::size_t k, std::size_t middle) {
        mt[k] = twisted<Shape>(mt[k], mt[k + 1 < words ? k + 1 : 0], mt[middle], matrixA);
    };
    const auto batch = [&](std::size_t k, std::size_t middle) {
        storeWords(twistedBatch<Shape>(loadWords(mt + k), loadWords(mt + k + 1),
                                       loadWords(mt + middle), matrixA),
                   mt + k);
    };
    std::size_t k = 0;
    for (; k + wordLanes <= wrap; k += wordLanes) batch(k, k + Shape::middle);
    for (; k < wrap; ++k) one(k, k + Shape::middle);
    for (; k + wordLanes < words; k += wordLanes) batch(k, k - wrap);
    for (; k < words; ++k) one(k, k - wrap);
}

template <class Shape, class Sink>
HWY_INLINE std::int32_t fillTwister(std::uint32_t* mt, std::int32_t& index,
                                    TwisterConstants constants, std::int32_t n, const Sink& sink) {
    const Tempering<Shape, Sink> out{sink, constants};
    const auto total = static_cast<std::size_t>(n);
    const auto used = static_cast<std::size_t>(index);
    const std::size_t left = Shape::words - used;
    if (total <= left) {
        putWords(out, 0, mt + used, total);
        index += n;
    } else if (total <= Shape::words) {
        putWords(out, 0, mt + used, left);
        renewBlock<Shape>(mt, constants.matrixA);
        putWords(out, left, mt, total - left);
        index = static_cast<std::int32_t>(total - left);
    } else {
        putWords(out, 0, mt + used, left);
        WordHistory<TwisterRecurrence<Shape>> history;
        copyWords<Shape::words>(mt, history.start());
        const std::uint32_t* last = history.fill({constants.matrixA}, out, left, total);
        copyWords<Shape::words>(last, mt);
        index = static_cast<std::int32_t>(Shape::words);
    }
    return RNG_OK;
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
