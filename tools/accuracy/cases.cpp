#include "cases.h"

#include <cmath>

#include "frame/copy_set.h"

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
    std::vector<double> borders = {708.3956308822137, -708.3956308822137, -708.3964185322641,
                                   709.05185001373388, 709.7363634};
    for (int i = -640; i <= 640; ++i) borders.push_back((i + 0.5) / 64 * std::log(2.0));
    for (int i = -1023; i <= 1024; ++i) borders.push_back((i + 0.5) * std::log(2.0));
    return borders;
}

void reciprocal(mpfr_t y, const mpfr_t x, const mpfr_t) {
    mpfr_ui_div(y, 1, x, MPFR_RNDN);
}

void power(mpfr_t y, const mpfr_t x1, const mpfr_t x2) {
    mpfr_pow(y, x1, x2, MPFR_RNDN);
}

// Halley's method on erf(y) = |x| or erfc(y) = 1 - |x|, from the base copy's double.  Two steps
// multiply its right digits by nine: if it had six, all of these are right.
void inverseErf(mpfr_t y, const mpfr_t x, const mpfr_t) {
    const double start = mpfr_get_d(x, MPFR_RNDN);
    double root;
    copySetOfBranch(0).vectorKernels->vdErfInv->ha(1, &start, &root);
    if (!std::isfinite(root) || root == 0) {
        mpfr_set_d(y, root, MPFR_RNDN);
        return;
    }
    mpfr_t z, complement, step, slope;
    mpfr_inits2(192, z, complement, step, slope, nullptr);
    mpfr_set_d(z, std::abs(root), MPFR_RNDN);
    for (int i = 0; i < 2; ++i) {
        // step = (erf z - |x|) sqrt(pi)/2 e^(z^2), z -= step / (1 + z step)
        if (std::abs(root) < 0.5) {
            mpfr_abs(complement, x, MPFR_RNDN);
            mpfr_erf(step, z, MPFR_RNDN);
            mpfr_sub(step, step, complement, MPFR_RNDN);
        } else {
            mpfr_abs(complement, x, MPFR_RNDN);
            mpfr_ui_sub(complement, 1, complement, MPFR_RNDN);
            mpfr_erfc(step, z, MPFR_RNDN);
            mpfr_sub(step, complement, step, MPFR_RNDN);
        }
        mpfr_const_pi(slope, MPFR_RNDN);
        mpfr_sqrt(slope, slope, MPFR_RNDN);
        mpfr_mul(step, step, slope, MPFR_RNDN);
        mpfr_div_ui(step, step, 2, MPFR_RNDN);
        mpfr_sqr(slope, z, MPFR_RNDN);
        mpfr_exp(slope, slope, MPFR_RNDN);
        mpfr_mul(step, step, slope, MPFR_RNDN);
        mpfr_mul(slope, step, z, MPFR_RNDN);
        mpfr_add_ui(slope, slope, 1, MPFR_RNDN);
        mpfr_div(step, step, slope, MPFR_RNDN);
        mpfr_sub(z, z, step, MPFR_RNDN);
    }
    mpfr_set(y, z, MPFR_RNDN);
    if (root < 0) mpfr_neg(y, y, MPFR_RNDN);
    mpfr_clears(z, complement, step, slope, nullptr);
}

// Measured itself among the double kernels.
double inverseErfInDouble(double x) {
    double y;
    copySetOfBranch(0).vectorKernels->vdErfInv->ha(1, &x, &y);
    return y;
}

// All multiples of pi/4 that the vector bodies reduce, where sine and cosine vanish or turn or the
// quarter changes; the double nearest to one of pi/2 (J.-M. Muller, Elementary Functions, 3rd ed.
// 2016, table 11.1); and the worst that searches found for the tangent.
std::vector<double> angleBorders() {
    std::vector<double> borders = {0x1p20,
                                   -0x1p20,
                                   8192,
                                   256,
                                   0x1.6ac5b262ca1ffp+849,
                                   316318.32491012104,
                                   124817.83232195336,
                                   142204.97539732934,
                                   385290.42096393026,
                                   41699.125341684739,
                                   383430.59815398452};
    for (int i = -300; i < 2 * 667544; ++i) borders.push_back(i * (std::acos(0.0) / 2));
    return borders;
}

