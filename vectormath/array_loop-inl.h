// The one loop of all vector math kernels, for kernel files only.
//
// A kernel file NAME.kernel.cpp has, in this order: the mathematics as a function object, in an
// unnamed namespace; its rows, one line each; and the record that vector_kernels.def asks for:
//
//     struct Ln {
//         using Real = double;
//         static constexpr const char* name = "vdLn";
//         static constexpr Real filler = 0.75;    // an argument that can't fail
//
//         // Vector body.  Runs over all lanes, without a branch on data; sets the lanes of
//         // `exceptional` whose result is no good.
//         HWY_INLINE Vec<Real> operator()(Vec<Real> x, Mask<Real>& exceptional) const;
//
//         // Scalar routine of an exceptional lane: writes the result, returns a VML_STATUS code.
//         static std::int32_t element(Real x, Real* result);
//     };
//     void lnHa(std::int32_t n, const double* in, double* out) { overArray(Ln(), n, in, out); }
//     ...
//     constinit const VectorKernel<OneToOne<double>> vdLn = {lnLa, lnHa, lnEp};
//
// The other shapes differ in the signatures:
//     two results     void operator()(Vec x, Vec& y, Vec& z, Mask&);  element(x, &y, &z)
//     two arguments   Vec operator()(Vec x, Vec y, Mask&);            element(x, y, &result)
//     one exponent for all: one argument; the object has a member `Real parameter`, shown as second
//     input in reports, and element() isn't static.
//
// An element's bits depend on the element alone: the tail goes through the same vector body, on a
// buffer with the filler in its other lanes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hwy/highway.h"
#include "vectormath/control_registers-inl.h"
#include "vectormath/error_path.h"
#include "vectormath/parallel_parts.h"
#include "vectormath/vector_kernels.h"

