// The mode word of a thread that sets none, from an environment variable.
#pragma once

#include "frame/one_time.h"
#include "frame/platform/platform.h"
#include "vectormath/mode_word.h"

namespace korvan {

// A list of names as in mode_word.h, between commas: VML_EP,VML_ERRMODE_IGNORE.  A value with
// anything else in it, or of more than 256 characters, counts as none.
class DefaultMode {
  public:
    constexpr explicit DefaultMode(const Platform& platform) : platform_(platform) {}

    // Read at the first call.
    ModeWord get();

  private:
    ModeWord readVariable();

    const Platform& platform_;
    OneTime read_;
    ModeWord word_ = 0;
};

}  // namespace korvan
