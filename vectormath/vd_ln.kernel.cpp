// Natural logarithm, double.
//
// ln(+-0) = -inf with status 2, ln(x < 0) = NaN with status 1; ln(inf) = inf, ln(NaN) = NaN.
#include "vectormath/array_loop-inl.h"
#include "vectormath/ln_exp_tables.h"
#include "vectormath/split_exponent-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr double leastNormal = 2.2250738585072014e-308;
constexpr double largest = 1.7976931348623157e+308;

// x = 2^e m by a table of 1/(1 + k/64), and ln(1 + r) = r + r^2 q(r).
std::int32_t scalarLnElement(double x, double* result) {
    constexpr double q0 = -0.5, q1 = 0.33333333333334386, q2 = -0.25000000000003386,
                     q3 = 0.19999999911565072, q4 = -0.1666666651884978, q5 = 0.1428756883852146,
                     q6 = -0.1250214602960357;
    const auto q = [](double r) {
        return (((((q6 * r + q5) * r + q4) * r + q3) * r + q2) * r + q1) * r + q0;
    };
    if (bitsOf(x) << 1 >= bitsOf(__builtin_inf()) << 1) {  // infinite or NaN
        *result = x * x;
        if (bitsOf(x) != bitsOf(-__builtin_inf())) return VML_STATUS_OK;
        *result = x - x;
        return VML_STATUS_ERRDOM;
    }
    if (x == 0) {
        *result = -1 / (x * x);
        return VML_STATUS_SING;
    }
    if (x < 0) {
        *result = (x - x) / (x - x);
        return VML_STATUS_ERRDOM;
    }
    double exponent = 0;
    if (x < leastNormal) {
        x *= 0x1p60;
        exponent = -60;
    }
    const double v = x - 1;
    if (v <= 0.009765625 && v >= -0.009765625) {
        *result = q(v) * v * v + v;
        return VML_STATUS_OK;
    }
    exponent += static_cast<double>(static_cast<std::int64_t>(bitsOf(x) >> 52) - 1023);
    const double m = doubleOf((bitsOf(x) & 0xFFFFFFFFFFFFF) | bitsOf(1.0));
    // 2^46 + 1 + m rounds m to 1/64, and its low bits count from m = 1.
    const ScalarLnRow& row = scalarLnTable[bitsOf(m + 70368744177665.0) & 0x7F];
    // r = m/c - 1, with m cut to 31 bits behind the point: the first product is exact.
    const double mh = (m + 2097152.0) - 2097152.0, ml = m - mh;
    const double r = (mh * row.inverse - 1) + ml * row.inverse;
    const double t1 = exponent * wideLn2Hi + row.hi, t2 = exponent * wideLn2Lo + row.lo;
    const double s = r + t1, d = r - (s - t1);
    *result = (q(r) * r * r + (t2 + d)) + s;
    return VML_STATUS_OK;
}

HWY_INLINE Mask<double> isNotNormal(Vec<double> x) {
    const Tag<double> tag;
    return orMask(hn::Lt(x, hn::Set(tag, leastNormal)), notMask(hn::Le(x, hn::Set(tag, largest))));
}

struct LnBase {
    using Real = double;
    static constexpr const char* name = "vdLn";
    static constexpr Real filler = 0.75;
    static std::int32_t element(Real x, Real* result) { return scalarLnElement(x, result); }
};

// The same roundings in every copy.  With m = 2^-10 times x's mantissa, y = 1/m rounded to an
// integer and r = m y - 1:
//
//     ln x = e ln 2 - ln y - 1013 ln 2 + ln(1 + r),  e the biased exponent of x.
//
// The coefficients serve r up to 2^-9 in magnitude.
struct LnBaseline : LnBase {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        constexpr double c2 = -0.49999999999988803, c3 = 0.33333333333308374,
                         c4 = -0.2500003054940248, c5 = 0.2000003665949424;
        const Tag<double> tag;
        const hn::RebindToUnsigned<Tag<double>> bitsTag;
        const hn::RebindToSigned<Tag<double>> indexTag;
        const auto constant = [&](double value) { return hn::Set(tag, value); };
        const auto setBits = [&](auto bits, std::uint64_t more) {
            return hn::BitCast(tag, hn::Or(bits, hn::Set(bitsTag, more)));
        };
        exceptional = isNotNormal(x);

        const auto bits = hn::BitCast(bitsTag, x);
        const auto e = hn::Sub(setBits(hn::ShiftRight<52>(bits), bitsOf(0x1p52)), constant(0x1p52));
        const auto mantissa = hn::And(bits, hn::Set(bitsTag, 0xFFFFFFFFFFFFFu));
        const auto m = setBits(mantissa, bitsOf(0x1p-10));
        const auto mh =
            setBits(hn::AndNot(hn::Set(bitsTag, 0x3FFFFFFu), mantissa), bitsOf(0x1p-10));
        const auto ml = hn::Sub(m, mh);

