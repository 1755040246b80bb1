// Pairs of numbers that laws keep on a stream, when they come from an image.
#pragma once

#include "streams/attachments.h"

namespace korvan {

// Any two numbers can have come from a generator of the caller's, so the size is all there is to
// test.
template <class Real>
Loaded judgePair(const StreamRecord*, const void*, std::uint32_t size) {
    return size == 2 * sizeof(Real) ? Loaded::kept : Loaded::forged;
}

}  // namespace korvan
