#include "cases.h"

#include <cmath>

namespace korvan::accuracy {
namespace {

constexpr double denormal = 0x1p-1074, largest = 0x1.fffffffffffffp1023;

// Borders of the tables of a logarithm, in the binades around 1.
std::vector<double> lnBorders() {
    std::vector<double> borders = {std::sqrt(0.5), std::sqrt(2.0), 0x1p-1022};
    for (int i = 0; i <= 512; ++i) {
        const double y = 1024.0 / (512 + i + 0.5);  // the baseline's rows
        borders.insert(borders.end(), {y, y / 2, 1 + i / 512.0, (1 + i / 512.0) / 2});
    }
    return borders;
}

// Odd multiples of half a step of the tables of an exponential.
std::vector<double> expBorders() {
    std::vector<double> borders = {708.3956308822137, -708.3956308822137, -708.3964185322641};
    for (int i = -640; i <= 640; ++i) borders.push_back((i + 0.5) / 64 * std::log(2.0));
    for (int i = -1023; i <= 1024; ++i) borders.push_back((i + 0.5) * std::log(2.0));
    return borders;
}

}  // namespace

std::vector<Case<double>> doubleCases() {
    const std::vector<Range> positive = {{denormal, largest}, {0.5, 2}, {0.99, 1.01}};
    const std::vector<Range> powers = {{-745.2, 709.8}, {-1, 1}, {-0x1p-30, 0x1p-30}};
    return {
        {"vdExp",
         runOneToOne<&VectorKernels::vdExp>,
         referenceOf<mpfr_exp>,
         powers,
         {},
         expBorders()},
        {"vdExpBaseline",
         runOneToOne<&VectorKernels::vdExpBaseline>,
         referenceOf<mpfr_exp>,
         powers,
         {},
         expBorders()},
        {"vdLn",
         runOneToOne<&VectorKernels::vdLn>,
         referenceOf<mpfr_log>,
         positive,
         {},
         lnBorders()},
        {"vdLnBaseline",
         runOneToOne<&VectorKernels::vdLnBaseline>,
         referenceOf<mpfr_log>,
         positive,
         {},
         lnBorders()},
    };
}

std::vector<Case<float>> singleCases() {
    const std::vector<Range> positive = {{0x1p-149, 0x1.fffffep127}, {0.5, 2}, {0.99, 1.01}};
    const std::vector<Range> powers = {{-104, 88.8}, {-1, 1}, {-0x1p-20, 0x1p-20}};
    return {
        {"vsExp",
         runOneToOne<&VectorKernels::vsExp>,
         referenceOf<mpfr_exp>,
         powers,
         {},
         expBorders()},
        {"vsLn",
         runOneToOne<&VectorKernels::vsLn>,
         referenceOf<mpfr_log>,
         positive,
         {},
         lnBorders()},
        {"vsLnBaseline",
         runOneToOne<&VectorKernels::vsLnBaseline>,
         referenceOf<mpfr_log>,
         positive,
         {},
         lnBorders()},
    };
}

}  // namespace korvan::accuracy
