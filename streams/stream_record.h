// The heap record behind a StreamHandle: a 16-byte header, then the generator's own state.
#pragma once

#include <cstdint>

#include "korvan/random.h"

struct StreamRecord {
    std::int32_t generatorId;    // as the caller gave it, flat or not
    std::uint8_t validity;       // a Validity
    std::uint8_t reservedByte;   // 0
    std::uint16_t reservedHalf;  // 0
    std::uint64_t attachments;   // address of the first attachment, or 0
};

namespace korvan {

static_assert(sizeof(StreamRecord) == STREAM_HEADER_BYTES);

enum Validity : std::uint8_t {
    endedStream = 0,
    liveStream = 1,
    // In a fill by the caller's own routine or callback, which can look at the stream; no more.
    busyStream = 2,
};

// always_inline: kernel files must not leave functions for the linker to merge across copies.
template <class State>
[[gnu::always_inline]] inline State& stateOf(StreamHandle stream) {
    return *reinterpret_cast<State*>(stream + 1);
}

template <class State>
[[gnu::always_inline]] inline const State& stateOf(const StreamRecord* stream) {
    return *reinterpret_cast<const State*>(stream + 1);
}

}  // namespace korvan
