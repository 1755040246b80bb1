// A pointer per thread, and word of the thread's end.
#pragma once

#include <atomic>
#include <cstdint>

namespace korvan {

// The system's slot is made at first need.  Where there is none to be had, get() gives null and
// set() fails.
class ThreadSlot {
  public:
    using AtThreadEnd = void (*)(void* value);

    constexpr ThreadSlot() = default;

    void* get();
    // When the thread ends, `atEnd` gets its value, unless that is null.  The first call of the
    // process decides which routine that is.
    bool set(void* value, AtThreadEnd atEnd);

  private:
    static constexpr std::int32_t unmade = -1, failed = -2;

    std::atomic<std::int32_t> key_{unmade};
};

}  // namespace korvan
