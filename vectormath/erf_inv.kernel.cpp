// The inverse error function: erf(y) = x.
//
// With w = -ln(1 - x^2), y / x is an analytic function of w near the middle and close to sqrt(w) in
// the tails (M. Giles, Approximating the erfinv function, GPU Computing Gems, Jade edition, 2011):
//
//     y = x P(w)  for 1 - x^2 >= 2^-9,    y = x Q(sqrt(w))  beyond,
//
// so one logarithm and one polynomial serve 99.9 % of uniform x, without a branch.  P is nearly a
// line and Q nearly sqrt(w) - 11/64: the accurate rows take these parts in short numbers whose
// product with x is exact, and all that is rounded is a twentieth of the result.
//
// Largest error: VML_HA below 1 ulp, VML_LA below 4 ulp, VML_EP 2^-27 relative.
// In single, VML_HA is the fast row of double, rounded.  Coefficients: tools/vectormath/
// coefficients.py, under the names told.  erfinv(+-1) = +-inf with VML_STATUS_SING, |x| > 1 gives
// NaN with VML_STATUS_ERRDOM.
#include "vectormath/polynomial-inl.h"
#include "vectormath/rows-inl.h"
#include "vectormath/split_exponent-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// The fast rows work in L = log2(1 - x^2): one logarithm on [sqrt(1/2), sqrt(2)] as f times a
// polynomial in f = m - 1, P in L, and Q in sqrt(-L) - tailCenter.
template <class T>
struct FastRow;
template <>
struct FastRow<double> {
    static constexpr double rootHalf = 0x1.6a09e667f3bcdp-1;
    static constexpr double tailBound = 0x1p-9;
    // erf_inv_ep_log2: absolute error 2^-27.2; erf_inv_ep_central: 2^-28.0; erf_inv_ep_tail:
    // 2^-29.1.
    static constexpr double log2[] = {
        1.4426948684319094,  -0.7213471285201889, 0.4809225378001584,
        -0.3607212068100355, 0.28765651054690705, -0.23851904995733755,
        0.21738013416766155, -0.210306220940426,  0.12541448525320675};
    static constexpr double central[] = {
        0.8862269287039417,    -0.1608195017091808,    0.0055496010299627445,
        0.0007791897300303982, -2.778876927636901e-05, -6.285246105358407e-06,
        7.038370284769577e-07, 2.0104293018875258e-07, 1.7060276004663532e-08,
        5.938228821794167e-10, 7.064072638693384e-13,  -3.341500789207829e-13};
    static constexpr double tailCenter = 5;
    static constexpr double tail[] = {
        4.004131937719639,       0.8407464934908989,     0.0006114680141418281,
        -0.00039637180335081774, 0.00011623220870465391, -3.149223889623627e-05,
        1.0662745406485343e-05,  -3.883367705828438e-06, 1.4810407008457945e-06,
        -1.0545620689625471e-06, 5.468050790344858e-07,  -5.834448647426887e-08,
        -4.1354249254776364e-08, 9.894718316071163e-09};
};
template <>
struct FastRow<float> {
    static constexpr float rootHalf = 0x1.6a09e6p-1f;
    static constexpr float tailBound = 0x1p-8f;
    // erf_inv_single_log2: absolute error 2^-24.3; erf_inv_single_central: 2^-24.6;
    // erf_inv_single_tail: 2^-23.2.
    static constexpr float log2[] = {1.4426948f,  -0.72135735f, 0.48093805f, -0.3600786f,
                                     0.28673953f, -0.25018203f, 0.23671143f, -0.1452506f};
    static constexpr float central[] = {
        0.8862269f,     -0.16082008f,   0.0055471566f, 0.0007751938f, -3.107748e-05f,
        -7.823373e-06f, 2.7238838e-07f, 1.279782e-07f, 9.960718e-09f, 2.675728e-10f};
    static constexpr float tailCenter = 3.75f;
    static constexpr float tail[] = {2.9553893f,     0.83561534f,    0.0049131983f,
                                     -0.0030742385f, 0.0018639468f,  -0.0010539223f,
                                     0.00038640955f, -3.796615e-05f, -1.1905169e-05f};
};

