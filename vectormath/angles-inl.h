// Sine and cosine: reduction to an eighth of a turn, or to a quarter, and the polynomials there.
//
// For kernel files only.  x = q pi/2 + r, with pi/2 in pieces whose products with q cancel exactly
// (W. Cody, W. Waite, Software Manual for the Elementary Functions, 1980).  Angles beyond `reach`
// are exceptional elements, reduced by quarterLargeAngle.
#pragma once

#include "vectormath/large_angle.h"
#include "vectormath/polynomial-inl.h"
#include "vectormath/rows-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// pi/2 as a sum of pieces of full length, for copies that fuse: x - q piece is exact for the first
// and rounded once after.  Short pieces have exact products with the q of `reach`.
template <class Real>
struct QuarterTurn;
template <>
struct QuarterTurn<double> {
    static constexpr double reach = 0x1p20;
    static constexpr double pieces[] = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54,
                                        -0x1.f1976b7ed8fbcp-110};
    static constexpr double shortPieces[] = {0x1.921fb544p+0, 0x1.0b4611a6p-34, 0x1.3198a2ep-69,
                                             0x1.b839a252049c1p-104};
    static constexpr double shifter = 0x1.8p52;  // rounds to an integer, which ends the bits
    static constexpr double inverse = 0x1.45f306dc9c883p-1;
};
template <>
struct QuarterTurn<float> {
    static constexpr float shortReach = 256.0f;
    static constexpr float reach = fuses ? 8192.0f : shortReach;
    static constexpr float pieces[] = {0x1.921fb6p+0f, -0x1.777a5cp-25f, -0x1.ee59dap-50f};
    static constexpr float shortPieces[] = {0x1.922p+0f, -0x1.2aeep-18f, -0x1.e974p-35f,
                                            0x1.1a6264p-54f};
    static constexpr float shifter = 0x1.8p23f;
    static constexpr float inverse = 0x1.45f306p-1f;
};

// On |r| <= pi/4, z = r^2: sin r = r + r z S(z), cos r = 1 + z C(z).  Errors: 2^-57.9, 2^-63.4.
template <class Real, Accuracy>
struct EighthTurn {
    static constexpr double sine[] = {-0.1666666666666663,     0.00833333333332184,
                                      -0.00019841269829358314, 2.7557313538360557e-06,
                                      -2.5050734355081233e-08, 1.5895430907209156e-10};
    static constexpr double cosine[] = {-0.5,
                                        0.041666666666666595,
                                        -0.0013888888888873338,
                                        2.4801587288991312e-05,
                                        -2.7557314210271586e-07,
                                        2.0875703807341655e-09,
                                        -1.1358625130591893e-11};
};
// 2^-28.0, 2^-33.9.
template <>
struct EighthTurn<double, Accuracy::ep> {
    static constexpr double sine[] = {-0.16666654602099984, 0.008332160261451596,
                                      -0.0001951521337112737};
    static constexpr double cosine[] = {-0.4999999969412263, 0.041666620318466775,
                                        -0.0013886680467888244, 2.4383459462518965e-05};
};
// 2^-27.9, 2^-32.9.
template <Accuracy accuracy>
struct EighthTurn<float, accuracy> {
    static constexpr float sine[] = {-0.16666655f, 0.008332189f, -0.00019518285f};
    static constexpr float cosine[] = {-0.5f, 0.041666646f, -0.001388731f, 2.443229e-05f};
};

// S on |r| <= pi/2: errors 2^-61.6, 2^-35.3, 2^-27.0.
template <class Real, Accuracy>
struct QuarterTurnSine {
    static constexpr double sine[] = {-0.16666666666666666,    0.008333333333333207,
                                      -0.00019841269841212476, 2.7557319211568373e-06,
                                      -2.5052106904251593e-08, 1.6058940989735833e-10,
                                      -7.643018930966074e-13,  2.7214136180001847e-15};
};
template <>
struct QuarterTurnSine<double, Accuracy::ep> {
    static constexpr double sine[] = {-0.16666666626103693, 0.008333331106714052,
                                      -0.0001984086795979637, 2.752537131685628e-06,
                                      -2.3888673114848606e-08};
};
template <Accuracy accuracy>
struct QuarterTurnSine<float, accuracy> {
    static constexpr float sine[] = {-0.1666666f, 0.008333069f, -0.00019809678f, 2.6056223e-06f};
};

