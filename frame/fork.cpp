#include "frame/fork.h"

#include <atomic>

#include "frame/memory_service.h"
#include "frame/platform/fork_handlers.h"
#include "frame/platform/platform.h"
#include "frame/turnstile.h"

namespace korvan {
namespace {

constinit Turnstile guarded;

// With the model named an access is one instruction: no call to the loader, which might allocate
// inside a signal handler.
[[gnu::tls_model("initial-exec")]] constinit thread_local LockingThread thisThread = {};

constinit std::atomic<std::int32_t> holders{forkHolder};

// Handlers of other libraries may call this one while a fork is under way, and may fork.
void beforeFork() {
    if (thisThread.forks++ > 0) return;
    guarded.close(thisThread.guards);
    memoryService().holdForFork();
}

bool isOver() {
    return --thisThread.forks == 0;
}

void inParent() {
    if (!isOver()) return;
    memoryService().releaseInParent();
    guarded.open();
}

void inChild() {
    if (!isOver()) return;
    memoryService().releaseInChild();
    guarded.openInChild(thisThread.guards);
}

}  // namespace

LockingThread& lockingThread() {
    return thisThread;
}

std::int32_t lockHolder() {
    if (thisThread.holder == 0) {
        thisThread.holder = holders.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    return thisThread.holder;
}

void passTurnstile(Turnstile& turnstile, std::int32_t* inside) {
    for (;;) {
        const bool isInside = *inside > 0 || thisThread.forks > 0;
        // Counted before: the handler of a signal that comes in between finds itself inside.
        ++*inside;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (turnstile.tryEnter(isInside)) return;
        --*inside;
        systemPlatform().yieldThread();
    }
}

void leaveTurnstile(Turnstile& turnstile, std::int32_t* inside) {
    turnstile.leave();
    std::atomic_signal_fence(std::memory_order_seq_cst);
    --*inside;
}

void enterGuarded() {
    passTurnstile(guarded, &thisThread.guards);
}

void leaveGuarded() {
    leaveTurnstile(guarded, &thisThread.guards);
}

void watchForks() {
    addForkHandlers(beforeFork, inParent, inChild);
}

}  // namespace korvan