// The accurate row.  log_q: error of the logarithm 2^-61.1; relative errors of the rest: 2^-57.8,
// 2^-61.0, 2^-62.0.
constexpr double logQ[] = {0.666666666666681,   0.3999999999901485,  0.2857142881837706,
                           0.22222191656766285, 0.18183890754053642, 0.15306342634585135,
                           0.14867969926842672};
constexpr double central[] = {
    0.010099875183102713,    -0.0020293175744116876, -0.0060336708714268964,
    -0.0007407025341543179,  0.00018673420802003116, -1.3882523394994366e-05,
    -1.3654691762928213e-06, 4.234788183533744e-07,  -2.9070390871269376e-08,
    -4.112661702089711e-09,  1.0512231441333081e-09, -5.4142387326452226e-11,
    -1.2978720317203306e-11, 2.6303117623289183e-12, -8.073970474310418e-14,
    -3.9971894820533423e-14, 6.524612078679733e-15,  -4.669532478229383e-17,
    -1.2250361899682465e-16, 1.6248800866544706e-17, 6.308277389172403e-19,
    -3.9511308367113375e-19, 1.9092774991593912e-20, 4.981995604657386e-21,
    -3.4413254972837807e-22, -2.9442509729931384e-23};
constexpr double tail[] = {0.005760610492220676,    0.005258967694165301,    0.005370914553555177,
                           -0.003751208508214167,   0.0024914420979484557,   -0.00168827553585076,
                           0.0009532893417750308,   -0.0003550378067665501,  2.40315105836897e-05,
                           6.828704994663609e-05,   -4.732066538898744e-05,  1.246541814773801e-05,
                           2.9325162483918497e-06,  -3.987119854636329e-06,  1.4817544664110828e-06,
                           -2.4377952831541842e-08, -2.4573653865861493e-07, 1.2703462922235706e-07,
                           -2.071387619979971e-08,  -1.1723784432141526e-08, 7.608432710433193e-09,
                           -1.2081783071276045e-09};
constexpr double farTail[] = {
    0.02178140140858434,     0.010300464864544856,   -0.00013871931837975058,
    -0.00021503011979874442, 7.599527808445625e-05,  -1.9681771205444646e-05,
    4.526052675629087e-06,   -9.930254043921296e-07, 2.2905189026770485e-07,
    -6.757320263732087e-08,  2.902198139955752e-08,  -1.5212231686650622e-08,
    7.814069139096247e-09,   -3.536922954349873e-09, 1.3261847652196542e-09,
    -3.773324692732626e-10,  6.096475847872686e-11,  1.2087457174003013e-11,
    -1.6342102806215148e-11, 7.025000282690315e-12,  -8.135128438856576e-13,
    -2.1324967073798412e-13};

// 1 - x^2.
template <bool fused = fuses, class D, class V = hn::Vec<D>>
HWY_INLINE V oneMinusSquare(D d, V x) {
    const V one = hn::Set(d, 1);
    if constexpr (fused) return hn::NegMulAdd(x, x, one);
    return hn::Mul(hn::Sub(one, x), hn::Add(one, x));
}

template <bool fused = fuses, class D, class V = hn::Vec<D>>
HWY_INLINE V fastLog2(D d, V u) {
    using Row = FastRow<hn::TFromD<D>>;
    const SplitExponent<hn::TFromD<D>> split(u, Row::rootHalf);
    const V f = hn::Sub(split.m, hn::Set(d, 1));
    return mulAdd<fused>(inTwoChains<fused>(d, f, Row::log2), f, split.e);
}
template <bool fused = fuses, class D, class V = hn::Vec<D>>
HWY_INLINE V fastTailRatio(D d, V log2) {
    using Row = FastRow<hn::TFromD<D>>;
    const V t = hn::Sub(hn::Sqrt(hn::Neg(log2)), hn::Set(d, Row::tailCenter));
    return horner<0, fused>(d, t, Row::tail);
}

template <class D, class V = hn::Vec<D>>
HWY_INLINE V erfInvFast(D d, V x) {
    using Row = FastRow<hn::TFromD<D>>;
    const V u = oneMinusSquare(d, x);
    const V log2 = fastLog2(d, u);
    V ratio = inTwoChains(d, log2, Row::central);
    const auto inTail = hn::Lt(u, hn::Set(d, Row::tailBound));
    if (HWY_UNLIKELY(anyLane<hn::TFromD<D>>(inTail))) {
        ratio = hn::IfThenElse(inTail, fastTailRatio(d, log2), ratio);
    }
    return hn::Mul(x, ratio);
}

