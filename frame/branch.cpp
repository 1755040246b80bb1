#include "frame/branch.h"

#include "frame/branch_choice.h"
#include "frame/platform/platform.h"
#include "frame/processor.h"
#include "frame/reproducibility.h"
#include "frame/settings.h"

namespace korvan {
namespace {

constinit Processor processor{systemPlatform()};
constinit Reproducibility reproducibility{systemPlatform(), processor};
constinit BranchChoice choice{systemPlatform(), processor, reproducibility};

}  // namespace

std::int32_t branchNumber() {
    return choice.branchNumber();
}
Level level() {
    return choice.level();
}
Level refinedLevel() {
    return choice.refinedLevel();
}
bool isTunedVendor() {
    return processor.isTunedVendor();
}

bool processorHasFeature(const char* lowerCaseName) {
    return processor.hasFeatures(lowerCaseName);
}

bool processorHasFeatures(const char* commaSeparatedNames) {
    return processor.hasFeatures(commaSeparatedNames);
}

std::int32_t getReproducibility(std::int32_t what) {
    return reproducibility.get(what);
}
std::int32_t getProcessorReproducibility() {
    return reproducibility.ceiling();
}

}  // namespace korvan
