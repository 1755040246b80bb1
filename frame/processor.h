// The processor as the library may use it: its features, less what the settings take away.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "frame/features.h"
#include "frame/levels.h"
#include "frame/one_time.h"
#include "frame/platform/platform.h"

namespace korvan {

class LevelSet {
  public:
    constexpr LevelSet(std::initializer_list<Level> levels) {
        for (const Level level : levels) bits_ |= bitOf(level);
    }
    static constexpr LevelSet ofAll() {
        LevelSet all{};
        all.bits_ = ~0U;
        return all;
    }
    constexpr LevelSet with(LevelSet others) const {
        others.bits_ |= bits_;
        return others;
    }
    constexpr bool has(Level level) const { return (bits_ & bitOf(level)) != 0; }

  private:
    static constexpr std::uint32_t bitOf(Level level) {
        return std::uint32_t{1} << static_cast<std::uint32_t>(level);
    }

    std::uint32_t bits_ = 0;
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

    // Has what a class is named for, but not what is named for the classes that it lies within.
    bool supports(Level level);

    // The highest class that the processor has and the limit allows, refinements told apart.
    Level detectedLevel();

  private:
    void probe();
    void readLimit();
    bool reaches(Level level);

    const Platform& platform_;
    OneTime probed_;
    FeatureWords features_;
    bool tunedVendor_ = false;
    OneTime limitRead_;
    std::int32_t limit_ = -1;
    LevelSet allowed_ = LevelSet::ofAll();
};

// Whether CPUID names one of the makers whose processors the kernels are tuned for.
bool isTunedVendor(const Platform& platform);

}  // namespace korvan
