// Which copy runs for a branch.  This file gets no processor flags.
#include <atomic>

#include "frame/branch.h"
#include "frame/copy_set.h"

namespace korvan {

#define KORVAN_COPY_ROW(name, lowest, highest, features, flags) \
    namespace name {                                            \
    extern const CopySet copySet;                               \
    }
#include "copies/copies.def"
#undef KORVAN_COPY_ROW

namespace {

struct Copy {
    std::int32_t lowestBranch;
    const char* features;
    const CopySet* set;
};

constexpr Copy copies[] = {
#define KORVAN_COPY_ROW(name, lowest, highest, features, flags) {lowest, features, &name::copySet},
#include "copies/copies.def"
#undef KORVAN_COPY_ROW
};

}  // namespace

const CopySet& copySetOfBranch(std::int32_t branch) {
    const CopySet* chosen = copies[0].set;
    for (const Copy& copy : copies) {
        if (copy.lowestBranch <= branch && processorHasFeatures(copy.features)) chosen = copy.set;
    }
    return *chosen;
}

const char* copyFeatures(std::int32_t branch) {
    const char* features = "";
    for (const Copy& copy : copies) {
        if (copy.lowestBranch <= branch) features = copy.features;
    }
    return features;
}

const CopySet& copySetOfProcess() {
    static constinit std::atomic<const CopySet*> chosen{nullptr};
    const CopySet* set = chosen.load(std::memory_order_relaxed);
    if (!set) {
        set = &copySetOfBranch(branchNumber());
        chosen.store(set, std::memory_order_relaxed);
    }
    return *set;
}

}  // namespace korvan
