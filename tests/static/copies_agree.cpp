// Do all copies that this processor can run compute the same?  Compares every fill of every
// generator and every kernel with those of the base copy: words, integers and states equal, reals
// within a rounding; and every vector math kernel, within its error.
//
// usage: copies_agree [COPY]       fails unless COPY is among the copies that ran
//
// Linked statically and without a test framework, so that it can also be the only program of an
// emulated machine: as process 1 it finds its own console, and switches the machine off.
#include <fcntl.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "frame/branch.h"
#include "frame/copy_set.h"
#include "frame/parallel_loops.h"
#include "kernel_cases.h"
#include "streams/generator_table.h"
#include "vectormath/vector_kernels.h"

using namespace korvan;

#define LONG_KERNEL_CASES

namespace {

int failures = 0;

// Line by line to the descriptor: a power-off loses what waits in a buffer.
[[gnu::format(printf, 1, 2)]] void say(const char* format, ...) {
    char line[256];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line - 1, format, arguments);
    va_end(arguments);
    const auto end = std::min(static_cast<std::size_t>(length), sizeof line - 2);
    line[end] = '\n';
    if (write(STDOUT_FILENO, line, end + 1) < 0) failures++;
}

// What a comparison is of, for the report of a failure.
struct Place {
    const char* copy;
    const char* what;
    GeneratorId generator;
    std::int32_t n;
};

void fail(const Place& place, const char* how) {
    if (++failures <= 20) {
        say("DIFFERS: copy %s, %s, generator 0x%X, n %d: %s", place.copy, place.what,
            static_cast<unsigned>(place.generator), place.n, how);
    }
}

// By how many epsilons of its type a number may differ: near 0, and beside that in proportion.
// Integers are equal; some are compared in short calls only.
struct Tolerance {
    double absolute, relative;
    std::int32_t longest = std::numeric_limits<std::int32_t>::max();
    constexpr Tolerance(int epsilons) : absolute(epsilons), relative(0) {}
    constexpr Tolerance(double absoluteEpsilons, double relativeEpsilons)
        : absolute(absoluteEpsilons), relative(relativeEpsilons) {}

    Tolerance times(int factor) const {
        Tolerance wider = *this;
        wider.absolute *= factor;
        wider.relative *= factor;
        return wider;
    }
};

template <class T>
bool areClose(T x, T y, Tolerance tolerance) {
    if constexpr (std::is_integral_v<T>) {
        return x == y;
    } else {
        const double epsilon = std::numeric_limits<T>::epsilon();
        const double bound = tolerance.absolute + tolerance.relative * std::abs(double{y});
        return std::abs(double{x} - double{y}) <= bound * epsilon;
    }
}

// Transforms of half a double's digits, of nearly all of a single's; where a law is steep, they
// meet words that were rounded once or twice.
constexpr Tolerance doubleLaw{0x1p28, 0x1p28}, singleLaw{0x1p11, 0x1p11};

constexpr Tolerance withLongest(std::int32_t n) {
    Tolerance tolerance = 0;
    tolerance.longest = n;
    return tolerance;
}
// Poisson variates take up to 2024 numbers at a time, from the copy avx on up to 2048.
constexpr Tolerance oneBlock = withLongest(1012);
// Rows of hundreds of counts.
constexpr Tolerance fewRows = withLongest(33);

// Sizes around vectors, groups of them and the generators' blocks, and past the parts of a fill.
constexpr std::int32_t sizes[] = {1,  2,  3,  5,  7,   8,   9,   15,  16,  17,  31,  33,   63,
                                  64, 65, 70, 97, 128, 129, 249, 251, 255, 623, 625, 1025, 2500};
constexpr std::size_t guardElements = 4;

// A twin of `stream`, for one fill.
class Twin {
  public:
    explicit Twin(StreamHandle stream) { vslCopyStream(&handle_, stream); }
    Twin(const Twin&) = delete;
    Twin& operator=(const Twin&) = delete;
    ~Twin() { vslDeleteStream(&handle_); }
    operator StreamHandle() const { return handle_; }

