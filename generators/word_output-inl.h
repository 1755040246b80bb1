// The last step of every fill: words to the caller's array, as they are or as reals.
//
// For kernel files only.  A sink holds the array and the affine map; put(i, words) writes the
// results of a vector of words (or of one word in the copies without vectors) to elements i, i+1,
// ...; putWords does so for any count of words, putFewWords for no more than a vector holds (or a
// block of four).  An element is computed alike wherever it stands.
//
//   value = number(word) * scale + offset
//
// with the word read as a signed or an unsigned integer, exact in double.  The copies for
// processors with fused multiply-add round the result once, the others twice.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

enum class WordSign { isSigned, isUnsigned };

#if HWY_TARGET == HWY_SCALAR

using WordBatch = std::uint32_t;
inline constexpr std::size_t wordLanes = 1;

template <WordSign sign>
HWY_INLINE double numberOf(std::uint32_t word) {
    return sign == WordSign::isSigned ? static_cast<double>(static_cast<std::int32_t>(word))
                                      : static_cast<double>(word);
}

template <class Sink>
HWY_INLINE void putWords(const Sink& sink, std::size_t i, const std::uint32_t* words,
                         std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) sink.put(i + k, words[k]);
}

template <class Sink>
HWY_INLINE void putFewWords(const Sink& sink, std::size_t i, const std::uint32_t* words,
                            std::size_t count) {
    putWords(sink, i, words, count);
}

struct BitsSink {
    using Element = std::uint32_t;
    Element* r;
    HWY_INLINE void put(std::size_t i, std::uint32_t word) const { r[i] = word; }
};

template <WordSign sign>
struct DoubleSink {
    using Element = double;
    Element* r;
    double scale, offset;
    HWY_INLINE void put(std::size_t i, std::uint32_t word) const {
        r[i] = numberOf<sign>(word) * scale + offset;
    }
};

// Singles that are computed in double and rounded at the store.
template <WordSign sign>
struct RoundedSink {
    using Element = float;
    Element* r;
    double scale, offset;
    HWY_INLINE void put(std::size_t i, std::uint32_t word) const {
        r[i] = static_cast<float>(numberOf<sign>(word) * scale + offset);
    }
};

// Singles from signed words, computed in single.
struct SingleSink {
    using Element = float;
    Element* r;
    float scale, offset;
    HWY_INLINE void put(std::size_t i, std::uint32_t word) const {
        r[i] = static_cast<float>(static_cast<std::int32_t>(word)) * scale + offset;
    }
};

#else

using WordTag = hn::ScalableTag<std::uint32_t>;
using WordBatch = hn::Vec<WordTag>;
using HalfWordTag = hn::Half<WordTag>;
using DoubleTag = hn::ScalableTag<double>;
inline constexpr std::size_t wordLanes = HWY_LANES(std::uint32_t);

// The numbers of a batch of words, in two vectors.
template <WordSign sign>
struct NumbersOf {
    hn::Vec<DoubleTag> low, high;

    HWY_INLINE explicit NumbersOf(WordBatch words) {
        const DoubleTag doubles;
        [[maybe_unused]] const HalfWordTag half;
        if constexpr (sign == WordSign::isSigned) {
            const hn::RebindToSigned<HalfWordTag> ints;
            low = hn::PromoteTo(doubles, hn::BitCast(ints, hn::LowerHalf(half, words)));
            high = hn::PromoteTo(doubles, hn::BitCast(ints, hn::UpperHalf(half, words)));
        } else {
#    if HWY_TARGET <= HWY_AVX3
            // The masked form: in the plain one, g++ 12 warns of its own undefined vector.
            low.raw = _mm512_maskz_cvtepu32_pd(0xFF, hn::LowerHalf(half, words).raw);
            high.raw = _mm512_maskz_cvtepu32_pd(0xFF, hn::UpperHalf(half, words).raw);
#    else
            // Below the exponent of 2^52, a word is the double 2^52 + word.
#        if HWY_TARGET == HWY_AVX2
            words.raw = _mm256_permute4x64_epi64(words.raw, 0xD8);  // interleaving keeps to blocks
#        endif
            const WordTag tag;
            const auto exponent = hn::Set(tag, 0x43300000u);
            const auto offset = hn::Set(doubles, 0x1p52);
            const auto lower = hn::InterleaveLower(tag, words, exponent);
            const auto upper = hn::InterleaveUpper(tag, words, exponent);
            low = hn::Sub(hn::BitCast(doubles, lower), offset);
            high = hn::Sub(hn::BitCast(doubles, upper), offset);
#    endif
        }
    }
};

