// The choice of the compiled copy: from the override, the reproducibility mode, or the processor.
#pragma once

#include <atomic>
#include <cstdint>

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
    std::int32_t level();

    // The class for a reproducibility mode, refinements folded. Sets `*errorFlag` where the
    // processor is below the minimum.
    std::int32_t levelForMode(std::int32_t mode, bool* errorFlag);

  private:
    std::int32_t overriddenBranch() const;
    bool computeLevel();
    std::int32_t detectLevel(bool* errorFlag);

    const Platform& platform_;
    Processor& processor_;
    Reproducibility& reproducibility_;
    std::atomic<std::int32_t> lock_{0};
    std::atomic<std::int32_t> branch_{-1};          // as chosen
    std::atomic<std::int32_t> computedBranch_{-1};  // without the override
    std::atomic<std::int32_t> level_{-1};
};

}  // namespace korvan
