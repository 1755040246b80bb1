#include "frame/platform/thread_slot.h"

#include <pthread.h>

namespace korvan {

void* ThreadSlot::get() {
    const std::int32_t key = key_.load(std::memory_order_acquire);
    return key < 0 ? nullptr : pthread_getspecific(static_cast<pthread_key_t>(key));
}

bool ThreadSlot::set(void* value, AtThreadEnd atEnd) {
    if (key_.load(std::memory_order_acquire) == unmade) {
        pthread_key_t made;
        const bool isMade = pthread_key_create(&made, atEnd) == 0;
        std::int32_t expected = unmade;
        const bool isFirst = key_.compare_exchange_strong(
            expected, isMade ? static_cast<std::int32_t>(made) : failed);
        if (isMade && !isFirst) pthread_key_delete(made);
    }
    const std::int32_t key = key_.load(std::memory_order_acquire);
    return key >= 0 && pthread_setspecific(static_cast<pthread_key_t>(key), value) == 0;
}

}  // namespace korvan
