// Loops over index ranges on several threads, through the OpenMP runtime.
//
// No status comes back: work that fails notes it in its context.  A call from inside a parallel
// region runs on the calling thread.
#pragma once

#include <cstdint>

namespace korvan {

using ParallelWork = void (*)(std::int32_t index, std::int32_t threadIndex,
                              std::int32_t threadCount, void* context);

// Runs work(index, ...) once for each index 0 .. n - 1; a thread gets a contiguous run of them.
// `requestedThreads` above 0 lowers the thread count of the vector math domain.
void qvx_vsl_serv_threader_for(std::int32_t n, std::int32_t requestedThreads, void* context,
                               ParallelWork work);

// The same with the indices dispatched in order, so that work can call
// qvx_vsl_serv_threader_ordered().
void qvx_vsl_serv_threader_for_ordered(std::int32_t n, std::int32_t requestedThreads, void* context,
                                       ParallelWork work);

// Runs work(threadIndex, threadIndex, ...) once on each thread.
void qvx_vsl_serv_threader_sections(std::int32_t requestedThreads, void* context,
                                    ParallelWork work);

// Inside an ordered loop: runs work(a, b, c, d) when all lower indices have had theirs.
void qvx_vsl_serv_threader_ordered(std::int32_t a, std::int32_t b, std::int32_t c, void* d,
                                   ParallelWork work);

// The thread count of the vector math domain: above 1, going parallel may pay.
std::int32_t qvx_vsl_serv_threader_get_num_threads();

}  // namespace korvan
