// Uniform reals on [a, b): the generator's own map of words to the interval, and the only door
// through which other kernels reach the generators.
#include "distributions/kernels.h"
#include "distributions/shared/clamp-inl.h"
#include "distributions/shared/draw-inl.h"
#include "distributions/shared/streamed_fill-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

// The accurate method keeps every element in [a, b].
template <class Real>
std::int32_t fillPart(std::int32_t method, const GeneratorRow& row, StreamHandle stream,
                      std::size_t n, Real* r, Real a, Real b) {
    const std::int32_t status = fillReals(row, stream, static_cast<std::int32_t>(n), r, a, b);
    if (status >= 0 && (method & METHOD_ACCURATE_FLAG)) clamp(r, n, a, b);
    return status;
}

template <class Real>
std::int32_t uniform(std::int32_t method, StreamHandle stream, std::int32_t n, Real* r, Real a,
                     Real b) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    const auto total = static_cast<std::size_t>(n);
    if (!isLargeFill(*row, total, r)) return fillPart(method, *row, stream, total, r, a, b);
    return largeFill<LastPart::merged>(*row, stream, r, total, [&](Real* part, std::size_t count) {
        return fillPart(method, *row, stream, count, part, a, b);
    });
}

}  // namespace

std::int32_t vdRngUniform(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                          double a, double b) {
    return uniform(method, stream, n, r, a, b);
}

std::int32_t vsRngUniform(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                          float a, float b) {
    return uniform(method, stream, n, r, a, b);
}

}  // namespace korvan::KORVAN_COPY
