// Compiled once for each copy and included before the first line of its kernels: what they all
// parse otherwise.
#pragma once

#include "copies/processor_flags.h"

#include <hwy/highway.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
