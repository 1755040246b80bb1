// Which compiled copies this process runs, and what its processor can do.
//
// Asked by code that is compiled without processor flags; the answers take both the processor and
// the operating system into account.
#pragma once

#include <cstdint>

#include "frame/levels.h"

namespace korvan {

// The branch number, 0 to 11, never 10: computed at the first call and then kept.
std::int32_t branchNumber();

// The instruction-set class of the detected branch. A forced branch number leaves it alone.
Level level();

// The same with its refinements told apart.
Level refinedLevel();

// Made by one of the makers whose processors the kernels are measured and tuned on.
bool isTunedVendor();

// Has a feature, by its lower-case name in features.def; false for a name that isn't there.
bool processorHasFeature(const char* lowerCaseName);

// Has all features of a comma-separated list, such as "avx2,fma,bmi". An empty list asks nothing.
bool processorHasFeatures(const char* commaSeparatedNames);

}  // namespace korvan
