// Which compiled copies this process runs, and what its processor can do.
//
// Asked by code that is compiled without processor flags; the answers take both the processor and
// the operating system into account.
#pragma once

#include <cstdint>

namespace korvan {

// The branch number, 0 to 11, never 10: computed at the first call and then kept.
std::int32_t branchNumber();

// The instruction-set class behind the detected branch: 2 SSE3, 4 SSSE3, 5 SSE4.2, 6 AVX, 7 AVX2,
// 9 AVX-512. A forced branch number leaves it alone.
std::int32_t level();

// The same with the refinements that the class was folded from: 11 to 14 stand behind AVX-512.
std::int32_t refinedLevel();

// Made by one of the makers whose processors the kernels are measured and tuned on.
bool isTunedVendor();

// Has a feature, by its lower-case name in features.def; false for a name that isn't there.
bool processorHasFeature(const char* lowerCaseName);

// Has all features of a comma-separated list, such as "avx2,fma,bmi". An empty list asks nothing.
bool processorHasFeatures(const char* commaSeparatedNames);

}  // namespace korvan
