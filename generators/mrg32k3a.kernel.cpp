// Fills of MRG32k3a.
//
// In the vector form each lane follows a piece of its own of the sequence, `spacing` words long,
// so that no step waits for the one before it in the same register.  The pieces' first states are
// the stream's, times constant matrices.
//
// The lanes compute in doubles.  A component's word u is held as s = u - H, near the middle of the
// modulus's range: then a step's sum
//
//   w = a s_j - b s_3 + K,   K = (a - b - 1) H mod m,
//
// is below 2^53 in size and exact, and the new word is w - q m with the nearest integer q to w / m.
// Adding and taking away 3 * 2^51 rounds to the nearest integer.
//
// The quotient.  w / m lies at least 1 / (2 m) from the border between two integers if H is
// (m - 1) / 2.  With 1/m rounded, and nothing else (the product is fused), w / m is at most
// 0.85 / (2 m) off: q is right.  Without fused operations the product's rounding adds up to
// 1.0 / (2 m), and q can be one off at the very ends of the range: s one outside it.  There H is
// one less, so that s + H is never m or more.  What is below 0 is mended in y; in x it does no
// harm, as it only makes x - y negative, and that is mended anyway.
//
// Reals lie in the interval [a, b) but for rounding: z * s + a with s = (b - a) / m1, computed in
// double in both precisions.
#include "generators/mrg32k3a.h"

#include "generators/default_arithmetic-inl.h"
#include "generators/generators.h"
#include "generators/lane_blocks-inl.h"
#include "generators/mrg32k3a_matrix.h"
#include "generators/word_output-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// 1 / m1, rounded.
constexpr double scaleToUnit = 2.328306549837829e-10;
static_assert(__builtin_bit_cast(std::uint64_t, scaleToUnit) == 0x3DF000000D10000B);
static_assert(scaleToUnit == 1.0 / mrg32k3aModulus1);

// A few words at a time, one after the other.
template <class Sink>
HWY_INLINE void putStepwise(const Sink& sink, std::size_t i, std::size_t end,
                            Mrg32k3aState& state) {
    constexpr std::size_t blockWords = 16;
    while (i < end) {
        std::uint32_t words[blockWords];
        const std::size_t count = end - i < blockWords ? end - i : blockWords;
        for (std::size_t k = 0; k < count; ++k) words[k] = mrg32k3aNext(state);
        putWords(sink, i, words, count);
        i += count;
    }
}

#if HWY_TARGET == HWY_SCALAR

using SpreadBits = BitsSink;
using SpreadSingles = RoundedSink<WordSign::isUnsigned>;
using SpreadDoubles = DoubleSink<WordSign::isUnsigned>;

template <class Sink>
HWY_INLINE void putAll(const Sink& sink, std::size_t count, Mrg32k3aState& state) {
    putStepwise(sink, 0, count, state);
}

#else

using Doubles = hn::Vec<DoubleTag>;
using LongTag = hn::ScalableTag<std::uint64_t>;
using LongVector = hn::Vec<LongTag>;

constexpr bool isFused = HWY_TARGET <= HWY_AVX2;
constexpr std::size_t doubleLanes = wordLanes / 2;
// In flight: the chain of a step is 16 cycles long, and longer without fused operations.
constexpr std::size_t registers = HWY_TARGET <= HWY_AVX3 ? 2 : 4;
constexpr std::size_t lanes = registers * doubleLanes;
constexpr std::size_t stepsAtOnce = 4;  // a lane's words that are stored together

// Words of a lane's piece, from the longest; the shortest also takes what is left.
constexpr std::size_t spacings[] = {128, 32, 8};
constexpr std::size_t shortest = 8;
// Below, starting the lanes costs more than stepping.
constexpr std::size_t leastWords = 24;

struct ComponentX {
    static constexpr std::uint32_t modulus = mrg32k3aModulus1;
    static constexpr std::int64_t a = mrg32k3aX2, b = mrg32k3aX3;
    static constexpr double inverse = scaleToUnit;
    static constexpr bool isMended = false;
};

struct ComponentY {
    static constexpr std::uint32_t modulus = mrg32k3aModulus2;
    static constexpr std::int64_t a = mrg32k3aY1, b = mrg32k3aY3;
    static constexpr double inverse = 1.0 / mrg32k3aModulus2;
    static constexpr bool isMended = !isFused;
};

