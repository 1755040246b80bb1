// The life of a stream: creation, copies, partition, end.  The callers have checked their
// stream handles; what a routine of a generator returns is handed on.
#pragma once

#include <cstddef>
#include <cstdint>

#include "korvan/random.h"

namespace korvan {

struct GeneratorRow;

// RNG_NULL_POINTER, RNG_BAD_STREAM or RNG_OK.
std::int32_t validateStream(const StreamRecord* stream);
// The same for those who only look at it: in a fill by a caller's routine they may.
std::int32_t validateForReading(const StreamRecord* stream);

// Bytes of a record behind its header.
std::size_t stateBytes(const GeneratorRow& row);

// A live stream whose state isn't written yet and that has no attachments; or null and
// RNG_NO_MEMORY.
std::int32_t allocateStream(StreamHandle* stream, GeneratorId id, const GeneratorRow& row);

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
