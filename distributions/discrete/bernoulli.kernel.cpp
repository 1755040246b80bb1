// The Bernoulli law: 1 with probability p, else 0.
//
// The uniforms stand in r itself.  Singles that aren't negative are ordered as their bits are, so
// u < p is a comparison of integers.
#include <bit>

#include "distributions/kernels.h"
#include "distributions/shared/passes-inl.h"
#include "distributions/shared/truncate-inl.h"

namespace korvan::KORVAN_COPY {

std::int32_t viRngBernoulli(std::int32_t, StreamHandle stream, std::int32_t n, std::int32_t* r,
                            double p) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<std::int32_t> tag;
    // A single uniform can be rounded up to 1.
    const std::int32_t bits =
        p == 1 ? INT32_MAX : std::bit_cast<std::int32_t>(static_cast<float>(p));
    const auto limit = hn::Set(tag, bits), one = hn::Set(tag, 1);
    const auto use = [&](float* part, std::size_t count) {
        singlesToIntegers(reinterpret_cast<std::int32_t*>(part), count, [&](Singles u) {
            return hn::IfThenElseZero(hn::Gt(limit, hn::BitCast(tag, u)), one);
        });
    };
    return drawAndUse<float>(stream, static_cast<std::size_t>(n), reinterpret_cast<float*>(r), 0, 1,
                             use);
}

}  // namespace korvan::KORVAN_COPY