namespace korvan::KORVAN_COPY {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <class Real>
using Tag = hn::ScalableTag<Real>;
template <class Real>
using Vec = hn::Vec<Tag<Real>>;
template <class Real>
using Mask = hn::Mask<Tag<Real>>;
template <class Real>
constexpr std::size_t lanes = HWY_LANES(Real);

// Logic of masks.  Highway 1.0.3 leaves that of one lane to the linker where it isn't inlined, as
// at -Og.
template <class M>
HWY_INLINE M notMask(M mask) {
#if HWY_TARGET == HWY_SCALAR
    return M::FromBool(mask.bits == 0);
#else
    return hn::Not(mask);
#endif
}
template <class M>
HWY_INLINE M orMask(M mask, M other) {
#if HWY_TARGET == HWY_SCALAR
    return M::FromBool((mask.bits | other.bits) != 0);
#else
    return hn::Or(mask, other);
#endif
}

template <class Real>
HWY_INLINE bool anyLane(Mask<Real> mask) {
#if HWY_TARGET == HWY_SCALAR
    return mask.bits != 0;
#elif HWY_MAX_BYTES == 16
    const auto lanesOfMask = hn::VecFromMask(Tag<Real>(), mask).raw;
    if constexpr (sizeof(Real) == 8) {
        return _mm_movemask_pd(lanesOfMask) != 0;
    } else {
        return _mm_movemask_ps(lanesOfMask) != 0;
    }
#else
    return !hn::AllFalse(Tag<Real>(), mask);
#endif
}

// What one call computes; the result of an argument may replace it.
template <class Function, std::size_t inputs, std::size_t outputs>
struct ArrayCall {
    using Real = typename Function::Real;
    Function function;
    const Real* in[inputs];
    Real* out[outputs];
};

// Lanes of a group, as arrays.
template <class Real, std::size_t inputs>
struct GroupLanes {
    Real x[inputs][lanes<Real>];
    Real isExceptional[lanes<Real>];  // 1 or 0
};

template <class Function, std::size_t inputs, std::size_t outputs>
HWY_INLINE std::int32_t computeElement(const Function& function,
                                       const typename Function::Real (&x)[inputs],
                                       typename Function::Real (&y)[outputs]) {
    if constexpr (inputs == 2) {
        return function.element(x[0], x[1], &y[0]);
    } else if constexpr (outputs == 2) {
        return function.element(x[0], &y[0], &y[1]);
    } else {
        return function.element(x[0], &y[0]);
    }
}

// Recomputes the exceptional ones of `count` elements from `first` on.
template <class Function, std::size_t inputs, std::size_t outputs>
[[gnu::noinline, gnu::cold]] void repairElements(
    const ArrayCall<Function, inputs, outputs>& call, std::size_t first, std::size_t count,
    const GroupLanes<typename Function::Real, inputs>& group) {
    using Real = typename Function::Real;
    for (std::size_t lane = 0; lane < count; ++lane) {
        if (group.isExceptional[lane] == 0) continue;
        Real x[inputs], y[outputs];
        for (std::size_t k = 0; k < inputs; ++k) x[k] = group.x[k][lane];
        const std::int32_t code = computeElement(call.function, x, y);
        if (code != VML_STATUS_OK) {
            Real shown[2] = {x[0], x[inputs - 1]}, results[2] = {y[0], y[outputs - 1]};
            if constexpr (requires { call.function.parameter; }) {
                shown[1] = call.function.parameter;
            }
            reportElement(code, static_cast<std::int32_t>(first + lane), shown, results,
                          Function::name);
            for (std::size_t k = 0; k < outputs; ++k) y[k] = results[k];
        }
        for (std::size_t k = 0; k < outputs; ++k) call.out[k][first + lane] = y[k];
    }
}

template <class Function, std::size_t inputs, std::size_t outputs, class V>
HWY_INLINE void computeVector(const Function& function, const V (&x)[inputs], V (&y)[outputs],
                              Mask<typename Function::Real>& exceptional) {
    if constexpr (inputs == 2) {
        y[0] = function(x[0], x[1], exceptional);
    } else if constexpr (outputs == 2) {
        function(x[0], y[0], y[1], exceptional);
    } else {
        y[0] = function(x[0], exceptional);
    }
}

// Some lanes of a vector, fewer than all: nothing outside the array is touched.
template <class Real>
HWY_INLINE Vec<Real> loadFew(const Real* from, std::size_t count, Real filler) {
    const Tag<Real> tag;
#if HWY_TARGET <= HWY_AVX2
    const auto inside = hn::FirstN(tag, count);
    return hn::IfThenElse(inside, hn::MaskedLoad(inside, tag, from), hn::Set(tag, filler));
#else
    Real padded[lanes<Real>];
    hn::StoreU(hn::Set(tag, filler), tag, padded);
    for (std::size_t lane = 0; lane < count; ++lane) padded[lane] = from[lane];
    return hn::LoadU(tag, padded);
#endif
}
template <class Real>
HWY_INLINE void storeFew(Vec<Real> y, Real* to, std::size_t count) {
    const Tag<Real> tag;
#if HWY_TARGET <= HWY_AVX2
    hn::BlendedStore(y, hn::FirstN(tag, count), tag, to);
#else
    Real results[lanes<Real>];
    hn::StoreU(y, tag, results);
    for (std::size_t lane = 0; lane < count; ++lane) to[lane] = results[lane];
#endif
}

// Elements first .. first + count - 1, a vector of them or fewer.
template <bool full, class Function, std::size_t inputs, std::size_t outputs>
HWY_INLINE void computeGroup(const ArrayCall<Function, inputs, outputs>& call, std::size_t first,
                             std::size_t count) {
    using Real = typename Function::Real;
    const Tag<Real> tag;
    Vec<Real> x[inputs], y[outputs];
    for (std::size_t k = 0; k < inputs; ++k) {
        const Real* from = call.in[k] + first;
        if constexpr (full) {
            x[k] = hn::LoadU(tag, from);
        } else {
            x[k] = loadFew(from, count, Function::filler);
        }
    }
    Mask<Real> exceptional;
    computeVector(call.function, x, y, exceptional);
    for (std::size_t k = 0; k < outputs; ++k) {
        Real* to = call.out[k] + first;
        if constexpr (full) {
            hn::StoreU(y[k], tag, to);
        } else {
            storeFew(y[k], to, count);
        }
    }
    if (HWY_UNLIKELY(anyLane<Real>(exceptional))) {
        GroupLanes<Real, inputs> group;
        for (std::size_t k = 0; k < inputs; ++k) hn::StoreU(x[k], tag, group.x[k]);
        hn::StoreU(hn::IfThenElseZero(exceptional, hn::Set(tag, 1)), tag, group.isExceptional);
        repairElements(call, first, count, group);
    }
}

template <class Function, std::size_t inputs, std::size_t outputs>
void computePart(const void* whole, std::int32_t begin, std::int32_t count) {
    using Real = typename Function::Real;
    const auto& call = *static_cast<const ArrayCall<Function, inputs, outputs>*>(whole);
    const ControlRegisters registers(getModeWord());
    auto first = static_cast<std::size_t>(begin);
    const std::size_t end = first + static_cast<std::size_t>(count);
    for (; end - first >= lanes<Real>; first += lanes<Real>) {
        computeGroup<true>(call, first, lanes<Real>);
    }
    if (first != end) computeGroup<false>(call, first, end - first);
}

template <class Function, std::size_t inputs, std::size_t outputs>
HWY_INLINE void run(std::int32_t n, const ArrayCall<Function, inputs, outputs>& call) {
    if (n < leastParallelElements) {
        computePart<Function, inputs, outputs>(&call, 0, n);
    } else {
        runInParts(n, &call, computePart<Function, inputs, outputs>);
    }
}

template <class Function, class Real>
HWY_INLINE void overArray(const Function& function, std::int32_t n, const Real* in, Real* out) {
    run<Function, 1, 1>(n, {function, {in}, {out}});
}

template <class Function, class Real>
HWY_INLINE void overArrayToTwo(const Function& function, std::int32_t n, const Real* in, Real* out1,
                               Real* out2) {
    run<Function, 1, 2>(n, {function, {in}, {out1, out2}});
}

template <class Function, class Real>
HWY_INLINE void overTwoArrays(const Function& function, std::int32_t n, const Real* in1,
                              const Real* in2, Real* out) {
    run<Function, 2, 1>(n, {function, {in1, in2}, {out}});
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
