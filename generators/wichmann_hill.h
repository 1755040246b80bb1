// Wichmann-Hill: four multiplicative congruential components x_j <- a_j x_j mod m_j with moduli
// near 2^24, whose fractions x_j / m_j are added modulo 1.
//
// Sources: B. A. Wichmann and I. D. Hill, Algorithm AS 183: an efficient and portable pseudo-random
// number generator, Appl. Statist. 31 (1982) 188-190; N. M. Maclaren, The generation of multiple
// independent sequences of pseudorandom numbers, Appl. Statist. 38 (1989) 351-359.
#pragma once

#include "streams/stream_record.h"

namespace korvan {

struct WichmannHillState {
    std::uint32_t x[4];  // the components that the next fill gives first: 1 .. m - 1
    std::uint32_t a[4];  // the multipliers in force: leapfrogging replaces them by powers
};
static_assert(sizeof(StreamRecord) + sizeof(WichmannHillState) == 48);

// u v mod m, exactly, for u and v in 1 .. m - 1, m a prime below 2^24 and `inverse` 1 / m, rounded.
//
// The product is below 2^48.  Since m doesn't divide it, u v / m is at least 2^-24 away from every
// integer, and its computed value less than 2^-27 off, however the processor rounds: the quotient
// is right.
[[gnu::always_inline]] inline double wichmannHillProduct(double u, double v, double m,
                                                         double inverse) {
    const double p = u * v;
    const auto quotient = static_cast<double>(static_cast<std::int32_t>(p * inverse));
    return p - m * quotient;
}

}  // namespace korvan