// H and K of the formula above.
template <class Component>
constexpr std::int64_t offset = (Component::modulus - 1) / 2 - (isFused ? 0 : 1);

template <class Component>
consteval double shift() {
    constexpr std::int64_t m = Component::modulus, half = m / 2;
    const std::int64_t k = (Component::a - Component::b - 1) * offset<Component> % m;
    return static_cast<double>(k > half ? k - m : k < -half ? k + m : k);
}

// 3 * 2^51: an integer of less than 2^51 in size that is added stands in the low bits.
constexpr double bias = 0x1.8p52;

// The residue of w that is held for it.
template <class Component>
HWY_INLINE Doubles residue(Doubles w) {
    const DoubleTag tag;
    const auto modulus = hn::Set(tag, Component::modulus);
    const auto biased = hn::MulAdd(w, hn::Set(tag, Component::inverse), hn::Set(tag, bias));
    const auto q = hn::Sub(biased, hn::Set(tag, bias));
    const auto s = hn::NegMulAdd(q, modulus, w);
    if constexpr (!Component::isMended) return s;
    const auto below = hn::Lt(s, hn::Set(tag, -static_cast<double>(offset<Component>)));
    return hn::Add(s, hn::IfThenElseZero(below, modulus));
}

template <class Component>
HWY_INLINE Doubles next(Doubles sA, Doubles sB) {
    const DoubleTag tag;
    const auto part = hn::NegMulAdd(hn::Set(tag, static_cast<double>(Component::b)), sB,
                                    hn::Set(tag, shift<Component>()));
    return residue<Component>(
        hn::MulAdd(hn::Set(tag, static_cast<double>(Component::a)), sA, part));
}

// Matrices that move a component's state to the beginnings of the lanes' pieces.
struct LaneMatrices {
    double entry[3][3][lanes];
};
struct LaneStarts {
    std::size_t spacing;
    LaneMatrices x, y;
};

consteval LaneMatrices laneMatrices(const Mrg32k3aMatrix& step, std::uint32_t m,
                                    std::size_t spacing) {
    const Mrg32k3aMatrix stride = mrg32k3aPower(step, spacing, m);
    Mrg32k3aMatrix power = mrg32k3aIdentity;
    LaneMatrices matrices{};
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) matrices.entry[i][j][lane] = power.entry[i][j];
        }
        power = mrg32k3aProduct(power, stride, m);
    }
    return matrices;
}

consteval LaneStarts laneStarts(std::size_t spacing) {
    return {spacing, laneMatrices(mrg32k3aStepX, mrg32k3aModulus1, spacing),
            laneMatrices(mrg32k3aStepY, mrg32k3aModulus2, spacing)};
}

constexpr LaneStarts starts[] = {laneStarts(spacings[0]), laneStarts(spacings[1]),
                                 laneStarts(spacings[2])};
static_assert(spacings[2] == shortest && shortest % stepsAtOnce == 0);

// One component in the lanes of a register.
template <class Component>
struct Sequence {
    Doubles s3, s2, s1;

    HWY_INLINE Sequence() {}
    // The words are cut in halves of 16 bits, so that all products and sums stay exact.
    HWY_INLINE void start(const LaneMatrices& matrices, std::size_t lane,
                          const std::uint32_t* words) {
        s3 = startWord(matrices.entry[0], lane, words);
        s2 = startWord(matrices.entry[1], lane, words);
        s1 = startWord(matrices.entry[2], lane, words);
    }
    static HWY_INLINE Doubles startWord(const double (&row)[3][lanes], std::size_t lane,
                                        const std::uint32_t* words) {
        const DoubleTag tag;
        auto high = hn::Zero(tag);
        auto low = hn::Set(tag, -static_cast<double>(offset<Component>));
        for (int j = 0; j < 3; ++j) {
            const auto entry = hn::LoadU(tag, row[j] + lane);
            high = hn::MulAdd(entry, hn::Set(tag, static_cast<double>(words[j] >> 16)), high);
            low = hn::MulAdd(entry, hn::Set(tag, static_cast<double>(words[j] & 0xFFFF)), low);
        }
        high = residue<Component>(high);
        return residue<Component>(hn::MulAdd(high, hn::Set(tag, 0x1p16), low));
    }
    HWY_INLINE Doubles push(Doubles s) {
        s3 = s2;
        s2 = s1;
        return s1 = s;
    }
    // The words of one lane.
    HWY_INLINE void words(std::size_t lane, std::uint32_t* out) const {
        const DoubleTag tag;
        const Doubles held[3] = {s3, s2, s1};
        for (int k = 0; k < 3; ++k) {
            double s[doubleLanes];
            hn::StoreU(held[k], tag, s);
            const std::int64_t word = static_cast<std::int64_t>(s[lane]) + offset<Component>;
            out[k] = static_cast<std::uint32_t>(word < 0 ? word + Component::modulus : word);
        }
    }
};

