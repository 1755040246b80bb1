#include "frame/features.h"

#include <cstring>
#include <iterator>

#include "frame/environment.h"

namespace korvan {
namespace {

std::uint64_t neededState(SystemState state) {
    switch (state) {
        case SystemState::none: break;
        case SystemState::avx: return 0x6;      // XMM, upper halves of YMM
        case SystemState::avx512: return 0xE6;  // also masks, upper halves of ZMM, ZMM16-31
        case SystemState::amx: return 0x60000;  // tile configuration and data
    }
    return 0;
}

// The leaves of CPUID that the table names. One that the processor lacks is all zeros: asked for
// it, some processors answer with another leaf.
class CpuidLeaves {
  public:
    explicit CpuidLeaves(const Platform& platform) {
        // In the order of CpuidLeaf.
        static constexpr struct {
            std::uint32_t number, subleaf;
        } leaves[] = {{0, 0},    {1, 0},    {7, 0},          {7, 1},
                      {0x14, 0}, {0x19, 0}, {0x80000001, 0}, {0x80000008, 0}};
        for (std::size_t i = 1; i < std::size(leaves); ++i) {
            const auto [number, subleaf] = leaves[i];
            const std::uint32_t last = platform.cpuid(number & 0x80000000, 0).eax;
            // Only leaf 7 is asked for a sub-leaf; its first one tells the last one.
            if (number > last || (subleaf > 0 && subleaf > leaves_[i - 1].eax)) continue;
            leaves_[i] = platform.cpuid(number, subleaf);
        }
    }

    bool bit(CpuidLeaf leaf, CpuidRegister reg, std::uint32_t number) const {
        const CpuidRegisters& r = leaves_[static_cast<std::size_t>(leaf)];
        const std::uint32_t registers[] = {r.eax, r.ebx, r.ecx, r.edx};
        return (registers[static_cast<std::size_t>(reg)] >> number & 1) != 0;
    }

  private:
    CpuidRegisters leaves_[static_cast<std::size_t>(CpuidLeaf::count)] = {};
};

// Calls `visit(row)` for every name of a comma-separated list, with null for a name that the table
// doesn't hold. Empty names are skipped.
template <typename Visit>
void forEachNamed(const char* list, Visit visit) {
    while (*list != '\0') {
        const std::size_t length = std::strcspn(list, ",");
        if (length > 0) visit(findFeature(list, length));
        list += length;
        if (*list == ',') ++list;
    }
}

template <typename Bits>
bool holdsAll(const Bits& bits, const char* names) {
    bool all = true;
    forEachNamed(names, [&](const FeatureRow* row) {
        all = all && row != nullptr && bits[static_cast<std::size_t>(row->feature)];
    });
    return all;
}

}  // namespace

const FeatureRow* findFeature(const char* lowerCaseName, std::size_t length) {
    for (const FeatureRow& row : featureTable) {
        if (row.lowerCaseName == nullptr || std::strlen(row.lowerCaseName) != length) continue;
        if (std::memcmp(row.lowerCaseName, lowerCaseName, length) == 0) return &row;
    }
    return nullptr;
}

void FeatureWords::probe(const Platform& platform) {
    const CpuidLeaves leaves(platform);
    const bool systemTells = leaves.bit(CpuidLeaf::basic1, CpuidRegister::ecx, 27);  // OSXSAVE
    const std::uint64_t enabled = systemTells ? platform.xgetbv(0) : 0;
    for (const FeatureRow& row : featureTable) {
        const auto place = static_cast<std::size_t>(row.feature);
        const std::uint64_t needed = neededState(row.state);
        reported_[place] = leaves.bit(row.leaf, row.reg, row.bit);
        usable_[place] = reported_[place] && (enabled & needed) == needed;
    }
    usable_[static_cast<std::size_t>(Feature::genericIa32)] = true;
    char names[2048];
    if (readEnv(platform, "ZORVEX_ISA_DISABLE", names, sizeof names) <= 0) return;
    forEachNamed(names, [this](const FeatureRow* row) {
        if (row != nullptr) usable_[static_cast<std::size_t>(row->feature)] = false;
    });
}

bool FeatureWords::hasAll(const char* names) const {
    return holdsAll(usable_, names);
}

bool FeatureWords::reportsAll(const char* names) const {
    return holdsAll(reported_, names);
}

}  // namespace korvan