std::vector<double> erfInvBorders() {
    return {0,
            1,
            -1,
            std::sqrt(1 - 0x1p-9),
            std::sqrt(1 - 0x1p-8),
            std::sqrt(1 - std::exp(-16.0)),
            std::sqrt(0.5),
            0.5,
            0.75,
            0x1p-1000,
            4.3829150148091868e-308,
            -4.2240132304695802e-308,
            3.0229297821355545e-308};
}

// Borders of the table of the powers' logarithm.
std::vector<double> powBorders() {
    std::vector<double> borders = {0x1p-1022, 0x1p-126, std::sqrt(0.5), std::sqrt(2.0)};
    for (int i = -128; i <= 128; ++i) borders.push_back(1 + i / (i < 0 ? 256.0 : 128.0));
    return borders;
}

}  // namespace

std::vector<Case<double>> doubleCases() {
    const std::vector<Range> angles = {
        {-7, 7}, {-0x1p20, 0x1p20}, {0x1p20, largest}, {-largest, largest}};
    const std::vector<Range> probabilities = {
        {-1, 1}, {denormal, 0.5}, {0.99, 1}, {-1, -0.999999}, {0.5, 1}, {0.999999999999, 1}};
    const std::vector<Range> bases = {{denormal, largest}, {0.5, 2}, {0.99, 1.01}};
    const std::vector<Range> exponents = {{-2, 2}, {-1000, 1000}, {-0x1p17, 0x1p17}, {-20, 20}};
    const std::vector<Range> positive = {{denormal, largest}, {0.5, 2}, {0.99, 1.01}};
    const std::vector<Range> powers = {
        {-745.2, 709.8}, {-745.2, -708}, {708, 709.8}, {-1, 1}, {-0x1p-30, 0x1p-30}};
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
        {"vdSqrt",
         runOneToOne<&VectorKernels::vdSqrt>,
         referenceOf<mpfr_sqrt>,
         {{0, largest}},
         {},
         {}},
        {"vdInv",
         runOneToOne<&VectorKernels::vdInv>,
         reciprocal,
         {{-largest, largest}, {1, 2}},
         {},
         {}},
        {"vdSin",
         runOneToOne<&VectorKernels::vdSin>,
         referenceOf<mpfr_sin>,
         angles,
         {},
         angleBorders()},
        {"vdCos",
         runOneToOne<&VectorKernels::vdCos>,
         referenceOf<mpfr_cos>,
         angles,
         {},
         angleBorders()},
        {"vdTan",
         runOneToOne<&VectorKernels::vdTan>,
         referenceOf<mpfr_tan>,
         angles,
         {},
         angleBorders()},
        {"vdSinCos, sine",
         runSineCosine<&VectorKernels::vdSinCos, true>,
         referenceOf<mpfr_sin>,
         angles,
         {},
         angleBorders()},
        {"vdSinCos, cosine",
         runSineCosine<&VectorKernels::vdSinCos, false>,
         referenceOf<mpfr_cos>,
         angles,
         {},
         angleBorders()},
        {"vdErfInv",
         runOneToOne<&VectorKernels::vdErfInv>,
         inverseErf,
         probabilities,
         {},
         erfInvBorders()},
        {"vdPow", runPower<&VectorKernels::vdPow>, power, bases, exponents, powBorders()},
        {"vdPowx", runFixedPower<&VectorKernels::vdPowx>, power, bases, exponents, powBorders()},
        {"vdPowBaseline", runPower<&VectorKernels::vdPowBaseline>, power, bases, exponents,
         powBorders()},
        {"vdPowxBaseline", runFixedPower<&VectorKernels::vdPowxBaseline>, power, bases, exponents,
         powBorders()},
    };
}

