// How a real law goes through its array, for kernel files.
//
// A pass is what is asked of a generator in one call.  Where nobody can tell, it is drawn in parts
// that stay in the first-level cache until they are variates.
#pragma once

#include <cstddef>

#include "distributions/shared/draw-inl.h"
#include "distributions/shared/parts-inl.h"
#include "frame/branch.h"
#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

// How long a pass is: the whole array, but in the copy of branch 11
enum class Pass {
    standard,  // 32 KiB
    refined,   // the same, and half as much again on its refinements from VAES on
};

template <class Real>
HWY_INLINE std::size_t passElements(Pass pass, std::size_t n) {
#if KORVAN_COPY_BRANCH == 11
    constexpr std::size_t standard = 32768 / sizeof(Real);
    const Level refined = refinedLevel();
    const bool isLonger =
        pass == Pass::refined && refined >= Level::avx512E2 && refined <= Level::avx512E4;
    const std::size_t elements = isLonger ? standard / 2 * 3 : standard;
    return n < elements ? n : elements;
#else
    static_cast<void>(pass);
    return n;
#endif
}

// The last part can have nearly twice as many.
template <class Real>
constexpr std::size_t partElements = 8192 / sizeof(Real);
static_assert(partElements<double> > longestBlock);

// Draws n uniforms of the interval [a, b) to r and calls use(part, count) for the parts of r that
// it makes of them.  A negative status of the generator ends it.
template <class Real, class Use>
HWY_INLINE std::int32_t drawAndUse(StreamHandle stream, std::size_t n, Real* r, Real a, Real b,
                                   Use use) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    const auto draw = [&](std::size_t count, Real* part) {
        return fillReals(*row, stream, static_cast<std::int32_t>(count), part, a, b);
    };
    const bool atOnce = n < 2 * partElements<Real> || !canBeSplit(*row);
    std::int32_t status = atOnce ? draw(n, r) : RNG_OK;
    std::size_t excess = firstExcess(*row, stream);
    for (std::size_t done = 0; done < n && status >= 0;) {
        const std::size_t left = n - done;
        const std::size_t count =
            left < 2 * partElements<Real> ? left : partElements<Real> + excess;
        excess = 0;
        if (!atOnce) status = draw(count, r + done);
        if (status < 0) break;
        use(r + done, count);
        done += count;
    }
    return status;
}

// use(part, count) for the parts of an array that is there.
template <class Real, class Use>
HWY_INLINE void inParts(Real* r, std::size_t n, Use use) {
    for (std::size_t done = 0; done < n; done += partElements<Real>) {
        const std::size_t left = n - done;
        use(r + done, left < partElements<Real> ? left : partElements<Real>);
    }
}

// The array in passes: status = body(pass, count) for each; a negative one ends it.
template <class Real, class Body>
HWY_INLINE std::int32_t inPasses(Pass pass, std::int32_t n, Real* r, Body body) {
    const auto total = static_cast<std::size_t>(n);
    const std::size_t elements = passElements<Real>(pass, total);
    std::int32_t status = RNG_OK;
    for (std::size_t done = 0; done < total && status >= 0; done += elements) {
        const std::size_t left = total - done;
        status = body(r + done, left < elements ? left : elements);
    }
    return status;
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
