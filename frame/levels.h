// Instruction-set classes, as detection, settings and callers number them.
#pragma once

#include <cstdint>

namespace korvan {

enum class Level : std::int32_t {
    notALevel = -4,
    belowMinimum = -1,  // a processor below SSE3
#define KORVAN_LEVEL(number, name, folded, branch, mode, within, features, told) name = number,
#include "frame/levels.def"
#undef KORVAN_LEVEL
};

// Who tells of a class's features: the words that ZORVEX_ISA_DISABLE acts on, or CPUID alone.
enum class FeatureSource : std::uint8_t { words, cpuid };

struct LevelRow {
    Level level, folded;
    std::int32_t branch, mode;
    Level within;
    const char* features;
    FeatureSource told;
};

inline constexpr LevelRow levelTable[] = {
#define KORVAN_LEVEL(number, name, folded, branch, mode, within, features, told) \
    {Level::name, Level::folded, branch, mode, Level::within, features, FeatureSource::told},
#include "frame/levels.def"
#undef KORVAN_LEVEL
};

// Null for what isn't the number of a class.
constexpr const LevelRow* levelRow(Level level) {
    const auto number = static_cast<std::uint32_t>(level);
    constexpr std::uint32_t count = sizeof levelTable / sizeof *levelTable;
    return number < count ? &levelTable[number] : nullptr;
}

// Folds the refinements of a class into it.
constexpr Level foldedLevel(Level level) {
    const LevelRow* row = levelRow(level);
    return row ? row->folded : Level::notALevel;
}

}  // namespace korvan
