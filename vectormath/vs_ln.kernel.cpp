// Natural logarithm, single.
//
// ln(+-0) = -inf with status 2, ln(x < 0) = NaN with status 1; ln(inf) = inf, ln(NaN) = NaN.
#include "vectormath/array_loop-inl.h"
#include "vectormath/ln_exp_tables.h"
#include "vectormath/split_exponent-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr float leastNormal = 0x1p-126F;
constexpr float largest = 0x1.fffffep127F;

// Denormals in double, where they are normal: ln m = 2 (s + s^3/3 + s^5/5 + ...) with
// s = (m - 1)/(m + 1), at most 1/3.
float denormalLn(float x) {
    const std::uint64_t bits = bitsOf(static_cast<double>(x));
    const double m = doubleOf((bits & 0xFFFFFFFFFFFFF) | bitsOf(1.0));
    const double s = (m - 1) / (m + 1), z = s * s;
    double sum = 0;
    for (int k = 25; k >= 1; k -= 2) sum = sum * z + 1.0 / k;
    const auto e = static_cast<double>(static_cast<std::int64_t>(bits >> 52) - 1023);
    return static_cast<float>(e * 0.69314718055994531 + 2 * s * sum);
}

struct LnBase {
    using Real = float;
    static constexpr const char* name = "vsLn";
    static constexpr Real filler = 0.75F;

    static HWY_INLINE Mask<Real> isNotNormal(Vec<Real> x) {
        const Tag<Real> tag;
        return orMask(hn::Lt(x, hn::Set(tag, leastNormal)),
                      notMask(hn::Le(x, hn::Set(tag, largest))));
    }

    static std::int32_t element(Real x, Real* result) {
        if (x == 0) {
            *result = -1 / (x * x);
            return VML_STATUS_SING;
        }
        if (x < 0) {
            *result = (x - x) / (x - x);
            return VML_STATUS_ERRDOM;
        }
        *result = x < leastNormal ? denormalLn(x) : x * x;  // infinity or NaN
        return VML_STATUS_OK;
    }
};

// How u v + w is rounded: as the copy's processors do it best, or twice in every copy.
struct Fused {
    HWY_INLINE Vec<float> operator()(Vec<float> u, Vec<float> v, Vec<float> w) const {
        return hn::MulAdd(u, v, w);
    }
};
struct Unfused {
    HWY_INLINE Vec<float> operator()(Vec<float> u, Vec<float> v, Vec<float> w) const {
        return hn::Add(hn::Mul(u, v), w);
    }
};

// r = m - 1 from -1/4 to 1/2: ln x = e ln 2 + (r + r^2 p(r)).
// p: tools/minimax.py '(log(1+r)-r)/r**2' 'r**2/log(1+r)' -1/4 1/2 7 single
template <class MultiplyAdd>
struct Ln : LnBase {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        constexpr float c2 = -0.500000596F, c3 = 0.333335489F, c4 = -0.249934435F,
                        c5 = 0.199770764F, c6 = -0.168228015F, c7 = 0.149839193F,
                        c8 = -0.120674469F, c9 = 0.0541333817F;
        const Tag<float> tag;
        const MultiplyAdd multiplyAdd;
        const auto constant = [&](float value) { return hn::Set(tag, value); };
        exceptional = isNotNormal(x);
        const SplitExponent<float> split(x, 0.75F);
        const auto r = hn::Sub(split.m, constant(1));
        const auto r2 = hn::Mul(r, r), r4 = hn::Mul(r2, r2);
        const auto pair = [&](float low, float high) {
            return multiplyAdd(constant(high), r, constant(low));
        };
        const auto front = multiplyAdd(r2, pair(c4, c5), pair(c2, c3));
        const auto back = multiplyAdd(r2, pair(c8, c9), pair(c6, c7));
        const auto p = multiplyAdd(r4, back, front);
        return multiplyAdd(split.e, constant(0.693147182F), multiplyAdd(r2, p, r));
    }
};

// The same with fewer terms, for half the digits.
// p: tools/minimax.py '(log(1+r)-r)/r**2' 'r**2/log(1+r)' -1/4 1/2 3 single
struct LnHalf : LnBase {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        constexpr float c2 = -0.499980539F, c3 = 0.337447822F, c4 = -0.257173806F,
                        c5 = 0.140150666F;
        const Tag<float> tag;
        const auto constant = [&](float value) { return hn::Set(tag, value); };
        exceptional = isNotNormal(x);
        const SplitExponent<float> split(x, 0.75F);
        const auto r = hn::Sub(split.m, constant(1));
        const auto r2 = hn::Mul(r, r);
        const auto p = hn::MulAdd(r2, hn::MulAdd(constant(c5), r, constant(c4)),
                                  hn::MulAdd(constant(c3), r, constant(c2)));
        return hn::MulAdd(split.e, constant(0.693147182F), hn::MulAdd(r2, p, r));
    }
};

