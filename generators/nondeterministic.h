// The non-deterministic source: words of the processor's random number instruction, rdrand.
//
// There is no sequence and no position.  The state only says how often a failing instruction is
// tried again.
#pragma once

#include "streams/stream_record.h"

namespace korvan {

struct NondeterministicState {
    std::uint32_t source;   // 0: the instruction; there is no other
    std::uint32_t retries;  // at this many attempts after a failed one the fill gives up: from 1
};
static_assert(sizeof(StreamRecord) + sizeof(NondeterministicState) == 24);

inline constexpr std::uint32_t defaultRetries = 10;

}  // namespace korvan
