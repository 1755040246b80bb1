// Processor features: what CPUID reports and the operating system supports.
#pragma once

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

// The leaves of CPUID that the table names. One that the processor lacks is all zeros: asked for
// it, some processors answer with another leaf.
class CpuidLeaves {
  public:
    explicit CpuidLeaves(const Platform& platform);
    bool bit(CpuidLeaf leaf, CpuidRegister reg, std::uint32_t number) const;

  private:
    CpuidRegisters leaves_[static_cast<std::size_t>(CpuidLeaf::count)] = {};
};

// A bit for every feature, by its number. Bit 0 is set in every set that was probed.
class FeatureWords {
  public:
    constexpr FeatureWords() = default;

    // What processor and system support, less the features that ZORVEX_ISA_DISABLE names.
    void probe(const Platform& platform, const CpuidLeaves& leaves);

    bool has(Feature feature) const;

  private:
    void set(Feature feature);
    void clear(Feature feature);
    void disable(const char* names);

    std::uint32_t words_[3] = {};
};

// Calls `visit(name, length)` for every name of a comma-separated list, until it answers false.
// Empty names are skipped. False if a visit was.
template <typename Visit>
bool forEachName(const char* list, Visit visit) {
    while (*list != '\0') {
        const char* end = list;
        while (*end != '\0' && *end != ',') ++end;
        if (end != list && !visit(list, static_cast<std::size_t>(end - list))) return false;
        list = *end == ',' ? end + 1 : end;
    }
    return true;
}

}  // namespace korvan
