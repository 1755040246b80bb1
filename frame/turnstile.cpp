#include "frame/turnstile.h"

#include "frame/platform/platform.h"

namespace korvan {

bool Turnstile::tryEnter(bool isInside) {
    std::int32_t word = word_.load(std::memory_order_relaxed);
    do {
        if ((word & 1) != 0 && !isInside) return false;
    } while (!word_.compare_exchange_weak(word, word + 2, std::memory_order_acquire,
                                          std::memory_order_relaxed));
    return true;
}

void Turnstile::leave() {
    word_.fetch_sub(2, std::memory_order_release);
}

void Turnstile::close(std::int32_t own) {
    while ((word_.fetch_or(1, std::memory_order_acquire) & 1) != 0) systemPlatform().yieldThread();
    while (word_.load(std::memory_order_acquire) >> 1 > own) systemPlatform().yieldThread();
}

void Turnstile::open() {
    word_.fetch_and(~1, std::memory_order_release);
}

void Turnstile::openInChild(std::int32_t own) {
    word_.store(own * 2, std::memory_order_release);
}

}  // namespace korvan
