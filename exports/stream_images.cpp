// The exported stream images: checks, reports, and the call of streams/.
#include "streams/images.h"

#include "exports/entry.h"

using namespace korvan;

namespace {

constexpr std::int32_t terminatedName = -1;

std::int32_t checkSave(const char* name, const StreamRecord* stream, const void* target) {
    if (const auto status = validateForReading(stream); status < 0) return refuse(name, 1, status);
    return target ? RNG_OK : refuse(name, 2, RNG_BAD_ARGUMENT);
}

}  // namespace

std::int32_t vslGetStreamSize(StreamHandle stream) {
    const std::int32_t status = validateForReading(stream);
    return status < 0 ? refuse("vslGetStreamSize", 1, status) : imageSize(stream);
}

std::int32_t vslSaveStreamF(StreamHandle stream, const char* fname) {
    const std::int32_t status = checkSave("vslSaveStreamF", stream, fname);
    return status < 0 ? status : saveToFile(stream, fname, terminatedName);
}

std::int32_t vslLoadStreamF(StreamHandle* stream, const char* fname) {
    if (!fname) return refuse("vslLoadStreamF", 2, RNG_BAD_ARGUMENT);
    return loadFromFile(stream, fname, terminatedName);
}

std::int32_t vslSaveStreamM(StreamHandle stream, char* memptr) {
    const std::int32_t status = checkSave("vslSaveStreamM", stream, memptr);
    return status < 0 ? status : saveToMemory(stream, memptr);
}

std::int32_t vslLoadStreamM(StreamHandle* stream, const char* memptr) {
    if (!memptr) return refuse("vslLoadStreamM", 2, RNG_BAD_ARGUMENT);
    return loadFromMemory(stream, memptr);
}
