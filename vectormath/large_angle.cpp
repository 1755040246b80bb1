// M. Payne, R. Hanek, Radian reduction for trigonometric functions, SIGNUM Newsletter 18 (1983):
// of the product x 2/pi, only the part below 4 counts, and that takes a window of 2/pi's bits.
#include "vectormath/large_angle.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace korvan {
namespace {

__extension__ typedef unsigned __int128 Wide;

// 64 zeros, then the binary digits of 2/pi behind the point (mpmath: 2/pi to 1400 bits).
constexpr std::uint64_t twoOverPi[] = {0,
                                       0xA2F9836E4E441529,
                                       0xFC2757D1F534DDC0,
                                       0xDB6295993C439041,
                                       0xFE5163ABDEBBC561,
                                       0xB7246E3A424DD2E0,
                                       0x06492EEA09D1921C,
                                       0xFE1DEB1CB129A73E,
                                       0xE88235F52EBB4484,
                                       0xE99C7026B45F7E41,
                                       0x3991D639835339F4,
                                       0x9C845F8BBDF9283B,
                                       0x1FF897FFDE05980F,
                                       0xEF2F118B5A0A6D1F,
                                       0x6D367ECF27CB09B7,
                                       0x4F463F669E5FEA2D,
                                       0x7527BAC7EBE5F17B,
                                       0x3D0739F78A5292EA,
                                       0x6BFB5FB11F8D5D08,
                                       0x56033046FC7B6BAB,
                                       0xF0CFBC209AF4361D};

// 64 of them from `bit` on.
std::uint64_t digitsFrom(std::size_t bit) {
    const std::size_t word = bit / 64, shift = bit % 64;
    const std::uint64_t high = twoOverPi[word] << shift;
    return shift == 0 ? high : high | twoOverPi[word + 1] >> (64 - shift);
}

// A sum of two numbers, exactly: |a| >= |b|.
struct Sum {
    double head, rest;
};
Sum quickSum(double a, double b) {
    const double head = a + b;
    return {head, b - (head - a)};
}

}  // namespace

QuarteredAngle quarterLargeAngle(double x) {
    const auto bits = std::bit_cast<std::uint64_t>(x);
    const auto exponent = static_cast<int>(bits >> 52 & 0x7FF) - 1075;  // x = m 2^exponent
    const std::uint64_t m = (bits & 0xFFFFFFFFFFFFF) | std::uint64_t{1} << 52;

    // Digits of weight 2^(2-exponent) and more give multiples of 4.  With 192 digits from there on,
    // as an integer, the product modulo 2^192 is x 2/pi modulo 4 in units of 2^-190; what the
    // digits behind would add is below 2^-137, and no double comes closer than 2^-62 to a multiple.
    const auto first = static_cast<std::size_t>(64 + exponent - 2);
    const Wide low = Wide{digitsFrom(first + 128)} * m;
    const Wide middle = Wide{digitsFrom(first + 64)} * m + (low >> 64);
    const std::uint64_t high = digitsFrom(first) * m + static_cast<std::uint64_t>(middle >> 64);

    // To the nearest quarter: what is left, as a signed fraction.
    const std::uint64_t rounded = (high >> 61) + 1;
    const int quarter = static_cast<int>(rounded >> 1 & 3);
    const bool isNegative = high >> 61 & 1;
    Wide fraction =
        Wide{high << 2 | static_cast<std::uint64_t>(middle) >> 62} << 64 |
        (static_cast<std::uint64_t>(middle) << 2 | static_cast<std::uint64_t>(low) >> 62);
    if (isNegative) fraction = ~fraction;

    // The first 53 of its bits and the next, below 1/2 in units of 2^-128.
    const auto upper = static_cast<std::uint64_t>(fraction >> 64);
    const int zeros = upper ? std::countl_zero(upper) : 64;
    fraction <<= zeros;
    const double unit = std::bit_cast<double>(static_cast<std::uint64_t>(1023 - 53 - zeros) << 52);
    const double head = static_cast<double>(static_cast<std::uint64_t>(fraction >> 75)) * unit;
    const double rest =
        static_cast<double>(static_cast<std::uint64_t>(fraction >> 11)) * (unit * 0x1p-64);

    // Times pi/2, the product of the heads from halves of 26 and 27 bits.
    constexpr double halfPi = 0x1.921fb54442d18p+0, halfPiRest = 0x1.1a62633145c07p-54;
    const double split = head * 134217729.0, upperHead = split - (split - head);
    const double lowerHead = head - upperHead;
    constexpr double upperPi = 0x1.921fb5p+0, lowerPi = halfPi - upperPi;
    const double product = head * halfPi;
    const double lost =
        ((upperHead * upperPi - product) + upperHead * lowerPi + lowerHead * upperPi) +
        lowerHead * lowerPi;
    const Sum angle = quickSum(product, lost + (head * halfPiRest + rest * halfPi));
    const double sign = isNegative ? -1 : 1;
    return {quarter, sign * angle.head, sign * angle.rest};
}

}  // namespace korvan
