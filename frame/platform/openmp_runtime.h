// Entry points of the OpenMP runtime (LLVM's libomp). The library isn't compiled with -fopenmp, so
// what it enters is declared here.
#pragma once

extern "C" {
int omp_in_parallel(void);
int omp_get_max_threads(void);
int omp_get_num_places(void);
int omp_get_place_num_procs(int place);
void omp_get_place_proc_ids(int place, int* cpus);
}