  private:
    StreamHandle handle_ = nullptr;
};

bool haveEqualStates(StreamHandle x, StreamHandle y, const GeneratorProperties& row) {
    const auto bytes = static_cast<std::size_t>(row.stateSize - STREAM_HEADER_BYTES);
    return std::memcmp(x + 1, y + 1, bytes) == 0;
}

// Runs base(stream, n, r) and wide(stream, n, r) from `start` on, to arrays that are off any
// vector's alignment and end in guards.  `units` is the number of T an element has.
template <class T, class Fill>
void compare(const Place& place, StreamHandle start, const GeneratorProperties& row, Fill base,
             Fill wide, std::size_t units, Tolerance tolerance) {
    // A sum of four fractions can reach 4, and each of its seven roundings be another one.
    if (place.generator == GEN_WH) tolerance = tolerance.times(8);
    const std::size_t count = static_cast<std::size_t>(place.n) * units;
    T guard;
    std::memset(&guard, 0xCA, sizeof guard);
    std::vector<T> expected(1 + count + guardElements, guard), given = expected;
    const Twin ofBase(start), ofWide(start);
    const std::int32_t status = base(ofBase, place.n, expected.data() + 1);
    if (wide(ofWide, place.n, given.data() + 1) != status) return fail(place, "status");
    const auto differs = [&](std::size_t i) {
        const bool inside = status >= 0 && i >= 1 && i <= count;
        return inside ? !areClose(given[i], expected[i], tolerance)
                      : std::memcmp(&given[i], &guard, sizeof guard) != 0;
    };
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (differs(i)) return fail(place, i > count ? "wrote behind the array" : "elements");
    }
    if (!haveEqualStates(ofBase, ofWide, row)) fail(place, "the states left behind");
}

void compareFills(const CopySet& copy, const CopySet& base, StreamHandle start, std::int32_t n) {
    const GeneratorId id = vslGetStreamStateBrng(start);
    const auto rowOf = [id](const CopySet& set) -> const GeneratorProperties& {
        return set.generators[(id >> 20) - 1].properties;
    };
    const GeneratorProperties &plain = rowOf(base), &wide = rowOf(copy);
    const auto bits = [](const GeneratorProperties& row) {
        return [fill = row.fillBits](StreamHandle s, std::int32_t count, std::uint32_t* r) {
            return fill(s, count, r);
        };
    };
    const auto doubles = [](const GeneratorProperties& row) {
        return [fill = row.fillDouble](StreamHandle s, std::int32_t count, double* r) {
            return fill(s, count, r, -3.0, 5.0);
        };
    };
    const auto singles = [](const GeneratorProperties& row) {
        return [fill = row.fillSingle](StreamHandle s, std::int32_t count, float* r) {
            return fill(s, count, r, -3.0F, 5.0F);
        };
    };
    const auto units = static_cast<std::size_t>(plain.wordBytes) / sizeof(std::uint32_t);
    compare<std::uint32_t>({copy.name, "fillBits", id, n}, start, plain, bits(plain), bits(wide),
                           units, 0);
    compare<double>({copy.name, "fillDouble", id, n}, start, plain, doubles(plain), doubles(wide),
                    1, 8);
    compare<float>({copy.name, "fillSingle", id, n}, start, plain, singles(plain), singles(wide), 1,
                   8);
}

// A kernel of either copy draws from the generator's fills of this process, so that what differs
// is the kernel's.
template <class T, class... Taken, class... Given>
void compareKernel(const Place& place, StreamHandle start, const GeneratorProperties& row,
                   std::int32_t (*base)(std::int32_t, StreamHandle, std::int32_t, T*, Taken...),
                   std::int32_t (*wide)(std::int32_t, StreamHandle, std::int32_t, T*, Taken...),
                   std::int32_t method, Tolerance tolerance, Given... parameters) {
    const auto bound = [=](auto* kernel) {
        return [=](StreamHandle s, std::int32_t n, T* r) {
            return kernel(method, s, n, r, parameters...);
        };
    };
    if (place.n > tolerance.longest) return;
    const bool rawWords = std::strcmp(place.what, "viRngUniformBits") == 0;
    const auto units = rawWords ? static_cast<std::size_t>(row.wordBytes) / sizeof(T)
                                : testing::columnsOf(parameters...);
    compare<T>(place, start, row, bound(base), bound(wide), units, tolerance);
}

