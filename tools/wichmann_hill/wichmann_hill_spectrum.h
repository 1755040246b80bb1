// Spectral values of a multiplicative congruential generator.
#pragma once

#include <cstdint>

namespace korvan::wichmann_hill {

__extension__ typedef __int128 Wide;

inline constexpr int largestDimension = 6;

// The normalised spectral value S_t of x <- a x mod m, 2 <= t <= 6 and m < 2^97: the length of the
// shortest vector of the dual lattice, over the upper bound gamma_t^(1/2) m^(1/t) for any lattice.
double spectralValue(Wide m, Wide a, int t);

}  // namespace korvan::wichmann_hill
