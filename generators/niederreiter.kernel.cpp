// Fills of Niederreiter's sequence.
#include "generators/niederreiter.h"

#include "generators/digital_sequence-inl.h"
#include "generators/generators.h"

namespace korvan::KORVAN_COPY {

std::int32_t niederreiterFillSingle(StreamHandle stream, std::int32_t n, float* r, float a,
                                    float b) {
    return fillSingles(niederreiterSequence(stream), n, r, a, b);
}

std::int32_t niederreiterFillDouble(StreamHandle stream, std::int32_t n, double* r, double a,
                                    double b) {
    return fillDoubles(niederreiterSequence(stream), n, r, a, b);
}

std::int32_t niederreiterFillBits(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return fillSequence(niederreiterSequence(stream), n, BitsSink{r});
}

}  // namespace korvan::KORVAN_COPY
