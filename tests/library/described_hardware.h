// A processor that a test describes, in place of the one that the generators ask.
#pragma once

#include "frame/hardware.h"

namespace korvan::testing {

// One at a time.  The random source stays the system's unless the test replaces its functions.
class DescribedHardware {
  public:
    DescribedHardware(bool hasAes, bool hasRandom) {
        answer = {0, 0, (hasAes ? 1u << 25 : 0) | (hasRandom ? 1u << 30 : 0), 1u << 26};
        platform.cpuid = [](std::uint32_t, std::uint32_t) { return answer; };
        replaceHardware(&platform);
    }
    ~DescribedHardware() { replaceHardware(nullptr); }
    DescribedHardware(const DescribedHardware&) = delete;
    DescribedHardware& operator=(const DescribedHardware&) = delete;

    Platform platform = systemPlatform();

  private:
    static inline CpuidRegisters answer;
};

}  // namespace korvan::testing