std::vector<Case<float>> singleCases() {
    const std::vector<Range> angles = {
        {0, 8192}, {-7, 7}, {-8192, 8192}, {-0x1p20, 0x1p20}, {-0x1.fffffep127, 0x1.fffffep127}};
    const std::vector<Range> probabilities = {{0, 1},    {-1, 1},       {0x1p-149, 0.5},
                                              {0.99, 1}, {-1, -0.9999}, {0.5, 1}};
    const std::vector<Range> bases = {{0x1p-149, 0x1.fffffep127}, {0.5, 2}, {0.99, 1.01}};
    const std::vector<Range> exponents = {{-2, 2}, {-200, 200}, {-20, 20}};
    const std::vector<Range> positive = {{0x1p-149, 0x1.fffffep127}, {0.5, 2}, {0.99, 1.01}};
    constexpr double least = 0x1p-13;  // nearer to 0 all of these are straight lines
    const std::vector<Range> powers = {{-104, 88.8}, {-1, 1}, {-0x1p-20, 0x1p-20}};
    return {
        {"vsExp",
         runOneToOne<&VectorKernels::vsExp>,
         referenceOf<mpfr_exp>,
         powers,
         {},
         expBorders(),
         std::exp,
         {{-104, -least}, {least, 88.8}}},
        {"vsLn",
         runOneToOne<&VectorKernels::vsLn>,
         referenceOf<mpfr_log>,
         positive,
         {},
         lnBorders(),
         std::log},
        {"vsLnBaseline",
         runOneToOne<&VectorKernels::vsLnBaseline>,
         referenceOf<mpfr_log>,
         positive,
         {},
         lnBorders(),
         std::log},
        {"vsSqrt",
         runOneToOne<&VectorKernels::vsSqrt>,
         referenceOf<mpfr_sqrt>,
         {{0, 0x1.fffffep127}},
         {},
         {},
         std::sqrt},
        {"vsInv",
         runOneToOne<&VectorKernels::vsInv>,
         reciprocal,
         {{-0x1.fffffep127, 0x1.fffffep127}, {1, 2}},
         {},
         {}},
        {"vsSin",
         runOneToOne<&VectorKernels::vsSin>,
         referenceOf<mpfr_sin>,
         angles,
         {},
         angleBorders(),
         std::sin,
         {{least, 8192}, {0, 0}}},
        {"vsCos",
         runOneToOne<&VectorKernels::vsCos>,
         referenceOf<mpfr_cos>,
         angles,
         {},
         angleBorders(),
         std::cos,
         {{least, 8192}, {0, 0}}},
        {"vsTan",
         runOneToOne<&VectorKernels::vsTan>,
         referenceOf<mpfr_tan>,
         angles,
         {},
         angleBorders(),
         std::tan,
         {{least, 8192}, {0, 0}}},
        {"vsSinCos, sine",
         runSineCosine<&VectorKernels::vsSinCos, true>,
         referenceOf<mpfr_sin>,
         angles,
         {},
         angleBorders(),
         std::sin,
         {{least, 8192}, {0, 0}}},
        {"vsSinCos, cosine",
         runSineCosine<&VectorKernels::vsSinCos, false>,
         referenceOf<mpfr_cos>,
         angles,
         {},
         angleBorders(),
         std::cos,
         {{least, 8192}, {0, 0}}},
        {"vsErfInv",
         runOneToOne<&VectorKernels::vsErfInv>,
         inverseErf,
         probabilities,
         {},
         erfInvBorders(),
         inverseErfInDouble,
         {{least, 1}, {0, 0}}},
        {"vsErfInvBaseline",
         runOneToOne<&VectorKernels::vsErfInvBaseline>,
         inverseErf,
         probabilities,
         {},
         erfInvBorders(),
         inverseErfInDouble,
         {{least, 1}, {0, 0}}},
        {"vsPowx", runFixedPower<&VectorKernels::vsPowx>, power, bases, exponents, powBorders()},
        {"vsErf",
         runOneToOne<&VectorKernels::vsErf>,
         referenceOf<mpfr_erf>,
         {{0, 5}, {-5, 5}, {0x1p-149, 1}, {-0x1.fffffep127, 0x1.fffffep127}},
         {},
         {1.25, -1.25, 3.9375},
         std::erf,
         {{least, 5}, {0, 0}}},
        {"vsErfBaseline",
         runOneToOne<&VectorKernels::vsErfBaseline>,
         referenceOf<mpfr_erf>,
         {{0, 5}, {-5, 5}, {0x1p-149, 1}, {-0x1.fffffep127, 0x1.fffffep127}},
         {},
         {1.25, -1.25, 3.9375},
         std::erf,
         {{least, 5}, {0, 0}}},
    };
}

}  // namespace korvan::accuracy
