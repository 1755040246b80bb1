// What the accuracy program measures: a case for every vector math kernel.
#pragma once

#include <mpfr.h>

#include <cstdint>
#include <string>
#include <vector>

#include "vectormath/vector_kernels.h"

namespace korvan::accuracy {

struct Range {
    double low, high;
};

enum class Row { la, ha, ep };

template <class Shape>
Shape* rowOf(const VectorKernel<Shape>& kernel, Row row) {
    return row == Row::la ? kernel.la : row == Row::ha ? kernel.ha : kernel.ep;
}

template <class Real>
struct Case {
    std::string name;
    // Of functions with one argument the second is 0.
    void (*run)(const VectorKernels& kernels, Row row, std::int32_t n, const Real* x1,
                const Real* x2, Real* y);
    void (*reference)(mpfr_t y, const mpfr_t x1, const mpfr_t x2);
    // Arguments: spread evenly over each range, and evenly over its bit patterns.
    std::vector<Range> first, second = {};
    // Where the arithmetic changes: points whose neighbours are all tried.
    std::vector<double> borders = {};
    // For functions of one single: the double function, good enough to be a reference for every
    // single of these ranges, or of the first one above.
    double (*inDouble)(double) = nullptr;
    Range everySingle[2] = {{0, 0}, {0, 0}};  // empty ones are left out
};

template <auto kernel, class Real>
void runOneToOne(const VectorKernels& kernels, Row row, std::int32_t n, const Real* x, const Real*,
                 Real* y) {
    rowOf(*(kernels.*kernel), row)(n, x, y);
}

template <auto kernel, bool wantsSine, class Real>
void runSineCosine(const VectorKernels& kernels, Row row, std::int32_t n, const Real* x,
                   const Real*, Real* y) {
    std::vector<Real> other(static_cast<std::size_t>(n));
    rowOf(*(kernels.*kernel), row)(n, x, wantsSine ? y : other.data(),
                                   wantsSine ? other.data() : y);
}

template <auto kernel, class Real>
void runPower(const VectorKernels& kernels, Row row, std::int32_t n, const Real* x,
              const Real* exponents, Real* y) {
    rowOf(*(kernels.*kernel), row)(n, x, exponents, y);
}

template <auto kernel, class Real>
void runFixedPower(const VectorKernels& kernels, Row row, std::int32_t n, const Real* x,
                   const Real* exponents, Real* y) {
    for (std::int32_t i = 0; i < n; ++i) {
        rowOf(*(kernels.*kernel), row)(1, x + i, exponents[i], y + i);
    }
}

template <int (*function)(mpfr_t, const mpfr_t, mpfr_rnd_t)>
void referenceOf(mpfr_t y, const mpfr_t x, const mpfr_t) {
    function(y, x, MPFR_RNDN);
}

std::vector<Case<double>> doubleCases();
std::vector<Case<float>> singleCases();

}  // namespace korvan::accuracy
