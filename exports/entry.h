// The frame that all generator exports share: the checks in their fixed order, their reports, and
// the call of the copy's kernel.
#pragma once

#include <atomic>
#include <initializer_list>
#include <type_traits>
#include <utility>

#include "frame/copy_set.h"
#include "frame/reporter.h"
#include "streams/generator_table.h"
#include "streams/stream.h"
#include "streams/stream_record.h"

namespace korvan {

// A refused argument: reported with its position, answered with `status`.
inline std::int32_t refuse(const char* name, std::int32_t position, std::int32_t status) {
    reportArgument(name, position);
    return status;
}

// The methods that an export takes: 0 to `highest`, each with the accurate flag if it has one.
struct Methods {
    std::int32_t highest;
    std::int32_t flag = 0;

    bool accept(std::int32_t method) const { return (method & ~flag) <= highest; }
};
inline constexpr Methods onlyStandard{0};
inline constexpr Methods standardOrAccurate{0, METHOD_ACCURATE_FLAG};

// One of an export's own tests.  `failed` is the failing condition as a comparison, so that a NaN
// passes.
struct ParameterTest {
    bool failed;
    std::int32_t position;
};
using ParameterTests = std::initializer_list<ParameterTest>;

// The kernel of this process's copy, looked up at the first call.  No lock: racing threads store
// the same address.
template <auto kernel>
auto boundKernel() {
    using Kernel = std::remove_cvref_t<decltype(std::declval<CopySet>().*kernel)>;
    static constinit std::atomic<Kernel> slot{nullptr};
    Kernel bound = slot.load(std::memory_order_relaxed);
    if (!bound) {
        bound = copySetOfProcess().*kernel;
        slot.store(bound, std::memory_order_relaxed);
    }
    return bound;
}

// While it lives, the stream can be looked at and no more: a fill of the caller's own must not take
// it, or what hangs on it, from under the kernel that asked for numbers.
class BusyStream {
  public:
    explicit BusyStream(StreamHandle stream) : stream_(stream) { stream->validity = busyStream; }
    ~BusyStream() { stream_->validity = liveStream; }
    BusyStream(const BusyStream&) = delete;
    BusyStream& operator=(const BusyStream&) = delete;

  private:
    StreamHandle stream_;
};

// RNG_OK also for n of 0, which the caller has to look at before it goes on.
template <class T>
std::int32_t checkEntry(const char* name, Methods methods, ParameterTests tests,
                        std::int32_t method, const StreamRecord* stream, std::int32_t n,
                        const T* r) {
    if (method < 0) return refuse(name, 1, RNG_BAD_ARGUMENT);
    if (const auto status = validateStream(stream); status < 0) return refuse(name, 2, status);
    if (n < 0) return refuse(name, 3, RNG_BAD_ARGUMENT);
    if (n == 0) return RNG_OK;
    if (!r) return refuse(name, 4, RNG_BAD_ARGUMENT);
    if (!methods.accept(method)) return refuse(name, 1, RNG_BAD_ARGUMENT);
    for (const ParameterTest& test : tests) {
        if (test.failed) return refuse(name, test.position, RNG_BAD_ARGUMENT);
    }
    return RNG_OK;
}

// A generator export: `kernel` is its member of CopySet, `parameters` what follows r.
template <auto kernel, class T, class... Parameters>
std::int32_t generate(const char* name, Methods methods, ParameterTests tests, std::int32_t method,
                      StreamHandle stream, std::int32_t n, T* r, Parameters... parameters) {
    const auto status = checkEntry(name, methods, tests, method, stream, n, r);
    if (status < 0 || n == 0) return status;
    const auto run = boundKernel<kernel>();
    if (stream->generatorId < firstRegisteredId) return run(method, stream, n, r, parameters...);
    const BusyStream busy(stream);
    return run(method, stream, n, r, parameters...);
}

}  // namespace korvan