struct Lanes {
    Sequence<ComponentX> x;
    Sequence<ComponentY> y;

    HWY_INLINE Lanes() {}
    HWY_INLINE void start(const LaneStarts& from, std::size_t lane, const Mrg32k3aState& state) {
        x.start(from.x, lane, state.x);
        y.start(from.y, lane, state.y);
    }
    // One step; the difference of the held words.  With H of each added, it is z or z - m1.
    HWY_INLINE Doubles step() {
        const auto newX = x.push(next<ComponentX>(x.s2, x.s3));
        const auto newY = y.push(next<ComponentY>(y.s1, y.s3));
        return hn::Sub(newX, newY);
    }
};
constexpr double offsetDifference = static_cast<double>(offset<ComponentX> - offset<ComponentY>);

// Sinks for the differences of four steps: lane k's four results go to elements i + k spacing and
// the three behind it.
struct SpreadBits {
    using Element = std::uint32_t;
    Element* r;
    // In a biased difference the low 32 bits are z or z - m1, and the high ones have bits of 209
    // set in the second case only: 0x43380000 becomes 0x4337FFFF.
    static HWY_INLINE LongVector words(Doubles first, Doubles second) {
        const WordTag halves;
        const auto shifted = hn::Set(DoubleTag(), bias + offsetDifference);
        const auto d0 = hn::BitCast(halves, hn::Add(first, shifted));
        const auto d1 = hn::BitCast(halves, hn::Add(second, shifted));
        const auto low = hn::OddEven(hn::DupEven(d1), d0);
        const auto high = hn::OddEven(d1, hn::DupOdd(d0));
        const auto minusModulus = hn::Set(halves, 0u - mrg32k3aModulus1);
        return hn::BitCast(LongTag(), hn::Sub(low, hn::And(high, minusModulus)));
    }
    HWY_INLINE void put(std::size_t i, std::size_t spacing, const Doubles (&d)[stepsAtOnce]) const {
        storeLanes(words(d[0], d[1]), words(d[2], d[3]), r + i, spacing);
    }
};

HWY_INLINE Doubles realOf(Doubles difference, double scale, double origin) {
    const DoubleTag tag;
    const auto d = hn::Add(difference, hn::Set(tag, offsetDifference));
    const auto modulus = hn::Set(tag, mrg32k3aModulus1);
    const auto z = hn::Add(d, hn::IfThenElseZero(hn::Lt(d, hn::Zero(tag)), modulus));
    return hn::MulAdd(z, hn::Set(tag, scale), hn::Set(tag, origin));
}

struct SpreadDoubles {
    using Element = double;
    Element* r;
    double scale, origin;
    HWY_INLINE void put(std::size_t i, std::size_t spacing, const Doubles (&d)[stepsAtOnce]) const {
        for (std::size_t k = 0; k < stepsAtOnce; k += 2) {
            const auto first = realOf(d[k], scale, origin);
            const auto second = realOf(d[k + 1], scale, origin);
            storeLanes(first, second, r + i + k, spacing);
        }
    }
    HWY_INLINE DoubleSink<WordSign::isUnsigned> inOrder() const { return {r, scale, origin}; }
};

