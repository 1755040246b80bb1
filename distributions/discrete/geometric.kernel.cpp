// The geometric law: failures before the first success, P(k) = p (1 - p)^k.
//
// By inversion: floor(ln u / ln(1 - p)), in single precision.  A uniform of 0 counts as the
// smallest positive number.
#include "distributions/kernels.h"
#include "distributions/shared/draw-inl.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/replacements.h"
#include "distributions/shared/transforms-inl.h"
#include "distributions/shared/truncate-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t blockElements = 1024;

// 32 bits don't hold every floor: then, the least integer.
HWY_INLINE Integers floorOf(Singles x) {
    const hn::ScalableTag<float> tag;
    const auto whole = hn::ConvertTo(tag, truncated(x));
    const auto one = hn::IfThenElseZero(hn::Lt(x, whole), hn::Set(tag, 1));
    return truncated(hn::Sub(x, one));
}

}  // namespace

std::int32_t viRngGeometric(std::int32_t, StreamHandle stream, std::int32_t n, std::int32_t* r,
                            double p) {
    const LawFrame frame(Replace<float>::singularLogarithm);
    double lnOfFailure = 1.0 - p;
    call(vdLnBaseline.ha, 1, &lnOfFailure, &lnOfFailure);
    const hn::ScalableTag<float> tag;
    const auto w = hn::Set(tag, static_cast<float>(1.0 / lnOfFailure));
    const auto total = static_cast<std::size_t>(n);
    float u[blockElements + singleLanes] = {};
    std::int32_t status = RNG_OK;
    for (std::size_t done = 0; done < total; done += blockElements) {
        const std::size_t count = total - done < blockElements ? total - done : blockElements;
        status = drawUniforms<float>(stream, count, u, 0, 1);
        if (status < 0) return status;
        call(vsLnBaseline.la, count, u, u);
        mapToIntegers(u, count, r + done, [&](Singles x) { return floorOf(hn::Mul(x, w)); });
    }
    return status;
}

}  // namespace korvan::KORVAN_COPY
