// Natural logarithm, double.
//
// ln(+-0) = -inf with status 2, ln(x < 0) = NaN with status 1; ln(inf) = inf, ln(NaN) = NaN.
#include "vectormath/array_loop-inl.h"
#include "vectormath/baseline_tables.h"
#include "vectormath/float_bits.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr double leastNormal = 2.2250738585072014e-308;
constexpr double largest = 1.7976931348623157e+308;

// x = 2^e m by a table of 1/(1 + k/64), and ln(1 + r) = r + r^2 q(r).
std::int32_t scalarLnElement(double x, double* result) {
    constexpr double q0 = -0.5, q1 = 0.33333333333334386, q2 = -0.25000000000003386,
                     q3 = 0.19999999911565072, q4 = -0.1666666651884978, q5 = 0.1428756883852146,
                     q6 = -0.1250214602960357;
    constexpr double ln2High = 0.6931471805598903, ln2Low = 5.497923018708371e-14;
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
    const double t1 = exponent * ln2High + row.hi, t2 = exponent * ln2Low + row.lo;
    const double s = r + t1, d = r - (s - t1);
    *result = (q(r) * r * r + (t2 + d)) + s;
    return VML_STATUS_OK;
}

HWY_INLINE Mask<double> isNotNormal(Vec<double> x) {
    const Tag<double> tag;
    return hn::Or(hn::Lt(x, hn::Set(tag, leastNormal)), hn::Not(hn::Le(x, hn::Set(tag, largest))));
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

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdLn = {lnBaseline, lnBaseline, lnBaseline};
constinit const VectorKernel<OneToOne<double>> vdLnBaseline = {lnBaseline, lnBaseline, lnBaseline};

}  // namespace korvan::KORVAN_COPY
