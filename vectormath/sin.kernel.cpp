// Sine.
//
// Largest error: VML_HA below 1 ulp, VML_LA below 4 ulp, VML_EP 2^-35 relative (single
// 2^-13.8), at every finite angle, near the zeros too.  An infinite angle gives NaN with
// VML_STATUS_ERRDOM.
#include "vectormath/sine_or_cosine-inl.h"

namespace korvan::KORVAN_COPY {

constinit const VectorKernel<OneToOne<double>> vdSin =
    kernelOf<SineOrCosine<true>::Function, double>();
constinit const VectorKernel<OneToOne<float>> vsSin =
    kernelOf<SineOrCosine<true>::Function, float>();

}  // namespace korvan::KORVAN_COPY
