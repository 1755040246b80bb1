// Uniform integers a .. b - 1: the floor of a uniform double on [a, b).
#include "distributions/kernels.h"
#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr std::int32_t blockElements = 1024;  // 8 KiB of doubles: stays in the first-level cache

// r[i] = floor(x[i]), at most `highest`: for a large a and a short range, rounding can make the
// double b itself.
HWY_INLINE void floorAll(const double* x, std::size_t n, std::int32_t* r, std::int32_t highest) {
#if HWY_TARGET == HWY_SCALAR
    for (std::size_t i = 0; i < n; ++i) {
        const double top = static_cast<double>(highest);
        const double cut = x[i] > top ? top : x[i];
        const auto truncated = static_cast<std::int32_t>(cut);
        r[i] = truncated - (static_cast<double>(truncated) > cut ? 1 : 0);
    }
#else
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<double> doubles;
    const hn::Rebind<std::int32_t, decltype(doubles)> ints;
    const std::size_t lanes = hn::Lanes(doubles);
    const auto top = hn::Set(doubles, static_cast<double>(highest));
    const auto floorOf = [&](auto v) { return hn::DemoteTo(ints, hn::Floor(hn::Min(v, top))); };
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) hn::StoreU(floorOf(hn::LoadU(doubles, x + i)), ints, r + i);
    if (i == n) return;
    double padded[HWY_LANES(double)] = {};
    std::int32_t results[HWY_LANES(double)];
    for (std::size_t k = i; k < n; ++k) padded[k - i] = x[k];
    hn::StoreU(floorOf(hn::LoadU(doubles, padded)), ints, results);
    for (std::size_t k = i; k < n; ++k) r[k] = results[k - i];
#endif
}

}  // namespace

std::int32_t viRngUniform(std::int32_t, StreamHandle stream, std::int32_t n, std::int32_t* r,
                          std::int32_t a, std::int32_t b) {
    double x[blockElements];
    std::int32_t status = RNG_OK;
    for (std::int32_t done = 0; done < n; done += blockElements) {
        const std::int32_t block = n - done < blockElements ? n - done : blockElements;
        status = KORVAN_COPY::vdRngUniform(METHOD_UNIFORM_STANDARD, stream, block, x, a, b);
        if (status < 0) return status;
        floorAll(x, static_cast<std::size_t>(block), r + done, b - 1);
    }
    return status;
}

}  // namespace korvan::KORVAN_COPY
