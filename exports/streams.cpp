// The exported stream service: checks, reports, and the call of streams/.
#include "streams/stream.h"

#include "exports/entry.h"
#include "frame/branch.h"
#include "generators/abstract.h"
#include "streams/generator_table.h"
#include "streams/stream_record.h"

using namespace korvan;

namespace {

// Runs `operation` on a valid stream; both kinds of refusal are reported at position 1.
template <class Operation>
std::int32_t onStream(const char* name, const StreamRecord* stream, Operation operation) {
    std::int32_t status = validateStream(stream);
    if (status >= 0) status = operation();
    return status < 0 ? refuse(name, 1, status) : status;
}

std::int32_t reportRefusedGenerator(const char* name, std::int32_t status) {
    return status == RNG_BAD_GENERATOR ? refuse(name, 2, status) : status;
}

// What the three abstract kinds have in common; `lastPosition` is the callback's.
template <class Number, class Callback>
std::int32_t checkAbstract(const char* name, const StreamHandle* stream, std::int32_t size,
                           const Number* buffer, ParameterTest bounds, Callback callback,
                           std::int32_t lastPosition) {
    if (!stream) return refuse(name, 1, RNG_NULL_POINTER);
    const ParameterTest tests[] = {{size < 1, 2}, {!buffer, 3}, bounds, {!callback, lastPosition}};
    for (const ParameterTest& test : tests) {
        if (test.failed) return refuse(name, test.position, RNG_BAD_ARGUMENT);
    }
    return RNG_OK;
}

template <class Real, class Callback>
std::int32_t newAbstractReal(const char* name, GeneratorId id, StreamHandle* stream,
                             std::int32_t size, Real* buffer, Real a, Real b, Callback callback) {
    const auto status = checkAbstract(name, stream, size, buffer, {a >= b, 4}, callback, 6);
    if (status < 0) return status;
    const AbstractRealSeed<Real, Callback> seed{&size, buffer, &a, &b, callback};
    return newAbstractStream(stream, id, &seed);
}

}  // namespace

std::int32_t vslNewStream(StreamHandle* stream, GeneratorId brng, std::uint32_t seed) {
    const std::int32_t status = brng < 0 ? RNG_BAD_GENERATOR : newStream(stream, brng, 1, &seed);
    return reportRefusedGenerator("vslNewStream", status);
}

std::int32_t vslNewStreamEx(StreamHandle* stream, GeneratorId brng, std::int32_t n,
                            const std::uint32_t* params) {
    const std::int32_t status = brng < 0 ? RNG_BAD_GENERATOR : newStream(stream, brng, n, params);
    return reportRefusedGenerator("vslNewStreamEx", status);
}

std::int32_t vslDeleteStream(StreamHandle* stream) {
    return onStream("vslDeleteStream", stream ? *stream : nullptr,
                    [&] { return deleteStream(stream); });
}

std::int32_t vslCopyStream(StreamHandle* stream, StreamHandle source) {
    std::int32_t status = validateStream(source);
    if (status < 0) return refuse("vslCopyStream", 2, status);
    status = copyStream(stream, source);
    const bool reported = status == RNG_BAD_GENERATOR || status == RNG_NULL_POINTER;
    return reported ? refuse("vslCopyStream", 2, status) : status;
}

std::int32_t vslCopyStreamState(StreamHandle destination, StreamHandle source) {
    constexpr const char* name = "vslCopyStreamState";
    std::int32_t status = validateStream(destination);
    if (status < 0) return refuse(name, 1, status);
    status = validateStream(source);
    if (status < 0) return refuse(name, 2, status);
    status = copyStreamState(destination, source);
    if (status >= 0 || status == RNG_STREAMS_INCOMPATIBLE) return status;
    return refuse(name, status == RNG_NO_MEMORY ? 2 : 1, status);
}

std::int32_t vslLeapfrogStream(StreamHandle stream, std::int32_t k, std::int32_t nstreams) {
    return onStream("vslLeapfrogStream", stream,
                    [&] { return leapfrogStream(stream, k, nstreams); });
}

std::int32_t vslSkipAheadStream(StreamHandle stream, std::int64_t nskip) {
    return onStream("vslSkipAheadStream", stream, [&] { return skipAheadStream(stream, nskip); });
}

std::int32_t vslGetStreamStateBrng(StreamHandle stream) {
    const std::int32_t status = validateForReading(stream);
    return status < 0 ? refuse("vslGetStreamStateBrng", 1, status) : stream->generatorId;
}

std::int32_t vslNewAbstractStreamInteger(StreamHandle* stream, std::int32_t size,
                                         std::uint32_t* buffer, AbstractIntegerCallback callback) {
    const auto status =
        checkAbstract("vslNewAbstractStreamInteger", stream, size, buffer, {false, 0}, callback, 4);
    if (status < 0) return status;
    const AbstractIntegerSeed seed{&size, buffer, callback};
    return newAbstractStream(stream, GEN_ABSTRACT_INTEGER, &seed);
}

std::int32_t vslNewAbstractStreamDouble(StreamHandle* stream, std::int32_t size, double* buffer,
                                        double a, double b, AbstractDoubleCallback callback) {
    return newAbstractReal("vslNewAbstractStreamDouble", GEN_ABSTRACT_DOUBLE, stream, size, buffer,
                           a, b, callback);
}

std::int32_t vslNewAbstractStreamSingle(StreamHandle* stream, std::int32_t size, float* buffer,
                                        float a, float b, AbstractSingleCallback callback) {
    return newAbstractReal("vslNewAbstractStreamSingle", GEN_ABSTRACT_SINGLE, stream, size, buffer,
                           a, b, callback);
}

std::int32_t vslGetNumRegBrngs(void) {
    return generatorCount();
}

std::int32_t vslRegisterBrng(const GeneratorProperties* properties) {
    const std::int32_t id = registerGenerator(properties);
    return id < 0 ? refuse("vslRegisterBrng", 1, id) : id;
}

// Reports under the other export's name: callers have come to rely on it.
std::int32_t vslGetBrngProperties(GeneratorId brng, GeneratorProperties* properties) {
    const std::int32_t status = generatorProperties(brng, properties);
    return status < 0 ? refuse("vslRegisterBrng", 1, status) : status;
}

std::int32_t vslGetBranchNumber(void) {
    return branchNumber();
}

const char* vslGetCopyName(void) {
    return copySetOfProcess().name;
}
