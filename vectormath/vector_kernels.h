// The vector math kernels of a copy: whole-array functions in three accuracies.
//
// A kernel file calls its own copy's, naming the row: vdLn.ep(n, x, x).  `n` of 0 touches nothing.
// An output may be an input, but not overlap one otherwise.  Sizes and pointers aren't tested.
#pragma once

#include <cstdint>

namespace korvan {

template <class Real>
using OneToOne = void(std::int32_t n, const Real* in, Real* out);
template <class Real>
using SineAndCosine = void(std::int32_t n, const Real* in, Real* sine, Real* cosine);
template <class Real>
using FixedPower = void(std::int32_t n, const Real* in, Real exponent, Real* out);
template <class Real>
using Power = void(std::int32_t n, const Real* in, const Real* exponents, Real* out);

// A kernel's rows.  Double: la within 4 ulp, ha below 1 ulp, ep with a relative error below 2^-26
// (single: 2^-11).  docs/accuracy.md has what was measured.
template <class Shape>
struct VectorKernel {
    Shape* la;
    Shape* ha;
    Shape* ep;
};

// One column: the kernels that a copy compiled.
struct VectorKernels {
#define KORVAN_VECTOR_KERNEL(name, ...) const VectorKernel<__VA_ARGS__>* name;
#include "vectormath/vector_kernels.def"
#undef KORVAN_VECTOR_KERNEL
};

#ifdef KORVAN_COPY
namespace KORVAN_COPY {
#    define KORVAN_VECTOR_KERNEL(name, ...) extern const VectorKernel<__VA_ARGS__> name;
#    include "vectormath/vector_kernels.def"
#    undef KORVAN_VECTOR_KERNEL
}  // namespace KORVAN_COPY
#endif

}  // namespace korvan