template <class D>
using WordsOf = hn::Vec<hn::RebindToUnsigned<D>>;

// The integer nearest to a small x, as a number and at the low end of `bits`.
template <class D>
struct Rounded {
    hn::Vec<D> number;
    WordsOf<D> bits;
};
template <class D, class V = hn::Vec<D>>
HWY_INLINE Rounded<D> roundToInteger(D d, V x) {
    const V shifter = hn::Set(d, QuarterTurn<hn::TFromD<D>>::shifter);
    const V sum = hn::Add(x, shifter);
    return {hn::Sub(sum, shifter), hn::BitCast(hn::RebindToUnsigned<D>(), sum)};
}

// x - q pi/2 for |x| up to `reach`, with a relative error of an ulp or two.  VML_EP in copies that
// fuse: 2^-50, in single 2^-13.9, reached next to multiples of pi/2.
template <Accuracy accuracy, class D, class V = hn::Vec<D>>
HWY_INLINE V subtractQuarters(D d, V x, V q) {
    using Quarter = QuarterTurn<hn::TFromD<D>>;
    if constexpr (fuses) {
        x = hn::NegMulAdd(q, hn::Set(d, Quarter::pieces[0]), x);
        x = hn::NegMulAdd(q, hn::Set(d, Quarter::pieces[1]), x);
        if constexpr (accuracy == Accuracy::ep) return x;
        return hn::NegMulAdd(q, hn::Set(d, Quarter::pieces[2]), x);
    } else {
        for (const auto piece : Quarter::shortPieces) x = hn::Sub(x, hn::Mul(q, hn::Set(d, piece)));
        return x;
    }
}

// The same with the error of `head` below `rest`'s ulp.  A difference that loses bits has a larger
// first term, so the error of a subtraction follows from two more.
template <class D, class V = hn::Vec<D>>
HWY_INLINE HeadAndRest<V> subtractQuartersExactly(D d, V x, V q) {
    constexpr auto& pieces = QuarterTurn<hn::TFromD<D>>::shortPieces;
    const V first = hn::NegMulAdd(q, hn::Set(d, pieces[0]), x);  // exact
    const V p1 = hn::Mul(q, hn::Set(d, pieces[1])), p2 = hn::Mul(q, hn::Set(d, pieces[2]));
    const V second = hn::Sub(first, p1), third = hn::Sub(second, p2);
    const V lost =
        hn::Add(hn::Sub(hn::Sub(first, second), p1), hn::Sub(hn::Sub(second, third), p2));
    return {third, hn::NegMulAdd(q, hn::Set(d, pieces[3]), lost)};
}

template <class V>
struct SineCosine {
    V sine, cosine;
};

// On |r| <= pi/4.
template <Accuracy accuracy, class D, class V = hn::Vec<D>>
HWY_INLINE SineCosine<V> eighthTurn(D d, V r) {
    using Table = EighthTurn<hn::TFromD<D>, accuracy>;
    const V z = hn::Mul(r, r);
    return {hn::MulAdd(hn::Mul(r, z), horner(d, z, Table::sine), r),
            hn::MulAdd(z, horner(d, z, Table::cosine), hn::Set(d, 1))};
}

