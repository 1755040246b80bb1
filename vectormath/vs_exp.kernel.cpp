// Exponential, single.
//
// Overflow gives inf with status 3; a denormal or zero result status 4; exp(-inf) = 0, exp(inf) =
// inf and exp(NaN) = NaN none.
#include "vectormath/array_loop-inl.h"
#include "vectormath/float_bits.h"
#include "vectormath/ln_exp_tables.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr float log2e = 1.44269504F;
// Few bits, so that their product with a whole number is exact.
constexpr float ln2Few = 0.693359375F, ln2Rest = -2.12194440e-4F;

// In magnitude, below this results are normal numbers and N is at most 126.
constexpr float firstSlow = 87.33F;

struct ExpBase {
    using Real = float;
    static constexpr const char* name = "vsExp";
    static constexpr Real filler = 0.75F;

    static HWY_INLINE Mask<Real> isSlow(Vec<Real> x) {
        const Tag<Real> tag;
        return notMask(hn::Lt(hn::Abs(x), hn::Set(tag, firstSlow)));  // true for NaN
    }

    // In double, where every single's exponential that isn't 0 or infinite is normal; rounded once.
    static std::int32_t element(Real x, Real* result) {
        if (x != x || x - x != 0) {
            *result = x < 0 ? 0 : x * x;
            return VML_STATUS_OK;
        }
        // Beyond these, the result is the same.
        const double clamped = x > 90 ? 90 : x < -110 ? -110 : x;
        const auto n = static_cast<std::int64_t>(clamped * 1.4426950408889634);
        const double r = clamped - static_cast<double>(n) * 0.69314718055994531;
        double sum = 1;  // of r^k/k!
        for (int k = 18; k >= 1; --k) sum = sum * r / k + 1;
        *result = static_cast<Real>(sum * doubleOf(static_cast<std::uint64_t>(n + 1023) << 52));
        if (*result > 0x1.fffffep127F) return VML_STATUS_OVERFLOW;
        return *result < 0x1p-126F ? VML_STATUS_UNDERFLOW : VML_STATUS_OK;
    }
};

enum class Digits { half, few, full };

// x = N ln2 + r with r at most ln2/2 in magnitude: e^x = 2^N (1 + r + r^2 q(r)).
template <Digits digits>
struct Exp : ExpBase {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        const Tag<float> tag;
        const hn::RebindToUnsigned<Tag<float>> bitsTag;
        const auto constant = [&](float value) { return hn::Set(tag, value); };
        const auto shifter = constant(0x1.8p23F);  // rounds to integers, the last bits count them
        exceptional = isSlow(x);

        const auto w = hn::MulAdd(x, constant(log2e), shifter);
        const auto N = hn::Sub(w, shifter);
        const auto r = hn::NegMulAdd(N, constant(ln2Rest), hn::NegMulAdd(N, constant(ln2Few), x));
        Vec<float> y;
        if constexpr (digits == Digits::half) {
            // tools/minimax.py '(exp(r)-1)/r' 'r' '-log(2)/2' 'log(2)/2' 2 single
            constexpr float c1 = 0.999949932F, c2 = 0.504160643F, c3 = 0.16808711F;
            const auto q = hn::MulAdd(r, hn::MulAdd(r, constant(c3), constant(c2)), constant(c1));
            y = hn::MulAdd(r, q, constant(1));
        } else {
            // tools/minimax.py '(exp(r)-1-r)/r**2' 'r**2' '-log(2)/2' 'log(2)/2' 4 single
            constexpr float c2 = 0.5F, c3 = 0.166665196F, c4 = 0.041666206F, c5 = 0.00836888235F,
                            c6 = 0.00139504869F;
            const auto r2 = hn::Mul(r, r);
            const auto q = hn::MulAdd(
                r2, hn::MulAdd(r2, constant(c6), hn::MulAdd(r, constant(c5), constant(c4))),
                hn::MulAdd(r, constant(c3), constant(c2)));
            if constexpr (digits == Digits::few) {
                y = hn::Add(constant(1), hn::MulAdd(r2, q, r));
            } else {
                // 1 + r with its rounding error, which is half a unit too much.
                const auto s = hn::Add(constant(1), r);
                const auto d = hn::Sub(r, hn::Sub(s, constant(1)));
                y = hn::Add(s, hn::MulAdd(r2, q, d));
            }
        }
        return hn::BitCast(
            tag, hn::Add(hn::BitCast(bitsTag, y), hn::ShiftLeft<23>(hn::BitCast(bitsTag, w))));
    }
};

#if HWY_TARGET <= HWY_AVX3

// x = N ln2 + r, N a multiple of 1/16: e^x = 2^N (1 + r + r^2 (c2 + c3 r)), the fraction of N from
// a table and its whole part by the scaling instruction. tools/minimax.py '(exp(r)-1-r)/r**2'
// 'r**2' '-log(2)/32' 'log(2)/32' 1 single
struct ExpOfTable : ExpBase {
    HWY_INLINE Vec<float> operator()(Vec<float> x, Mask<float>& exceptional) const {
        constexpr float c2 = 0.500016212F, c3 = 0.166670576F;
        const Tag<float> tag;
        const auto constant = [&](float value) { return hn::Set(tag, value); };
        const auto sixteenths = constant(0x1.8p19F);  // rounds to them, the last bits count them
        exceptional = isSlow(x);

        const auto w = hn::MulAdd(x, constant(log2e), sixteenths);
        const auto N = hn::Sub(w, sixteenths);
        const auto r = hn::NegMulAdd(N, constant(ln2Rest), hn::NegMulAdd(N, constant(ln2Few), x));
        const auto q = hn::MulAdd(r, constant(c3), constant(c2));
        const Vec<float> power{_mm512_permutexvar_ps(_mm512_castps_si512(w.raw),
                                                     _mm512_load_ps(singleExpTable.power))};
        const auto y = hn::MulAdd(power, hn::MulAdd(hn::Mul(r, r), q, r), power);
        return {_mm512_scalef_ps(y.raw, N.raw)};
    }
};

using LaRow = ExpOfTable;
using EpRow = ExpOfTable;  // with a term less it isn't faster

#else

using LaRow = Exp<Digits::few>;
using EpRow = Exp<Digits::half>;

#endif

void expLa(std::int32_t n, const float* in, float* out) {
    overArray(LaRow(), n, in, out);
}
void expHa(std::int32_t n, const float* in, float* out) {
    overArray(Exp<Digits::full>(), n, in, out);
}
void expEp(std::int32_t n, const float* in, float* out) {
    overArray(EpRow(), n, in, out);
}

}  // namespace

constinit const VectorKernel<OneToOne<float>> vsExp = {expLa, expHa, expEp};

}  // namespace korvan::KORVAN_COPY