        const auto shifter = constant(6755399441055744.0);
        const auto y = hn::Sub(hn::Add(hn::Div(constant(1), m), shifter), shifter);
        // From 2^9 on the nine top bits of y's mantissa count up, across the exponent at 2^10.
        const auto k = hn::Sub(hn::ShiftRight<43>(hn::BitCast(bitsTag, y)),
                               hn::Set(bitsTag, bitsOf(0x1p9) >> 43));
        const auto index = hn::BitCast(indexTag, hn::Add(k, k));
        const auto hi = hn::GatherIndex(tag, &lnTable[0].hi, index);
        const auto lo = hn::GatherIndex(tag, &lnTable[0].lo, index);

        const auto r = hn::Add(hn::Sub(hn::Mul(mh, y), constant(1)), hn::Mul(ml, y));
        const auto t1 = hn::Add(hn::Mul(e, constant(ln2Hi)), hi);
        const auto t2 = hn::Add(hn::Mul(e, constant(ln2Lo)), lo);
        const auto s = hn::Add(r, t1);
        const auto d = hn::Sub(r, hn::Sub(s, t1));
        const auto r2 = hn::Mul(r, r);
        // p = (c3 r + c2) + r^2 (c5 r + c4)
        const auto p = hn::Add(hn::Add(hn::Mul(constant(c3), r), constant(c2)),
                               hn::Mul(r2, hn::Add(hn::Mul(constant(c5), r), constant(c4))));
        return hn::Add(hn::Add(hn::Mul(r2, p), hn::Add(t2, d)), s);
    }
};

void lnBaseline(std::int32_t n, const double* in, double* out) {
    overArray(LnBaseline(), n, in, out);
}

#if HWY_TARGET <= HWY_AVX3

enum class Digits { half, full };

// x = 2^e f; the four bits behind f's point choose the inverse of m's neighbourhood:
//
//     r = m inverse - 1,  ln x = (e ln 2 + hi) + r + (r^2 p(r) + e ln2Lo + lo),
//
// where the first sum is exact, and the second gives its rounding error to the third.
// p: tools/minimax.py '(log(1+r)-r)/r**2' 'r**2/log(1+r)' -1/32 1/16 DEGREE, 3 and 8
template <Digits digits>
struct LnOfTable : LnBase {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        const Tag<double> tag;
        const auto constant = [&](double value) { return hn::Set(tag, value); };
        exceptional.raw = _mm512_fpclass_pd_mask(x.raw, 0xFF);  // all but normal, above 0

        const Vec<double> e{_mm512_getexp_pd(x.raw)};
        const Vec<double> m{_mm512_getmant_pd(x.raw, _MM_MANT_NORM_p75_1p5, _MM_MANT_SIGN_zero)};
        const __m512i row = _mm512_srli_epi64(_mm512_castpd_si512(x.raw), 48);
        const auto entry = [&](const double(&column)[16]) {
            return Vec<double>{
                _mm512_permutex2var_pd(_mm512_load_pd(column), row, _mm512_load_pd(column + 8))};
        };
        const auto r = hn::MulSub(m, entry(wideLnTable.inverse), constant(1));
        const auto base = hn::MulAdd(e, constant(wideLn2Hi), entry(wideLnTable.hi));
        const auto r2 = hn::Mul(r, r);
        if constexpr (digits == Digits::half) {
            constexpr double c2 = -0.5000000139179771, c3 = 0.333344528480693,
                             c4 = -0.2500610330353304, c5 = 0.18846016536252574;
            const auto p = hn::MulAdd(r2, hn::MulAdd(constant(c5), r, constant(c4)),
                                      hn::MulAdd(constant(c3), r, constant(c2)));
            return hn::Add(base, hn::MulAdd(r2, p, r));
        } else {
            constexpr double c2 = -0.5000000000000003, c3 = 0.3333333333334759,
                             c4 = -0.24999999999838046, c5 = 0.1999999992740032,
                             c6 = -0.16666666200219762, c7 = 0.1428582078882754,
                             c8 = -0.12501853395370158, c9 = 0.11070820165360987,
                             c10 = -0.08740635119285997;
            const auto pair = [&](double low, double high) {
                return hn::MulAdd(constant(high), r, constant(low));
            };
            const auto r4 = hn::Mul(r2, r2);
            const auto front = hn::MulAdd(r2, pair(c4, c5), pair(c2, c3));
            const auto back =
                hn::MulAdd(r2, hn::MulAdd(r2, constant(c10), pair(c8, c9)), pair(c6, c7));
            const auto p = hn::MulAdd(r4, back, front);
            const auto small = hn::MulAdd(e, constant(wideLn2Lo), entry(wideLnTable.lo));
            const auto s = hn::Add(base, r);
            const auto d = hn::Sub(r, hn::Sub(s, base));
            return hn::Add(s, hn::Add(d, hn::MulAdd(r2, p, small)));
        }
    }
};

