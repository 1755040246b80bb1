#include "frame/platform/fork_handlers.h"

#include <pthread.h>

namespace korvan {

void addForkHandlers(ForkHandler before, ForkHandler inParent, ForkHandler inChild) {
    pthread_atfork(before, inParent, inChild);
}

}  // namespace korvan
