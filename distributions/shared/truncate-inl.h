// Reals to integers as the processor converts them, for kernel files: toward 0, and -2^31 for what
// 32 bits can't hold and for what is no number.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

using Singles = hwy::HWY_NAMESPACE::Vec<hwy::HWY_NAMESPACE::ScalableTag<float>>;
using Integers = hwy::HWY_NAMESPACE::Vec<hwy::HWY_NAMESPACE::ScalableTag<std::int32_t>>;

constexpr std::size_t singleLanes = HWY_LANES(float);

HWY_INLINE Integers truncated(Singles x) {
#if HWY_TARGET == HWY_SCALAR
    return Integers{_mm_cvttss_si32(_mm_set_ss(x.raw))};
#elif HWY_TARGET <= HWY_AVX3
    return Integers{_mm512_cvttps_epi32(x.raw)};
#elif HWY_TARGET <= HWY_AVX2
    return Integers{_mm256_cvttps_epi32(x.raw)};
#else
    return Integers{_mm_cvttps_epi32(x.raw)};
#endif
}

HWY_INLINE std::int32_t truncated(double x) {
    return _mm_cvttsd_si32(_mm_set_sd(x));
}

// The array's words as the singles that were drawn into it.  Not read through a pointer to float:
// the compiler may not know that they are the same memory.
HWY_INLINE Singles singlesAt(const std::int32_t* r) {
#if HWY_TARGET == HWY_SCALAR
    Singles x;
    std::memcpy(&x.raw, r, sizeof x.raw);
    return x;
#else
    namespace hn = hwy::HWY_NAMESPACE;
    return hn::BitCast(hn::ScalableTag<float>(), hn::LoadU(hn::ScalableTag<std::int32_t>(), r));
#endif
}

HWY_INLINE void storeIntegers(Integers y, std::int32_t* r) {
#if HWY_TARGET == HWY_SCALAR
    std::memcpy(r, &y.raw, sizeof y.raw);
#else
    hwy::HWY_NAMESPACE::StoreU(y, hwy::HWY_NAMESPACE::ScalableTag<std::int32_t>(), r);
#endif
}

// r[i] = map(x[i]); x can be read up to a vector behind its end.
template <class Map>
HWY_INLINE void mapToIntegers(const float* x, std::size_t n, std::int32_t* r, Map map) {
    const hwy::HWY_NAMESPACE::ScalableTag<float> tag;
    std::size_t i = 0;
    for (; i + singleLanes <= n; i += singleLanes) {
        storeIntegers(map(hwy::HWY_NAMESPACE::LoadU(tag, x + i)), r + i);
    }
    if (i == n) return;
    std::int32_t last[singleLanes];
    storeIntegers(map(hwy::HWY_NAMESPACE::LoadU(tag, x + i)), last);
    std::memcpy(r + i, last, (n - i) * sizeof *r);
}

// The same in place: x[i] is the single that stands in r[i].
template <class Map>
HWY_INLINE void singlesToIntegers(std::int32_t* r, std::size_t n, Map map) {
    std::size_t i = 0;
    for (; i + singleLanes <= n; i += singleLanes) storeIntegers(map(singlesAt(r + i)), r + i);
    if (i == n) return;
    std::int32_t padded[singleLanes] = {};
    std::memcpy(padded, r + i, (n - i) * sizeof *r);
    storeIntegers(map(singlesAt(padded)), padded);
    std::memcpy(r + i, padded, (n - i) * sizeof *r);
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
