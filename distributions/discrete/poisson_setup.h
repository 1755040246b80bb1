// What the Poisson law keeps on a stream between calls of its method 0.
#pragma once

#include <cstddef>
#include <cstdint>

#include "streams/attachments.h"

namespace korvan {

// Means below this are searched in a table, others go through acceptance and rejection.
inline constexpr double leastRejectionMean = 27;

// Two preparations, each of the last mean of its kind.  Stream images hold the record as it is.
struct PoissonSetup {
    static constexpr std::int32_t ratios = 32, tableEntries = 44;

    // Acceptance and rejection.
    float lambda;  // rounded; 0: not prepared yet
    float m;       // the mode
    float invM, invM3, lnMOverLambda;
    float p1, p2, p3, p4;  // areas up to the end of triangle, parallelogram, left and right tail
    float c, invC, invP1;
    float xm, xl, xr;                    // the triangle's middle and ends
    float laml, lamr, invLaml, invLamr;  // decay of the tails
    float stirlingBase;
    float ratioDown[ratios];  // P(m - 1 - i) / P(m)
    float ratioUp[ratios];    // P(m + 1 + i) / P(m)

    // Search.
    double tableLambda;               // 0: not prepared yet
    double cumulative[tableEntries];  // P(at most k)
};
static_assert(sizeof(PoissonSetup) == 696 && offsetof(PoissonSetup, ratioUp) == 208 &&
              offsetof(PoissonSetup, tableLambda) == 336);

// Prepares one half, for 27 <= lambda < 2^31 or 0 < lambda < 27.
void prepareRejection(PoissonSetup& setup, double lambda);
void prepareTable(PoissonSetup& setup, double lambda);

// The table's entries that are in use.
[[gnu::always_inline]] inline std::int32_t poissonTableSize(double lambda) {
    return static_cast<std::int32_t>(lambda) + 16;
}

// A record from an image: could one of the above have written it?  A wrong one could reject for
// ever.
Loaded judgePoissonSetup(const StreamRecord* stream, const void* payload, std::uint32_t size);

}  // namespace korvan
