// The OpenMP runtime (LLVM's libomp), which the library isn't linked with: a program that needs no
// threads needs no runtime, and one that has a runtime keeps it.
//
// The entries that the library uses, of the user's interface (omp.h) and the compiler's (kmp.h).
#pragma once

#include <atomic>
#include <cstdint>

namespace korvan {

struct SourceLocation {
    std::int32_t reserved1, flags, reserved2, reserved3;
    const char* text;
};
using Region = void (*)(std::int32_t* thread, std::int32_t* boundThread, ...);

#define KORVAN_OPENMP_ENTRIES(ENTRY)                                                              \
    ENTRY(int, omp_in_parallel, ())                                                               \
    ENTRY(int, omp_get_max_threads, ())                                                           \
    ENTRY(int, omp_get_thread_num, ())                                                            \
    ENTRY(int, omp_get_num_threads, ())                                                           \
    ENTRY(int, omp_get_num_places, ())                                                            \
    ENTRY(int, omp_get_place_num_procs, (int place))                                              \
    ENTRY(void, omp_get_place_proc_ids, (int place, int* cpus))                                   \
    ENTRY(std::int32_t, __kmpc_global_thread_num, (const SourceLocation*))                        \
    ENTRY(std::int32_t, __kmpc_ok_to_fork, (const SourceLocation*))                               \
    ENTRY(void, __kmpc_push_num_threads,                                                          \
          (const SourceLocation*, std::int32_t thread, std::int32_t count))                       \
    ENTRY(void, __kmpc_fork_call,                                                                 \
          (const SourceLocation*, std::int32_t arguments, Region region, ...))                    \
    ENTRY(void, __kmpc_serialized_parallel, (const SourceLocation*, std::int32_t thread))         \
    ENTRY(void, __kmpc_end_serialized_parallel, (const SourceLocation*, std::int32_t thread))     \
    ENTRY(void, __kmpc_for_static_init_4,                                                         \
          (const SourceLocation*, std::int32_t thread, std::int32_t schedule,                     \
           std::int32_t* isLast, std::int32_t* lower, std::int32_t* upper, std::int32_t* stride,  \
           std::int32_t increment, std::int32_t chunk))                                           \
    ENTRY(void, __kmpc_for_static_fini, (const SourceLocation*, std::int32_t thread))             \
    ENTRY(void, __kmpc_barrier, (const SourceLocation*, std::int32_t thread))                     \
    ENTRY(void, __kmpc_dispatch_init_4,                                                           \
          (const SourceLocation*, std::int32_t thread, std::int32_t schedule, std::int32_t lower, \
           std::int32_t upper, std::int32_t stride, std::int32_t chunk))                          \
    ENTRY(std::int32_t, __kmpc_dispatch_next_4,                                                   \
          (const SourceLocation*, std::int32_t thread, std::int32_t* isLast, std::int32_t* lower, \
           std::int32_t* upper, std::int32_t* stride))                                            \
    ENTRY(void, __kmpc_dispatch_fini_4, (const SourceLocation*, std::int32_t thread))             \
    ENTRY(void, __kmpc_ordered, (const SourceLocation*, std::int32_t thread))                     \
    ENTRY(void, __kmpc_end_ordered, (const SourceLocation*, std::int32_t thread))

// The address of an entry.  Threads that look for the runtime at once all store the same one, so
// that no lock is needed, which a fork could copy held.
template <class Function>
class OpenmpEntry {
  public:
    void store(void* address) {
        address_.store(reinterpret_cast<Function*>(address), std::memory_order_relaxed);
    }
    template <class... Arguments>
    auto operator()(Arguments... arguments) const {
        return address_.load(std::memory_order_relaxed)(arguments...);
    }

  private:
    std::atomic<Function*> address_{nullptr};
};

struct OpenmpRuntime {
#define KORVAN_ENTRY(result, name, parameters) OpenmpEntry<result parameters> name;
    KORVAN_OPENMP_ENTRIES(KORVAN_ENTRY)
#undef KORVAN_ENTRY
};

// The runtime of this process, looked for at the first call: the one that the program has, else
// libomp.so.5, which then stays open.  Null if there is none with all entries; work is serial then.
//
// Not to be called under a lock of the library: a runtime has fork handlers and locks of its own.
const OpenmpRuntime* openmpRuntime();

}  // namespace korvan
