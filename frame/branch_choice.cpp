#include "frame/branch_choice.h"

#include "frame/environment.h"
#include "frame/messages.h"
#include "frame/reporter.h"
#include "frame/scrambled_name.h"

namespace korvan {

std::int32_t BranchChoice::branchNumber() {
    overrideRead_.run([this] { override_ = overriddenBranch(); });
    return override_ != -1 ? override_ : computed().branch;
}

Level BranchChoice::level() {
    return computed().level;
}

Level BranchChoice::refinedLevel() {
    return computed().refined;
}

// The branch number that the environment forces, -1 for none.
std::int32_t BranchChoice::overriddenBranch() const {
    static constexpr auto first = scrambledPiece("QVX_OVER", 0);
    static constexpr auto second = scrambledPiece("RIDE_BRA", 8);
    static constexpr auto third = scrambledPiece("NCH_ID", 16);
    char name[23] = {};
    unscramble(first, 0, name);
    unscramble(second, 8, name);
    unscramble(third, 16, name);

    char value[32];
    const std::int32_t length = readEnv(platform_, name, value, sizeof value);
    if (length <= 0) return -1;
    // Two characters are a number, of any other length the first one is.
    const std::int32_t branch = digitsValue({value, length == 2 ? 2U : 1U});
    return branch <= 11 && branch != 10 ? branch : -1;
}

const BranchChoice::Result& BranchChoice::computed() {
    computed_.run([this] {
        const Level refined = refinedLevelForMode(reproducibility_.get(1));
        isBelowMinimum_ = refined == Level::belowMinimum;
        if (isBelowMinimum_) return;
        const LevelRow& row = *levelRow(foldedLevel(refined));
        // Compatible code is told from the SSE3 class by its branch number alone.
        const Level level = row.level == Level::compatible ? Level::sse3 : row.level;
        result_ = {row.branch, level, refined};
    });
    if (isBelowMinimum_) fatalExit(1);
    return result_;
}

Level BranchChoice::levelForMode(std::int32_t mode) {
    const Level refined = refinedLevelForMode(mode);
    return refined == Level::belowMinimum ? refined : foldedLevel(refined);
}

Level BranchChoice::refinedLevelForMode(std::int32_t mode) {
    if (mode == reproducibilityNotSet || mode == reproducibilityAuto) return detectLevel();
    const Level limit{processor_.instructionLimit()};
    const Level level = foldedLevel(requestedLevel(mode));
    if (level == Level::notALevel) {
        printMessage(0, Message::modeRefused, 0);
        return detectLevel();
    }
    // The limit's code and the class are numbers of different scales; that they are compared, and
    // the code is taken for a class, is how the limit acts on a pinned mode. Every processor counts
    // as one that has the classes below SSE4.2.
    const bool isLimited = limit >= Level::sse42 && level > limit && !processor_.supports(limit);
    return isLimited ? detectLevel() : level;
}

Level BranchChoice::detectLevel() {
    const Level level = processor_.detectedLevel();
    if (level != Level::belowMinimum) return level;
    printMessage(0, Message::minimumNotMet, 0);
    printMessage(0, Message::minimumIsSse3, 0);
    return Level::belowMinimum;
}

}  // namespace korvan