// f = m - 1, m from sqrt(1/2) to sqrt(2), s = f/(2 + f):
//
//     ln(1 + f) = f - (f^2/2 - s (f^2/2 + R)),  R = z (2/3 + 2/5 z + ...),  z = s^2,
//
// as in vd_ln.kernel.cpp.
// R/z: tools/minimax.py '(log((1+sqrt(r))/(1-sqrt(r)))/sqrt(r)-2)/r' r 0 '(3-2*sqrt(2))**2' 2
// single
struct LnFull : LnBase {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        constexpr float b1 = 0.666667759F, b2 = 0.399775416F, b3 = 0.298717141F;
        constexpr float ln2Few = 0.693359375F,
                        ln2Rest = -2.12194440e-4F;  // few bits: exact times e
        const Tag<float> tag;
        const auto constant = [&](float value) { return hn::Set(tag, value); };
        exceptional = isNotNormal(x);
        const SplitExponent<float> split(x, 0.707106781F);
        const auto f = hn::Sub(split.m, constant(1));
        const auto s = hn::Div(f, hn::Add(f, constant(2)));
        const auto z = hn::Mul(s, s);
        const auto R =
            hn::Mul(z, hn::MulAdd(z, hn::MulAdd(z, constant(b3), constant(b2)), constant(b1)));
        const auto halfSquare = hn::Mul(hn::Mul(f, f), constant(0.5F));
        const auto small =
            hn::MulAdd(s, hn::Add(halfSquare, R), hn::Mul(split.e, constant(ln2Rest)));
        return hn::MulAdd(split.e, constant(ln2Few), hn::Sub(f, hn::Sub(halfSquare, small)));
    }
};

#if HWY_TARGET <= HWY_AVX3

// x = 2^e m; the four bits behind the point choose the inverse of m's neighbourhood:
// ln x = (e ln 2 - ln inverse) + (r + r^2 p(r)), r = m inverse - 1.
// p: tools/minimax.py '(log(1+r)-r)/r**2' 'r**2/log(1+r)' -1/32 1/16 2 single
struct LnOfTable : LnBase {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        constexpr float c2 = -0.500009537F, c3 = 0.333465546F, c4 = -0.238290831F;
        const Tag<float> tag;
        const auto constant = [&](float value) { return hn::Set(tag, value); };
        exceptional.raw = _mm512_fpclass_ps_mask(x.raw, 0xFF);  // all but normal, above 0
        const Vec<float> m{_mm512_getmant_ps(x.raw, _MM_MANT_NORM_p75_1p5, _MM_MANT_SIGN_zero)};
        const Vec<float> e{_mm512_sub_ps(_mm512_getexp_ps(x.raw), _mm512_getexp_ps(m.raw))};
        const __m512i row = _mm512_srli_epi32(_mm512_castps_si512(x.raw), 19);
        const auto entry = [&](const float(&column)[16]) {
            return Vec<float>{_mm512_permutexvar_ps(row, _mm512_load_ps(column))};
        };
        const auto r = hn::MulSub(m, entry(singleLnTable.inverse), constant(1));
        const auto base = hn::MulAdd(e, constant(0.693147182F), entry(singleLnTable.minusLn));
        const auto p = hn::MulAdd(r, hn::MulAdd(r, constant(c4), constant(c3)), constant(c2));
        return hn::Add(base, hn::MulAdd(hn::Mul(r, r), p, r));
    }
};

using LaRow = LnOfTable;
using EpRow = LnOfTable;  // with a term less it isn't faster

#else

using LaRow = Ln<Fused>;
using EpRow = LnHalf;

#endif

void lnLa(std::int32_t n, const float* in, float* out) {
    overArray(LaRow(), n, in, out);
}
void lnHa(std::int32_t n, const float* in, float* out) {
    overArray(LnFull(), n, in, out);
}
void lnEp(std::int32_t n, const float* in, float* out) {
    overArray(EpRow(), n, in, out);
}
void lnBaseline(std::int32_t n, const float* in, float* out) {
    overArray(Ln<Unfused>(), n, in, out);
}

}  // namespace

constinit const VectorKernel<OneToOne<float>> vsLn = {lnLa, lnHa, lnEp};
constinit const VectorKernel<OneToOne<float>> vsLnBaseline = {lnBaseline, lnBaseline, lnBaseline};

}  // namespace korvan::KORVAN_COPY
