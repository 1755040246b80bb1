// The kernels of one copy.  Each has the name, the type and the meaning of its export, whose
// checks it relies on; kernels call each other through these.
#pragma once

#include <cstdint>

#include "korvan/random.h"

namespace korvan::KORVAN_COPY {

#define KORVAN_KERNEL(kernel) decltype(::kernel) kernel;
#include "frame/kernels.def"
#undef KORVAN_KERNEL

}  // namespace korvan::KORVAN_COPY
