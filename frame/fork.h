// Forks of a process with several threads.
//
// The child gets a copy of every lock and of what it guards, but of the threads only the one that
// forked: a lock that another one held would stay held, over a list half updated.  So before a fork
// the library waits until no other thread is between a lock and its release, and keeps all out
// until the process is copied:
//
// - every ServiceGuard, so every OneTime under way and every list of the library, passes one
//   turnstile, which the fork closes;
// - the locks of the threads' block caches, which are taken too often for that, are then taken one
//   by one (MemoryService::holdForFork).
//
// What the forking thread itself holds, because the fork comes from a signal handler that
// interrupted it or from a routine that the library called, it goes on holding on both sides.
#pragma once

#include <cstdint>

#include "frame/turnstile.h"

namespace korvan {

// What a thread is doing with locks.  A signal handler that forks reads what it interrupted.
struct LockingThread {
    std::int32_t guards;      // ServiceGuards that it holds or waits for
    std::int32_t unnumbered;  // accesses to a cache without a number, likewise
    std::int32_t forks;       // forks under way: everything is its own then
    std::int32_t holder;      // its name in the word of a lock; 0: none yet
};

LockingThread& lockingThread();

// The calling thread's name in the word of a lock: above 2, and its own among living threads.
std::int32_t lockHolder();
inline constexpr std::int32_t forkHolder = 2;

// Passes a turnstile, and counts that in `*inside`, a member of lockingThread().
void passTurnstile(Turnstile& turnstile, std::int32_t* inside);
void leaveTurnstile(Turnstile& turnstile, std::int32_t* inside);

// Brackets of every ServiceGuard.
void enterGuarded();
void leaveGuarded();

// Sees to the forks of this process from now on.
void watchForks();

}  // namespace korvan
