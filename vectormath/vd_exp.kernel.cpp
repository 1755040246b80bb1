// Exponential, double.
//
// Overflow gives inf with status 3; a denormal or zero result status 4; exp(-inf) = 0, exp(inf) =
// inf and exp(NaN) = NaN none.
#include "vectormath/array_loop-inl.h"
#include "vectormath/baseline_tables.h"
#include "vectormath/float_bits.h"

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
    const double m = (p * r * r + r + row.lo) * row.hi;
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
    return hn::Not(hn::Lt(hn::Abs(x), hn::Set(tag, firstSlow)));  // true for NaN
}

// The same roundings in every copy.
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

}  // namespace

constinit const VectorKernel<OneToOne<double>> vdExp = {expBaseline, expBaseline, expBaseline};
constinit const VectorKernel<OneToOne<double>> vdExpBaseline = {expBaseline, expBaseline,
                                                                expBaseline};

}  // namespace korvan::KORVAN_COPY
