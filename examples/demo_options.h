// The demo's command line.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "demo_runs.h"

namespace demo {

struct Options {
    Call call{.spot = 100, .strike = 105, .rate = 0.05, .volatility = 0.2, .years = 1};
    std::int64_t paths = 10000000;
    std::uint32_t seed = 777;
    std::vector<Generator> generators;  // those to run
    bool wantsHelp = false;
};

// A wrong argument; the text names it and what would be right.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Throws UsageError.
Options readOptions(const std::vector<std::string>& arguments,
                    const std::vector<Generator>& present);

std::string helpText(const std::vector<Generator>& present);

}  // namespace demo
