#include "frame/platform/thread_slot.h"

#include <pthread.h>

#include "frame/service_lock.h"

namespace korvan {

void* ThreadSlot::get() {
    const std::int32_t key = key_.load(std::memory_order_acquire);
    return key < 0 ? nullptr : pthread_getspecific(static_cast<pthread_key_t>(key));
}

bool ThreadSlot::set(void* value, AtThreadEnd atEnd) {
    if (key_.load(std::memory_order_acquire) == unmade) {
        const ServiceGuard guard(lock_);
        if (key_.load(std::memory_order_relaxed) == unmade) {
            pthread_key_t key;
            const bool made = pthread_key_create(&key, atEnd) == 0;
            key_.store(made ? static_cast<std::int32_t>(key) : failed, std::memory_order_release);
        }
    }
    const std::int32_t key = key_.load(std::memory_order_acquire);
    return key >= 0 && pthread_setspecific(static_cast<pthread_key_t>(key), value) == 0;
}

}  // namespace korvan
