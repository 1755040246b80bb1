// The choice of the compiled copy: from the override, the reproducibility mode, or the processor.
#pragma once

#include <cstdint>

#include "frame/one_time.h"
#include "frame/platform/platform.h"
#include "frame/processor.h"
#include "frame/reproducibility.h"

namespace korvan {

class BranchChoice {
  public:
    constexpr BranchChoice(const Platform& platform, Processor& processor,
                           Reproducibility& reproducibility)
        : platform_(platform), processor_(processor), reproducibility_(reproducibility) {}

    // branchNumber() and level() of frame/branch.h. On a processor below the minimum they end the
    // process with code 1; should an exit hook return, both are 0, the copy that runs anywhere.
    std::int32_t branchNumber();
    Level level();
    Level refinedLevel();

    // The class for a reproducibility mode, refinements folded; with two messages printed where a
    // processor below the minimum would have to choose it.
    Level levelForMode(std::int32_t mode);

  private:
    struct Result {
        std::int32_t branch;
        Level level, refined;
    };

    std::int32_t overriddenBranch() const;
    const Result& computed();
    Level refinedLevelForMode(std::int32_t mode);
    Level detectLevel();

    const Platform& platform_;
    Processor& processor_;
    Reproducibility& reproducibility_;
    OneTime overrideRead_;
    std::int32_t override_ = -1;
    OneTime computed_;
    bool isBelowMinimum_ = false;
    Result result_ = {0, Level::unspecified, Level::unspecified};
};

}  // namespace korvan
