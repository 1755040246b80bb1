// The life of a stream: creation, copies, partition, end.  The callers have checked their
// stream handles; what a routine of a generator returns is handed on.
#pragma once

#include <cstdint>

#include "korvan/random.h"

namespace korvan {

// RNG_NULL_POINTER, RNG_BAD_STREAM or RNG_OK.
std::int32_t validateStream(const StreamRecord* stream);

std::int32_t newStream(StreamHandle* stream, GeneratorId id, std::int32_t n,
                       const std::uint32_t* params);
// A stream of an abstract generator from the record that its seeding takes; null after a failure.
std::int32_t newAbstractStream(StreamHandle* stream, GeneratorId id, const void* seed);

std::int32_t deleteStream(StreamHandle* stream);
std::int32_t copyStream(StreamHandle* stream, const StreamRecord* source);
std::int32_t copyStreamState(StreamHandle destination, const StreamRecord* source);
std::int32_t leapfrogStream(StreamHandle stream, std::int32_t k, std::int32_t nstreams);
std::int32_t skipAheadStream(StreamHandle stream, std::int64_t nskip);
std::int32_t generatorProperties(GeneratorId id, GeneratorProperties* properties);

}  // namespace korvan
