// Powers x^y: with an exponent for each element, and with one for all.
//
// The accurate form is e^(y ln x) with ln x to about 68 bits: ln x = e ln 2 - ln c + ln(1 + r),
// with c a short reciprocal of x's mantissa from a table and r = m c - 1 exact (P.-T. P. Tang,
// Table-driven implementation of the logarithm function, ACM TOMS 16 (1990) 378-400).  The fast
// form is 2^(y log2 x) with log2 x from the series in (m - 1) / (m + 1), to 43 bits.
//
// Largest error: VML_HA and VML_LA below 1 ulp, VML_EP 2^-28 relative.  In single all rows are the
// fast form, rounded.  Special values are C99's (Annex F.9.4.4): x^0 = 1^y = 1 for NaN too.
// Statuses: a negative x with a fractional y gives NaN with VML_STATUS_ERRDOM; 0 with a negative y
// +-inf with VML_STATUS_SING; results beyond the range +-inf with VML_STATUS_OVERFLOW, below the
// least normal number VML_STATUS_UNDERFLOW.
#include "vectormath/float_bits.h"
#include "vectormath/polynomial-inl.h"
#include "vectormath/pow_table.h"
#include "vectormath/rows-inl.h"
#include "vectormath/split_exponent-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr double leastNormal = 0x1p-1022, largest = 0x1.fffffffffffffp+1023;

// tools/vectormath/coefficients.py: pow_ln, error 2^-72.7; pow_exp, 2^-57.7.
constexpr double lnRest[] = {0.3333333333333333,  -0.25000000000000777, 0.20000000000224127,
                             -0.1666666660787733, 0.1428570720340043,   -0.12501365042922136,
                             0.11176584548924706};
constexpr double expRest[] = {
    0.5000000000000011,     0.1666666666666643,    0.041666666666525645,   0.008333333333479616,
    0.0013888888944936814,  0.0001984126954692767, 2.4801491629020746e-05, 2.7557542899577817e-06,
    2.7630812427112915e-07, 2.501623646212807e-08};
// pow_ep_log2, 2^-43.6; pow_ep_exp2, 2^-29.0.
constexpr double log2OverS[] = {2.8853900817778495,  0.961796694113961,   0.5770779421989853,
                                0.41220926793963414, 0.31990510050959364, 0.2829081658864502};
constexpr double exp2Fast[] = {1.0000000005585505,   0.6931472058792507,   0.24022646867139416,
                               0.05550328457399101,  0.009618490489141913, 0.0013400062179084959,
                               0.0001534567232585715};

// ln 2 with 42 bits behind the point, so that its multiples are exact, and the rest.
constexpr double ln2High = 0x1.62e42fefa3800p-1, ln2Low = 0x1.ef35793c76730p-45;
constexpr double inverseLn2 = 0x1.71547652b82fep+0;

// x = 2^exponent mantissa, the mantissa in interval `row` of the table; x positive and normal.
template <class D>
struct TableScaled {
    hn::Vec<D> exponent, mantissa;
    hn::Vec<hn::RebindToSigned<D>> row;
};
template <class D, class V = hn::Vec<D>>
HWY_INLINE TableScaled<D> takeApartForTable(D d, V x) {
    constexpr double base = 0x1p52;  // below its exponent, an integer is that number and itself
    const hn::RebindToUnsigned<D> words;
    const auto shifted =
        hn::Add(hn::BitCast(words, x), hn::Set(words, bitsOf(1.0) - powTableFirst));
    const auto biased =
        hn::BitCast(d, hn::Or(hn::ShiftRight<52>(shifted), hn::Set(words, bitsOf(base))));
    const auto fraction = hn::And(shifted, hn::Set(words, 0xFFFFFFFFFFFFF));
    return {hn::Sub(biased, hn::Set(d, base + 1023)),
            hn::BitCast(d, hn::Add(fraction, hn::Set(words, powTableFirst))),
            hn::BitCast(hn::RebindToSigned<D>(), hn::ShiftRight<powTableShift>(fraction))};
}

