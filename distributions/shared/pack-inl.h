// The chosen lanes of vectors, packed to their front, for kernel files.
//
// Highway's Compress does the same; g++ 12 copies its table to the stack at each use.
#pragma once

#include "distributions/shared/pack_tables.h"
#include "distributions/shared/truncate-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

using SingleMask = hwy::HWY_NAMESPACE::Mask<hwy::HWY_NAMESPACE::ScalableTag<float>>;

class Packer {
  public:
#if HWY_TARGET == HWY_SCALAR
    HWY_INLINE explicit Packer(SingleMask chosen) : bits_(chosen.bits != 0 ? 1 : 0) {}
    HWY_INLINE Integers operator()(Integers x) const {
        return x;
    }
#elif HWY_TARGET <= HWY_AVX3
    HWY_INLINE explicit Packer(SingleMask chosen) : bits_(chosen.raw) {}
    HWY_INLINE Integers operator()(Integers x) const {
        return Integers{_mm512_maskz_compress_epi32(static_cast<__mmask16>(bits_), x.raw)};
    }
#elif HWY_TARGET <= HWY_AVX2
    HWY_INLINE explicit Packer(SingleMask chosen)
        : bits_(static_cast<std::uint32_t>(_mm256_movemask_ps(chosen.raw))),
          order_(_mm256_cvtepu8_epi32(
              _mm_loadl_epi64(reinterpret_cast<const __m128i*>(packTableOf8.data() + bits_)))) {}
    HWY_INLINE Integers operator()(Integers x) const {
        return Integers{_mm256_permutevar8x32_epi32(x.raw, order_)};
    }
#else
    HWY_INLINE explicit Packer(SingleMask chosen)
        : bits_(static_cast<std::uint32_t>(_mm_movemask_ps(chosen.raw))),
          order_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(packTableOf4.data() + bits_))) {}
    HWY_INLINE Integers operator()(Integers x) const {
        return Integers{_mm_shuffle_epi8(x.raw, order_)};
    }
#endif
    HWY_INLINE Singles operator()(Singles x) const {
        namespace hn = hwy::HWY_NAMESPACE;
        return hn::BitCast(hn::ScalableTag<float>(),
                           (*this)(hn::BitCast(hn::ScalableTag<std::int32_t>(), x)));
    }
    HWY_INLINE std::size_t count() const {
#if HWY_TARGET == HWY_SCALAR
        return bits_;
#elif HWY_TARGET > HWY_AVX2  // not all of them have the instruction
        return 0x4332322132212110 >> (4 * bits_) & 7;
#else
        return static_cast<std::size_t>(__builtin_popcount(bits_));
#endif
    }

  private:
    std::uint32_t bits_;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET > HWY_AVX3
#    if HWY_TARGET <= HWY_AVX2
    __m256i order_;
#    else
    __m128i order_;
#    endif
#endif
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
