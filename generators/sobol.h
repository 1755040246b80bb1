// Sobol's sequence: 40 dimensions by the numbers of Bratley and Fox, any number by the caller's.
//
// Sources: I. M. Sobol, On the distribution of points in a cube and the approximate evaluation of
// integrals, USSR Comput. Math. Math. Phys. 7 (1967) 86-112; P. Bratley and B. L. Fox, Algorithm
// 659, ACM Trans. Math. Softw. 14 (1988) 88-100.
#pragma once

#include "generators/digital_sequence.h"

namespace korvan {

inline constexpr std::int32_t sobolDimensions = 40;

struct SobolState {
    SequencePosition at;
    std::uint32_t point[sobolDimensions];
    std::uint32_t directions[sobolDimensions * directionsPerDimension];
    // 1: point and directions are attachments of the stream, and zero here.  The directions are
    // shared by the stream's copies.
    std::uint32_t isAttached;
    std::uint32_t spare[1599];  // 0
};
static_assert(sizeof(StreamRecord) + sizeof(SobolState) == 11712);

DigitalSequence sobolSequence(StreamHandle stream);

}  // namespace korvan
