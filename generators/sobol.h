// Sobol's sequence: 40 dimensions by the numbers of Bratley and Fox, any number by the caller's.
//
// Sources: I. M. Sobol, On the distribution of points in a cube and the approximate evaluation of
// integrals, USSR Comput. Math. Math. Phys. 7 (1967) 86-112; P. Bratley and B. L. Fox, Algorithm
// 659, ACM Trans. Math. Softw. 14 (1988) 88-100.
#pragma once

#include <cstddef>

#include "generators/digital_sequence.h"

namespace korvan {

inline constexpr std::int32_t sobolDimensions = 40;

// Tables that a caller gives whole are attachments of the stream: the point its own, the directions
// shared by its copies.
using SobolState = SequenceState<sobolDimensions, sobolDimensions, 1560>;
static_assert(sizeof(StreamRecord) + sizeof(SobolState) == 11712);
static_assert(offsetof(SobolState, directions) == 4 * 44);

DigitalSequence sobolSequence(StreamHandle stream);

}  // namespace korvan
