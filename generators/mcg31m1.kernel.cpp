// Fills of MCG31m1.  The word given first is the state itself; groups of words advance together
// by a power of the multiplier, so that no product waits for the one before it.
//
// Reals lie in the open interval (a, b) but for rounding: word * s + a with
// s = (b - a) / (2^31 - 1), computed in double in both precisions.
#include "generators/mcg31m1.h"

#include "generators/generators.h"
#include "generators/word_output-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// 1 / (2^31 - 1), rounded.
constexpr double scaleToUnit = 4.656612875245797e-10;
static_assert(__builtin_bit_cast(std::uint64_t, scaleToUnit) == 0x3E00000000200000);

#if HWY_TARGET == HWY_SCALAR

constexpr std::size_t groupWords = 8;

struct Group {
    std::uint32_t words[groupWords];
    std::uint32_t step;  // a^groupWords

    HWY_INLINE Group(const std::uint32_t* first, std::uint32_t multiplier) : step(multiplier) {
        for (std::size_t k = 0; k < groupWords; ++k) words[k] = first[k];
    }
    HWY_INLINE void advance() {
        for (std::uint32_t& word : words) word = mcg31m1Product(word, step);
    }
    template <class Sink>
    HWY_INLINE void put(const Sink& sink, std::size_t i) const {
        putWords(sink, i, words, groupWords);
    }
};

#else

using WideTag = hn::ScalableTag<std::uint64_t>;
using WideVector = hn::Vec<WideTag>;

constexpr std::size_t batches = 4;  // in flight: the chain of a product is nine cycles long
constexpr std::size_t groupWords = batches * wordLanes;

// Even and odd words stand in registers of their own, each in the low half of a 64-bit lane, as
// the widening multiplication takes them.
struct Group {
    WideVector even[batches], odd[batches];
    std::uint32_t step;  // a^groupWords

    HWY_INLINE Group(const std::uint32_t* first, std::uint32_t multiplier) : step(multiplier) {
        const WideTag wide;
        for (std::size_t k = 0; k < batches; ++k) {
            const auto pair = hn::BitCast(wide, hn::LoadU(WordTag(), first + k * wordLanes));
            even[k] = hn::And(pair, hn::Set(wide, 0xFFFFFFFFu));
            odd[k] = hn::ShiftRight<32>(pair);
        }
    }
    // mcg31m1Product in every lane.
    HWY_INLINE WideVector product(WideVector words) const {
        const WideTag wide;
        const WordTag tag;
        const auto modulus = hn::Set(wide, mcg31m1Modulus);
        const auto p = hn::MulEven(hn::BitCast(tag, words), hn::Set(tag, step));
        const auto t = hn::BitCast(tag, hn::Add(hn::And(p, modulus), hn::ShiftRight<31>(p)));
        // t - m wraps to a large word when t < m; the high halves stay 0.
        return hn::BitCast(wide, hn::Min(t, hn::Sub(t, hn::BitCast(tag, modulus))));
    }
    HWY_INLINE void advance() {
        for (std::size_t k = 0; k < batches; ++k) {
            even[k] = product(even[k]);
            odd[k] = product(odd[k]);
        }
    }
    template <class Sink>
    HWY_INLINE void put(const Sink& sink, std::size_t i) const {
        const WordTag tag;
        for (std::size_t k = 0; k < batches; ++k) {
            const auto high = hn::BitCast(tag, hn::ShiftLeft<32>(odd[k]));
            sink.put(i + k * wordLanes, hn::OddEven(high, hn::BitCast(tag, even[k])));
        }
    }
};

#endif

// The first `count` words of the stream, count a power of two, by doubling; returns a^count.
HWY_INLINE std::uint32_t firstWords(const Mcg31m1State& state, std::size_t count,
                                    std::uint32_t* words) {
    std::uint32_t step = state.a;
    words[0] = state.x;
    for (std::size_t known = 1; known < count; known *= 2) {
        for (std::size_t k = 0; k < known; ++k) words[known + k] = mcg31m1Product(words[k], step);
        step = mcg31m1Product(step, step);
    }
    return step;
}

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    auto& state = stateOf<Mcg31m1State>(stream);
    const auto total = static_cast<std::size_t>(n);
    const std::size_t tail = total % groupWords;
    alignas(64) std::uint32_t words[groupWords];
    std::size_t i = 0;
    if (total < groupWords) {
        std::size_t count = 1;
        while (count <= tail) count *= 2;
        firstWords(state, count, words);
    } else {
        const std::uint32_t step = firstWords(state, groupWords, words);
        Group group(words, step);
        for (; i < total - tail; i += groupWords) {
            group.put(sink, i);
            group.advance();
        }
        group.put(BitsSink{words}, 0);
    }
    putWords(sink, i, words, tail);
    state.x = words[tail];  // the word behind the last one given
    return RNG_OK;
}

}  // namespace

std::int32_t mcg31m1FillSingle(StreamHandle stream, std::int32_t n, float* r, float a, float b) {
    const double scale = (static_cast<double>(b) - static_cast<double>(a)) * scaleToUnit;
    return fill(stream, n, RoundedSink<WordSign::isSigned>{r, scale, a});
}

std::int32_t mcg31m1FillDouble(StreamHandle stream, std::int32_t n, double* r, double a, double b) {
    return fill(stream, n, DoubleSink<WordSign::isSigned>{r, (b - a) * scaleToUnit, a});
}

std::int32_t mcg31m1FillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill(stream, n, BitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
