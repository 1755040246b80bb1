#include "frame/service_lock.h"

#include "frame/fork.h"
#include "frame/platform/platform.h"

namespace korvan {
namespace {

// Passes before the waiting thread offers its processor to others.
constexpr std::int32_t idlePasses = 5000;

}  // namespace

void serviceLock(std::atomic<std::int32_t>& word, const Platform& platform, std::int32_t holder) {
    std::int32_t passes = 0;
    for (;;) {
        // Read before the exchange: waiting threads then share the line instead of fighting for it.
        if (word.load(std::memory_order_relaxed) == 0) {
            std::int32_t free = 0;
            if (word.compare_exchange_strong(free, holder, std::memory_order_acquire,
                                             std::memory_order_relaxed)) {
                return;
            }
        }
        if (passes < idlePasses) {
            ++passes;
            __builtin_ia32_pause();
        } else {
            platform.yieldThread();
        }
    }
}

void serviceLock(std::atomic<std::int32_t>& word) {
    serviceLock(word, systemPlatform());
}

void serviceUnlock(std::atomic<std::int32_t>& word) {
    word.store(0, std::memory_order_release);
}

ServiceGuard::ServiceGuard(std::atomic<std::int32_t>& word) : word_(word) {
    enterGuarded();
    serviceLock(word_);
}

ServiceGuard::~ServiceGuard() {
    serviceUnlock(word_);
    leaveGuarded();
}

}  // namespace korvan
