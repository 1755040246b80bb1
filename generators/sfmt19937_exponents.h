// The characteristic polynomial of SFMT19937's step by one element, of degree 19968.
#pragma once

#include "generators/gf2_polynomial.h"

namespace korvan {

extern const Gf2Polynomial sfmt19937Characteristic;

}  // namespace korvan