template <class V>
struct TableValues {
    V inverse, lnHigh, lnLow;
};

// The table's rows, one for each lane.
template <class D, class V = hn::Vec<D>, class Rows>
HWY_INLINE TableValues<V> lookUp(D d, Rows rows) {
#if HWY_TARGET <= HWY_AVX2
    // Whole rows and a transposition take a third of the time of gather instructions.
    if constexpr (hn::MaxLanes(d) >= 4) {
        constexpr std::size_t count = hn::MaxLanes(d);
        const hn::RebindToSigned<D> integers;
        const hn::CappedTag<double, 4> quarter;
        std::int64_t at[count];
        hn::StoreU(rows, integers, at);
        const auto row = [&](std::size_t lane) {
            return hn::LoadU(quarter, &powTable[at[lane]].inverse);
        };
        const auto rowPair = [&](std::size_t lane) {
            if constexpr (count == 4)
                return row(lane);
            else
                return hn::Combine(d, row(lane + 4), row(lane));
        };
        const V r0 = rowPair(0), r1 = rowPair(1), r2 = rowPair(2), r3 = rowPair(3);
        const V even01 = hn::InterleaveLower(d, r0, r1), even23 = hn::InterleaveLower(d, r2, r3);
        const V odd01 = hn::InterleaveUpper(d, r0, r1), odd23 = hn::InterleaveUpper(d, r2, r3);
        return {hn::OddEvenBlocks(hn::SwapAdjacentBlocks(even23), even01),
                hn::OddEvenBlocks(hn::SwapAdjacentBlocks(odd23), odd01),
                hn::OddEvenBlocks(even23, hn::SwapAdjacentBlocks(even01))};
    }
#endif
    const auto at = hn::ShiftLeft<2>(rows);
    return {hn::GatherIndex(d, &powTable[0].inverse, at),
            hn::GatherIndex(d, &powTable[0].lnHigh, at),
            hn::GatherIndex(d, &powTable[0].lnLow, at)};
}

// ln x with a relative error below 2^-66.
template <bool fused, class D, class V = hn::Vec<D>>
HWY_INLINE HeadAndRest<V> lnSum(D d, const TableScaled<D>& x) {
    const auto [inverse, lnHigh, lnLow] = lookUp(d, x.row);
    const V one = hn::Set(d, 1), half = hn::Set(d, 0.5);
    V r;
    if constexpr (fused) {
        r = hn::MulSub(x.mantissa, inverse, one);
    } else {
        const V m = highHalf(d, x.mantissa);
        r = hn::Add(hn::Sub(hn::Mul(m, inverse), one), hn::Mul(hn::Sub(x.mantissa, m), inverse));
    }
    // e ln 2 - ln c + r - r^2/2, each sum with its error; the first is exact.
    const V multiple = mulAdd<fused>(x.exponent, hn::Set(d, ln2High), lnHigh);
    const auto first = normalized(multiple, r);
    const V square = hn::Mul(r, r);
    const auto second = normalized(first.head, hn::Neg(hn::Mul(square, half)));
    V rest = mulAdd<fused>(x.exponent, hn::Set(d, ln2Low), lnLow);
    rest = mulAdd<fused>(half, residual<fused>(d, r, r, square), rest);
    rest = hn::Add(rest, hn::Add(first.rest, second.rest));
    rest = mulAdd<fused>(hn::Mul(r, square), horner<0, fused>(d, r, lnRest), rest);
    return normalized(second.head, rest);
}

template <bool fused, class D, class V = hn::Vec<D>>
HWY_INLINE HeadAndRest<V> times(D d, HeadAndRest<V> x, V y) {
    const V product = hn::Mul(x.head, y);
    return {product, hn::Sub(hn::Mul(x.rest, y), residual<fused>(d, x.head, y, product))};
}

