// Tangent: the quotient of sine and cosine on an eighth of a turn, -1 / tan r in odd quarters.
//
// Largest error: VML_HA below 1 ulp, VML_LA below 4 ulp, VML_EP 2^-26 relative, at every finite
// angle, near zeros and poles too.  An infinite angle gives NaN with VML_STATUS_ERRDOM.
#include "vectormath/angles-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// a / b as y + (a - y b) / b, with one division.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V quotient(D d, HeadAndRest<V> a, HeadAndRest<V> b) {
    const V inverse = hn::Div(hn::Set(d, 1), b.head);
    const V y = hn::Mul(a.head, inverse);
    const V left = hn::Add(residual(d, y, b.head, a.head), hn::NegMulAdd(y, b.rest, a.rest));
    return hn::MulAdd(left, inverse, y);
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
        const auto sums = eighthTurnSums(d, subtractQuartersExactly(d, magnitude, q.number));
        const auto s = normalized(sums.sine, sums.sineRest);
        const auto c = normalized(sums.cosine, sums.cosineRest);
        y = quotient(d, HeadAndRest<V>{exchanged(s.head, c.head), exchanged(s.rest, c.rest)},
                     HeadAndRest<V>{exchanged(c.head, s.head), exchanged(c.rest, s.rest)});
    } else {
        const auto [s, c] =
            eighthTurn<accuracy>(d, subtractQuarters<accuracy>(d, magnitude, q.number));
        y = hn::Div(exchanged(s, c), exchanged(c, s));
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
        if constexpr (isThroughDouble<Real, accuracy>) {
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
