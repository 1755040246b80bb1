// Tangent: on an eighth of a turn a quotient, -1 / tan r in odd quarters.
//
// VML_HA divides sine by cosine, both as sums.  The others take two short polynomials, half the
// work, since a division is to be paid anyway.
//
// Largest error: VML_HA below 1 ulp, VML_LA below 4 ulp, VML_EP 2^-35 relative (single
// 2^-13.8), at every finite angle, near zeros and poles too.  An infinite angle gives NaN with
// VML_STATUS_ERRDOM.
#include "vectormath/angles-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// tan r = r (1 + z A(z)) / (1 + z B(z)), z = r^2.  tangent_la: relative error 2^-55.1.
template <class Real, Accuracy>
struct TangentQuotient {
    static constexpr double above[] = {-0.1282824890643331, 0.002805808887433917,
                                       -7.482575011520625e-06};
    static constexpr double below[] = {-0.46161582239766447, 0.02334441635326337,
                                       -0.00020843234075222783};
};
// tangent_ep: 2^-35.2.
template <>
struct TangentQuotient<double, Accuracy::ep> {
    static constexpr double above[] = {-0.11135524872951501, 0.00107472521561136};
    static constexpr double below[] = {-0.4446885808710801, 0.01597090144506916};
};
// tangent_single: 2^-26.7.
template <Accuracy accuracy>
struct TangentQuotient<float, accuracy> {
    static constexpr float above[] = {-0.111355245f, 0.0010747252f};
    static constexpr float below[] = {-0.4446886f, 0.0159709f};
};

// a / b as y + (a - y b) / b, with one division.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V quotient(D d, HeadAndRest<V> a, HeadAndRest<V> b) {
    const V inverse = hn::Div(hn::Set(d, 1), b.head);
    const V y = hn::Mul(a.head, inverse);
    const V left = hn::Add(residual(d, y, b.head, a.head), hn::NegMulAdd(y, b.rest, a.rest));
    return hn::MulAdd(left, inverse, y);
}

// What subtractQuarters rounds twice is too much for VML_LA where the quotient rounds so often.
template <Accuracy accuracy, class D, class V = hn::Vec<D>>
HWY_INLINE V reducedForQuotient(D d, V x, V q) {
    if constexpr (accuracy == Accuracy::la && sizeof(hn::TFromD<D>) == 8 && !fuses) {
        const auto r = subtractQuartersExactly(d, x, q);
        return hn::Add(r.head, r.rest);
    } else {
        return subtractQuarters<accuracy>(d, x, q);
    }
}

template <Accuracy accuracy, class D, class V = hn::Vec<D>>
HWY_INLINE V tangent(D d, V x) {
    using Quarter = QuarterTurn<hn::TFromD<D>>;
    using Word = hn::TFromD<hn::RebindToUnsigned<D>>;
    const hn::RebindToUnsigned<D> words;
    const V magnitude = hn::Abs(x);
    const auto q = roundToInteger(d, hn::Mul(magnitude, hn::Set(d, Quarter::inverse)));
    const auto isOdd = hn::RebindMask(d, hn::TestBit(q.bits, hn::Set(words, Word{1})));
    const auto exchanged = [&](V one, V other) { return hn::IfThenElse(isOdd, other, one); };
    V y;
    if constexpr (accuracy == Accuracy::ha) {
        const auto sums = eighthTurnSums<true>(d, subtractQuartersExactly(d, magnitude, q.number));
        const auto s = normalized(sums.sine, sums.sineRest);
        const auto c = normalized(sums.cosine, sums.cosineRest);
        y = quotient(d, HeadAndRest<V>{exchanged(s.head, c.head), exchanged(s.rest, c.rest)},
                     HeadAndRest<V>{exchanged(c.head, s.head), exchanged(c.rest, s.rest)});
    } else {
        using Quotient = TangentQuotient<hn::TFromD<D>, accuracy>;
        const V r = reducedForQuotient<accuracy>(d, magnitude, q.number);
        const V z = hn::Mul(r, r);
        const V above = hn::MulAdd(hn::Mul(r, z), horner(d, z, Quotient::above), r);
        const V below = hn::MulAdd(z, horner(d, z, Quotient::below), hn::Set(d, 1));
        y = hn::Div(exchanged(above, below), exchanged(below, above));
    }
    const auto oddSign = hn::ShiftLeft<sizeof(Word) * 8 - 1>(q.bits);
    return hn::Xor3(y, hn::BitCast(d, oddSign), hn::Xor(x, magnitude));
}

// At a finite angle of any size.
double scalarTangent(double x) {
    const hn::CappedTag<double, 1> d;
    using V = hn::Vec<decltype(d)>;
    int quarter;
    const auto sums = largeAngleSums(x, &quarter);
    const auto s = normalized(hn::Set(d, sums.sine), hn::Set(d, sums.sineRest));
    const auto c = normalized(hn::Set(d, sums.cosine), hn::Set(d, sums.cosineRest));
    const V y = quarter & 1 ? hn::Neg(quotient(d, c, s)) : quotient(d, s, c);
    return x < 0 ? -hn::GetLane(y) : hn::GetLane(y);
}

template <class T, Accuracy accuracy>
struct Tan {
    using Real = T;
    static constexpr const char* name = sizeof(Real) == 8 ? "vdTan" : "vsTan";
    static constexpr Real filler = 0.75;

    HWY_INLINE Vec<Real> operator()(Vec<Real> x, Mask<Real>& exceptional) const {
        exceptional = isBeyondReach<Real, accuracy>(x);
        if constexpr (isWidened<Real, accuracy>) {
            return throughDouble(x,
                                 [](auto d, auto wide) { return tangent<Accuracy::ep>(d, wide); });
        } else {
            return tangent<accuracy>(Tag<Real>(), x);
        }
    }

    static std::int32_t element(Real x, Real* result) {
        if (!(x - x == 0)) {
            *result = x - x;
            return x != x ? VML_STATUS_OK : VML_STATUS_ERRDOM;
        }
        *result = static_cast<Real>(scalarTangent(static_cast<double>(x)));
        return VML_STATUS_OK;
    }
};

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdTan = kernelOf<Tan, double>();
constinit const VectorKernel<OneToOne<float>> vsTan = kernelOf<Tan, float>();

}  // namespace korvan::KORVAN_COPY
