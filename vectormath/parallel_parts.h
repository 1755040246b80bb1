// Large arrays of a kernel in parts, on several threads.
#pragma once

#include <cstdint>

namespace korvan {

// Computes elements begin .. begin + count - 1 of the call that `call` describes.
using PartRoutine = void (*)(const void* call, std::int32_t begin, std::int32_t count);

// From this many elements on, threads may pay.
inline constexpr std::int32_t leastParallelElements = 65536;

// Runs `part` over 0 .. n - 1, on as many threads as the vector math domain may use.  They work
// under the calling thread's mode word and callback: a callback can then run on several threads at
// once.  Status, errno and exception flags come back to the calling thread.
void runInParts(std::int32_t n, const void* call, PartRoutine part);

}  // namespace korvan
