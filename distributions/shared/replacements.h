// Finite values in place of infinite ones: what the laws' error callbacks give the vector
// mathematics for an element that has no logarithm or no quantile, since some generators can give
// the ends of their interval.
#pragma once

#include <cstdint>

namespace korvan {

struct VmlErrorContext;

// The logarithm of the smallest positive number of the precision: of 2^-1074 and 2^-149.
inline constexpr double leastLogarithm = -744.4400719213812;
inline constexpr double leastSingleLogarithm = -103.2789306640625;

// The inverse error function at the last numbers before 1.
inline constexpr double largestErfInv = 5.8635847487551676;
inline constexpr double largestSingleErfInv = 3.8325068950653076;

// A callback's names: what it replaces, in which precision.  All return 0, which lets the
// replacement in.
template <class Real>
struct Replace {
    // Any failed element: the least logarithm.
    static std::int32_t logarithm(VmlErrorContext* context);
    // The same for singularities; domain errors stay as they are.
    static std::int32_t singularLogarithm(VmlErrorContext* context);
    // The singularity at 0: the least logarithm; others and domain errors: the end of the inverse
    // error function on the argument's side.
    static std::int32_t logarithmOrErfInv(VmlErrorContext* context);
};
extern template struct Replace<double>;
extern template struct Replace<float>;

}  // namespace korvan
