// MT2203: a family of Mersenne Twisters of period 2^2203 - 1, whose members have characteristic
// polynomials of their own and so give independent streams, one for each worker.
//
// Source: M. Matsumoto, T. Nishimura, Dynamic creation of pseudorandom number generators, Monte
// Carlo and Quasi-Monte Carlo Methods 1998 (2000) 56-69.
#pragma once

#include "generators/mersenne_twister.h"
#include "streams/stream_record.h"

namespace korvan {

struct Mt2203State {
    std::uint32_t mt[Mt2203Shape::words];  // raw words
    std::int32_t index;                    // words of mt given out: 0 .. 69
    TwisterConstants constants;            // the member's, so that fills need no table
    std::uint32_t spare;                   // 0
};
static_assert(sizeof(StreamRecord) + sizeof(Mt2203State) == 312);

}  // namespace korvan
