// Dimensions of equidistribution of a tempered generator of the family, and the search for the
// tempering masks that belong to a twist constant.
//
// Sources: M. Matsumoto and T. Nishimura, Dynamic creation of pseudorandom number generators,
// Monte Carlo and Quasi-Monte Carlo Methods 1998 (2000) 56-69, for the search; R. Couture and
// P. L'Ecuyer, Lattice computations for random numbers, Math. Comp. 69 (2000) 757-765, and
// S. Harase, M. Matsumoto and M. Saito, Fast lattice reduction for F2-linear pseudorandom number
// generators, Math. Comp. 80 (2011) 395-407, for the lattice.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>

namespace korvan::mt2203 {

struct Masks {
    std::uint32_t b = 0;
    std::uint32_t c = 0;
    bool operator==(const Masks&) const = default;
};

// k(v): the most words in a row whose v top bits take all values equally often over the period.
// v is 1 .. 32. The last tempering step, y ^= y >> 18, is left out: it changes no k(v). The
// characteristic polynomial of matrixA must be irreducible; throws std::logic_error where it is
// found out not to be.
int dimension(std::uint32_t matrixA, Masks masks, int v);
// The same without vectors above 128 bits; `dimension` uses those where the processor has them.
int dimensionPortable(std::uint32_t matrixA, Masks masks, int v);

// No masks and no matrixA reach a k(v) above this.
int dimensionBound(int v);

struct MaskSearchResult {
    Masks masks;
    std::array<int, 32> dimensions{};  // k(1) .. k(32)
    int defectSum = 0;                 // sum of 2203 div v - k(v)
};

inline constexpr int noLimit = std::numeric_limits<int>::max();

// The masks of matrixA. Nothing when the defect sum is above maxDefectSum, which is found out as
// early as dimensionBound allows.
std::optional<MaskSearchResult> searchMasks(std::uint32_t matrixA, int maxDefectSum = noLimit);

}  // namespace korvan::mt2203
