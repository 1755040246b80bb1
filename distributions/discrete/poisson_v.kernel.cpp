// The Poisson law with a mean for each element.
#include "distributions/continuous/floating_point_frame.h"
#include "distributions/continuous/replacements.h"
#include "distributions/discrete/poisson_means-inl.h"
#include "distributions/kernels.h"

namespace korvan::KORVAN_COPY {

std::int32_t viRngPoissonV(std::int32_t, StreamHandle stream, std::int32_t n, std::int32_t* r,
                           const double* lambda) {
    const FloatingPointFrame frame(Replace<float>::logarithmOrErfInv);
    return fillByMeans(stream, n, r, lambda);
}

}  // namespace korvan::KORVAN_COPY
