// vector_costs: measures what vectormath/vector_costs.def carries, and prints it.
//
// usage: vector_costs > vectormath/vector_costs.def
//
// The least of many calls with 4096 elements, in cycles of the time stamp counter.  The base copy
// is left out: the table's default stands for it.
#include <x86intrin.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "frame/copy_set.h"
#include "vectormath/vector_kernels.h"

namespace {

using namespace korvan;

constexpr std::int32_t n = 4096;
constexpr int calls = 400;

// What a call needs besides the array of arguments.
template <class Real>
struct Arrays {
    std::vector<Real> in = std::vector<Real>(n), exponents = in, out = in, second = in;

    Arrays() {
        std::mt19937 engine(777);
        std::uniform_real_distribution<Real> uniform(0, 1);
        for (Real& x : in) x = uniform(engine);
        for (Real& x : exponents) x = uniform(engine);
    }
    void call(OneToOne<Real>* row) { row(n, in.data(), out.data()); }
    void call(SineAndCosine<Real>* row) { row(n, in.data(), out.data(), second.data()); }
    void call(FixedPower<Real>* row) { row(n, in.data(), Real{1.25}, out.data()); }
    void call(Power<Real>* row) { row(n, in.data(), exponents.data(), out.data()); }
};

template <class Real, class... Rest>
Real realOf(void (*)(std::int32_t, const Real*, Rest...));

template <class Row>
double costOf(Row* row) {
    Arrays<decltype(realOf(row))> arrays;
    std::uint64_t least = UINT64_MAX;
    for (int i = 0; i < calls; ++i) {
        const std::uint64_t start = __rdtsc();
        arrays.call(row);
        least = std::min<std::uint64_t>(least, __rdtsc() - start);
    }
    return static_cast<double>(least) / n;
}

template <class Shape>
void printCosts(const char* copy, const char* name, const VectorKernel<Shape>& kernel) {
    std::printf("KORVAN_VECTOR_COST(%s, %s, %.2fF, %.2fF, %.2fF)\n", copy, name, costOf(kernel.la),
                costOf(kernel.ha), costOf(kernel.ep));
}

}  // namespace

int main() {
    std::puts(
        "// Cycles for each element, by copy, kernel and row (LA, HA, EP).  Made by\n"
        "// tools/vector_costs.cpp on a processor with AVX-512 (CPUID family 26), whose counter "
        "runs\n"
        "// at 2.6 GHz.");
    const CopySet* last = &copySetOfBranch(0);
    for (std::int32_t branch = 1; branch <= 11; ++branch) {
        const CopySet& copy = copySetOfBranch(branch);
        if (&copy == last) continue;
        last = &copy;
#define KORVAN_VECTOR_KERNEL(kernel, ...) \
    printCosts(copy.name, #kernel, *copy.vectorKernels->kernel);
#include "vectormath/vector_kernels.def"
#undef KORVAN_VECTOR_KERNEL
    }
}
