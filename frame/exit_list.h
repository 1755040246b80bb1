// Routines to call when the library is unloaded or the process ends, last come first served.
#pragma once

#include <atomic>
#include <cstdint>

namespace korvan {

using ExitRoutine = void (*)(void* argument);

class ExitList {
  public:
    static constexpr std::int32_t capacity = 32;

    constexpr ExitList() = default;

    // Appends a pair; one more than the capacity ends the process with code 3.
    void add(ExitRoutine routine, void* argument);

    // Removes and calls the entries from the last one down, also those that a routine adds
    // meanwhile. A routine must not run the list itself. An empty list takes no lock.
    void run();

  private:
    struct Entry {
        ExitRoutine routine;
        void* argument;
    };

    bool takeLast(Entry* entry);

    std::atomic<std::int32_t> listLock_{0};
    std::atomic<std::int32_t> runLock_{0};
    std::atomic<std::int32_t> count_{0};
    Entry entries_[capacity] = {};
};

// The list of this process.
void registerExit(ExitRoutine routine, void* argument);
void runExitCallbacks();

}  // namespace korvan
