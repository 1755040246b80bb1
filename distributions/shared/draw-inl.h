// How a kernel gets its numbers: from the row of the stream's generator.
//
// For kernel files.  The row is looked up at each call, since a stream holds only its id.
#pragma once

#include "streams/generator_table.h"

namespace korvan::KORVAN_COPY {
namespace {

[[gnu::always_inline]] inline std::int32_t fillReals(const GeneratorRow& row, StreamHandle stream,
                                                     std::int32_t n, double* r, double a,
                                                     double b) {
    return row.properties.fillDouble(stream, n, r, a, b);
}

[[gnu::always_inline]] inline std::int32_t fillReals(const GeneratorRow& row, StreamHandle stream,
                                                     std::int32_t n, float* r, float a, float b) {
    return row.properties.fillSingle(stream, n, r, a, b);
}

// n uniforms of [a, b), as the standard method of the uniform law gives them; n may be 0.
template <class Real>
[[gnu::always_inline]] inline std::int32_t drawUniforms(StreamHandle stream, std::size_t n, Real* r,
                                                        Real a, Real b) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    return fillReals(*row, stream, static_cast<std::int32_t>(n), r, a, b);
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
