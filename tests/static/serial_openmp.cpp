// Stands in for the OpenMP runtime where a program must be linked statically: one thread, no
// parallel regions.  It has what the library enters (frame/platform/openmp_runtime.h), no more;
// a missing function shows at link time.
#include "frame/platform/openmp_runtime.h"

int omp_in_parallel(void) {
    return 0;
}

int omp_get_max_threads(void) {
    return 1;
}