// e^x = 2^n (head + rest); n stands at the low end of `words`.
template <class D>
struct ScaledPower {
    hn::Vec<D> head, rest;
    hn::Vec<hn::RebindToUnsigned<D>> words;
};
template <bool fused, class D, class V = hn::Vec<D>>
HWY_INLINE ScaledPower<D> expOfSum(D d, HeadAndRest<V> x) {
    const V shifter = hn::Set(d, 0x1.8p52);
    const V sum = mulAdd<fused>(x.head, hn::Set(d, inverseLn2), shifter);
    const V n = hn::Sub(sum, shifter);
    const V reduced = negMulAdd<fused>(n, hn::Set(d, ln2High), x.head);  // exact
    const V r = hn::Add(reduced, negMulAdd<fused>(n, hn::Set(d, ln2Low), x.rest));
    const V lost = hn::Sub(negMulAdd<fused>(n, hn::Set(d, ln2Low), x.rest), hn::Sub(r, reduced));
    // 1 + r + r^2 P(r)
    const auto line = normalized(hn::Set(d, 1), r);
    const V rest =
        mulAdd<fused>(hn::Mul(r, r), horner<0, fused>(d, r, expRest), hn::Add(line.rest, lost));
    return {line.head, rest, hn::BitCast(hn::RebindToUnsigned<D>(), sum)};
}

// 2^n y, y and the product normal; n at the low end of `words`.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V timesPowerOfTwo(D d, V y, hn::Vec<hn::RebindToUnsigned<D>> n) {
    const hn::RebindToUnsigned<D> words;
    return hn::BitCast(d, hn::Add(hn::BitCast(words, y), hn::ShiftLeft<52>(n)));
}

template <class D, class V = hn::Vec<D>>
HWY_INLINE hn::Mask<D> isNotPositiveNormal(D d, V x) {
    return orMask(hn::Lt(x, hn::Set(d, leastNormal)), notMask(hn::Le(x, hn::Set(d, largest))));
}

// x^y for positive normal x and a result well inside the range; else `isBad` becomes true.
template <bool fused, class D, class V = hn::Vec<D>>
HWY_INLINE V powAccurate(D d, V x, V y, hn::Mask<D>& isBad) {
    const auto exponent = times<fused>(d, lnSum<fused>(d, takeApartForTable(d, x)), y);
    isBad =
        orMask(isNotPositiveNormal(d, x), notMask(hn::Lt(hn::Abs(exponent.head), hn::Set(d, 708))));
    const auto power = expOfSum<fused>(d, exponent);
    return timesPowerOfTwo(d, hn::Add(power.head, power.rest), power.words);
}

// The same to 28 bits, for |log2 x^y| < bound.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V powFast(D d, V x, V y, double bound, hn::Mask<D>& isBad) {
    const SplitExponent<double> split(x, 0x1.6a09e667f3bcdp-1);
    const V one = hn::Set(d, 1);
    const V s = hn::Div(hn::Sub(split.m, one), hn::Add(split.m, one));
    const V log2 = hn::MulAdd(s, horner(d, hn::Mul(s, s), log2OverS), split.e);
    const V product = hn::Mul(log2, y);
    isBad = orMask(isNotPositiveNormal(d, x), notMask(hn::Lt(hn::Abs(product), hn::Set(d, bound))));
    const V shifter = hn::Set(d, 0x1.8p52);
    const V sum = hn::Add(product, shifter);
    const V f = hn::Sub(product, hn::Sub(sum, shifter));
    return timesPowerOfTwo(d, horner(d, f, exp2Fast), hn::BitCast(hn::RebindToUnsigned<D>(), sum));
}

// ---- Exceptional elements ----

enum class Parity { even, odd, fractional };

