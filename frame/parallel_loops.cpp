#include "frame/parallel_loops.h"

#include "frame/platform/openmp_runtime.h"
#include "frame/settings.h"

namespace korvan {
namespace {

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
    const OpenmpRuntime& runtime;
    std::int32_t n;
    void* context;
    ParallelWork work;
};

// Is the calling thread in a loop that runs without the runtime?
constinit thread_local bool runsAlone = false;

class AloneScope {
  public:
    explicit AloneScope(bool alone) : before_(runsAlone) { runsAlone = alone; }
    ~AloneScope() { runsAlone = before_; }
    AloneScope(const AloneScope&) = delete;
    AloneScope& operator=(const AloneScope&) = delete;

  private:
    bool before_;
};

// The calling thread's place in a region, read once at its begin.
struct Place {
    explicit Place(const OpenmpRuntime& runtime)
        : index(runtime.omp_get_thread_num()), count(runtime.omp_get_num_threads()) {}

    std::int32_t index, count;
    AloneScope scope{false};
};

void forBody(std::int32_t* thread, std::int32_t*, const Loop* loop) {
    const Place place(loop->runtime);
    if (loop->n > 0) {
        std::int32_t isLast = 0, lower = 0, upper = loop->n - 1, stride = 1;
        loop->runtime.__kmpc_for_static_init_4(&forLoop, *thread, staticSchedule, &isLast, &lower,
                                               &upper, &stride, 1, 1);
        if (upper > loop->n - 1) upper = loop->n - 1;
        for (std::int32_t index = lower; index <= upper; ++index) {
            loop->work(index, place.index, place.count, loop->context);
        }
        loop->runtime.__kmpc_for_static_fini(&forLoop, *thread);
    }
    loop->runtime.__kmpc_barrier(&forBarrier, *thread);
}

void inOrderBody(std::int32_t* thread, std::int32_t*, const Loop* loop) {
    const Place place(loop->runtime);
    if (loop->n > 0) {
        std::int32_t isLast = 0, lower = 0, upper = 0, stride = 1;
        loop->runtime.__kmpc_dispatch_init_4(&inOrderRegion, *thread, orderedStaticSchedule, 0,
                                             loop->n - 1, 1, 1);
        while (loop->runtime.__kmpc_dispatch_next_4(&inOrderRegion, *thread, &isLast, &lower,
                                                    &upper, &stride)) {
            for (std::int32_t index = lower; index <= upper; ++index) {
                loop->work(index, place.index, place.count, loop->context);
                loop->runtime.__kmpc_dispatch_fini_4(&inOrderRegion, *thread);
            }
        }
    }
    loop->runtime.__kmpc_barrier(&inOrderRegion, *thread);
}

void sectionsBody(std::int32_t*, std::int32_t*, const Loop* loop) {
    const Place place(loop->runtime);
    loop->work(place.index, place.index, place.count, loop->context);
}

using Body = void (*)(std::int32_t*, std::int32_t*, const Loop*);

void fork(const SourceLocation& entry, const SourceLocation& region, Body body, std::int32_t count,
          const Loop& loop) {
    const OpenmpRuntime& runtime = loop.runtime;
    std::int32_t thread = runtime.__kmpc_global_thread_num(&entry);
    if (runtime.__kmpc_ok_to_fork(&region)) {
        runtime.__kmpc_push_num_threads(&region, thread, count);
        runtime.__kmpc_fork_call(&region, 1,
                                 reinterpret_cast<Region>(reinterpret_cast<void*>(body)), &loop);
        return;
    }
    runtime.__kmpc_serialized_parallel(&region, thread);
    std::int32_t bound = 0;
    body(&thread, &bound, &loop);
    runtime.__kmpc_end_serialized_parallel(&region, thread);
}

// A count of 1 doesn't ask the runtime, which the program may not have.
void run(const SourceLocation& entry, const SourceLocation& region, Body body,
         std::int32_t requestedThreads, std::int32_t n, void* context, ParallelWork work) {
    const std::int32_t limit = qvx_vsl_serv_threader_get_num_threads();
    const bool lowered = requestedThreads > 0 && requestedThreads < limit;
    const std::int32_t count = lowered ? requestedThreads : limit;
    if (const OpenmpRuntime* runtime = count > 1 ? openmpRuntime() : nullptr) {
        return fork(entry, region, body, count, {*runtime, n, context, work});
    }
    const AloneScope scope(true);
    for (std::int32_t index = 0; index < n; ++index) work(index, 0, 1, context);
}

}  // namespace

void qvx_vsl_serv_threader_for(std::int32_t n, std::int32_t requestedThreads, void* context,
                               ParallelWork work) {
    run(forEntry, forRegion, forBody, requestedThreads, n, context, work);
}

void qvx_vsl_serv_threader_for_ordered(std::int32_t n, std::int32_t requestedThreads, void* context,
                                       ParallelWork work) {
    run(inOrderEntry, inOrderRegion, inOrderBody, requestedThreads, n, context, work);
}

void qvx_vsl_serv_threader_sections(std::int32_t requestedThreads, void* context,
                                    ParallelWork work) {
    // Alone, the work's one run is that of index 0.
    run(sectionsEntry, sectionsRegion, sectionsBody, requestedThreads, 1, context, work);
}

void qvx_vsl_serv_threader_ordered(std::int32_t a, std::int32_t b, std::int32_t c, void* d,
                                   ParallelWork work) {
    const OpenmpRuntime* runtime = runsAlone ? nullptr : openmpRuntime();
    if (!runtime) return work(a, b, c, d);
    const std::int32_t thread = runtime->__kmpc_global_thread_num(&orderedEntry);
    runtime->__kmpc_ordered(&orderedSection, thread);
    work(a, b, c, d);
    runtime->__kmpc_end_ordered(&orderedSection, thread);
}

std::int32_t qvx_vsl_serv_threader_get_num_threads() {
    return getMaxThreads(domainVml);
}

}  // namespace korvan
