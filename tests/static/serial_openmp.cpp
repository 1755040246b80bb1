// Stands in for the OpenMP runtime where a program must be linked statically: one thread, no
// parallel regions.  It has what the library enters (frame/platform/openmp_runtime.h and
// frame/parallel_loops.cpp), no more; a missing function shows at link time.
#include "frame/platform/openmp_runtime.h"

#include <cstdint>

extern "C" {

int omp_in_parallel(void) {
    return 0;
}
int omp_get_max_threads(void) {
    return 1;
}
int omp_get_thread_num(void) {
    return 0;
}
int omp_get_num_threads(void) {
    return 1;
}

using Int = std::int32_t;

Int __kmpc_global_thread_num(const void*) {
    return 0;
}
Int __kmpc_ok_to_fork(const void*) {
    return 0;
}
// Not reached, since no fork is allowed.
void __kmpc_push_num_threads(const void*, Int, Int) {}
void __kmpc_fork_call(const void*, Int, void*, ...) {
    __builtin_trap();
}
void __kmpc_serialized_parallel(const void*, Int) {}
void __kmpc_end_serialized_parallel(const void*, Int) {}
// The only thread's share is the whole range, as it was given.
void __kmpc_for_static_init_4(const void*, Int, Int, Int*, Int*, Int*, Int*, Int, Int) {}
void __kmpc_for_static_fini(const void*, Int) {}
void __kmpc_barrier(const void*, Int) {}

static Int dispatchedLower, dispatchedUpper;
void __kmpc_dispatch_init_4(const void*, Int, Int, Int lower, Int upper, Int, Int) {
    dispatchedLower = lower;
    dispatchedUpper = upper;
}
Int __kmpc_dispatch_next_4(const void*, Int, Int*, Int* lower, Int* upper, Int*) {
    if (dispatchedLower > dispatchedUpper) return 0;
    *lower = dispatchedLower;
    *upper = dispatchedUpper;
    dispatchedLower = dispatchedUpper + 1;
    return 1;
}
void __kmpc_dispatch_fini_4(const void*, Int) {}
void __kmpc_ordered(const void*, Int) {}
void __kmpc_end_ordered(const void*, Int) {}
}
