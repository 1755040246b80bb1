// The spin lock of the service layer: one word, 0 free, 1 held.
//
// Meant for set-up work and short list updates; it is not recursive.
#pragma once

#include <atomic>
#include <cstdint>

namespace korvan {

struct Platform;

void serviceLock(std::atomic<std::int32_t>& word);
void serviceUnlock(std::atomic<std::int32_t>& word);

// The same on a given platform, whose yieldThread() is called while waiting.
void serviceLock(std::atomic<std::int32_t>& word, const Platform& platform);

class ServiceGuard {
  public:
    [[gnu::always_inline]] inline explicit ServiceGuard(std::atomic<std::int32_t>& word)
        : word_(word) {
        serviceLock(word_);
    }
    [[gnu::always_inline]] inline ~ServiceGuard() { serviceUnlock(word_); }
    ServiceGuard(const ServiceGuard&) = delete;
    ServiceGuard& operator=(const ServiceGuard&) = delete;

  private:
    std::atomic<std::int32_t>& word_;
};

}  // namespace korvan
