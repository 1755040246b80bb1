// Tables of the baseline logarithm and exponential, shared by all copies.
#pragma once

#include <bit>
#include <cstdint>

namespace korvan {

// ln 2 in two parts.  The first is a multiple of lnTableUnit, so that its product with an exponent
// is exact, as is that of the second.
inline constexpr double ln2Hi = 0.6931471805582987;
inline constexpr double ln2Lo = 1.6465949582866463e-12;
static_assert(std::bit_cast<std::uint64_t>(ln2Hi) == 0x3FE62E42FEFA0000);
static_assert(std::bit_cast<std::uint64_t>(ln2Lo) == 0x3D7CF79ABC9E0000);
inline constexpr double lnTableUnit = 0x1p-36;

// hi + lo = -ln(512 + k) - 1013 ln 2, hi a multiple of lnTableUnit.
struct LnTableRow {
    double hi, lo;
};
extern const LnTableRow lnTable[513];

// For 1 + k/64: its inverse, of 21 bits, and hi + lo = -ln(inverse), hi a multiple of the unit.
struct ScalarLnRow {
    double inverse, hi, lo;
};
inline constexpr double scalarLnTableUnit = 0x1p-42;
extern const ScalarLnRow scalarLnTable[65];

// hi + lo = 2^(j/64).
struct ExpTableRow {
    double hi, lo;
};
extern const ExpTableRow expTable[64];

}  // namespace korvan
