// The sine and the cosine kernel but for their names, for those two files.
#pragma once

#include "vectormath/angles-inl.h"

namespace korvan::KORVAN_COPY {
namespace {

template <bool isSine>
struct SineOrCosine {
    template <Accuracy accuracy, class D, class V>
    static HWY_INLINE V valueOf(D d, V x) {
        if constexpr (isSine) {
            return sine<accuracy>(d, x);
        } else {
            return cosine<accuracy>(d, x);
        }
    }

    template <class T, Accuracy accuracy>
    struct Function {
        using Real = T;
        static constexpr bool isDouble = sizeof(Real) == 8;
        static constexpr const char* name =
            isSine ? (isDouble ? "vdSin" : "vsSin") : (isDouble ? "vdCos" : "vsCos");
        static constexpr Real filler = 0.75;

        HWY_INLINE Vec<Real> operator()(Vec<Real> x, Mask<Real>& exceptional) const {
            exceptional = isBeyondReach<Real, accuracy>(x);
            const auto y = valueOf<accuracy>(Tag<Real>(), x);
            if constexpr (isWidened<Real, accuracy>) {
                const auto isFar = isToBeWidened(x);
                if (HWY_LIKELY(!anyLane<Real>(isFar))) return y;
                const auto compute = [](auto d, auto wide) {
                    return valueOf<Accuracy::ep>(d, wide);
                };
                return hn::IfThenElse(isFar, throughDouble(x, compute), y);
            }
            return y;
        }

        static std::int32_t element(Real x, Real* result) {
            double s, c;
            const std::int32_t code = sineCosineElement(static_cast<double>(x), &s, &c);
            *result = static_cast<Real>(isSine ? s : c);
            return code;
        }
    };
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
