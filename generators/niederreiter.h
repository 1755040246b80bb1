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

// Of more dimensions than these an attachment holds point and directions, one behind the other.
using NiederreiterState = SequenceState<niederreiterDimensions, 320, 10250>;
static_assert(sizeof(StreamRecord) + sizeof(NiederreiterState) == 84288);
static_assert(offsetof(NiederreiterState, directions) == 4 * 324);

DigitalSequence niederreiterSequence(StreamHandle stream);

}  // namespace korvan