HWY_INLINE Parity parityOf(double y) {
    const double size = y < 0 ? -y : y;
    if (size >= 0x1p53) return Parity::even;
    const auto whole = static_cast<std::int64_t>(size);
    if (static_cast<double>(whole) != size) return Parity::fractional;
    return whole & 1 ? Parity::odd : Parity::even;
}

HWY_INLINE double twoTo(std::int64_t n) {
    return doubleOf(static_cast<std::uint64_t>(n + 1023) << 52);
}

// 2^n (head + rest) for n from -1080 to 1024, head near 1: rounded once, denormals too.
double scaledPower(double head, double rest, std::int64_t n) {
    const double y = head + rest;
    if (n > 1000) return y * 0x1p1000 * twoTo(n - 1000);
    // What becomes 2^-1022: added, it puts the last place of y where a denormal has it.
    const double bound = n > -1020 ? 0 : twoTo(-1022 - n);
    if (y >= bound) return n > -1000 ? y * twoTo(n) : y * 0x1p-1000 * twoTo(n + 1000);
    const double sum = bound + head;
    const double rounded = sum + ((head - (sum - bound)) + rest);
    return (rounded - bound) * 0x1p-1000 * twoTo(n + 1000);
}

// x^y for positive finite x and finite y.
template <bool fused>
std::int32_t positivePower(double x, double y, double* result) {
    const hn::CappedTag<double, 1> d;
    const bool isDenormal = x < leastNormal;
    auto parts = takeApartForTable(d, hn::Set(d, isDenormal ? x * 0x1p54 : x));
    if (isDenormal) parts.exponent = hn::Sub(parts.exponent, hn::Set(d, 54));
    const auto ln = lnSum<fused>(d, parts);
    // Far beyond the range, before products overflow on the way.
    const double exponent = hn::GetLane(ln.head) * y;
    if (exponent > 710) {
        volatile double huge = largest;
        *result = huge * huge;
        return VML_STATUS_OVERFLOW;
    }
    if (exponent < -746) {
        volatile double tiny = leastNormal;
        *result = tiny * tiny;
        return VML_STATUS_UNDERFLOW;
    }
    const auto power = expOfSum<fused>(d, times<fused>(d, ln, hn::Set(d, y)));
    const auto n = static_cast<std::int64_t>(hn::GetLane(power.words) << 13) >> 13;
    *result = scaledPower(hn::GetLane(power.head), hn::GetLane(power.rest), n);
    return *result > largest       ? VML_STATUS_OVERFLOW
           : *result < leastNormal ? VML_STATUS_UNDERFLOW
                                   : VML_STATUS_OK;
}

template <bool fused>
std::int32_t powElement(double x, double y, double* result) {
    constexpr double infinity = __builtin_inf();
    *result = 1;
    if (y == 0 || x == 1) return VML_STATUS_OK;
    *result = x + y;
    if (x != x || y != y) return VML_STATUS_OK;
    const Parity parity = parityOf(y);
    const bool isNegative = bitsOf(x) >> 63;
    const double sign = isNegative && parity == Parity::odd ? -1 : 1;
    const double size = isNegative ? -x : x;
    if (size == 0) {
        *result = sign * (y > 0 ? 0 : 1 / size);
        return y > 0 ? VML_STATUS_OK : VML_STATUS_SING;
    }
    if (size == infinity || y == infinity || y == -infinity) {
        const bool grows = (size > 1) == (y > 0);
        *result = size == 1 ? 1 : sign * (grows ? infinity : 0);
        return VML_STATUS_OK;
    }
    if (isNegative && parity == Parity::fractional) {
        *result = (x - x) / (x - x);
        return VML_STATUS_ERRDOM;
    }
    const std::int32_t code = positivePower<fused>(size, y, result);
    *result *= sign;
    return code;
}

