#include "frame/features.h"

#include <cstring>

#include "frame/environment.h"

namespace korvan {
namespace {

constexpr std::uint32_t extendedBase = 0x80000000;
constexpr std::size_t bitsPerWord = 32;

std::uint64_t neededState(SystemState state) {
    switch (state) {
        case SystemState::none: break;
        case SystemState::avx: return 0x6;      // XMM, upper halves of YMM
        case SystemState::avx512: return 0xE6;  // also masks, upper halves of ZMM, ZMM16-31
        case SystemState::amx: return 0x60000;  // tile configuration and data
    }
    return 0;
}

}  // namespace

const FeatureRow* findFeature(const char* lowerCaseName, std::size_t length) {
    for (const FeatureRow& row : featureTable) {
        if (row.lowerCaseName == nullptr || std::strlen(row.lowerCaseName) != length) continue;
        if (std::memcmp(row.lowerCaseName, lowerCaseName, length) == 0) return &row;
    }
    return nullptr;
}

CpuidLeaves::CpuidLeaves(const Platform& platform) {
    const auto read = [&](CpuidLeaf leaf, std::uint32_t number, std::uint32_t subleaf) {
        leaves_[static_cast<std::size_t>(leaf)] = platform.cpuid(number, subleaf);
    };
    const std::uint32_t last = platform.cpuid(0, 0).eax;
    if (last >= 1) read(CpuidLeaf::basic1, 1, 0);
    if (last >= 7) read(CpuidLeaf::basic7, 7, 0);
    const std::uint32_t lastSubleaf = leaves_[static_cast<std::size_t>(CpuidLeaf::basic7)].eax;
    if (lastSubleaf >= 1) read(CpuidLeaf::basic7sub1, 7, 1);
    if (last >= 0x14) read(CpuidLeaf::basic14, 0x14, 0);
    if (last >= 0x19) read(CpuidLeaf::basic19, 0x19, 0);
    const std::uint32_t lastExtended = platform.cpuid(extendedBase, 0).eax;
    if (lastExtended >= extendedBase + 1) read(CpuidLeaf::extended1, extendedBase + 1, 0);
    if (lastExtended >= extendedBase + 8) read(CpuidLeaf::extended8, extendedBase + 8, 0);
}

bool CpuidLeaves::bit(CpuidLeaf leaf, CpuidRegister reg, std::uint32_t number) const {
    const CpuidRegisters& r = leaves_[static_cast<std::size_t>(leaf)];
    const std::uint32_t registers[] = {r.eax, r.ebx, r.ecx, r.edx};
    return (registers[static_cast<std::size_t>(reg)] >> number & 1) != 0;
}

void FeatureWords::probe(const Platform& platform, const CpuidLeaves& leaves) {
    const bool systemTells = leaves.bit(CpuidLeaf::basic1, CpuidRegister::ecx, 27);  // OSXSAVE
    const std::uint64_t enabled = systemTells ? platform.xgetbv(0) : 0;
    for (const FeatureRow& row : featureTable) {
        const std::uint64_t needed = neededState(row.state);
        if (leaves.bit(row.leaf, row.reg, row.bit) && (enabled & needed) == needed) {
            set(row.feature);
        }
    }
    set(Feature::genericIa32);
    char names[2048];
    if (readEnv(platform, "ZORVEX_ISA_DISABLE", names, sizeof names) > 0) disable(names);
}

bool FeatureWords::has(Feature feature) const {
    const auto bit = static_cast<std::size_t>(feature);
    return (words_[bit / bitsPerWord] >> (bit % bitsPerWord) & 1) != 0;
}

void FeatureWords::set(Feature feature) {
    const auto bit = static_cast<std::size_t>(feature);
    words_[bit / bitsPerWord] |= 1U << (bit % bitsPerWord);
}

void FeatureWords::clear(Feature feature) {
    const auto bit = static_cast<std::size_t>(feature);
    words_[bit / bitsPerWord] &= ~(1U << (bit % bitsPerWord));
}

void FeatureWords::disable(const char* names) {
    forEachName(names, [this](const char* name, std::size_t length) {
        const FeatureRow* row = findFeature(name, length);
        if (row != nullptr) clear(row->feature);
        return true;
    });
}

}  // namespace korvan
