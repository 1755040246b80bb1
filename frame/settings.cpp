#include "frame/settings.h"

#include "frame/platform/platform.h"
#include "frame/thread_settings.h"

namespace korvan {
namespace {

constinit ThreadSettings settings{systemPlatform()};

}  // namespace

std::int32_t getMaxThreads(std::int32_t domain) {
    return settings.maxThreads(domain);
}
std::int32_t getDynamic() {
    return settings.variables().dynamic;
}
std::int32_t getStripes() {
    return settings.variables().stripes;
}
std::int32_t getPackages() {
    return settings.cells().topology.packages;
}
std::int32_t getCoresPerPackage() {
    return settings.cells().coresPerPackage;
}
std::int32_t getVerbose() {
    return settings.verbose();
}

}  // namespace korvan
