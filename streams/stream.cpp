#include "streams/stream.h"

#include <algorithm>
#include <cstring>

#include "frame/memory.h"
#include "streams/attachments.h"
#include "streams/generator_table.h"
#include "streams/stream_record.h"

namespace korvan {
namespace {

std::size_t recordSize(const GeneratorRow& row) {
    return sizeof(StreamRecord) + stateBytes(row);
}

StreamHandle allocateRecord(const GeneratorRow& row) {
    return static_cast<StreamHandle>(alignedAlloc(recordSize(row), recordAlignment));
}

std::int32_t createStream(StreamHandle* stream, GeneratorId id, const GeneratorRow& row,
                          std::int32_t n, const std::uint32_t* params) {
    const std::int32_t status = allocateStream(stream, id, row);
    return status < 0 ? status : row.properties.initStream(OP_SEED, *stream, n, params);
}

// Members of a set differ in their parameters, so they are as foreign as other rows.
bool areOfOneGenerator(const StreamRecord* x, const StreamRecord* y) {
    return findGenerator(x->generatorId) == findGenerator(y->generatorId) &&
           memberOf(x->generatorId) == memberOf(y->generatorId);
}

// The bytes that vslCopyStreamState moves: the tabled count, kept inside both records.
std::size_t copiedBytes(const GeneratorRow& from, const GeneratorRow& to) {
    const std::size_t told = static_cast<std::size_t>(from.properties.seedWords) *
                             static_cast<std::size_t>(from.properties.wordBytes);
    return std::min({told, stateBytes(from), stateBytes(to)});
}

void copyStateBytes(StreamHandle to, const StreamRecord* from, std::size_t bytes) {
    std::memcpy(to + 1, from + 1, bytes);
}

// A stream's binding to its caller's buffer and callback stays its own.
bool isCopied(std::uint32_t tag) {
    return tag != tagAbstractBinding;
}
bool isKept(std::uint32_t tag) {
    return tag == tagAbstractBinding;
}

// Hangs on `list` what `destination` will have when it got source's state.
std::int32_t listAttachments(StreamHandle list, const StreamRecord* destination,
                             const StreamRecord* source) {
    const std::int32_t status = copyAttachments(list, destination, isKept);
    return status < 0 ? status : copyAttachments(list, source, isCopied);
}

// Would the first `bytes` of source's state, with these attachments, make a state of destination's
// generator?
std::int32_t testForeignState(const StreamRecord* destination, const StreamRecord* source,
                              const StreamRecord& list, const GeneratorRow& row,
                              std::size_t bytes) {
    if (!row.isState) return RNG_STREAMS_INCOMPATIBLE;
    const StreamHandle trial = allocateRecord(row);
    if (!trial) return RNG_NO_MEMORY;
    std::memcpy(trial, destination, recordSize(row));
    copyStateBytes(trial, source, bytes);
    trial->attachments = list.attachments;
    const bool possible = row.isState(trial);
    alignedFree(trial);
    return possible ? RNG_OK : RNG_STREAMS_INCOMPATIBLE;
}

}  // namespace

std::int32_t validateStream(const StreamRecord* stream) {
    if (!stream) return RNG_NULL_POINTER;
    return stream->validity == liveStream ? RNG_OK : RNG_BAD_STREAM;
}

std::int32_t validateForReading(const StreamRecord* stream) {
    return stream && stream->validity == busyStream ? RNG_OK : validateStream(stream);
}

std::size_t stateBytes(const GeneratorRow& row) {
    // A registered generator may claim a record smaller than its header.
    const auto size = static_cast<std::size_t>(row.properties.stateSize);
    return std::max(size, sizeof(StreamRecord)) - sizeof(StreamRecord);
}

std::int32_t allocateStream(StreamHandle* stream, GeneratorId id, const GeneratorRow& row) {
    const StreamHandle record = allocateRecord(row);
    *stream = record;
    if (!record) return RNG_NO_MEMORY;
    *record = {.generatorId = id,
               .validity = liveStream,
               .reservedByte = 0,
               .reservedHalf = 0,
               .attachments = 0};
    return RNG_OK;
}

std::int32_t newStream(StreamHandle* stream, GeneratorId id, std::int32_t n,
                       const std::uint32_t* params) {
    if (id == GEN_ABSTRACT_INTEGER || id == GEN_ABSTRACT_DOUBLE || id == GEN_ABSTRACT_SINGLE) {
        return RNG_BAD_GENERATOR;
    }
    const GeneratorRow* row = findGenerator(id);
    if (!row || !row->properties.initStream) return RNG_BAD_GENERATOR;
    // A registered generator gets its arguments unread, whatever they are.
    const bool unreadable = n > 0 && !params && id < firstRegisteredId;
    if (!stream || unreadable) return RNG_NULL_POINTER;

    return createStream(stream, id, *row, n, params);
}

std::int32_t newAbstractStream(StreamHandle* stream, GeneratorId id, const void* seed) {
    const auto* params = static_cast<const std::uint32_t*>(seed);
    const std::int32_t status = createStream(stream, id, *findGenerator(id), 0, params);
    if (status < 0 && *stream) deleteStream(stream);
    return status;
}

std::int32_t deleteStream(StreamHandle* stream) {
    releaseAttachments(*stream);
    (*stream)->validity = endedStream;
    alignedFree(*stream);
    *stream = nullptr;
    return RNG_OK;
}

std::int32_t copyStream(StreamHandle* stream, const StreamRecord* source) {
    const GeneratorRow* row = findGenerator(source->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    if (!stream) return RNG_NULL_POINTER;
    *stream = allocateRecord(*row);
    if (!*stream) return RNG_NO_MEMORY;
    std::memcpy(*stream, source, recordSize(*row));
    (*stream)->attachments = 0;
    return copyAttachments(*stream, source);
}

std::int32_t copyStreamState(StreamHandle destination, const StreamRecord* source) {
    if (destination == source) return RNG_OK;
    const GeneratorRow* from = findGenerator(source->generatorId);
    const GeneratorRow* to = findGenerator(destination->generatorId);
    if (!from || !to) return RNG_BAD_GENERATOR;
    const bool isForeign = !areOfOneGenerator(destination, source);
    // The tabled count would cut tables.
    const bool isWhole = !isForeign && to->deriveTables;
    const std::size_t bytes = isWhole ? stateBytes(*to) : copiedBytes(*from, *to);
    StreamRecord list = *destination;
    list.attachments = 0;
    std::int32_t status = listAttachments(&list, destination, source);
    if (status >= 0 && isForeign) {
        status = testForeignState(destination, source, list, *to, bytes);
    }
    if (status < 0) {
        releaseAttachments(&list);
        return status;
    }
    copyStateBytes(destination, source, bytes);
    if (isForeign && to->deriveTables) to->deriveTables(destination);
    releaseAttachments(destination);
    destination->attachments = list.attachments;
    return RNG_OK;
}

std::int32_t leapfrogStream(StreamHandle stream, std::int32_t k, std::int32_t nstreams) {
    if (nstreams < 0) return RNG_TOO_MANY_STREAMS;
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    const auto index = static_cast<std::uint32_t>(k);
    return row->properties.initStream(OP_LEAPFROG, stream, nstreams, &index);
}

std::int32_t skipAheadStream(StreamHandle stream, std::int64_t nskip) {
    const GeneratorRow* row = findGenerator(stream->generatorId);
    if (!row) return RNG_BAD_GENERATOR;
    std::uint32_t count[2];  // low word first
    std::memcpy(count, &nskip, sizeof count);
    return row->properties.initStream(OP_SKIPAHEAD, stream, 2, count);
}

std::int32_t generatorProperties(GeneratorId id, GeneratorProperties* properties) {
    const GeneratorRow* row = findGenerator(id);
    if (!row) return RNG_BAD_GENERATOR;
    if (!properties) return RNG_NULL_POINTER;
    *properties = row->properties;
    return RNG_OK;
}

}  // namespace korvan