struct SpreadSingles {
    using Element = float;
    Element* r;
    double scale, origin;
    HWY_INLINE LongVector rounded(Doubles difference) const {
        const hn::Rebind<float, DoubleTag> singles;
        const hn::Rebind<std::uint32_t, DoubleTag> words;
        const auto single = hn::DemoteTo(singles, realOf(difference, scale, origin));
        return hn::PromoteTo(LongTag(), hn::BitCast(words, single));
    }
    HWY_INLINE void put(std::size_t i, std::size_t spacing, const Doubles (&d)[stepsAtOnce]) const {
        const auto pair0 = hn::Or(rounded(d[0]), hn::ShiftLeft<32>(rounded(d[1])));
        const auto pair1 = hn::Or(rounded(d[2]), hn::ShiftLeft<32>(rounded(d[3])));
        storeLanes(pair0, pair1, r + i, spacing);
    }
    HWY_INLINE RoundedSink<WordSign::isUnsigned> inOrder() const { return {r, scale, origin}; }
};

HWY_INLINE BitsSink inOrder(const SpreadBits& sink) {
    return {sink.r};
}
template <class Sink>
HWY_INLINE auto inOrder(const Sink& sink) {
    return sink.inOrder();
}

// Gives elements i .. i + lanes * spacing - 1, and moves the state behind the first `count` of
// them.
template <class Sink>
HWY_INLINE void putPieces(const Sink& sink, std::size_t i, std::size_t count,
                          const LaneStarts& from, Mrg32k3aState& state) {
    const std::size_t spacing = from.spacing;
    // The lane in whose piece the state lies, or just behind it.
    const std::size_t lastLane = count < lanes * spacing ? count / spacing : lanes - 1;
    const std::size_t lastStep = count - lastLane * spacing;
    const std::size_t lastBlock = lastStep / stepsAtOnce * stepsAtOnce;
    Lanes group[registers];
    for (std::size_t k = 0; k < registers; ++k) group[k].start(from, k * doubleLanes, state);
    for (std::size_t t = 0;; t += stepsAtOnce) {
        if (t == lastBlock) {
            const Lanes& last = group[lastLane / doubleLanes];
            last.x.words(lastLane % doubleLanes, state.x);
            last.y.words(lastLane % doubleLanes, state.y);
        }
        if (t == spacing) break;
        // Two steps of each register at a time: with more, one register's chain fills the
        // processor's queue; with fewer, the states don't stay in registers.
        Doubles differences[registers][stepsAtOnce];
        for (std::size_t k = 0; k < registers; ++k) {
            differences[k][0] = group[k].step();
            differences[k][1] = group[k].step();
        }
        for (std::size_t k = 0; k < registers; ++k) {
            differences[k][2] = group[k].step();
            differences[k][3] = group[k].step();
            sink.put(i + t + k * doubleLanes * spacing, spacing, differences[k]);
        }
    }
    for (std::size_t step = lastBlock; step < lastStep; ++step) mrg32k3aNext(state);
}

template <class Sink>
HWY_INLINE void putAll(const Sink& sink, std::size_t count, Mrg32k3aState& state) {
    std::size_t i = 0;
    for (const LaneStarts& from : starts) {
        for (; count - i >= lanes * from.spacing; i += lanes * from.spacing) {
            putPieces(sink, i, lanes * from.spacing, from, state);
        }
    }
    if (count - i < leastWords) return putStepwise(inOrder(sink), i, count, state);
    typename Sink::Element results[lanes * shortest];
    Sink onResults = sink;
    onResults.r = results;
    putPieces(onResults, 0, count - i, starts[2], state);
    for (std::size_t k = i; k < count; ++k) sink.r[k] = results[k - i];
}

#endif

template <class Sink>
HWY_INLINE std::int32_t fill(StreamHandle stream, std::int32_t n, const Sink& sink) {
    const DefaultArithmetic arithmetic;
    auto& held = stateOf<Mrg32k3aState>(stream);
    Mrg32k3aState state = held;
    putAll(sink, static_cast<std::size_t>(n), state);
    held = state;
    return RNG_OK;
}

}  // namespace

std::int32_t mrg32k3aFillSingle(StreamHandle stream, std::int32_t n, float* r, float a, float b) {
    const double scale = (static_cast<double>(b) - static_cast<double>(a)) * scaleToUnit;
    return fill(stream, n, SpreadSingles{r, scale, a});
}

std::int32_t mrg32k3aFillDouble(StreamHandle stream, std::int32_t n, double* r, double a,
                                double b) {
    return fill(stream, n, SpreadDoubles{r, (b - a) * scaleToUnit, a});
}

std::int32_t mrg32k3aFillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fill(stream, n, SpreadBits{r});
}

}  // namespace korvan::KORVAN_COPY
