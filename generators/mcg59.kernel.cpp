// Fills of MCG59.  The word given first is the state itself; groups of words advance together by
// a power of the multiplier, so that no product waits for the one before it.
//
// Reals lie in the interval from a to b; with s = (b - a) 2^-59 and a word's halves read as
// lo = word mod 2^32 and hi = word - lo, both exact in double,
//
//   single = (lo + hi) s + a, in double, the sum rounded to double first
//   double = (lo s + hi s) + a, where the word is never rounded to 53 bits
//
// No word is 0, but a double's rounding can give a, and b: the largest words lie within 2^-53 of b.
#include "generators/mcg59.h"

#include <cstring>

#include "generators/generators.h"
#include "generators/word_output-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr double scaleToUnit = 0x1p-59;

#if HWY_TARGET == HWY_SCALAR

using LongBatch = std::uint64_t;
constexpr std::size_t batchLanes = 1;
constexpr std::size_t batches = 4;

HWY_INLINE LongBatch loadBatch(const std::uint64_t* words) {
    return *words;
}

HWY_INLINE void storeBatch(LongBatch word, std::uint64_t* words) {
    *words = word;
}

HWY_INLINE LongBatch advanced(LongBatch word, std::uint64_t step) {
    return mcg59Product(word, step);
}

HWY_INLINE double lowNumber(std::uint64_t word) {
    return static_cast<double>(static_cast<std::uint32_t>(word));
}

HWY_INLINE double highNumber(std::uint64_t word) {
    return static_cast<double>(static_cast<std::int32_t>(word >> 32)) * 0x1p32;
}

// The caller's array of words needn't be aligned for 64 bits.
struct LongBitsSink {
    static constexpr std::size_t units = 2;  // elements of r that a word takes
    using Element = std::uint32_t;
    Element* r;
    HWY_INLINE void put(std::size_t i, LongBatch word) const {
        std::memcpy(r + units * i, &word, sizeof word);
    }
};

struct LongSingleSink {
    static constexpr std::size_t units = 1;
    using Element = float;
    Element* r;
    double scale, offset;
    HWY_INLINE void put(std::size_t i, LongBatch word) const {
        r[i] = static_cast<float>((lowNumber(word) + highNumber(word)) * scale + offset);
    }
};

struct LongDoubleSink {
    static constexpr std::size_t units = 1;
    using Element = double;
    Element* r;
    double scale, offset;
    HWY_INLINE void put(std::size_t i, LongBatch word) const {
        r[i] = lowNumber(word) * scale + highNumber(word) * scale + offset;
    }
};

#else

using LongTag = hn::ScalableTag<std::uint64_t>;
using LongBatch = hn::Vec<LongTag>;
using Doubles = hn::Vec<DoubleTag>;
constexpr std::size_t batchLanes = HWY_LANES(std::uint64_t);
// In flight: the chain of a product is ten cycles long.
constexpr std::size_t batches = HWY_TARGET <= HWY_AVX3 ? 4 : 8;

HWY_INLINE LongBatch loadBatch(const std::uint64_t* words) {
    return hn::LoadU(LongTag(), words);
}

HWY_INLINE void storeBatch(LongBatch batch, std::uint64_t* words) {
    hn::StoreU(batch, LongTag(), words);
}

// mcg59Product in every lane, from products of 32-bit halves; the product of the high halves falls
// outside 64 bits.
HWY_INLINE LongBatch advanced(LongBatch words, std::uint64_t step) {
    const LongTag tag;
    const WordTag halves;
    const auto low = hn::BitCast(halves, words);
    const auto high = hn::BitCast(halves, hn::ShiftRight<32>(words));
    const auto stepLow = hn::BitCast(halves, hn::Set(tag, step));
    const auto stepHigh = hn::BitCast(halves, hn::Set(tag, step >> 32));
    const auto cross = hn::Add(hn::MulEven(low, stepHigh), hn::MulEven(high, stepLow));
    const auto product = hn::Add(hn::MulEven(low, stepLow), hn::ShiftLeft<32>(cross));
    return hn::And(product, hn::Set(tag, mcg59Mask));
}

// A half of a word becomes a double by its place in the mantissa: 2^52 + lo, 2^84 + hi.
HWY_INLINE Doubles biasedLow(LongBatch words) {
    const WordTag halves;
    const auto bias = hn::BitCast(halves, hn::Set(DoubleTag(), 0x1p52));
    return hn::BitCast(DoubleTag(), hn::OddEven(bias, hn::BitCast(halves, words)));
}

HWY_INLINE Doubles biasedHigh(LongBatch words) {
    const auto bias = hn::BitCast(LongTag(), hn::Set(DoubleTag(), 0x1p84));
    return hn::BitCast(DoubleTag(), hn::Or(hn::ShiftRight<32>(words), bias));
}

struct LongBitsSink {
    static constexpr std::size_t units = 2;  // elements of r that a word takes
    using Element = std::uint32_t;
    Element* r;
    HWY_INLINE void put(std::size_t i, LongBatch words) const {
        hn::StoreU(hn::BitCast(WordTag(), words), WordTag(), r + units * i);
    }
};

