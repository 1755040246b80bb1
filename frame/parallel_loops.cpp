#include "frame/parallel_loops.h"

#include "frame/settings.h"

// What we use of the OpenMP runtime's compiler interface (kmp.h of LLVM's).
extern "C" {
struct SourceLocation {
    std::int32_t reserved1, flags, reserved2, reserved3;
    const char* text;
};
using Region = void (*)(std::int32_t* thread, std::int32_t* boundThread, ...);

std::int32_t __kmpc_global_thread_num(const SourceLocation*);
std::int32_t __kmpc_ok_to_fork(const SourceLocation*);
void __kmpc_push_num_threads(const SourceLocation*, std::int32_t thread, std::int32_t count);
void __kmpc_fork_call(const SourceLocation*, std::int32_t arguments, Region region, ...);
void __kmpc_serialized_parallel(const SourceLocation*, std::int32_t thread);
void __kmpc_end_serialized_parallel(const SourceLocation*, std::int32_t thread);
void __kmpc_for_static_init_4(const SourceLocation*, std::int32_t thread, std::int32_t schedule,
                              std::int32_t* isLast, std::int32_t* lower, std::int32_t* upper,
                              std::int32_t* stride, std::int32_t increment, std::int32_t chunk);
void __kmpc_for_static_fini(const SourceLocation*, std::int32_t thread);
void __kmpc_barrier(const SourceLocation*, std::int32_t thread);
void __kmpc_dispatch_init_4(const SourceLocation*, std::int32_t thread, std::int32_t schedule,
                            std::int32_t lower, std::int32_t upper, std::int32_t stride,
                            std::int32_t chunk);
std::int32_t __kmpc_dispatch_next_4(const SourceLocation*, std::int32_t thread,
                                    std::int32_t* isLast, std::int32_t* lower, std::int32_t* upper,
                                    std::int32_t* stride);
void __kmpc_dispatch_fini_4(const SourceLocation*, std::int32_t thread);
void __kmpc_ordered(const SourceLocation*, std::int32_t thread);
void __kmpc_end_ordered(const SourceLocation*, std::int32_t thread);
int omp_get_thread_num();
int omp_get_num_threads();
}

