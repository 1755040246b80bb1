// Niederreiter's sequence in base 2: 318 dimensions by the first irreducible polynomials, any
// number by polynomials or direction numbers of the caller's.
//
// Sources: P. Bratley, B. L. Fox, H. Niederreiter, Implementation and tests of low-discrepancy
// sequences, ACM Trans. Model. Comput. Simul. 2 (1992) 195-213; the same, Algorithm 738, ACM Trans.
// Math. Softw. 20 (1994) 494-495.
#pragma once

#include <cstddef>

#include "generators/digital_sequence.h"

namespace korvan {

inline constexpr std::int32_t niederreiterDimensions = 318;

// Point and directions just fill the bytes that vslCopyStreamState moves.
struct NiederreiterState {
    SequencePosition at;
    // In the state up to 318 dimensions; of more, an attachment holds point and directions, one
    // behind the other, and both are zero here.
    std::uint32_t point[niederreiterDimensions];
    std::uint32_t directions[niederreiterDimensions * directionsPerDimension];
    std::uint32_t spare[10570];  // 0
};
static_assert(sizeof(StreamRecord) + sizeof(NiederreiterState) == 84288);
static_assert(offsetof(NiederreiterState, spare) == 10498 * sizeof(std::uint32_t));

DigitalSequence niederreiterSequence(StreamHandle stream);

}  // namespace korvan
