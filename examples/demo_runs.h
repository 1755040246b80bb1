// What the demo measures: fills of large arrays, the price of a European call, and pi.
#pragma once

#include <korvan/random.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace demo {

struct Generator {
    const char* name;
    GeneratorId id;
    bool isQuasiRandom;  // evenly spread points: no standard error
};

// The generators that this version of the library contains.
std::vector<Generator> presentGenerators();

// A status that ends a run, for example because the processor lacks an instruction.
class Failure : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A European call on an asset without dividends.
struct Call {
    double spot, strike;
    double rate;        // continuously compounded, a year
    double volatility;  // a year
    double years;       // to expiry
};

// F. Black, M. Scholes, The pricing of options and corporate liabilities, J. Political Economy 81
// (1973) 637-654.
double exactPrice(const Call& call);

struct Estimate {
    double value;
    double standardError;  // NaN for quasi-random points
    double nanoseconds;    // a path or point
};

// Told the part done, 0 to 1, after every block.
using Progress = std::function<void(double done)>;

Estimate priceCall(const Generator& generator, std::uint32_t seed, const Call& call,
                   std::int64_t paths, const Progress& progress);
Estimate estimatePi(const Generator& generator, std::uint32_t seed, std::int64_t points,
                    const Progress& progress);

inline constexpr std::int32_t fillElements = 1000000;

// Nanoseconds an element for arrays of fillElements, the best of several fills.
struct FillTimes {
    double words, singles, doubles, integers;
};
FillTimes timeFills(const Generator& generator, std::uint32_t seed);

}  // namespace demo
