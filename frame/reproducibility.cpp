#include "frame/reproducibility.h"

#include <string_view>

#include "frame/copy_set.h"
#include "frame/environment.h"

namespace korvan {
namespace {

constexpr std::int32_t allowedBits = 0x1FFFF;

constexpr struct {
    const char* name;
    std::int32_t mode;
} modes[] = {
    {"AUTO", reproducibilityAuto},
    {"COMPATIBLE", reproducibilityCompatible},
    {"SSE2", 4},
    {"SSE3", 4},
    {"SSSE3", 6},
    {"SSE4_1", 7},
    {"SSE4_2", 8},
    {"AVX", 9},
    {"AVX2", 10},
    {"AVX512_MIC", 10},
    {"AVX512", 12},
    {"AVX512_MIC_E1", 10},
    {"AVX512_E1", 14},
};

std::int32_t modeNamed(std::string_view name) {
    for (const auto& row : modes) {
        if (name == row.name) return row.mode;
    }
    return reproducibilityAuto;
}

std::string_view withoutClosingBlanks(std::string_view text) {
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

// Cuts a closing ",STRICT" off; blanks may stand before and behind the word.
bool cutStrict(std::string_view* value) {
    constexpr std::string_view word = "STRICT";
    std::string_view head = withoutClosingBlanks(*value);
    if (!head.ends_with(word)) return false;
    head = withoutClosingBlanks(head.substr(0, head.size() - word.size()));
    if (!head.ends_with(',')) return false;
    *value = head.substr(0, head.size() - 1);
    return true;
}

}  // namespace

std::int32_t Reproducibility::get(std::int32_t what) {
    read_.run([this] { word_ = readWord(); });
    if (what == 1) return word_ & reproducibilityModeMask;
    return what == -1 ? word_ : -2;
}

std::int32_t Reproducibility::readWord() {
    char value[128];
    if (readEnv(platform_, "QVX_CBWR", value, sizeof value) <= 0) return reproducibilityNotSet;
    std::string_view name = value;
    const std::int32_t flag = cutStrict(&name) ? reproducibilityStrict : 0;
    constexpr std::string_view prefix = "BRANCH=";
    if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
    const std::int32_t word = modeNamed(name) | flag;
    const bool granted = isModeGranted(word, processor_.isTunedVendor(), ceiling()) &&
                         hasCopyOf(word & reproducibilityModeMask);
    return granted ? word : reproducibilityAuto;
}

// A mode promises the numbers of a copy. It may use instructions that its class isn't told by, and
// without them another copy would run.
bool Reproducibility::hasCopyOf(std::int32_t mode) {
    const std::int32_t level = foldedLevel(requestedLevel(mode));
    return level < 0 || processor_.hasFeatures(copyFeatures(branchOfLevel(level)));
}

std::int32_t Reproducibility::ceiling() {
    switch (processor_.detectedLevel()) {
        case 4: return processor_.has(Feature::sse41) ? 7 : 6;
        case 5: return 8;
        case 6: return 9;
        case 7:
        case 15: return 10;
        case 9: return 12;
        case 11:
        case 12:
        case 13:
        case 14: return 14;
        default: return 4;
    }
}

std::int32_t requestedLevel(std::int32_t mode) {
    switch (mode) {
        case reproducibilityCompatible: return 1;
        case 4:
        case 5: return 2;
        case 6:
        case 7: return 4;
        case 8: return 5;
        case 9: return 6;
        case 10: return 7;
        case 12: return 9;
        case 14: return 11;
        default: return -4;
    }
}

bool isModeGranted(std::int32_t word, bool isTuned, std::int32_t ceiling) {
    if ((word & ~allowedBits) != 0) return false;
    const std::int32_t mode = word & reproducibilityModeMask;
    if (!isTuned) return mode == reproducibilityAuto || mode == reproducibilityCompatible;
    if (mode > ceiling && mode < 15) return false;
    // 11 and 13 name classes that these processors don't have.
    if (mode == 11 && (ceiling == 12 || ceiling == 14)) return false;
    return !(mode == 13 && ceiling == 14);
}

}  // namespace korvan
