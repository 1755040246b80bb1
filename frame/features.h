// Processor features: what CPUID reports and the operating system supports.
#pragma once

#include <bitset>
#include <cstdint>

#include "frame/platform/platform.h"

namespace korvan {

enum class Feature : std::uint8_t {
#define KORVAN_FEATURE(bit, constant, name, lowerCase, leaf, reg, regBit, state) constant = bit,
#include "frame/features.def"
#undef KORVAN_FEATURE
};

enum class CpuidLeaf : std::uint8_t {
    none,
    basic1,
    basic7,
    basic7sub1,
    basic14,  // 14H, processor trace
    basic19,  // 19H, key locker
    extended1,
    extended8,
    count
};

enum class CpuidRegister : std::uint8_t { eax, ebx, ecx, edx };

// What the operating system has to enable in XCR0 for a feature.
enum class SystemState : std::uint8_t { none, avx, avx512, amx };

struct FeatureRow {
    Feature feature;
    const char* name;
    const char* lowerCaseName;  // null: can't be disabled
    CpuidLeaf leaf;
    CpuidRegister reg;
    std::uint8_t bit;
    SystemState state;
};

inline constexpr FeatureRow featureTable[] = {
#define KORVAN_FEATURE(bit, constant, name, lowerCase, leaf, reg, regBit, state) \
    {Feature::constant,  name,   lowerCase,         CpuidLeaf::leaf,             \
     CpuidRegister::reg, regBit, SystemState::state},
#include "frame/features.def"
#undef KORVAN_FEATURE
};

// The row with this lower-case name, `length` characters long; null if there is none.
const FeatureRow* findFeature(const char* lowerCaseName, std::size_t length);

// A bit for every feature, by its number. Bit 0 is set in every set that was probed.
class FeatureWords {
  public:
    constexpr FeatureWords() = default;

    void probe(const Platform& platform);

    // Processor and system support it, and ZORVEX_ISA_DISABLE doesn't name it.
    bool has(Feature feature) const { return usable_[static_cast<std::size_t>(feature)]; }

    // Has every feature of a comma-separated list of lower-case names; empty names ask nothing.
    bool hasAll(const char* names) const;

    // CPUID reports them all, whatever the system and the settings say.
    bool reportsAll(const char* names) const;

  private:
    std::bitset<256> usable_;  // room for every value of a Feature
    std::bitset<256> reported_;
};

}  // namespace korvan
