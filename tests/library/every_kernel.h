// One call of every generator function.
#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

#include "../static/kernel_cases.h"
#include "korvan/random.h"

namespace korvan::testing {

using Bytes = std::vector<char>;

// Bytes of an element: words of viRngUniformBits are as wide as the generator's.
template <class T>
std::size_t elementBytes(const void* function, StreamHandle stream) {
    GeneratorProperties row;
    if (function != reinterpret_cast<const void*>(&viRngUniformBits) ||
        vslGetBrngProperties(vslGetStreamStateBrng(stream), &row) < 0) {
        return sizeof(T);
    }
    return static_cast<std::size_t>(row.wordBytes);
}

// Adds the call's status, and what it wrote if it succeeded.  The array has exactly the size that
// it has to have, for tools that watch the heap.
template <class T, class... Parameters>
void drawOne(Bytes& drawn,
             std::int32_t (*function)(std::int32_t, StreamHandle, std::int32_t, T*, Parameters...),
             std::int32_t method, StreamHandle stream, std::int32_t n,
             std::type_identity_t<Parameters>... parameters) {
    const std::size_t size =
        elementBytes<T>(reinterpret_cast<const void*>(function), stream) * columnsOf(parameters...);
    std::vector<T> r(static_cast<std::size_t>(n) * size / sizeof(T));
    const std::int32_t status = function(method, stream, n, r.data(), parameters...);
    const auto add = [&](const void* from, std::size_t bytes) {
        drawn.insert(drawn.end(), static_cast<const char*>(from),
                     static_cast<const char*>(from) + bytes);
    };
    add(&status, sizeof status);
    if (status == RNG_OK) add(r.data(), r.size() * sizeof(T));
}

inline Bytes drawWithEverything(StreamHandle stream, std::int32_t n) {
    Bytes drawn;
#define KERNEL_CASE(kernel, method, epsilons, ...) \
    drawOne(drawn, ::kernel, method, stream, n __VA_OPT__(, ) __VA_ARGS__);
#include "../static/kernel_cases.def"
#undef KERNEL_CASE
    return drawn;
}

}  // namespace korvan::testing
