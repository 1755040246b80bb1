// Every vector math kernel of the running copy through one form of call.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "frame/copy_set.h"
#include "vectormath/mode_word.h"
#include "vectormath/vector_kernels.h"

namespace korvan::testing {

inline const VectorKernels& vectorKernels() {
    return *copySetOfProcess().vectorKernels;
}

// One array in; the results of a function with two follow each other.  Exponents are 1.25.
template <class Real>
void callRow(OneToOne<Real>* row, std::int32_t n, const Real* in, Real* out, std::int32_t) {
    row(n, in, out);
}
template <class Real>
void callRow(SineAndCosine<Real>* row, std::int32_t n, const Real* in, Real* out,
             std::int32_t stride) {
    row(n, in, out, out + stride);
}
template <class Real>
void callRow(FixedPower<Real>* row, std::int32_t n, const Real* in, Real* out, std::int32_t) {
    row(n, in, Real{1.25}, out);
}
template <class Real>
void callRow(Power<Real>* row, std::int32_t n, const Real* in, Real* out, std::int32_t) {
    const std::vector<Real> exponents(static_cast<std::size_t>(n), Real{1.25});
    row(n, in, exponents.data(), out);
}

template <class Real, class... Rest>
Real realOf(void(std::int32_t, const Real*, Rest...));
template <class Shape>
constexpr int resultsOf = 1;
template <class Real>
constexpr int resultsOf<SineAndCosine<Real>> = 2;

// check(name, row, Real{}, number of results) for each row of each kernel.
template <class Check>
void forEachRow(Check check) {
    const auto rows = [&](const char* name, const auto& kernel) {
        const auto row = [&](const char* accuracy, auto* function) {
            using Shape = std::remove_pointer_t<decltype(function)>;
            using Real = decltype(realOf(std::declval<Shape&>()));
            check(std::string(name) + "." + accuracy, function, Real{}, resultsOf<Shape>);
        };
        row("la", kernel.la);
        row("ha", kernel.ha);
        row("ep", kernel.ep);
    };
#define KORVAN_VECTOR_KERNEL(name, ...) rows(#name, *vectorKernels().name);
#include "vectormath/vector_kernels.def"
#undef KORVAN_VECTOR_KERNEL
}

// Runs a check on a thread of its own: with the default mode, no error yet, and exception flags
// that no other test meets.
template <class Check>
void onFreshThread(Check check) {
    std::thread(check).join();
}

template <class Real>
bool sameBits(const Real* x, const Real* y, std::size_t n) {
    return n == 0 || std::memcmp(x, y, n * sizeof(Real)) == 0;
}

}  // namespace korvan::testing
