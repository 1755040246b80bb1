// Exponential, double.
//
// Overflow gives inf with status 3; a denormal or zero result status 4; exp(-inf) = 0, exp(inf) =
// inf and exp(NaN) = NaN none.
#include "vectormath/array_loop-inl.h"
#include "vectormath/float_bits.h"
#include "vectormath/ln_exp_tables.h"

namespace korvan::KORVAN_COPY {
namespace {

// x = N ln2/64 + r; 2^(N/64) from the table.
constexpr double invL = 92.33248261689366, lHi = 0.010830424696223417, lLo = 2.572804622327669e-14;
constexpr double shifter = 6755399441055744.0;

// In magnitude, results from here on aren't normal numbers: the next number above
// 708.3956308822137 whose low half is 0.
constexpr double firstSlow = doubleOf(0x4086232B00000000);
static_assert(firstSlow > 708.3956308822137);

HWY_INLINE double powerOf2(std::int64_t exponent) {
    return doubleOf(static_cast<std::uint64_t>(exponent + 1023) << 52);
}

// A denormal result u 2^(E + 60), with u = f hi + m in full precision, rounded once.
HWY_INLINE double denormalExp(double hi, double m, std::int64_t exponent) {
    constexpr double g = 8.673617379884035e-19;  // 2^-60
    const double f = powerOf2(exponent + 60);
    m *= f;
    const double u = f * hi + m;
    if (exponent + 60 + 1023 <= 50) return u * g;
    const double uh = (u + u * 6442450944.0) - u * 6442450944.0;
    return uh * g + (((f * hi - u) + m) + (u - uh)) * g;
}

std::int32_t scalarExpElement(double x, double* result) {
    const std::uint64_t biasedExponent = bitsOf(x) >> 52 & 0x7FF;
    if (biasedExponent == 0x7FF) {
        *result = bitsOf(x) == bitsOf(-__builtin_inf()) ? 0 : x * x;
        return VML_STATUS_OK;
    }
    if (biasedExponent < 971) {
        *result = 1 + x;
        return VML_STATUS_OK;
    }
    if (x > 709.782712893384) {
        volatile double huge = 1.7976931348623157e+308;
        *result = huge * huge;
        return VML_STATUS_OVERFLOW;
    }
    if (x < -745.1332191019411) {
        volatile double tiny = 2.2250738585072014e-308;
        *result = tiny * tiny;
        return VML_STATUS_UNDERFLOW;
    }
    const double w = x * invL + shifter, N = w - shifter;
    const auto n = static_cast<std::int64_t>(N);
    const ExpTableRow& row = expTable[n & 63];
    const std::int64_t exponent = n >> 6;
    const double r = (x - N * lHi) - N * lLo;
    const double p =
        (((0.0013888870459233254 * r + 0.008333341995140497) * r + 0.04166666666677052) * r +
         0.1666666666665788) *
            r +
        0.5;
    const double m = (p * r * r + r) * row.hi + row.lo;
    if (x < -708.3964185322641) {
        *result = denormalExp(row.hi, m, exponent);
        return VML_STATUS_UNDERFLOW;
    }
    const double z = m + row.hi;
    *result = exponent == 1024 ? z * powerOf2(1023) * 2 : z * powerOf2(exponent);
    return VML_STATUS_OK;
}

struct ExpBase {
    using Real = double;
    static constexpr const char* name = "vdExp";
    static constexpr Real filler = 0.75;
    static std::int32_t element(Real x, Real* result) { return scalarExpElement(x, result); }
};

HWY_INLINE Mask<double> isSlow(Vec<double> x) {
    const Tag<double> tag;
    return notMask(hn::Lt(hn::Abs(x), hn::Set(tag, firstSlow)));  // true for NaN
}

// The same roundings in every copy.  The coefficients serve r up to ln2/128 in magnitude.
struct ExpBaseline : ExpBase {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        constexpr double e2 = 0.4999999999994775, e3 = 0.1666666666667797, e4 = 0.04166672368662385,
                         e5 = 0.00833333416441411;
        const Tag<double> tag;
        const hn::RebindToUnsigned<Tag<double>> bitsTag;
        const hn::RebindToSigned<Tag<double>> indexTag;
        const auto constant = [&](double value) { return hn::Set(tag, value); };
        exceptional = isSlow(x);

        const auto w = hn::Add(hn::Mul(x, constant(invL)), constant(shifter));
        const auto N = hn::Sub(w, constant(shifter));
        const auto j = hn::And(hn::BitCast(bitsTag, w), hn::Set(bitsTag, 63u));
        const auto exponent = hn::AndNot(hn::Set(bitsTag, 63u), hn::BitCast(bitsTag, w));
        const auto index = hn::BitCast(indexTag, hn::Add(j, j));
        const auto hi = hn::GatherIndex(tag, &expTable[0].hi, index);
        const auto lo = hn::GatherIndex(tag, &expTable[0].lo, index);

