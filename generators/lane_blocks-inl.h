// For kernel files whose lanes hold results of different places: stores a register's 128-bit
// blocks apart.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hwy/highway.h"

namespace korvan::KORVAN_COPY {
namespace {

#if HWY_TARGET != HWY_SCALAR

// Block k to r + k * spacing.
template <class Tag, class Vector>
HWY_INLINE void storeBlocks(Tag tag, Vector blocks, hwy::HWY_NAMESPACE::TFromD<Tag>* r,
                            std::size_t spacing) {
    namespace hn = hwy::HWY_NAMESPACE;
    if constexpr (sizeof(Vector) == 16) {
        hn::StoreU(blocks, tag, r);
    } else {
        const hn::Half<Tag> half;
        storeBlocks(half, hn::LowerHalf(half, blocks), r, spacing);
        storeBlocks(half, hn::UpperHalf(half, blocks), r + sizeof(Vector) / 32 * spacing, spacing);
    }
}

// The 64-bit lane k of both registers, one after the other, to r + k * spacing.
template <class T, class Vector>
HWY_INLINE void storeLanes(Vector first, Vector second, T* r, std::size_t spacing) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::DFromV<Vector> tag;
    const hn::Repartition<T, decltype(tag)> elements;
    const auto even = hn::BitCast(elements, hn::InterleaveLower(tag, first, second));
    const auto odd = hn::BitCast(elements, hn::InterleaveUpper(tag, first, second));
    storeBlocks(elements, even, r, 2 * spacing);
    storeBlocks(elements, odd, r + spacing, 2 * spacing);
}

#endif

}  // namespace
}  // namespace korvan::KORVAN_COPY
