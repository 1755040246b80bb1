// Fills of the Wichmann-Hill set.  Each component's words stand in registers of their own, side by
// side as they follow each other; groups of them advance together by a power of the multiplier, so
// that no product waits for the one before it.
//
// All is computed in doubles: products and remainders are exact (wichmannHillProduct tells why).
//
// Reals lie in the interval [a, b) but for rounding: with
//
//   t = ((x_0 / m_0 + x_1 / m_1) + x_2 / m_2) + x_3 / m_3
//
// by the rounded reciprocals, and f its fractional part, f (b - a) + a.  Singles are computed in
// double too, with b - a rounded to single.
#include "generators/wichmann_hill.h"

#include "generators/default_arithmetic-inl.h"
#include "generators/generators.h"
#include "generators/lane_blocks-inl.h"
#include "generators/wichmann_hill_members.h"
#include "generators/word_output-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr int components = 4;

// The constants of a member, as the arithmetic takes them.
struct Moduli {
    double m[components], inverse[components];

    HWY_INLINE explicit Moduli(const WichmannHillMember& member) {
        for (int j = 0; j < components; ++j) {
            m[j] = member.moduli[j];
            inverse[j] = 1.0 / m[j];
        }
    }
};

#if HWY_TARGET == HWY_SCALAR

using Doubles = double;
constexpr std::size_t batchLanes = 1;

HWY_INLINE Doubles spread(double value) {
    return value;
}
HWY_INLINE Doubles loadBatch(const double* words) {
    return *words;
}
HWY_INLINE void storeBatch(Doubles word, double* words) {
    *words = word;
}
HWY_INLINE Doubles advanced(Doubles word, Doubles step, Doubles m, Doubles inverse) {
    return wichmannHillProduct(word, step, m, inverse);
}

// x_0 x_1 x_2 x_3, element after element.
HWY_INLINE void storeWords(const Doubles (&x)[components], std::uint32_t* r) {
    for (int j = 0; j < components; ++j)
        r[j] = static_cast<std::uint32_t>(static_cast<std::int32_t>(x[j]));
}

HWY_INLINE Doubles realOf(const Doubles (&x)[components], const Moduli& moduli, double range,
                          double origin) {
    double t = x[0] * moduli.inverse[0];
    for (int j = 1; j < components; ++j) t = t + x[j] * moduli.inverse[j];
    const double fraction = t - static_cast<double>(static_cast<std::int32_t>(t));
    return fraction * range + origin;
}

HWY_INLINE void storeReals(Doubles value, double* r) {
    *r = value;
}
HWY_INLINE void storeReals(Doubles value, float* r) {
    *r = static_cast<float>(value);
}

#else

using Doubles = hn::Vec<DoubleTag>;
constexpr std::size_t batchLanes = HWY_LANES(double);

HWY_INLINE Doubles spread(double value) {
    return hn::Set(DoubleTag(), value);
}
HWY_INLINE Doubles loadBatch(const double* words) {
    return hn::LoadU(DoubleTag(), words);
}
HWY_INLINE void storeBatch(Doubles batch, double* words) {
    hn::StoreU(batch, DoubleTag(), words);
}

// For 0 <= v < 2^31.
HWY_INLINE Doubles truncated(Doubles v) {
#    if HWY_TARGET == HWY_SSSE3
    return Doubles{_mm_cvtepi32_pd(_mm_cvttpd_epi32(v.raw))};
#    else
    return hn::Trunc(v);
#    endif
}

// wichmannHillProduct in every lane.
HWY_INLINE Doubles advanced(Doubles words, Doubles step, Doubles m, Doubles inverse) {
    const auto p = hn::Mul(words, step);
    return hn::NegMulAdd(m, truncated(hn::Mul(p, inverse)), p);
}

// x_0 x_1 x_2 x_3, element after element.
HWY_INLINE void storeWords(const Doubles (&x)[components], std::uint32_t* r) {
    const WordTag halves;
    hn::Vec<WordTag> low[components];  // the words, in the low halves
    for (int j = 0; j < components; ++j) {
        low[j] = hn::BitCast(halves, hn::Add(x[j], hn::Set(DoubleTag(), 0x1p52)));
    }
    const hn::ScalableTag<std::uint64_t> tag;
    const auto front = hn::BitCast(tag, hn::OddEven(hn::DupEven(low[1]), low[0]));
    const auto back = hn::BitCast(tag, hn::OddEven(hn::DupEven(low[3]), low[2]));
    storeLanes(front, back, r, components);
}

HWY_INLINE Doubles realOf(const Doubles (&x)[components], const Moduli& moduli, double range,
                          double origin) {
    auto t = hn::Mul(x[0], spread(moduli.inverse[0]));
    for (int j = 1; j < components; ++j) t = hn::MulAdd(x[j], spread(moduli.inverse[j]), t);
    return hn::MulAdd(hn::Sub(t, truncated(t)), spread(range), spread(origin));
}

HWY_INLINE void storeReals(Doubles values, double* r) {
    hn::StoreU(values, DoubleTag(), r);
}
HWY_INLINE void storeReals(Doubles values, float* r) {
    const hn::Rebind<float, DoubleTag> singles;
    hn::StoreU(hn::DemoteTo(singles, values), singles, r);
}

