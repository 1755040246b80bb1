// What the lines of kernel_cases.def name beside numbers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace korvan::testing {

// For each element of a call of up to 2500: both ways and all sizes of means.
inline constexpr auto caseMeans = [] {
    constexpr double some[] = {0.03, 0.0, 0.5, 3.7, 60.5, 9000.0, 0.06, 1e6, 1e9, 2e9};
    std::array<double, 2500> means{};
    for (std::size_t i = 0; i < means.size(); ++i) means[i] = some[i % std::size(some)];
    return means;
}();

// Of equal categories.
template <std::int32_t k>
constexpr auto caseShares = [] {
    std::array<double, k> shares{};
    for (double& share : shares) share = 1.0 / k;
    return shares;
}();

// Numbers that an element of a kernel's result consists of, given its parameters.
template <class... Parameters>
std::size_t columnsOf(Parameters...) {
    return 1;
}
inline std::size_t columnsOf(std::int32_t, std::int32_t k, const double*) {
    return static_cast<std::size_t>(k);
}

}  // namespace korvan::testing
