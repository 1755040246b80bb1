// The exported generators of integers.
#include "exports/entry.h"

using namespace korvan;

std::int32_t viRngUniform(std::int32_t method, StreamHandle stream, std::int32_t n, std::int32_t* r,
                          std::int32_t a, std::int32_t b) {
    return generate<&CopySet::viRngUniform>("viRngUniform", onlyStandard, {{a >= b, 5}}, method,
                                            stream, n, r, a, b);
}

std::int32_t viRngUniformBits(std::int32_t method, StreamHandle stream, std::int32_t n,
                              std::uint32_t* r) {
    return generate<&CopySet::viRngUniformBits>("viRngUniformBits", onlyStandard, {}, method,
                                                stream, n, r);
}

std::int32_t viRngUniformBits32(std::int32_t method, StreamHandle stream, std::int32_t n,
                                std::uint32_t* r) {
    return generate<&CopySet::viRngUniformBits32>("viRngUniformBits32", onlyStandard, {}, method,
                                                  stream, n, r);
}

std::int32_t viRngUniformBits64(std::int32_t method, StreamHandle stream, std::int32_t n,
                                std::uint64_t* r) {
    return generate<&CopySet::viRngUniformBits64>("viRngUniformBits64", onlyStandard, {}, method,
                                                  stream, n, r);
}