#endif

constexpr std::size_t batches = batchLanes == 1 ? 2 : 4;  // in flight
constexpr std::size_t groupWords = batches * batchLanes;

struct WordSink {
    static constexpr std::size_t units = components;  // elements of r that a word takes
    using Element = std::uint32_t;
    Element* r;
    HWY_INLINE void put(std::size_t i, const Doubles (&x)[components], const Moduli&) const {
        storeWords(x, r + units * i);
    }
};

template <class Real>
struct RealSink {
    static constexpr std::size_t units = 1;
    using Element = Real;
    Element* r;
    double range, origin;
    HWY_INLINE void put(std::size_t i, const Doubles (&x)[components], const Moduli& moduli) const {
        storeReals(realOf(x, moduli, range, origin), r + i);
    }
};

// Words that follow each other, by component.
struct Run {
    double words[components][groupWords];
};

// The first `count` words of the stream, count a power of two, by doubling; leaves a_j^count in
// `steps`.
HWY_INLINE void firstWords(const WichmannHillState& state, const Moduli& moduli, std::size_t count,
                           Run& run, double* steps) {
    for (int j = 0; j < components; ++j) {
        double* words = run.words[j];
        double step = state.a[j];
        words[0] = state.x[j];
        const double m = moduli.m[j], inverse = moduli.inverse[j];
        for (std::size_t known = 1; known < count; known *= 2) {
            for (std::size_t k = 0; k < known; ++k) {
                words[known + k] = wichmannHillProduct(words[k], step, m, inverse);
            }
            step = wichmannHillProduct(step, step, m, inverse);
        }
        steps[j] = step;
    }
}

// Gives elements 0 .. end - 1, end a multiple of the group; `run` holds the first group, and then
// the one behind the last given.
template <class Sink>
HWY_INLINE void putGroups(const Sink& sink, std::size_t end, const Moduli& moduli, Run& run,
                          const double* steps) {
    Doubles group[batches][components];
    for (std::size_t k = 0; k < batches; ++k) {
        for (int j = 0; j < components; ++j) {
            group[k][j] = loadBatch(run.words[j] + k * batchLanes);
        }
    }
    for (std::size_t i = 0; i < end; i += groupWords) {
        for (std::size_t k = 0; k < batches; ++k) {
            sink.put(i + k * batchLanes, group[k], moduli);
            for (int j = 0; j < components; ++j) {
                group[k][j] = advanced(group[k][j], spread(steps[j]), spread(moduli.m[j]),
                                       spread(moduli.inverse[j]));
            }
        }
    }
    for (std::size_t k = 0; k < batches; ++k) {
        for (int j = 0; j < components; ++j) {
            storeBatch(group[k][j], run.words[j] + k * batchLanes);
        }
    }
}

// The first `count` elements of the run to i, i + 1, ...: by whole batches into a buffer.
template <class Sink>
HWY_INLINE void putTail(const Sink& sink, std::size_t i, std::size_t count, const Moduli& moduli,
                        const Run& run) {
    typename Sink::Element results[Sink::units * groupWords];
    Sink onResults = sink;
    onResults.r = results;
    for (std::size_t k = 0; k < count; k += batchLanes) {
        Doubles x[components];
        for (int j = 0; j < components; ++j) x[j] = loadBatch(run.words[j] + k);
        onResults.put(k, x, moduli);
    }
    for (std::size_t element = 0; element < Sink::units * count; ++element) {
        sink.r[Sink::units * i + element] = results[element];
    }
}

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    const DefaultArithmetic arithmetic;
    auto& state = stateOf<WichmannHillState>(stream);
    const Moduli moduli(wichmannHillMembers[memberOf(stream->generatorId)]);
    const auto total = static_cast<std::size_t>(n);
    const std::size_t tail = total % groupWords;
    Run run;
    // Lanes that no word reaches are computed, but not given.
    for (int j = 0; j < components; ++j) storeBatch(spread(0), run.words[j]);
    double steps[components];
    if (total < groupWords) {
        std::size_t count = 1;
        while (count <= tail) count *= 2;
        firstWords(state, moduli, count, run, steps);
    } else {
        firstWords(state, moduli, groupWords, run, steps);
        putGroups(sink, total - tail, moduli, run, steps);
    }
    putTail(sink, total - tail, tail, moduli, run);
    // The words behind the last ones given.
    for (int j = 0; j < components; ++j) {
        state.x[j] = static_cast<std::uint32_t>(run.words[j][tail]);
    }
    return RNG_OK;
}

}  // namespace

std::int32_t wichmannHillFillSingle(StreamHandle stream, std::int32_t n, float* r, float a,
                                    float b) {
    const float range = b - a;
    return fill(stream, n, RealSink<float>{r, range, a});
}

std::int32_t wichmannHillFillDouble(StreamHandle stream, std::int32_t n, double* r, double a,
                                    double b) {
    return fill(stream, n, RealSink<double>{r, b - a, a});
}

std::int32_t wichmannHillFillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill(stream, n, WordSink{r});
}

}  // namespace korvan::KORVAN_COPY
