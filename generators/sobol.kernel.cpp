// Fills of Sobol's sequence.
#include "generators/sobol.h"

#include "generators/digital_sequence-inl.h"
#include "generators/generators.h"

namespace korvan::KORVAN_COPY {

std::int32_t sobolFillSingle(StreamHandle stream, std::int32_t n, float* r, float a, float b) {
    return fillSingles(sobolSequence(stream), n, r, a, b);
}

std::int32_t sobolFillDouble(StreamHandle stream, std::int32_t n, double* r, double a, double b) {
    return fillDoubles(sobolSequence(stream), n, r, a, b);
}

std::int32_t sobolFillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fillSequence(sobolSequence(stream), n, BitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