        const auto r = hn::Sub(hn::Sub(x, hn::Mul(N, constant(lHi))), hn::Mul(N, constant(lLo)));
        // p = r + r^2 (((e5 r + e4) r + e3) r + e2)
        auto q = hn::Add(hn::Mul(constant(e5), r), constant(e4));
        q = hn::Add(hn::Mul(q, r), constant(e3));
        q = hn::Add(hn::Mul(q, r), constant(e2));
        const auto p = hn::Add(r, hn::Mul(hn::Mul(r, r), q));
        const auto y = hn::Add(hn::Add(hn::Mul(hi, p), lo), hi);
        // N/64's integer part goes to the exponent.
        return hn::BitCast(tag, hn::Add(hn::BitCast(bitsTag, y), hn::ShiftLeft<46>(exponent)));
    }
};

void expBaseline(std::int32_t n, const double* in, double* out) {
    overArray(ExpBaseline(), n, in, out);
}

// Half the digits without fused operations, where few operations count and a gather is some loads:
// x = N ln2/128 + r, e^x = 2^(N/128) (1 + r + c2 r^2).
struct ExpOfFineTable : ExpBase {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        constexpr double c2 = 0.49999908361121337;
        const Tag<double> tag;
        const hn::RebindToUnsigned<Tag<double>> bitsTag;
        const auto constant = [&](double value) { return hn::Set(tag, value); };
        exceptional = isSlow(x);

        const auto w = hn::MulAdd(x, constant(184.6649652337873), constant(shifter));
        const auto N = hn::Sub(w, constant(shifter));
        const auto fraction = hn::Set(bitsTag, 127u);
        const auto j = hn::And(hn::BitCast(bitsTag, w), fraction);
        const auto power =
            hn::GatherIndex(tag, fineExpTable, hn::BitCast(hn::RebindToSigned<Tag<double>>(), j));
        const auto r = hn::NegMulAdd(N, constant(0.0054152123481245725), x);
        const auto p = hn::MulAdd(hn::Mul(r, r), constant(c2), r);
        const auto y = hn::MulAdd(power, p, power);
        const auto exponent = hn::AndNot(fraction, hn::BitCast(bitsTag, w));
        return hn::BitCast(tag, hn::Add(hn::BitCast(bitsTag, y), hn::ShiftLeft<45>(exponent)));
    }
};

#if HWY_TARGET == HWY_SCALAR

using HalfRow = ExpOfFineTable;
using FullRow = ExpBaseline;

#else

enum class Digits { half, full };

#    if HWY_TARGET <= HWY_AVX3

// x = N ln2 + r, N a multiple of 1/16: e^x = 2^N (1 + p(r)), the fraction of N from a table and its
// whole part by the scaling instruction.
template <Digits digits>
struct Exp : ExpBase {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        const Tag<double> tag;
        const auto constant = [&](double value) { return hn::Set(tag, value); };
        constexpr double sixteenths = 0x1.8p48;  // rounds to them, the last bits count them
        constexpr double log2e = 1.4426950408889634;
        exceptional = isSlow(x);

        if constexpr (digits == Digits::half) {
            // r from 0 to ln2/16.
            constexpr double c1 = 1.000000863624094, c2 = 0.4999005827986578,
                             c3 = 0.17032218485319242;
            const Vec<double> w{_mm512_fmadd_round_pd(x.raw, constant(log2e).raw,
                                                      constant(sixteenths).raw,
                                                      _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC)};
            const auto N = hn::Sub(w, constant(sixteenths));
            const auto r = hn::NegMulAdd(N, constant(0.6931471805599453), x);
            const auto q = hn::MulAdd(r, hn::MulAdd(r, constant(c3), constant(c2)), constant(c1));
            const auto power = entry(wideExpTable.hi, w);
            const auto y = hn::MulAdd(hn::Mul(power, r), q, power);
            return {_mm512_scalef_pd(y.raw, N.raw)};
        } else {
            // tools/minimax.py '(exp(r)-1-r)/r**2' 'r**2' '-log(2)/32' 'log(2)/32' 4
            constexpr double c2 = 0.5000000000000006, c3 = 0.16666666664417878,
                             c4 = 0.041666666659618136, c5 = 0.008333471923323536,
                             c6 = 0.0013889129531889513;
            const auto w = hn::MulAdd(x, constant(log2e), constant(sixteenths));
            const auto N = hn::Sub(w, constant(sixteenths));
            const auto r =
                hn::NegMulAdd(N, constant(wideLn2Lo), hn::NegMulAdd(N, constant(wideLn2Hi), x));
            const auto r2 = hn::Mul(r, r);
            const auto q = hn::MulAdd(
                r2, hn::MulAdd(r2, constant(c6), hn::MulAdd(r, constant(c5), constant(c4))),
                hn::MulAdd(r, constant(c3), constant(c2)));
            const auto power = entry(wideExpTable.hi, w);
            const auto small = hn::MulAdd(power, hn::MulAdd(r2, q, r), entry(wideExpTable.lo, w));
            return {_mm512_scalef_pd(hn::Add(power, small).raw, N.raw)};
        }
    }

  private:
    static HWY_INLINE Vec<double> entry(const double (&column)[16], Vec<double> w) {
        return {_mm512_permutex2var_pd(_mm512_load_pd(column), _mm512_castpd_si512(w.raw),
                                       _mm512_load_pd(column + 8))};
    }
};