namespace korvan {
namespace {

constexpr std::int32_t vectorMathDomain = 3;
constexpr std::int32_t staticSchedule = 0x22, orderedStaticSchedule = 0x42;

// The texts are part of the interface to the runtime and to the tools that read it.
constexpr SourceLocation at(const char* text) {
    return {0, 2, 0, 0, text};
}
constexpr SourceLocation forEntry = at(";unknown;_qvx_vsl_serv_threader_for;75;75;;");
constexpr SourceLocation forRegion = at(";unknown;_qvx_vsl_serv_threader_for;75;85;;");
constexpr SourceLocation forLoop = at(";unknown;_qvx_vsl_serv_threader_for;80;84;;");
constexpr SourceLocation forBarrier = at(";unknown;_qvx_vsl_serv_threader_for;84;84;;");
constexpr SourceLocation inOrderEntry = at(";unknown;_qvx_vsl_serv_threader_for_ordered;105;105;;");
constexpr SourceLocation inOrderRegion =
    at(";unknown;_qvx_vsl_serv_threader_for_ordered;105;116;;");
constexpr SourceLocation sectionsEntry = at(";unknown;_qvx_vsl_serv_threader_sections;135;135;;");
constexpr SourceLocation sectionsRegion = at(";unknown;_qvx_vsl_serv_threader_sections;135;141;;");
constexpr SourceLocation orderedEntry = at(";unknown;_qvx_vsl_serv_threader_ordered;148;148;;");
constexpr SourceLocation orderedSection = at(";unknown;_qvx_vsl_serv_threader_ordered;153;153;;");

struct Loop {
    std::int32_t n;
    void* context;
    ParallelWork work;
};

// The calling thread's place, read once at the begin of a region.
struct Place {
    std::int32_t index = omp_get_thread_num();
    std::int32_t count = omp_get_num_threads();
};

void forBody(std::int32_t* thread, std::int32_t*, const Loop* loop) {
    const Place place;
    if (loop->n > 0) {
        std::int32_t isLast = 0, lower = 0, upper = loop->n - 1, stride = 1;
        __kmpc_for_static_init_4(&forLoop, *thread, staticSchedule, &isLast, &lower, &upper,
                                 &stride, 1, 1);
        if (upper > loop->n - 1) upper = loop->n - 1;
        for (std::int32_t index = lower; index <= upper; ++index) {
            loop->work(index, place.index, place.count, loop->context);
        }
        __kmpc_for_static_fini(&forLoop, *thread);
    }
    __kmpc_barrier(&forBarrier, *thread);
}

void inOrderBody(std::int32_t* thread, std::int32_t*, const Loop* loop) {
    const Place place;
    if (loop->n > 0) {
        std::int32_t isLast = 0, lower = 0, upper = 0, stride = 1;
        __kmpc_dispatch_init_4(&inOrderRegion, *thread, orderedStaticSchedule, 0, loop->n - 1, 1,
                               1);
        while (__kmpc_dispatch_next_4(&inOrderRegion, *thread, &isLast, &lower, &upper, &stride)) {
            for (std::int32_t index = lower; index <= upper; ++index) {
                loop->work(index, place.index, place.count, loop->context);
                __kmpc_dispatch_fini_4(&inOrderRegion, *thread);
            }
        }
    }
    __kmpc_barrier(&inOrderRegion, *thread);
}

void sectionsBody(std::int32_t*, std::int32_t*, const Loop* loop) {
    const Place place;
    loop->work(place.index, place.index, place.count, loop->context);
}

using Body = void (*)(std::int32_t*, std::int32_t*, const Loop*);

void fork(const SourceLocation& entry, const SourceLocation& region, Body body,
          std::int32_t requestedThreads, const Loop& loop) {
    const std::int32_t limit = qvx_vsl_serv_threader_get_num_threads();
    const bool lowered = requestedThreads > 0 && requestedThreads < limit;
    std::int32_t thread = __kmpc_global_thread_num(&entry);
    if (__kmpc_ok_to_fork(&region)) {
        __kmpc_push_num_threads(&region, thread, lowered ? requestedThreads : limit);
        __kmpc_fork_call(&region, 1, reinterpret_cast<Region>(reinterpret_cast<void*>(body)),
                         &loop);
        return;
    }
    __kmpc_serialized_parallel(&region, thread);
    std::int32_t bound = 0;
    body(&thread, &bound, &loop);
    __kmpc_end_serialized_parallel(&region, thread);
}

}  // namespace

void qvx_vsl_serv_threader_for(std::int32_t n, std::int32_t requestedThreads, void* context,
                               ParallelWork work) {
    fork(forEntry, forRegion, forBody, requestedThreads, {n, context, work});
}

void qvx_vsl_serv_threader_for_ordered(std::int32_t n, std::int32_t requestedThreads, void* context,
                                       ParallelWork work) {
    fork(inOrderEntry, inOrderRegion, inOrderBody, requestedThreads, {n, context, work});
}

void qvx_vsl_serv_threader_sections(std::int32_t requestedThreads, void* context,
                                    ParallelWork work) {
    fork(sectionsEntry, sectionsRegion, sectionsBody, requestedThreads, {0, context, work});
}

void qvx_vsl_serv_threader_ordered(std::int32_t a, std::int32_t b, std::int32_t c, void* d,
                                   ParallelWork work) {
    const std::int32_t thread = __kmpc_global_thread_num(&orderedEntry);
    __kmpc_ordered(&orderedSection, thread);
    work(a, b, c, d);
    __kmpc_end_ordered(&orderedSection, thread);
}

std::int32_t qvx_vsl_serv_threader_get_num_threads() {
    return getMaxThreads(vectorMathDomain);
}

}  // namespace korvan
