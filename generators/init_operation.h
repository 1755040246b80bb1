// Arguments of initStream's operations, and the routines that copies/copy_set.kernel.cpp binds.
#pragma once

#include <cstring>

#include "streams/stream_record.h"

namespace korvan {

// The 64-bit count at params of OP_SKIPAHEAD, low word first.
inline std::uint64_t skipCount(const std::uint32_t* params) {
    std::uint64_t count;
    std::memcpy(&count, params, sizeof count);
    return count;
}

}  // namespace korvan
