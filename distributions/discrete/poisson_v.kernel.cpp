// The Poisson law with a mean for each element.
#include "distributions/discrete/poisson_means-inl.h"
#include "distributions/kernels.h"
#include "distributions/shared/law_frame-inl.h"
#include "distributions/shared/replacements.h"

namespace korvan::KORVAN_COPY {

std::int32_t viRngPoissonV(std::int32_t, StreamHandle stream, std::int32_t n, std::int32_t* r,
                           const double* lambda) {
    const LawFrame frame(Replace<float>::logarithmOrErfInv);
    auto* const unscaled = reinterpret_cast<float*>(r);
    return drawErfInvForCounts(stream, n, unscaled, [&](float* part, std::size_t count) {
        const auto done = static_cast<std::size_t>(part - unscaled);
        toPoisson(lambda + done, count, part, r + done, TermsOfArray{lambda + done, count});
    });
}

}  // namespace korvan::KORVAN_COPY
