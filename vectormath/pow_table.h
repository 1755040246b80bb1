// Logarithms at short reciprocals, for the accurate powers.
#pragma once

#include <cstdint>

namespace korvan {

struct alignas(32) PowTableRow {
    double inverse, lnHigh, lnLow;
    double unused;  // rows are read whole
};
extern const PowTableRow powTable[128];

// Bits of the least mantissa, and the bits that an interval spans.
inline constexpr std::uint64_t powTableFirst = 0x3FE6A00000000000;
inline constexpr int powTableShift = 45;

}  // namespace korvan