struct LongSingleSink {
    static constexpr std::size_t units = 1;
    using Element = float;
    Element* r;
    double scale, offset;
    HWY_INLINE void put(std::size_t i, LongBatch words) const {
        const DoubleTag tag;
        const hn::Rebind<float, DoubleTag> singles;
        // hi - 2^52 is exact, so only lo + hi is rounded.
        const auto high = hn::Sub(biasedHigh(words), hn::Set(tag, 0x1p84 + 0x1p52));
        const auto number = hn::Add(high, biasedLow(words));
        const auto value = hn::MulAdd(number, hn::Set(tag, scale), hn::Set(tag, offset));
        hn::StoreU(hn::DemoteTo(singles, value), singles, r + i);
    }
};

struct LongDoubleSink {
    static constexpr std::size_t units = 1;
    using Element = double;
    Element* r;
    double scale, offset;
    HWY_INLINE void put(std::size_t i, LongBatch words) const {
        const DoubleTag tag;
        const auto low = hn::Sub(biasedLow(words), hn::Set(tag, 0x1p52));
        const auto high = hn::Sub(biasedHigh(words), hn::Set(tag, 0x1p84));
        const auto factor = hn::Set(tag, scale);
        const auto value = hn::MulAdd(high, factor, hn::Mul(low, factor));
        hn::StoreU(hn::Add(value, hn::Set(tag, offset)), tag, r + i);
    }
};

#endif

constexpr std::size_t groupWords = batches * batchLanes;

// `count` words to elements i, i + 1, ...: the last ones through a padded batch, by the same code.
template <class Sink>
HWY_INLINE void putLongWords(const Sink& sink, std::size_t i, const std::uint64_t* words,
                             std::size_t count) {
    std::size_t k = 0;
    for (; k + batchLanes <= count; k += batchLanes) sink.put(i + k, loadBatch(words + k));
    if (k == count) return;
    std::uint64_t padded[batchLanes] = {};
    typename Sink::Element results[Sink::units * batchLanes];
    for (std::size_t lane = 0; k + lane < count; ++lane) padded[lane] = words[k + lane];
    Sink onResults = sink;
    onResults.r = results;
    onResults.put(0, loadBatch(padded));
    const std::size_t first = Sink::units * (i + k), end = Sink::units * (i + count);
    for (std::size_t element = first; element < end; ++element) {
        sink.r[element] = results[element - first];
    }
}

// The first `count` words of the stream, count a power of two, by doubling; returns a^count.
HWY_INLINE std::uint64_t firstWords(const Mcg59State& state, std::size_t count,
                                    std::uint64_t* words) {
    std::uint64_t step = state.a;
    words[0] = state.x;
    for (std::size_t known = 1; known < count; known *= 2) {
        for (std::size_t k = 0; k < known; ++k) words[known + k] = mcg59Product(words[k], step);
        step = mcg59Product(step, step);
    }
    return step;
}

// Gives elements 0 .. end - 1, end a multiple of the group; `words` holds the first group, and
// then the one behind the last given.
template <class Sink>
HWY_INLINE void putGroups(const Sink& sink, std::size_t end, std::uint64_t* words,
                          std::uint64_t step) {
    LongBatch group[batches];
    for (std::size_t k = 0; k < batches; ++k) group[k] = loadBatch(words + k * batchLanes);
    for (std::size_t i = 0; i < end; i += groupWords) {
        for (std::size_t k = 0; k < batches; ++k) {
            sink.put(i + k * batchLanes, group[k]);
            group[k] = advanced(group[k], step);
        }
    }
    for (std::size_t k = 0; k < batches; ++k) storeBatch(group[k], words + k * batchLanes);
}

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    auto& state = stateOf<Mcg59State>(stream);
    const auto total = static_cast<std::size_t>(n);
    const std::size_t tail = total % groupWords;
    std::uint64_t words[groupWords];
    if (total < groupWords) {
        std::size_t count = 1;
        while (count <= tail) count *= 2;
        firstWords(state, count, words);
    } else {
        const std::uint64_t step = firstWords(state, groupWords, words);
        putGroups(sink, total - tail, words, step);
    }
    putLongWords(sink, total - tail, words, tail);
    state.x = words[tail];  // the word behind the last one given
    return RNG_OK;
}

}  // namespace

std::int32_t mcg59FillSingle(StreamHandle stream, std::int32_t n, float* r, float a, float b) {
    const double scale = (static_cast<double>(b) - static_cast<double>(a)) * scaleToUnit;
    return fill(stream, n, LongSingleSink{r, scale, a});
}

std::int32_t mcg59FillDouble(StreamHandle stream, std::int32_t n, double* r, double a, double b) {
    return fill(stream, n, LongDoubleSink{r, (b - a) * scaleToUnit, a});
}

std::int32_t mcg59FillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill(stream, n, LongBitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
