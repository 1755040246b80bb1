// Tables of the logarithm and the exponential, shared by all copies.
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

// 2^(j/128), for half the digits.
extern const double fineExpTable[128];

// For registers that hold a whole table.  Entry i serves the numbers x = 2^e f whose mantissa f
// starts with the bits of i: with m = f below 1.5, f/2 from there on,
//
//     ln x = e ln 2 + hi + lo + ln(m inverse).
//
// The inverses next to m = 1 are 1, and hi and lo there sum up with e ln 2 to 0; all hi are
// multiples of the last place of wideLn2Hi.
inline constexpr double wideLn2Hi = 0.6931471805598903, wideLn2Lo = 5.497923018708371e-14;
inline constexpr double wideLnTableUnit = 0x1p-42;
static_assert(std::bit_cast<std::uint64_t>(wideLn2Hi) == 0x3FE62E42FEFA3800);
struct WideLnTable {
    alignas(64) double inverse[16], hi[16], lo[16];
};
extern const WideLnTable wideLnTable;

// hi + lo = 2^(j/16).
struct WideExpTable {
    alignas(64) double hi[16], lo[16];
};
extern const WideExpTable wideExpTable;

// The same in single, of which one register holds a table: -ln of the inverse, and 2^(j/16).
struct SingleLnTable {
    alignas(64) float inverse[16], minusLn[16];
};
extern const SingleLnTable singleLnTable;
struct SingleExpTable {
    alignas(64) float power[16];
};
extern const SingleExpTable singleExpTable;

}  // namespace korvan
