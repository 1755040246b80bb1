// Primitive polynomials and initial direction numbers of the Sobol dimensions 2 to 40.
//
// Source: P. Bratley and B. L. Fox, Algorithm 659: implementing Sobol's quasirandom sequence
// generator, ACM Trans. Math. Softw. 14 (1988) 88-100.  From dimension 23 on, the revision of 2003
// for 1111 dimensions has other numbers.
#pragma once

#include <cstdint>

namespace korvan {

struct SobolNumbers {
    std::uint32_t polynomial;  // bit i: the coefficient of t^i
    std::uint32_t initial[8];  // m_1, m_2, ..., as many as the polynomial's degree
};

extern const SobolNumbers sobolNumbers[39];

}  // namespace korvan
