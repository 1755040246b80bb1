// The steps of MRG32k3a's components as 3-by-3 matrices, which act on the column of a component's
// three words, the oldest on top.
#pragma once

#include "generators/mrg32k3a.h"

namespace korvan {

struct Mrg32k3aMatrix {
    std::uint32_t entry[3][3];
};

inline constexpr Mrg32k3aMatrix mrg32k3aIdentity = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
inline constexpr Mrg32k3aMatrix mrg32k3aStepX = {
    {{0, 1, 0}, {0, 0, 1}, {mrg32k3aModulus1 - mrg32k3aX3, mrg32k3aX2, 0}}};
inline constexpr Mrg32k3aMatrix mrg32k3aStepY = {
    {{0, 1, 0}, {0, 0, 1}, {mrg32k3aModulus2 - mrg32k3aY3, 0, mrg32k3aY1}}};

// u0 v0 + u1 v1 + u2 v2 mod m, all words below m.  Two reduced products fit 64 bits beside a whole
// one, since (m - 1)^2 + 2 m < 2^64.
constexpr std::uint32_t mrg32k3aInnerProduct(std::uint32_t u0, std::uint32_t v0, std::uint32_t u1,
                                             std::uint32_t v1, std::uint32_t u2, std::uint32_t v2,
                                             std::uint32_t m) {
    const std::uint64_t first = std::uint64_t{u0} * v0 % m;
    const std::uint64_t second = std::uint64_t{u1} * v1 % m;
    return static_cast<std::uint32_t>((std::uint64_t{u2} * v2 + first + second) % m);
}

constexpr Mrg32k3aMatrix mrg32k3aProduct(const Mrg32k3aMatrix& u, const Mrg32k3aMatrix& v,
                                         std::uint32_t m) {
    Mrg32k3aMatrix product{};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            product.entry[i][j] = mrg32k3aInnerProduct(u.entry[i][0], v.entry[0][j],  //
                                                       u.entry[i][1], v.entry[1][j],  //
                                                       u.entry[i][2], v.entry[2][j], m);
        }
    }
    return product;
}

// base^exponent mod m, binary from the lowest bit.
constexpr Mrg32k3aMatrix mrg32k3aPower(Mrg32k3aMatrix base, std::uint64_t exponent,
                                       std::uint32_t m) {
    Mrg32k3aMatrix power = mrg32k3aIdentity;
    for (; exponent != 0; exponent >>= 1) {
        if (exponent & 1) power = mrg32k3aProduct(power, base, m);
        base = mrg32k3aProduct(base, base, m);
    }
    return power;
}

// words <- matrix words.
constexpr void mrg32k3aApply(const Mrg32k3aMatrix& matrix, std::uint32_t* words, std::uint32_t m) {
    const std::uint32_t w0 = words[0], w1 = words[1], w2 = words[2];
    for (int i = 0; i < 3; ++i) {
        words[i] = mrg32k3aInnerProduct(matrix.entry[i][0], w0, matrix.entry[i][1], w1,
                                        matrix.entry[i][2], w2, m);
    }
}

}  // namespace korvan