// The same as sums, with r = head + rest: what is rounded is a small part of the whole.  The error
// of z costs one operation in copies that fuse and fifteen in the others, where a tangent needs it.
template <class V>
struct SineCosineSums {
    V sine, sineRest, cosine, cosineRest;
};
template <bool keepsErrorOfSquare = fuses, class D, class V = hn::Vec<D>>
HWY_INLINE SineCosineSums<V> eighthTurnSums(D d, HeadAndRest<V> r) {
    using Table = EighthTurn<hn::TFromD<D>, Accuracy::ha>;
    const V one = hn::Set(d, 1), half = hn::Set(d, 0.5);
    const V z = hn::Mul(r.head, r.head);
    const V halfZ = hn::Mul(half, z);
    const V sineRest = hn::MulAdd(hn::Mul(r.head, z), horner(d, z, Table::sine),
                                  hn::NegMulAdd(halfZ, r.rest, r.rest));
    // 1 - z/2 with its error.
    const V parabola = hn::Sub(one, halfZ);
    V lost = hn::Sub(hn::Sub(one, parabola), halfZ);
    if constexpr (keepsErrorOfSquare) {
        lost = hn::MulAdd(half, residual(d, r.head, r.head, z), lost);
    }
    const V curve = hn::MulAdd(hn::Mul(z, z), horner<1>(d, z, Table::cosine), lost);
    return {r.head, sineRest, parabola, hn::NegMulAdd(r.head, r.rest, curve)};
}

// Those of the angle q quarters further; q at the low end of `quarter`.
template <class D, class V = hn::Vec<D>>
HWY_INLINE SineCosine<V> turned(D d, SineCosine<V> y, WordsOf<D> quarter) {
    using Word = hn::TFromD<hn::RebindToUnsigned<D>>;
    const hn::RebindToUnsigned<D> words;
    constexpr int toSign = sizeof(Word) * 8 - 2;
    const auto sign = hn::Set(words, Word{1} << (toSign + 1));
    const auto isOdd = hn::RebindMask(d, hn::TestBit(quarter, hn::Set(words, 1)));
    const auto sineSign = hn::And(hn::ShiftLeft<toSign>(quarter), sign);
    const auto cosineSign =
        hn::And(hn::ShiftLeft<toSign>(hn::Add(quarter, hn::Set(words, 1))), sign);
    return {hn::Xor(hn::IfThenElse(isOdd, y.cosine, y.sine), hn::BitCast(d, sineSign)),
            hn::Xor(hn::IfThenElse(isOdd, y.sine, y.cosine), hn::BitCast(d, cosineSign))};
}

// Sine and cosine of |x| up to `reach`.
template <Accuracy accuracy, class D, class V = hn::Vec<D>>
HWY_INLINE SineCosine<V> sineCosine(D d, V x) {
    using Quarter = QuarterTurn<hn::TFromD<D>>;
    // Working with |x| keeps the sign of sin(-0).
    const V magnitude = hn::Abs(x);
    const auto q = roundToInteger(d, hn::Mul(magnitude, hn::Set(d, Quarter::inverse)));
    SineCosine<V> y;
    if constexpr (accuracy == Accuracy::ha) {
        const auto sums = eighthTurnSums(d, subtractQuartersExactly(d, magnitude, q.number));
        y = {hn::Add(sums.sine, sums.sineRest), hn::Add(sums.cosine, sums.cosineRest)};
    } else {
        y = eighthTurn<accuracy>(d, subtractQuarters<accuracy>(d, magnitude, q.number));
    }
    y = turned(d, y, q.bits);
    return {hn::Xor(y.sine, hn::Xor(x, magnitude)), y.cosine};
}

// sin(r + k pi) with k at the low end of `half`, |r| <= pi/2.
template <Accuracy accuracy, class D, class V = hn::Vec<D>>
HWY_INLINE V halfTurnSine(D d, V r, WordsOf<D> half) {
    using Real = hn::TFromD<D>;
    const V z = hn::Mul(r, r);
    const V y = hn::MulAdd(hn::Mul(r, z), horner(d, z, QuarterTurnSine<Real, accuracy>::sine), r);
    return hn::Xor(y, hn::BitCast(d, hn::ShiftLeft<sizeof(Real) * 8 - 1>(half)));
}