using HalfRow = LnOfTable<Digits::half>;
using FullRow = LnOfTable<Digits::full>;

#else

// r = m - 1 from -1/4 to 1/2: ln x = e ln 2 + (r + r^2 p(r)).
// p: tools/minimax.py '(log(1+r)-r)/r**2' 'r**2/log(1+r)' -1/4 1/2 8
struct LnOfPolynomial : LnBase {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        constexpr double c2 = -0.5000000082328258, c3 = 0.3333345444538104,
                         c4 = -0.2500005451823115, c5 = 0.19990606489005364,
                         c6 = -0.16647768417889464, c7 = 0.14482067883157898,
                         c8 = -0.13162228743596613, c9 = 0.10448290378018206,
                         c10 = -0.04490918238285275;
        const Tag<double> tag;
        const auto constant = [&](double value) { return hn::Set(tag, value); };
        exceptional = isNotNormal(x);
        const SplitExponent<double> split(x, 0.75);
        const auto r = hn::Sub(split.m, constant(1));
        const auto r2 = hn::Mul(r, r), r4 = hn::Mul(r2, r2);
        const auto pair = [&](double low, double high) {
            return hn::MulAdd(constant(high), r, constant(low));
        };
        const auto front = hn::MulAdd(r2, pair(c4, c5), pair(c2, c3));
        const auto back = hn::MulAdd(r2, hn::MulAdd(r2, constant(c10), pair(c8, c9)), pair(c6, c7));
        const auto p = hn::MulAdd(r4, back, front);
        return hn::MulAdd(split.e, constant(wideLn2Hi), hn::MulAdd(r2, p, r));
    }
};

// f = m - 1 with m from sqrt(1/2) to sqrt(2), s = f/(2 + f) and z = s^2: with
// ln(1 + f) = ln((1 + s)/(1 - s)) = 2 s + s R,  R = z (2/3 + 2/5 z + ...),  2 s = f - s f,
//
//     ln(1 + f) = f - (f^2/2 - s (f^2/2 + R)),
//
// where what is subtracted from f is small beside it.  (The form of the logarithm in FDLIBM, Sun
// Microsystems, 1993.)
// R/z: tools/minimax.py '(log((1+sqrt(r))/(1-sqrt(r)))/sqrt(r)-2)/r' r 0 '(3-2*sqrt(2))**2' 6
struct LnOfQuotient : LnBase {
    HWY_INLINE Vec<double> operator()(Vec<double> x, Mask<double>& exceptional) const {
        constexpr double b1 = 0.6666666666666734, b2 = 0.3999999999941467, b3 = 0.28571428742389393,
                         b4 = 0.2222219857295748, b5 = 0.18183564339617378,
                         b6 = 0.15314050178280403, b7 = 0.14795953617913168;
        const Tag<double> tag;
        const auto constant = [&](double value) { return hn::Set(tag, value); };
        exceptional = isNotNormal(x);
        const SplitExponent<double> split(x, 0.70710678118654752);
        const auto f = hn::Sub(split.m, constant(1));
        const auto s = hn::Div(f, hn::Add(f, constant(2)));
        const auto z = hn::Mul(s, s), z2 = hn::Mul(z, z);
        const auto pair = [&](double low, double high) {
            return hn::MulAdd(constant(high), z, constant(low));
        };
        const auto front = hn::MulAdd(z2, pair(b3, b4), pair(b1, b2));
        const auto back = hn::MulAdd(z2, constant(b7), pair(b5, b6));
        const auto R = hn::Mul(z, hn::MulAdd(hn::Mul(z2, z2), back, front));
        const auto halfSquare = hn::Mul(hn::Mul(f, f), constant(0.5));
        const auto small =
            hn::MulAdd(s, hn::Add(halfSquare, R), hn::Mul(split.e, constant(wideLn2Lo)));
        return hn::MulAdd(split.e, constant(wideLn2Hi), hn::Sub(f, hn::Sub(halfSquare, small)));
    }
};

using HalfRow = LnOfPolynomial;
#    if HWY_TARGET == HWY_SCALAR
using FullRow = LnBaseline;
#    else
using FullRow = LnOfQuotient;
#    endif

#endif

#if KORVAN_COPY_BRANCH < 3  // one routine for all rows
constexpr auto lnHalf = lnBaseline, lnFull = lnBaseline;
#else
void lnHalf(std::int32_t n, const double* in, double* out) {
    overArray(HalfRow(), n, in, out);
}
void lnFull(std::int32_t n, const double* in, double* out) {
    overArray(FullRow(), n, in, out);
}
#endif

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdLn = {lnFull, lnFull, lnHalf};
constinit const VectorKernel<OneToOne<double>> vdLnBaseline = {lnBaseline, lnBaseline, lnBaseline};

}  // namespace korvan::KORVAN_COPY