// Cuts x to a multiple of 2^-20, |x| < 2^31.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V shortened(D d, V x) {
    const V shifter = hn::Set(d, 0x1.8p32);
    return hn::Sub(hn::Add(x, shifter), shifter);
}

// The same with one rounding, or little more where products are rounded: x = head + low, so 1 -
// head^2 and (x - head)(x + head) lose little.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V oneMinusSquareClosely(D d, V x) {
    if constexpr (fuses) return oneMinusSquare(d, x);
    const V head = highHalf(d, x);
    return hn::Sub(hn::Sub(hn::Set(d, 1), hn::Mul(head, head)),
                   hn::Mul(hn::Sub(x, head), hn::Add(x, head)));
}

// w = -ln(u) as a sum, u from 2^-53 to 1.
template <class D, class V = hn::Vec<D>>
HWY_INLINE HeadAndRest<V> minusLog(D d, V u) {
    const SplitExponent<double> split(u, FastRow<double>::rootHalf);
    // ln m = f - (h - s (h + z q(z))) with h = f^2 / 2, s = f / (2 + f), z = s^2.
    const V f = hn::Sub(split.m, hn::Set(d, 1));
    const V h = hn::Mul(hn::Mul(f, f), hn::Set(d, 0.5));
    const V s = hn::Div(f, hn::Add(f, hn::Set(d, 2)));
    const V z = hn::Mul(s, s);
    const V curve = hn::NegMulAdd(s, hn::MulAdd(z, inTwoChains(d, z, logQ), h), h);
    // ln 2 with 42 bits, so that its multiples are exact, and the rest.
    const V multiple = hn::Mul(split.e, hn::Set(d, -0x1.62e42fefa38p-1));
    const V head = hn::Sub(multiple, f);
    const V lost = hn::Sub(hn::Sub(multiple, head), f);
    return {head, hn::Add(hn::NegMulAdd(split.e, hn::Set(d, 0x1.ef35793c7673p-45), curve), lost)};
}

// y / x as a sum; its head has few enough bits for exact products.
template <class D, class V = hn::Vec<D>>
HWY_INLINE HeadAndRest<V> centralRatio(D d, HeadAndRest<V> w) {
    const V slope = hn::Set(d, 31.0 / 128);
    const V cut = shortened(d, w.head);
    const V t = hn::Sub(hn::Add(w.head, w.rest), hn::Set(d, 3.125));
    return {hn::Add(hn::Mul(slope, cut), hn::Set(d, 227.0 / 256)),
            hn::MulAdd(slope, hn::Add(hn::Sub(w.head, cut), w.rest), inTwoChains(d, t, central))};
}

template <class D, class V = hn::Vec<D>>
HWY_INLINE HeadAndRest<V> tailRatio(D d, HeadAndRest<V> w) {
    const V s = hn::Sqrt(hn::Add(w.head, w.rest));
    const V cut = shortened(d, s);
    const V below = hn::Add(hn::Sub(w.head, hn::Mul(cut, cut)), w.rest);
    const V curve =
        hn::IfThenElse(hn::Lt(s, hn::Set(d, 4)), horner(d, hn::Sub(s, hn::Set(d, 3.25)), tail),
                       horner(d, hn::Sub(s, hn::Set(d, 5)), farTail));
    return {hn::Sub(cut, hn::Set(d, 11.0 / 64)), hn::Add(hn::Div(below, hn::Add(s, cut)), curve)};
}

template <class D, class V = hn::Vec<D>>
HWY_INLINE V erfInvAccurate(D d, V x) {
    const V u = oneMinusSquareClosely(d, x);
    const auto w = minusLog(d, u);
    auto ratio = centralRatio(d, w);
    const auto inTail = hn::Lt(u, hn::Set(d, FastRow<double>::tailBound));
    if (HWY_UNLIKELY(anyLane<hn::TFromD<D>>(inTail))) {
        const auto tails = tailRatio(d, w);
        ratio.head = hn::IfThenElse(inTail, tails.head, ratio.head);
        ratio.rest = hn::IfThenElse(inTail, tails.rest, ratio.rest);
    }
    const V rest = hn::Mul(x, ratio.rest);
    V y;
    if constexpr (fuses) {
        y = hn::MulAdd(x, ratio.head, rest);
    } else {
        const V head = highHalf(d, x);
        const V low = hn::Add(hn::Mul(hn::Sub(x, head), ratio.head), rest);
        y = hn::Add(hn::Mul(head, ratio.head), low);
    }
    return hn::CopySign(y, x);  // for -0
}

