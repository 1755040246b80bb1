#include "vectormath/parallel_parts.h"

#include <xmmintrin.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "frame/parallel_loops.h"
#include "frame/service_lock.h"
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

    // What comes back; of the errors the last part's, as if the parts had run in order.
    std::atomic<std::int32_t> lock{0};
    std::uint32_t flags = 0;
    std::int32_t failedPart = -1, status = 0;
    int errnoValue = 0;

    std::int32_t begin(std::int32_t index) const {
        return static_cast<std::int32_t>(std::int64_t{n} * index / count);
    }
};

void noteResults(Parts* parts, std::int32_t index) {
    const ServiceGuard guard(parts->lock);
    parts->flags |= _mm_getcsr() & sseFlags;
    const std::int32_t status = vectorMathThread().status;
    if (status == 0 || index < parts->failedPart) return;
    parts->failedPart = index;
    parts->status = status;
    parts->errnoValue = errno;
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
    _mm_setcsr(ownControl & ~sseFlags);
    errno = 0;
    parts->part(parts->call, begin, parts->begin(index + 1) - begin);
    noteResults(parts, index);
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
    qvx_vsl_serv_threader_for(count, 0, &parts, runPart);
    _mm_setcsr(_mm_getcsr() | parts.flags);
    if (parts.failedPart < 0) return;
    vectorMathThread().status = parts.status;
    if (parts.errnoValue != 0) errno = parts.errnoValue;
}

}  // namespace korvan
