// Fills of arrays that no cache keeps: made in parts in the first-level cache and written past
// the others, which saves the memory from reading what is overwritten.
//
// For the uniform exports.  Other kernels read their uniforms at once and call the generators'
// fills themselves.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

#include "distributions/shared/parts-inl.h"
#include "streams/generator_table.h"

namespace korvan::KORVAN_COPY {
namespace {

// From here on an array was measured to be written faster past the caches; below, where a
// last-level cache may still hold it, the plain stores win.
constexpr std::size_t largeBytes = std::size_t{64} << 20;

constexpr std::size_t partElements = 1024;

// The state shows in images, so the last part matters: merged with the one before it, it leaves
// the state of one long fill; short, that of fills of partElements and a remainder.
enum class LastPart { merged, remainder };

template <class T>
[[gnu::always_inline]] inline bool isLargeFill(const GeneratorRow& row, std::size_t n, const T* r) {
    const bool aligned = reinterpret_cast<std::uintptr_t>(r) % sizeof(T) == 0;
    return n > largeBytes / sizeof(T) && canBeSplit(row) && aligned;
}

// fill(part, count) fills part[0 .. count - 1] with the next elements, and returns a status.
template <LastPart last, class T, class Fill>
[[gnu::always_inline]] inline std::int32_t largeFill(const GeneratorRow& row,
                                                     const StreamRecord* stream, T* r,
                                                     std::size_t n, Fill fill) {
    constexpr std::size_t lineElements = 64 / sizeof(T);
    constexpr std::size_t most = last == LastPart::merged ? 2 * partElements : partElements + 1;
    std::size_t excess = last == LastPart::merged ? firstExcess(row, stream) : 0;
    alignas(64) T buffer[lineElements + most];
    for (std::size_t done = 0; done < n;) {
        const std::size_t left = n - done;
        const std::size_t count = left < most ? left : partElements + excess;
        excess = 0;
        // Elements up to the first border of a line; the buffer is shifted so that its lines are
        // r's.
        const std::size_t misaligned =
            reinterpret_cast<std::uintptr_t>(r + done) / sizeof(T) % lineElements;
        const std::size_t head = (lineElements - misaligned) % lineElements;
        T* const part = buffer + (lineElements - head);
        if (const std::int32_t status = fill(part, count); status < 0) return status;
        std::size_t i = 0;
        for (; i < head && i < count; ++i) r[done + i] = part[i];
        for (; i + lineElements <= count; i += lineElements) {
            for (std::size_t k = 0; k < lineElements; k += lineElements / 4) {
                const auto* from = reinterpret_cast<const __m128i*>(part + i + k);
                _mm_stream_si128(reinterpret_cast<__m128i*>(r + done + i + k),
                                 _mm_load_si128(from));
            }
        }
        for (; i < count; ++i) r[done + i] = part[i];
        done += count;
    }
    _mm_sfence();  // streaming stores are ordered by nothing else
    return RNG_OK;
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
