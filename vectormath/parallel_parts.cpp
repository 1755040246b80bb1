#include "vectormath/parallel_parts.h"

#include <xmmintrin.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "frame/parallel_loops.h"
#include "vectormath/mode_word.h"

namespace korvan {
namespace {

constexpr std::int32_t leastPartElements = 16384;
constexpr std::uint32_t sseFlags = 0x3F;

struct Parts {
    std::int32_t n, count;
    const void* call;
    PartRoutine part;
    VectorMathThread caller;
    std::atomic<std::uint32_t> flags{0};
    std::atomic<std::int64_t> lastError{0};  // the part's number, the code behind it
    std::atomic<int> errnoValue{0};

    std::int32_t begin(std::int32_t index) const {
        return static_cast<std::int32_t>(std::int64_t{n} * index / count);
    }
};

// The error of the last part counts, as if the parts had run in order.
void noteError(Parts* parts, std::int32_t index, std::int32_t code) {
    const std::int64_t mine = (std::int64_t{index} + 1) << 32 | static_cast<std::uint32_t>(code);
    std::int64_t seen = parts->lastError.load(std::memory_order_relaxed);
    while (seen < mine && !parts->lastError.compare_exchange_weak(seen, mine)) {
    }
    if (errno != 0) parts->errnoValue.store(errno, std::memory_order_relaxed);
}

void runPart(std::int32_t index, std::int32_t, std::int32_t, void* context) {
    auto* parts = static_cast<Parts*>(context);
    const std::int32_t begin = parts->begin(index);
    VectorMathThread& thread = vectorMathThread();
    const VectorMathThread own = thread;
    const std::uint32_t ownControl = _mm_getcsr();
    const int ownErrno = errno;
    thread = parts->caller;
    thread.status = 0;
    errno = 0;
    parts->part(parts->call, begin, parts->begin(index + 1) - begin);
    parts->flags.fetch_or(_mm_getcsr() & sseFlags, std::memory_order_relaxed);
    if (thread.status != 0) noteError(parts, index, thread.status);
    thread = own;
    _mm_setcsr(ownControl);
    errno = ownErrno;
}

}  // namespace

void runInParts(std::int32_t n, const void* call, PartRoutine part) {
    const std::int32_t threads = qvx_vsl_serv_threader_get_num_threads();
    const std::int32_t count = std::min(threads, n / leastPartElements);
    if (count <= 1) return part(call, 0, n);
    getModeWord();  // read, before it is handed on
    Parts parts{.n = n, .count = count, .call = call, .part = part, .caller = vectorMathThread()};
    qvx_vsl_serv_threader_for(count, count, &parts, runPart);
    _mm_setcsr(_mm_getcsr() | parts.flags.load(std::memory_order_relaxed));
    const std::int64_t error = parts.lastError.load(std::memory_order_relaxed);
    if (error == 0) return;
    vectorMathThread().status = static_cast<std::int32_t>(error & 0xFFFFFFFF);
    if (const int value = parts.errnoValue.load(std::memory_order_relaxed)) errno = value;
}

}  // namespace korvan
