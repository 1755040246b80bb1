// x = 2^e m, for normal x above 0, in kernel files.
#pragma once

#include "vectormath/array_loop-inl.h"
#include "vectormath/float_bits.h"

namespace korvan::KORVAN_COPY {
namespace {

// m from `least` up to 2 least, which is below 2; e as a real.
template <class Real>
struct SplitExponent {
    Vec<Real> e, m;

    HWY_INLINE SplitExponent(Vec<Real> x, Real least) {
        constexpr bool isDouble = sizeof(Real) == 8;
        constexpr int mantissaBits = isDouble ? 52 : 23;
        const Tag<Real> tag;
        const hn::RebindToUnsigned<Tag<Real>> bitsTag;
        using Bits = decltype(bitsOf(Real{}));
        const auto leastBits = hn::Set(bitsTag, bitsOf(least));
        // Biased, so that it has no sign: there is no arithmetic shift of 64 bits.
        constexpr Bits bias = isDouble ? 1024 : 128;
        const auto distance = hn::Add(hn::Sub(hn::BitCast(bitsTag, x), leastBits),
                                      hn::Set(bitsTag, bias << mantissaBits));
        const auto exponent = hn::ShiftRight<mantissaBits>(distance);
        // Below the exponent of 2^mantissaBits, an integer is that number and itself.
        constexpr Real base = isDouble ? Real(0x1p52) : Real(0x1p23);
        e = hn::Sub(hn::BitCast(tag, hn::Or(exponent, hn::Set(bitsTag, bitsOf(base)))),
                    hn::Set(tag, base + static_cast<Real>(bias)));
        const auto mantissa = hn::Set(bitsTag, (Bits{1} << mantissaBits) - 1);
        m = hn::BitCast(tag, hn::Add(hn::And(distance, mantissa), leastBits));
    }
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