// At most wordLanes words: through the vector code, on a buffer.
template <class Sink>
HWY_INLINE void putFewWords(const Sink& sink, std::size_t i, const std::uint32_t* words,
                            std::size_t count) {
    using Element = typename Sink::Element;
    Element results[wordLanes];
    Sink onResults = sink;
    onResults.r = results;
#    if HWY_TARGET <= HWY_AVX2  // with masked loads and stores
    const WordTag tag;
    const hn::ScalableTag<Element> elements;
    onResults.put(0, hn::MaskedLoad(hn::FirstN(tag, count), tag, words));
    for (std::size_t k = 0; k < count; k += hn::Lanes(elements)) {
        hn::BlendedStore(hn::LoadU(elements, results + k), hn::FirstN(elements, count - k),
                         elements, sink.r + i + k);
    }
#    else
    std::uint32_t padded[wordLanes] = {};
    for (std::size_t k = 0; k < count; ++k) padded[k] = words[k];
    onResults.put(0, hn::LoadU(WordTag(), padded));
    for (std::size_t k = 0; k < count; ++k) sink.r[i + k] = results[k];
#    endif
}

template <class Sink>
HWY_INLINE void putWords(const Sink& sink, std::size_t i, const std::uint32_t* words,
                         std::size_t count) {
    std::size_t k = 0;
    for (; k + wordLanes <= count; k += wordLanes) {
        sink.put(i + k, hn::LoadU(WordTag(), words + k));
    }
    if (k < count) putFewWords(sink, i + k, words + k, count - k);
}

struct BitsSink {
    using Element = std::uint32_t;
    Element* r;
    HWY_INLINE void put(std::size_t i, WordBatch words) const {
        hn::StoreU(words, WordTag(), r + i);
    }
};

template <WordSign sign>
struct DoubleSink {
    using Element = double;
    Element* r;
    double scale, offset;
    HWY_INLINE hn::Vec<DoubleTag> map(hn::Vec<DoubleTag> numbers) const {
        const DoubleTag tag;
        return hn::MulAdd(numbers, hn::Set(tag, scale), hn::Set(tag, offset));
    }
    HWY_INLINE void put(std::size_t i, WordBatch words) const {
        const DoubleTag tag;
        const NumbersOf<sign> numbers(words);
        hn::StoreU(map(numbers.low), tag, r + i);
        hn::StoreU(map(numbers.high), tag, r + i + wordLanes / 2);
    }
};

// Singles that are computed in double and rounded at the store.
template <WordSign sign>
struct RoundedSink {
    using Element = float;
    Element* r;
    double scale, offset;
    HWY_INLINE void put(std::size_t i, WordBatch words) const {
        const hn::Rebind<float, HalfWordTag> halfSingles;
        const DoubleSink<sign> wide{nullptr, scale, offset};
        const NumbersOf<sign> numbers(words);
        const auto low = hn::DemoteTo(halfSingles, wide.map(numbers.low));
        const auto high = hn::DemoteTo(halfSingles, wide.map(numbers.high));
        hn::StoreU(low, halfSingles, r + i);
        hn::StoreU(high, halfSingles, r + i + wordLanes / 2);
    }
};

// Singles from signed words, computed in single.
struct SingleSink {
    using Element = float;
    Element* r;
    float scale, offset;
    HWY_INLINE void put(std::size_t i, WordBatch words) const {
        const hn::RebindToFloat<WordTag> tag;
        const auto numbers = hn::ConvertTo(tag, hn::BitCast(hn::RebindToSigned<WordTag>(), words));
        hn::StoreU(hn::MulAdd(numbers, hn::Set(tag, scale), hn::Set(tag, offset)), tag, r + i);
    }
};

#endif

// The map of the generators that centre signed words: word 0 gives the middle of the interval.
inline constexpr double wordScale = 0x1p-32;

}  // namespace
}  // namespace korvan::KORVAN_COPY
