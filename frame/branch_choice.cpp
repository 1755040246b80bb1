#include "frame/branch_choice.h"

#include "frame/environment.h"
#include "frame/messages.h"
#include "frame/reporter.h"
#include "frame/scrambled_name.h"

namespace korvan {
namespace {

constexpr std::int32_t modeRefused = 1222;
constexpr std::int32_t minimumNotMet = 1223;
constexpr std::int32_t minimumIsSse3 = 1450;

}  // namespace

std::int32_t BranchChoice::branchNumber() {
    overrideRead_.run([this] { override_ = overriddenBranch(); });
    return override_ != -1 ? override_ : computed().branch;
}

std::int32_t BranchChoice::level() {
    return computed().level;
}

std::int32_t BranchChoice::refinedLevel() {
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
        const std::int32_t refined = refinedLevelForMode(reproducibility_.get(1));
        isBelowMinimum_ = refined < 0;
        if (isBelowMinimum_) return;
        const std::int32_t level = foldedLevel(refined);
        // Compatible code is told from the SSE3 class by its branch number alone.
        result_ = {branchOfLevel(level), level == 1 ? 2 : level, refined};
    });
    if (isBelowMinimum_) fatalExit(1);
    return result_;
}

std::int32_t BranchChoice::levelForMode(std::int32_t mode) {
    const std::int32_t refined = refinedLevelForMode(mode);
    return refined < 0 ? refined : foldedLevel(refined);
}

std::int32_t BranchChoice::refinedLevelForMode(std::int32_t mode) {
    if (mode == reproducibilityNotSet || mode == reproducibilityAuto) return detectLevel();
    const std::int32_t limit = processor_.instructionLimit();
    const std::int32_t level = foldedLevel(requestedLevel(mode));
    if (level < 0) {
        printMessage(0, modeRefused, 0);
        return detectLevel();
    }
    // The limit's code and the class are numbers of different scales; that they are compared, and
    // the code is taken for a class, is how the limit acts on a pinned mode.
    const bool isLimited = limit >= 0 && level > limit && !processor_.supportsLevel(limit);
    return isLimited ? detectLevel() : level;
}

std::int32_t BranchChoice::detectLevel() {
    const std::int32_t level = processor_.detectedLevel();
    if (level >= 0) return level;
    printMessage(0, minimumNotMet, 0);
    printMessage(0, minimumIsSse3, 0);
    return -1;
}

}  // namespace korvan