#    else

// x = N ln2 + r with r at most ln2/2 in magnitude: e^x = 2^N (1 + r + r^2 q(r)).
template <Digits digits>
struct Exp : ExpBase {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        const Tag<double> tag;
        const hn::RebindToUnsigned<Tag<double>> bitsTag;
        const auto constant = [&](double value) { return hn::Set(tag, value); };
        exceptional = isSlow(x);

        const auto w = hn::MulAdd(x, constant(1.4426950408889634), constant(shifter));
        const auto N = hn::Sub(w, constant(shifter));
        const auto r =
            hn::NegMulAdd(N, constant(wideLn2Lo), hn::NegMulAdd(N, constant(wideLn2Hi), x));
        const auto r2 = hn::Mul(r, r);
        const auto pair = [&](double low, double high) {
            return hn::MulAdd(constant(high), r, constant(low));
        };
        Vec<double> y;
        // q: tools/minimax.py '(exp(r)-1-r)/r**2' 'r**2' '-log(2)/2' 'log(2)/2' DEGREE, 4 and 9
        if constexpr (digits == Digits::half) {
            constexpr double c2 = 0.5000000095094231, c3 = 0.16666518898078167,
                             c4 = 0.04166620591308616, c5 = 0.008368882335255177,
                             c6 = 0.0013950487285696522;
            const auto q = hn::MulAdd(r2, hn::MulAdd(r2, constant(c6), pair(c4, c5)), pair(c2, c3));
            y = hn::Add(constant(1), hn::MulAdd(r2, q, r));
        } else {
            constexpr double c2 = 0.5000000000000012, c3 = 0.166666666666667,
                             c4 = 0.04166666666651552, c5 = 0.008333333333307229,
                             c6 = 0.0013888888946984657, c7 = 0.00019841269917325708,
                             c8 = 2.480148997776895e-05, c9 = 2.755721635545159e-06,
                             c10 = 2.763126664890692e-07, c11 = 2.5117843209164466e-08;
            const auto r4 = hn::Mul(r2, r2);
            const auto front = hn::MulAdd(r2, pair(c4, c5), pair(c2, c3));
            const auto back = hn::MulAdd(r2, pair(c8, c9), pair(c6, c7));
            const auto q = hn::MulAdd(r4, hn::MulAdd(r4, pair(c10, c11), back), front);
            // 1 + r with its rounding error, which is half a unit too much.
            const auto s = hn::Add(constant(1), r);
            const auto d = hn::Sub(r, hn::Sub(s, constant(1)));
            y = hn::Add(s, hn::MulAdd(r2, q, d));
        }
        return hn::BitCast(
            tag, hn::Add(hn::BitCast(bitsTag, y), hn::ShiftLeft<52>(hn::BitCast(bitsTag, w))));
    }
};

#    endif

#    if HWY_TARGET <= HWY_AVX2
using HalfRow = Exp<Digits::half>;
#    else
using HalfRow = ExpOfFineTable;
#    endif
using FullRow = Exp<Digits::full>;

#endif

#if KORVAN_COPY_BRANCH < 3  // one routine for all rows
constexpr auto expHalf = expBaseline, expFull = expBaseline;
#else
void expHalf(std::int32_t n, const double* in, double* out) {
    overArray(HalfRow(), n, in, out);
}
void expFull(std::int32_t n, const double* in, double* out) {
    overArray(FullRow(), n, in, out);
}
#endif

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdExp = {expFull, expFull, expHalf};
constinit const VectorKernel<OneToOne<double>> vdExpBaseline = {expBaseline, expBaseline,
                                                                expBaseline};

}  // namespace korvan::KORVAN_COPY
