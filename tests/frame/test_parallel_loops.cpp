// The loop service on the real runtime: every index once, on the threads that were asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <vector>

#include "frame/parallel_loops.h"

namespace korvan::test {
namespace {

struct Log {
    std::mutex lock;
    std::vector<std::int32_t> indices, threads, counts;

    static void note(std::int32_t index, std::int32_t thread, std::int32_t count, void* context) {
        auto& log = *static_cast<Log*>(context);
        const std::lock_guard guard(log.lock);
        log.indices.push_back(index);
        log.threads.push_back(thread);
        log.counts.push_back(count);
    }
    std::vector<std::int32_t> sortedIndices() const {
        std::vector<std::int32_t> sorted = indices;
        std::sort(sorted.begin(), sorted.end());
        return sorted;
    }
};

std::vector<std::int32_t> upTo(std::int32_t n) {
    std::vector<std::int32_t> all;
    for (std::int32_t i = 0; i < n; ++i) all.push_back(i);
    return all;
}

TEST(ParallelLoops, VisitEachIndexOnce) {
    const std::int32_t limit = qvx_vsl_serv_threader_get_num_threads();
    for (const auto loop : {qvx_vsl_serv_threader_for, qvx_vsl_serv_threader_for_ordered}) {
        for (const std::int32_t n : {-1, 0, 1, 2, 3, 100}) {
            for (const std::int32_t requested : {-3, 0, 1, 2, 1000}) {
                Log log;
                loop(n, requested, &log, Log::note);
                EXPECT_EQ(log.sortedIndices(), upTo(n)) << n << " on " << requested;
                const std::int32_t most = requested > 0 ? std::min(requested, limit) : limit;
                for (const std::int32_t count : log.counts) EXPECT_EQ(count, most);
                for (const std::int32_t thread : log.threads)
                    EXPECT_TRUE(thread >= 0 && thread < most);
            }
        }
    }
}

// A thread's indices are one run, ascending: work may keep state from one to the next.
TEST(ParallelLoops, GiveContiguousRuns) {
    Log log;
    qvx_vsl_serv_threader_for(101, 0, &log, Log::note);
    for (const std::int32_t thread : std::set(log.threads.begin(), log.threads.end())) {
        std::int32_t last = -1;
        for (std::size_t i = 0; i < log.indices.size(); ++i) {
            if (log.threads[i] != thread) continue;
            if (last >= 0) {
                EXPECT_EQ(log.indices[i], last + 1);
            }
            last = log.indices[i];
        }
    }
}

TEST(ParallelLoops, OrderedSectionsComeInOrder) {
    Log log;
    qvx_vsl_serv_threader_for_ordered(
        200, 0, &log,
        [](std::int32_t index, std::int32_t thread, std::int32_t count, void* context) {
            qvx_vsl_serv_threader_ordered(index, thread, count, context, Log::note);
        });
    EXPECT_EQ(log.indices, upTo(200));
}

TEST(ParallelLoops, SectionsRunOncePerThread) {
    Log log;
    qvx_vsl_serv_threader_sections(0, &log, Log::note);
    EXPECT_EQ(log.sortedIndices(), upTo(qvx_vsl_serv_threader_get_num_threads()));
    EXPECT_EQ(log.indices, log.threads);
}

TEST(ParallelLoops, AreSerialInsideAParallelRegion) {
    std::atomic<int> inner = 0, wrong = 0;
    struct Counters {
        std::atomic<int>&inner, &wrong;
    } counters{inner, wrong};
    qvx_vsl_serv_threader_for(
        4, 0, &counters, [](std::int32_t, std::int32_t, std::int32_t, void* context) {
            qvx_vsl_serv_threader_for(
                3, 0, context,
                [](std::int32_t, std::int32_t thread, std::int32_t count, void* inside) {
                    auto& c = *static_cast<Counters*>(inside);
                    ++c.inner;
                    if (thread != 0 || count != 1) ++c.wrong;
                });
        });
    EXPECT_EQ(inner, 12);
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace korvan::test
