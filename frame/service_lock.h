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

// The same on a given platform, whose yieldThread() is called while waiting. `holder` stands in the
// word in place of the 1.
void serviceLock(std::atomic<std::int32_t>& word, const Platform& platform,
                 std::int32_t holder = 1);

// Holds a lock to the end of a block. A fork waits for that end (frame/fork.h), so every lock of
// the library is taken in this way; only the memory service takes others, and sees to them itself.
class ServiceGuard {
  public:
    explicit ServiceGuard(std::atomic<std::int32_t>& word);
    ~ServiceGuard();
    ServiceGuard(const ServiceGuard&) = delete;
    ServiceGuard& operator=(const ServiceGuard&) = delete;

  private:
    std::atomic<std::int32_t>& word_;
};

}  // namespace korvan
