// Lets any number of threads in, until one of them closes it for all others.
#pragma once

#include <atomic>
#include <cstdint>

namespace korvan {

class Turnstile {
  public:
    constexpr Turnstile() = default;

    // False while it is closed, unless the caller is inside already.
    bool tryEnter(bool isInside);
    void leave();

    // Keeps newcomers out and waits for those inside to leave; the caller itself may be inside,
    // `own` times over.
    void close(std::int32_t own);
    void open();

    // Opens it in a forked child, where only the caller is left of all threads.
    void openInChild(std::int32_t own);

    bool isClosed() const { return (word_.load(std::memory_order_relaxed) & 1) != 0; }

  private:
    std::atomic<std::int32_t> word_{0};  // those inside count in twos; the low bit closes it
};

}  // namespace korvan
