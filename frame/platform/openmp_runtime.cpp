#include "frame/platform/openmp_runtime.h"

#include <dlfcn.h>

namespace korvan {
namespace {

enum class Search : std::uint8_t { open, none, found };

constinit std::atomic<Search> search{Search::open};
constinit OpenmpRuntime theRuntime;

// Where an address was loaded from; null if the loader doesn't know it.
void* objectOf(void* address) {
    Dl_info info;
    return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

// One entry, which must be of the same object as the others: another runtime of the process has
// functions of the same names.
template <class Function>
bool take(void* library, const char* name, void** object, OpenmpEntry<Function>* entry) {
    void* address = dlsym(library, name);
    if (!address) return false;
    void* const home = objectOf(address);
    if (!*object) *object = home;
    entry->store(address);
    return home == *object;
}

bool takeAll(void* library, void* object, OpenmpRuntime* runtime) {
#define KORVAN_ENTRY(result, name, parameters) \
    if (!take(library, #name, &object, &runtime->name)) return false;
    KORVAN_OPENMP_ENTRIES(KORVAN_ENTRY)
#undef KORVAN_ENTRY
    return true;
}

bool find(OpenmpRuntime* runtime) {
    if (void* const fork = dlsym(RTLD_DEFAULT, "__kmpc_fork_call")) {
        // Asked by the file's own handle, since omp_... found first may be another runtime's.
        Dl_info info;
        void* own = dladdr(fork, &info) != 0 && info.dli_fname
                        ? dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD)
                        : nullptr;
        return takeAll(own ? own : RTLD_DEFAULT, objectOf(fork), runtime);
    }
    void* const library = dlopen("libomp.so.5", RTLD_NOW | RTLD_LOCAL);
    return library && takeAll(library, nullptr, runtime);
}

}  // namespace

const OpenmpRuntime* openmpRuntime() {
    Search state = search.load(std::memory_order_acquire);
    if (state == Search::open) {
        state = find(&theRuntime) ? Search::found : Search::none;
        search.store(state, std::memory_order_release);
    }
    return state == Search::found ? &theRuntime : nullptr;
}

}  // namespace korvan
