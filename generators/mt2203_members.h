// Constants of the members of the MT2203 family of Mersenne Twisters.
#pragma once

#include <cstdint>

namespace korvan {

// What tells one member from another; everything else is common to the family.
struct Mt2203Member {
    std::uint32_t matrixA;  // twist: XORed into the new word when the low bit goes out
    std::uint32_t maskB;    // tempering: y ^= (y << 7) & maskB
    std::uint32_t maskC;    // tempering: y ^= (y << 15) & maskC
};

inline constexpr int mt2203MemberCount = 6024;

// In the order of the member numbers.
extern const Mt2203Member mt2203Members[mt2203MemberCount];

}  // namespace korvan
