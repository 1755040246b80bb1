// The reproducibility setting, QVX_CBWR: pins the instruction-set class, so that a program gives
// the same results on different processors.
#pragma once

#include <cstdint>

#include "frame/one_time.h"
#include "frame/platform/platform.h"
#include "frame/processor.h"

namespace korvan {

// Mode numbers that other code asks about.
inline constexpr std::int32_t reproducibilityNotSet = 1;
inline constexpr std::int32_t reproducibilityAuto = 2;
inline constexpr std::int32_t reproducibilityCompatible = 3;

inline constexpr std::int32_t reproducibilityModeMask = 0xFFFF;
inline constexpr std::int32_t reproducibilityStrict = 0x10000;

class Reproducibility {
  public:
    constexpr Reproducibility(const Platform& platform, Processor& processor)
        : platform_(platform), processor_(processor) {}

    // getReproducibility() of frame/settings.h.
    std::int32_t get(std::int32_t what);

    // The highest mode for the detected class.
    std::int32_t ceiling();

  private:
    std::int32_t readWord();
    bool hasCopyOf(std::int32_t mode);

    const Platform& platform_;
    Processor& processor_;
    OneTime read_;
    std::int32_t word_ = -1;
};

// The class that a mode asks for.
Level requestedLevel(std::int32_t mode);

// Whether a processor, of a tuned make or not, grants a mode word.
bool isModeGranted(std::int32_t word, bool isTuned, std::int32_t ceiling);

}  // namespace korvan