std::int32_t powElement(float x, float y, float* result) {
    double wide;
    std::int32_t code = powElement<fuses>(static_cast<double>(x), static_cast<double>(y), &wide);
    *result = static_cast<float>(wide);
    const double size = wide < 0 ? -wide : wide;
    // Zeros and infinities that are results of their arguments have come with a status of their
    // own.
    if (code == VML_STATUS_OK && size <= largest && size > 0) {
        if (size >= 0x1.ffffffp+127) code = VML_STATUS_OVERFLOW;
        if (size < 0x1p-126) code = VML_STATUS_UNDERFLOW;
    }
    return code;
}

// ---- Rows ----

template <Accuracy accuracy, bool fused>
struct Pow {
    using Real = double;
    static constexpr const char* name = "vdPow";
    static constexpr Real filler = 0.75;

    static HWY_INLINE Vec<double> power(Vec<double> x, Vec<double> y, Mask<double>& exceptional) {
        const Tag<double> d;
        Vec<double> result;
        if constexpr (accuracy == Accuracy::ep) {
            result = powFast(d, x, y, 1021, exceptional);
        } else {
            result = powAccurate<fused>(d, x, y, exceptional);
        }
        return result;
    }
    HWY_INLINE Vec<double> operator()(Vec<double> x, Vec<double> y,
                                      Mask<double>& exceptional) const {
        return power(x, y, exceptional);
    }
    static std::int32_t element(double x, double y, double* result) {
        return powElement<fused>(x, y, result);
    }
};

template <Accuracy accuracy, bool fused>
struct Powx {
    using Real = double;
    static constexpr const char* name = "vdPowx";
    static constexpr Real filler = 0.75;
    Real parameter;

    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        const auto y = hn::Set(Tag<double>(), parameter);
        return Pow<accuracy, fused>::power(x, y, exceptional);
    }
    std::int32_t element(double x, double* result) const {
        return powElement<fused>(x, parameter, result);
    }
};

struct SinglePowx {
    using Real = float;
    static constexpr const char* name = "vsPowx";
    static constexpr Real filler = 0.75f;
    Real parameter;

    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        const double y = static_cast<double>(parameter);
        const auto result = throughDouble(x, [y](auto d, auto wide) {
            hn::Mask<decltype(d)> isBad;
            const auto power = powFast(d, wide, hn::Set(d, y), 125.5, isBad);
            return hn::IfThenElse(isBad, hn::NaN(d), power);
        });
        exceptional = hn::IsNaN(result);
        return result;
    }
    std::int32_t element(float x, float* result) const { return powElement(x, parameter, result); }
};

constexpr Accuracy la = rowOf<double>(Accuracy::la), ha = rowOf<double>(Accuracy::ha),
                   ep = rowOf<double>(Accuracy::ep);

}  // namespace

constinit const VectorKernel<Power<double>> vdPow = {mapTwo<Pow<la, fuses>>, mapTwo<Pow<ha, fuses>>,
                                                     mapTwo<Pow<ep, fuses>>};
constinit const VectorKernel<FixedPower<double>> vdPowx = {mapWithParameter<Powx<la, fuses>>,
                                                           mapWithParameter<Powx<ha, fuses>>,
                                                           mapWithParameter<Powx<ep, fuses>>};
constinit const VectorKernel<Power<double>> vdPowBaseline = {mapTwo<Pow<Accuracy::ha, false>>,
                                                             mapTwo<Pow<Accuracy::ha, false>>,
                                                             mapTwo<Pow<Accuracy::ha, false>>};
constinit const VectorKernel<FixedPower<double>> vdPowxBaseline = {
    mapWithParameter<Powx<Accuracy::ha, false>>, mapWithParameter<Powx<Accuracy::ha, false>>,
    mapWithParameter<Powx<Accuracy::ha, false>>};
constinit const VectorKernel<FixedPower<float>> vsPowx = {
    mapWithParameter<SinglePowx>, mapWithParameter<SinglePowx>, mapWithParameter<SinglePowx>};

}  // namespace korvan::KORVAN_COPY
