// The 273 members of the Wichmann-Hill set.
#pragma once

#include <cstdint>

namespace korvan {

struct WichmannHillMember {
    std::uint32_t moduli[4];       // primes just below 2^24
    std::uint32_t multipliers[4];  // primitive roots, 112 .. 127
};

inline constexpr int wichmannHillMemberCount = 273;

// In the order of the member numbers.
extern const WichmannHillMember wichmannHillMembers[wichmannHillMemberCount];

}  // namespace korvan