template <class Real, Accuracy accuracy>
struct ErfInv;
template <class T>
struct ErfInvBase {
    using Real = T;
    static constexpr const char* name = sizeof(Real) == 8 ? "vdErfInv" : "vsErfInv";
    static constexpr Real filler = 0.5;

    static HWY_INLINE Mask<Real> isOutside(Vec<Real> x) {
        const Tag<Real> d;
        return notMask(hn::Lt(hn::Abs(x), hn::Set(d, 1)));
    }

    // Arguments outside, and next to 0 those of the accurate row: sqrt(pi)/2 x.
    static std::int32_t element(Real x, Real* result) {
        if (x > -1 && x < 1) {
            *result = x * static_cast<Real>(0.886226925452758);
            return VML_STATUS_OK;
        }
        if (x == 1 || x == -1) {
            *result = x / (1 - x * x);
            return VML_STATUS_SING;
        }
        *result = (x - x) / (x - x);
        return x != x ? VML_STATUS_OK : VML_STATUS_ERRDOM;
    }
};

// The accurate row serves VML_LA as well: it is no slower than what 4 ulp would take.
template <Accuracy accuracy>
struct ErfInv<double, accuracy> : ErfInvBase<double> {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        exceptional = isOutside(x);
        const Tag<double> d;
        if constexpr (accuracy == Accuracy::ep) return erfInvFast(d, x);
        // Whose parts times x would be denormals.
        exceptional = orMask(exceptional, hn::Lt(hn::Abs(x), hn::Set(d, 0x1p-1000)));
        return erfInvAccurate(d, x);
    }
};

template <Accuracy accuracy>
struct ErfInv<float, accuracy> : ErfInvBase<float> {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        exceptional = isOutside(x);
        if constexpr (accuracy != Accuracy::ha) return erfInvFast(Tag<float>(), x);
        return throughDouble(x, [](auto d, auto wide) { return erfInvFast(d, wide); });
    }
};

// One formula for all copies, unfused, and so without the central row's logarithm:
//
//     y = sqrt(pi)/2 x + x^3 A(u) / B(u),  u = 1 - x^2 from 2^-8 on,
//
// both with positive coefficients, so that little cancels.  erf_inv_count: relative error 2^-24.9;
// last digits by erf_inv_count_rounding, 3.9 ulp of all singles.
struct ErfInvBaseline : ErfInvBase<float> {
    static constexpr float above[] = {8.553191e-09f, 9.348021e-06f, 0.0015700889f, 0.06185378f,
                                      0.62780744f,   1.5161622f,    0.599162f};
    static constexpr float below[] = {4.4945407e-09f, 6.446306e-06f, 0.001388772f, 0.07319501f,
                                      1.0942136f,     4.7087784f,    5.2190332f,   1};

    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        const Tag<float> d;
        exceptional = isOutside(x);
        const auto u = oneMinusSquare<false>(d, x);
        const auto ratio = hn::Div(horner<0, false>(d, u, above), horner<0, false>(d, u, below));
        const auto cube = hn::Mul(x, hn::Mul(x, x));
        auto y = hn::Add(hn::Mul(x, hn::Set(d, 0.8862269f)), hn::Mul(cube, ratio));
        const auto inTail = hn::Lt(u, hn::Set(d, FastRow<float>::tailBound));
        if (HWY_UNLIKELY(anyLane<float>(inTail))) {
            const auto tails = hn::Mul(x, fastTailRatio<false>(d, fastLog2<false>(d, u)));
            y = hn::IfThenElse(inTail, tails, y);
        }
        return y;
    }
};

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdErfInv = kernelOf<ErfInv, double>();
constinit const VectorKernel<OneToOne<float>> vsErfInv = kernelOf<ErfInv, float>();
constinit const VectorKernel<OneToOne<float>> vsErfInvBaseline = {
    mapOne<ErfInvBaseline>, mapOne<ErfInvBaseline>, mapOne<ErfInvBaseline>};

}  // namespace korvan::KORVAN_COPY
