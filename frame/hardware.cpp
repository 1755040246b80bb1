#include "frame/hardware.h"

#include <atomic>

#include "frame/one_time.h"
#include "frame/processor.h"

namespace korvan {
namespace {

constinit std::atomic<const Platform*> replacement{nullptr};

struct Instructions {
    bool random = false;
    bool aes = false;

    static Instructions of(const Platform& platform) {
        const Processor processor(platform);
        return {processor.hasHardwareRandom(), processor.hasAesGenerator()};
    }
};

// Fills ask at every call, and in a virtual machine CPUID takes as long as making 100,000 words:
// the system's processor is asked once.
Instructions ofHardware() {
    if (const Platform* described = replacement.load(std::memory_order_acquire)) {
        return Instructions::of(*described);
    }
    static constinit OneTime asked;
    static constinit Instructions answer;
    asked.run([] { answer = Instructions::of(systemPlatform()); });
    return answer;
}

}  // namespace

bool hasHardwareRandom() {
    return ofHardware().random;
}

bool hasAesGenerator() {
    return ofHardware().aes;
}

const Platform& hardware() {
    const Platform* described = replacement.load(std::memory_order_acquire);
    return described ? *described : systemPlatform();
}

void replaceHardware(const Platform* platform) {
    replacement.store(platform, std::memory_order_release);
}

}  // namespace korvan