// sin x = (-1)^k sin(x - k pi).
template <Accuracy accuracy, class D, class V = hn::Vec<D>>
HWY_INLINE V sine(D d, V x) {
    if constexpr (accuracy == Accuracy::ha) {
        return sineCosine<accuracy>(d, x).sine;
    } else {
        const V magnitude = hn::Abs(x);
        const V inverse = hn::Set(d, QuarterTurn<hn::TFromD<D>>::inverse / 2);
        const auto k = roundToInteger(d, hn::Mul(magnitude, inverse));
        const V r = subtractQuarters<accuracy>(d, magnitude, hn::Add(k.number, k.number));
        return hn::Xor(halfTurnSine<accuracy>(d, r, k.bits), hn::Xor(x, magnitude));
    }
}

// cos x = -(-1)^k sin(x - (2 k + 1) pi/2).
template <Accuracy accuracy, class D, class V = hn::Vec<D>>
HWY_INLINE V cosine(D d, V x) {
    if constexpr (accuracy == Accuracy::ha) {
        return sineCosine<accuracy>(d, x).cosine;
    } else {
        const V inverse = hn::Set(d, QuarterTurn<hn::TFromD<D>>::inverse / 2);
        const auto k = roundToInteger(d, hn::MulSub(hn::Abs(x), inverse, hn::Set(d, 0.5)));
        const V q = hn::Add(hn::Add(k.number, k.number), hn::Set(d, 1));
        const V r = subtractQuarters<accuracy>(d, hn::Abs(x), q);
        return hn::Neg(halfTurnSine<accuracy>(d, r, k.bits));
    }
}

// Singles in VML_HA: beyond `shortReach`, where the products aren't exact any more, and for all
// tangents, the double function of VML_EP, rounded.
template <class Real, Accuracy accuracy>
inline constexpr bool isWidened = sizeof(Real) == 4 && accuracy == Accuracy::ha;

template <class Real, Accuracy accuracy>
inline constexpr Real angleReach = isWidened<Real, accuracy>
                                       ? static_cast<Real>(QuarterTurn<double>::reach)
                                       : QuarterTurn<Real>::reach;

HWY_INLINE Mask<float> isToBeWidened(Vec<float> x) {
    return hn::Gt(hn::Abs(x), hn::Set(Tag<float>(), QuarterTurn<float>::shortReach));
}

template <class Real, Accuracy accuracy>
HWY_INLINE Mask<Real> isBeyondReach(Vec<Real> x) {
    const Tag<Real> tag;
    return notMask(hn::Le(hn::Abs(x), hn::Set(tag, angleReach<Real, accuracy>)));
}

// ---- Exceptional elements ----

// Of any finite angle beyond the least reach of the vector bodies.
HWY_INLINE SineCosineSums<double> largeAngleSums(double x, int* quarter) {
    const hn::CappedTag<double, 1> d;
    const auto angle = quarterLargeAngle(x < 0 ? -x : x);
    *quarter = angle.quarter;
    const auto y = eighthTurnSums<true>(
        d, HeadAndRest<hn::Vec<decltype(d)>>{hn::Set(d, angle.head), hn::Set(d, angle.rest)});
    return {hn::GetLane(y.sine), hn::GetLane(y.sineRest), hn::GetLane(y.cosine),
            hn::GetLane(y.cosineRest)};
}

// An infinite angle gives NaN with VML_STATUS_ERRDOM, NaN gives NaN.
HWY_INLINE std::int32_t sineCosineElement(double x, double* sine, double* cosine) {
    if (!(x - x == 0)) {
        *sine = *cosine = x - x;
        return x != x ? VML_STATUS_OK : VML_STATUS_ERRDOM;
    }
    int quarter;
    const auto sums = largeAngleSums(x, &quarter);
    const double s = sums.sine + sums.sineRest, c = sums.cosine + sums.cosineRest;
    const double turnedSine = quarter & 1 ? c : s, turnedCosine = quarter & 1 ? s : c;
    *sine = ((quarter >> 1 & 1) != 0) != (x < 0) ? -turnedSine : turnedSine;
    *cosine = (quarter + 1) >> 1 & 1 ? -turnedCosine : turnedCosine;
    return VML_STATUS_OK;
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
