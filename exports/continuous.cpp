// The exported generators of real variates.
#include "exports/entry.h"

using namespace korvan;

std::int32_t vdRngUniform(std::int32_t method, StreamHandle stream, std::int32_t n, double* r,
                          double a, double b) {
    return generate<&CopySet::vdRngUniform>("vdRngUniform", standardOrAccurate, {{a >= b, 5}},
                                            method, stream, n, r, a, b);
}

std::int32_t vsRngUniform(std::int32_t method, StreamHandle stream, std::int32_t n, float* r,
                          float a, float b) {
    return generate<&CopySet::vsRngUniform>("vsRngUniform", standardOrAccurate, {{a >= b, 5}},
                                            method, stream, n, r, a, b);
}