void compareKernels(const CopySet& copy, const CopySet& base, StreamHandle start, std::int32_t n) {
    const GeneratorId id = vslGetStreamStateBrng(start);
    const GeneratorProperties& row = base.generators[(id >> 20) - 1].properties;
#define KERNEL_CASE(kernel, method, tolerance, ...)                                          \
    compareKernel({copy.name, #kernel, id, n}, start, row, base.kernel, copy.kernel, method, \
                  tolerance __VA_OPT__(, ) __VA_ARGS__);
#include "kernel_cases.def"
#undef KERNEL_CASE
}

bool hasCase(const char* name) {
    const char* const cases[] = {
#define KERNEL_CASE(kernel, ...) #kernel,
#include "kernel_cases.def"
#undef KERNEL_CASE
    };
    return std::any_of(std::begin(cases), std::end(cases),
                       [&](const char* known) { return std::strcmp(known, name) == 0; });
}

void checkThatKernelsHaveCases() {
#define KORVAN_KERNEL(kernel) \
    if (!hasCase(#kernel)) fail({"any", #kernel, 0, 0}, "no line in kernel_cases.def");
#include "frame/kernels.def"
#undef KORVAN_KERNEL
}

// Left out: the hardware's words, and streams over a caller's own numbers.
bool hasSequence(GeneratorId id) {
    return id != GEN_NONDETERMINISTIC && id != GEN_ABSTRACT_INTEGER && id != GEN_ABSTRACT_DOUBLE &&
           id != GEN_ABSTRACT_SINGLE;
}

// One call of a vector math kernel on x; a function with two results gives its second.
template <class Real>
void callRow(OneToOne<Real>* row, const std::vector<Real>& x, std::vector<Real>* y) {
    row(static_cast<std::int32_t>(x.size()), x.data(), y->data());
}
template <class Real>
void callRow(SineAndCosine<Real>* row, const std::vector<Real>& x, std::vector<Real>* y) {
    row(static_cast<std::int32_t>(x.size()), x.data(), y->data(), y->data());
}
template <class Real>
void callRow(FixedPower<Real>* row, const std::vector<Real>& x, std::vector<Real>* y) {
    row(static_cast<std::int32_t>(x.size()), x.data(), Real{1.25}, y->data());
}
template <class Real>
void callRow(Power<Real>* row, const std::vector<Real>& x, std::vector<Real>* y) {
    row(static_cast<std::int32_t>(x.size()), x.data(), x.data(), y->data());
}

template <class Row, class Real>
void compareRow(const Place& place, Row* row, Row* base, double relative, std::vector<Real> x) {
    std::vector<Real> given(x.size()), expected(x.size());
    callRow(row, x, &given);
    callRow(base, x, &expected);
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double difference = std::abs(double{given[i]} - double{expected[i]});
        if (!(difference <= relative * std::abs(expected[i]))) return fail(place, "elements");
    }
}

template <class Real, class... Rest>
Real realOf(void (*)(std::int32_t, const Real*, Rest...));

// Rows against the base copy's most accurate one: within their errors, both ways.
template <class Kernel>
void compareVectorKernel(const char* copy, const char* name, const Kernel& kernel,
                         const Kernel& base) {
    using Real = decltype(realOf(kernel.ha));
    const double epsilon = std::numeric_limits<Real>::epsilon();
    for (const std::int32_t n : sizes) {
        const Place place{copy, name, 0, n};
        std::vector<Real> x(static_cast<std::size_t>(n));
        for (std::int32_t i = 0; i < n; ++i) {
            x[static_cast<std::size_t>(i)] = static_cast<Real>(0.01 + 0.97 * (i * 37 % 101) / 101);
        }
        compareRow(place, kernel.la, base.ha, 5 * epsilon, x);
        compareRow(place, kernel.ha, base.ha, 2 * epsilon, x);
        compareRow(place, kernel.ep, base.ha, sizeof(Real) == 8 ? 0x1.1p-26 : 0x1.1p-11, x);
    }
}

void compareVectorMath(const CopySet& copy, const CopySet& base) {
#define KORVAN_VECTOR_KERNEL(kernel, ...)                                \
    compareVectorKernel(copy.name, #kernel, *copy.vectorKernels->kernel, \
                        *base.vectorKernels->kernel);
#include "vectormath/vector_kernels.def"
#undef KORVAN_VECTOR_KERNEL
}

void compareCopy(const CopySet& copy, const CopySet& base) {
    int generators = 0;
    for (std::int32_t row = 0; row < builtInGenerators; ++row) {
        const GeneratorId id = (row + 1) << 20;
        StreamHandle start = nullptr;
        if (!base.generators[row].properties.initStream || !hasSequence(id)) continue;
        if (vslNewStream(&start, id, 3) < 0) {
            fail({copy.name, "vslNewStream", id, 0}, "no stream");
            continue;
        }
        ++generators;
        for (const std::int32_t before : {0, 3}) {  // from a fresh state, and within a block
            std::uint32_t drawn[64];
            base.generators[row].properties.fillBits(start, before, drawn);
            for (const std::int32_t n : sizes) {
                compareFills(copy, base, start, n);
                compareKernels(copy, base, start, n);
            }
        }
        vslDeleteStream(&start);
    }
    compareVectorMath(copy, base);
    say("copy %-6s  %d generators", copy.name, generators);
}

// The loop service on one thread, which asks no OpenMP runtime.
void checkLoops() {
    std::int32_t order[5] = {}, done = 0;
    struct Record {
        std::int32_t *order, *done;
    } record{order, &done};
    const ParallelWork note = [](std::int32_t index, std::int32_t, std::int32_t, void* context) {
        const auto& r = *static_cast<Record*>(context);
        r.order[index] = ++*r.done;
    };
    for (const auto loop : {qvx_vsl_serv_threader_for, qvx_vsl_serv_threader_for_ordered}) {
        done = 0;
        loop(5, 0, &record, note);
        for (std::int32_t i = 0; i < 5; ++i) {
            if (order[i] != i + 1) fail({"any", "parallel loop", 0, i}, "order");
        }
    }
}

// Process 1 of a machine of its own has no console yet, and must not end.
void openConsole() {
    mkdir("/dev", 0755);
    mknod("/dev/console", S_IFCHR | 0600, makedev(5, 1));
    const int console = open("/dev/console", O_RDWR);
    if (console >= 0) {
        for (int descriptor = 0; descriptor <= 2; ++descriptor) dup2(console, descriptor);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const bool ownsMachine = getpid() == 1;
    if (ownsMachine) openConsole();
    setenv("QVX_NUM_THREADS", "1", 1);  // a static program can't open a runtime
    const CopySet& base = copySetOfBranch(0);
    const CopySet* last = &base;
    say("branch %d, copy %s", vslGetBranchNumber(), vslGetCopyName());
    checkThatKernelsHaveCases();
    checkLoops();
    // A kernel hands its own unknown arguments on, before the one that is meant.
    const char* wanted = argc < 2 ? base.name : argv[argc - 1];
    bool found = std::strcmp(base.name, wanted) == 0;
    for (std::int32_t branch = 1; branch <= 11; ++branch) {
        const CopySet& copy = copySetOfBranch(branch);
        if (&copy == last) continue;
        last = &copy;
        compareCopy(copy, base);
        if (std::strcmp(copy.name, wanted) == 0) found = true;
    }
    if (!found) {
        ++failures;
        say("this processor can't run the copy %s", wanted);
    }
    say("copies_agree: %s, %d differences", failures == 0 ? "passed" : "FAILED", failures);
    if (ownsMachine) {
        sleep(1);  // the serial port empties
        reboot(RB_POWER_OFF);
        for (;;) pause();
    }
    return failures == 0 ? 0 : 1;
}
