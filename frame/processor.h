// The processor as the library may use it: its features, less what the settings take away.
#pragma once

#include <cstdint>

#include "frame/features.h"
#include "frame/one_time.h"
#include "frame/platform/platform.h"

namespace korvan {

// Classes that detection may choose. The refinements of a class are named after its setting.
struct AllowFlags {
    bool sse42, avx, avx2, avx2E1, avx512, avx512E1, avx512E2, avx512E3, avx512E4;
};

class Processor {
  public:
    constexpr explicit Processor(const Platform& platform) : platform_(platform) {}

    bool isTunedVendor();
    bool has(Feature feature);
    bool hasFeatures(const char* commaSeparatedNames);

    // Asked of CPUID itself: the settings can't take these away.
    bool hasHardwareRandom() const;
    bool hasAesGenerator() const;

    // The code of QVX_ENABLE_INSTRUCTIONS, -1 for none.
    std::int32_t instructionLimit();

    // Has what the instruction-set class `level` is named for: true for the classes below 5, for 8
    // and for 10, which are named for nothing.
    bool supportsLevel(std::int32_t level);

    // The highest class that the processor has and the limit allows, refinements told apart: 2, 4,
    // 5, 6, 7, 9, 11 to 15; -1 for a processor below SSE3.
    std::int32_t detectedLevel();

  private:
    void probe();
    void readLimit();
    std::int32_t avxLevel();
    std::int32_t sseLevel();

    const Platform& platform_;
    OneTime probed_;
    FeatureWords features_;
    bool tunedVendor_ = false;
    OneTime limitRead_;
    std::int32_t limit_ = -1;
    AllowFlags allow_ = {true, true, true, true, true, true, true, true, true};
};

// Folds the refinements of a class into it; -4 stands for what isn't a class.
std::int32_t foldedLevel(std::int32_t level);

// The branch number of a folded class.
std::int32_t branchOfLevel(std::int32_t level);

// Whether CPUID names one of the makers whose processors the kernels are tuned for.
bool isTunedVendor(const Platform& platform);

}  // namespace korvan
