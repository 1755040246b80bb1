#include "distributions/shared/replacements.h"

#include <type_traits>

#include "vectormath/error_path.h"

namespace korvan {
namespace {

template <class Real>
constexpr bool isSingle = std::is_same_v<Real, float>;
template <class Real>
constexpr double leastLog = isSingle<Real> ? leastSingleLogarithm : leastLogarithm;
template <class Real>
constexpr double largestErf = isSingle<Real> ? largestSingleErfInv : largestErfInv;

void replace(VmlErrorContext* context, double value) {
    context->result1 = context->result2 = value;
}

}  // namespace

template <class Real>
std::int32_t Replace<Real>::logarithm(VmlErrorContext* context) {
    replace(context, leastLog<Real>);
    return 0;
}

template <class Real>
std::int32_t Replace<Real>::singularLogarithm(VmlErrorContext* context) {
    if (context->code == VML_STATUS_SING) replace(context, leastLog<Real>);
    return 0;
}

template <class Real>
std::int32_t Replace<Real>::logarithmOrErfInv(VmlErrorContext* context) {
    const bool singular = context->code == VML_STATUS_SING;
    if (singular && context->input1 == 0) {
        replace(context, leastLog<Real>);
    } else if (singular || context->code == VML_STATUS_ERRDOM) {
        replace(context, context->input1 < 0 ? -largestErf<Real> : largestErf<Real>);
    }
    return 0;
}

template struct Replace<double>;
template struct Replace<float>;

}  // namespace korvan
