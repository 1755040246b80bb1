#include "frame/reproducibility.h"

#include <string_view>

#include "frame/copy_set.h"
#include "frame/environment.h"

namespace korvan {
namespace {

constexpr std::int32_t allowedBits = 0x1FFFF;

constexpr std::int32_t modeOf(Level level) {
    return levelRow(level)->mode;
}

// SSE4.1 has a mode, but no class of its own.
constexpr std::int32_t modeSse41 = modeOf(Level::ssse3) + 1;

constexpr struct {
    const char* name;
    std::int32_t mode;
} modes[] = {
    {"AUTO", reproducibilityAuto},          {"COMPATIBLE", reproducibilityCompatible},
    {"SSE2", modeOf(Level::sse3)},          {"SSE3", modeOf(Level::sse3)},
    {"SSSE3", modeOf(Level::ssse3)},        {"SSE4_1", modeSse41},
    {"SSE4_2", modeOf(Level::sse42)},       {"AVX", modeOf(Level::avx)},
    {"AVX2", modeOf(Level::avx2)},          {"AVX512_MIC", modeOf(Level::avx2)},
    {"AVX512", modeOf(Level::avx512)},      {"AVX512_MIC_E1", modeOf(Level::avx2)},
    {"AVX512_E1", modeOf(Level::avx512E1)},
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

// Cuts a closing ",STRICT" off; blanks may stand before and after the word.
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
    const LevelRow* row = levelRow(requestedLevel(mode));
    return !row || processor_.hasFeatures(copyFeatures(row->branch));
}

std::int32_t Reproducibility::ceiling() {
    const Level level = processor_.detectedLevel();
    if (level == Level::belowMinimum) return modeOf(Level::sse3);
    return level == Level::ssse3 && processor_.has(Feature::sse41) ? modeSse41 : modeOf(level);
}

Level requestedLevel(std::int32_t mode) {
    if (mode == modeOf(Level::sse3) + 1 || mode == modeSse41) --mode;
    if (mode < reproducibilityCompatible) return Level::notALevel;
    for (const LevelRow& row : levelTable) {
        if (row.mode == mode) return row.level;
    }
    return Level::notALevel;
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
