#include "frame/exit_list.h"

#include "frame/reporter.h"
#include "frame/service_lock.h"

namespace korvan {
namespace {

constinit ExitList processExitList;

}  // namespace

void ExitList::add(ExitRoutine routine, void* argument) {
    {
        const ServiceGuard guard(listLock_);
        if (count_ < capacity) {
            entries_[count_] = {routine, argument};
            ++count_;
            return;
        }
    }
    fatalExit(3);
}

bool ExitList::takeLast(Entry* entry) {
    const ServiceGuard guard(listLock_);
    if (count_ == 0) return false;
    *entry = entries_[--count_];
    return true;
}

void ExitList::run() {
    if (count_.load(std::memory_order_acquire) == 0) return;
    const ServiceGuard guard(runLock_);
    Entry entry{};
    // The list's own lock is free during the call, so that a routine can register another one.
    while (takeLast(&entry)) {
        if (entry.routine != nullptr) entry.routine(entry.argument);
    }
}

void registerExit(ExitRoutine routine, void* argument) {
    processExitList.add(routine, argument);
}

void runExitCallbacks() {
    processExitList.run();
}

}  // namespace korvan
