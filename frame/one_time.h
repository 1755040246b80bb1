// Work that is done once, at first need, whoever asks first.
#pragma once

#include <atomic>
#include <cstdint>

#include "frame/service_lock.h"

namespace korvan {

class OneTime {
  public:
    constexpr OneTime() = default;

    // Runs `work` unless that has happened. Whoever returns from here sees what it wrote, so it
    // can be read without a lock.
    template <typename Work>
    void run(Work work) {
        if (isDone()) return;
        const ServiceGuard guard(lock_);
        if (done_.load(std::memory_order_relaxed)) return;
        work();
        done_.store(true, std::memory_order_release);
    }

    bool isDone() const { return done_.load(std::memory_order_acquire); }

  private:
    std::atomic<std::int32_t> lock_{0};
    std::atomic<bool> done_{false};
};

}  // namespace korvan
