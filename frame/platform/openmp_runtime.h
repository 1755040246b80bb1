// Entry points of the OpenMP runtime (LLVM's libomp). The library isn't compiled with -fopenmp, so
// what it enters is declared here.
#pragma once

extern "C" {
int omp_in_parallel(void);
int omp_get_max_threads(void);
}
