// Stands in for the OpenMP runtime where a program must be linked statically: one thread, and every
// parallel region runs on it.  It has what the library enters, no more; a missing function shows at
// link time.
//
// The library asks whether it may fork and is told no, so that nothing of a real fork is needed.
#include <cstdint>
#include <cstdlib>

extern "C" {

int omp_in_parallel(void) {
    return 0;
}
int omp_get_max_threads(void) {
    return 1;
}
int omp_get_num_threads(void) {
    return 1;
}
int omp_get_thread_num(void) {
    return 0;
}
int omp_get_num_places(void) {
    return 0;
}
int omp_get_place_num_procs(int) {
    return 0;
}
void omp_get_place_proc_ids(int, int*) {}

std::int32_t __kmpc_global_thread_num(const void*) {
    return 0;
}
std::int32_t __kmpc_ok_to_fork(const void*) {
    return 0;
}
void __kmpc_push_num_threads(const void*, std::int32_t, std::int32_t) {
    std::abort();
}
void __kmpc_fork_call(const void*, std::int32_t, void (*)(std::int32_t*, std::int32_t*, ...), ...) {
    std::abort();
}
void __kmpc_serialized_parallel(const void*, std::int32_t) {}
void __kmpc_end_serialized_parallel(const void*, std::int32_t) {}
void __kmpc_barrier(const void*, std::int32_t) {}
void __kmpc_ordered(const void*, std::int32_t) {}
void __kmpc_end_ordered(const void*, std::int32_t) {}

// The bounds come in as the whole range, which is this thread's share.
void __kmpc_for_static_init_4(const void*, std::int32_t, std::int32_t, std::int32_t* isLast,
                              std::int32_t*, std::int32_t*, std::int32_t*, std::int32_t,
                              std::int32_t) {
    *isLast = 1;
}
void __kmpc_for_static_fini(const void*, std::int32_t) {}

}  // extern "C"

namespace {

// The range of the ordered loop that is running, until it is handed out.
struct {
    std::int32_t lower, upper;
    bool isWaiting;
} range;

}  // namespace

extern "C" {

void __kmpc_dispatch_init_4(const void*, std::int32_t, std::int32_t, std::int32_t lower,
                            std::int32_t upper, std::int32_t, std::int32_t) {
    range = {lower, upper, true};
}
std::int32_t __kmpc_dispatch_next_4(const void*, std::int32_t, std::int32_t* isLast,
                                    std::int32_t* lower, std::int32_t* upper, std::int32_t*) {
    if (!range.isWaiting) return 0;
    range.isWaiting = false;
    *isLast = 1;
    *lower = range.lower;
    *upper = range.upper;
    return 1;
}
void __kmpc_dispatch_fini_4(const void*, std::int32_t) {}

}  // extern "C"
