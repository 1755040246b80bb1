// Streams from C++: an owner for the handle, copies that are twins, one sequence shared by
// threads, and an engine of the standard library as a generator of one's own.  Every result is
// checked; the program ends with status 1 at the first one that is wrong.
#include <korvan/random.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <new>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

void succeed(std::int32_t status, const char* what) {
    if (status != RNG_OK) {
        throw std::runtime_error(std::string(what) + " returned " + std::to_string(status));
    }
}

void check(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

// Owns a stream: made here, deleted at the end.  A copy goes on where the original stands.
class Stream {
  public:
    Stream(GeneratorId generator, std::uint32_t seed) {
        succeed(vslNewStream(&handle_, generator, seed), "vslNewStream");
    }
    Stream(const Stream& other) {
        succeed(vslCopyStream(&handle_, other.handle_), "vslCopyStream");
    }
    Stream(Stream&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Stream& operator=(Stream other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Stream() {
        if (handle_) vslDeleteStream(&handle_);
    }

    void leapfrog(std::int32_t k, std::int32_t streams) {
        succeed(vslLeapfrogStream(handle_, k, streams), "vslLeapfrogStream");
    }
    void skip(std::int64_t words) { succeed(vslSkipAheadStream(handle_, words), "skip"); }

    void fillUniform(double* r, std::size_t n, double a, double b) {
        succeed(vdRngUniform(METHOD_UNIFORM_STANDARD, handle_, count(n), r, a, b), "vdRngUniform");
    }
    std::vector<double> uniform(std::size_t n, double a = 0, double b = 1) {
        std::vector<double> r(n);
        fillUniform(r.data(), n, a, b);
        return r;
    }
    std::vector<std::uint32_t> words(std::size_t n) {
        std::vector<std::uint32_t> r(n);
        succeed(viRngUniformBits(METHOD_UNIFORMBITS_STD, handle_, count(n), r.data()),
                "viRngUniformBits");
        return r;
    }

  private:
    // One call takes at most 2^31 - 1 elements.
    static std::int32_t count(std::size_t n) {
        if (n > std::numeric_limits<std::int32_t>::max()) {
            throw std::length_error("too many elements for one call");
        }
        return static_cast<std::int32_t>(n);
    }

    StreamHandle handle_ = nullptr;
};

void copyAndLeapfrog() {
    Stream stream(GEN_MCG31, 2026);
    stream.uniform(5);
    Stream twin = stream;
    check(twin.uniform(100) == stream.uniform(100), "a copy is a twin");

    const std::vector<double> whole = Stream(GEN_MCG31, 7).uniform(90);
    for (std::int32_t k = 0; k < 3; ++k) {
        Stream third(GEN_MCG31, 7);
        third.leapfrog(k, 3);
        const std::vector<double> part = third.uniform(30);
        for (std::size_t i = 0; i < part.size(); ++i) {
            check(part[i] == whole[static_cast<std::size_t>(k) + 3 * i], "each third in turn");
        }
    }
    std::printf("copy, leapfrog               agree with the sequence\n");
}

// Each thread fills its block from a stream of its own that begins at the block: the array is the
// same for any number of threads.
std::vector<double> filledBy(unsigned threads, std::size_t n) {
    std::vector<double> r(n);
    const auto fillBlock = [&](std::size_t begin, std::size_t end) {
        Stream stream(GEN_PHILOX4X32X10, 99);
        stream.skip(static_cast<std::int64_t>(begin));
        stream.fillUniform(r.data() + begin, end - begin, -1.0, 1.0);
    };
    std::vector<std::thread> workers;
    for (unsigned k = 0; k < threads; ++k) {
        workers.emplace_back(fillBlock, n * k / threads, n * (k + 1) / threads);
    }
    for (std::thread& worker : workers) worker.join();
    return r;
}

// Makes a generator of a standard engine with 32-bit words.  The engine lives in the stream's
// state area, which is copied as bytes and given back without a destructor: hence the test.
template <class Engine>
GeneratorId registerEngine() {
    static_assert(std::is_trivially_copyable_v<Engine>);
    static_assert(Engine::min() == 0 && Engine::max() == 0xFFFFFFFF);
    static const auto engineOf = [](StreamHandle stream) {
        auto* state = reinterpret_cast<unsigned char*>(stream) + STREAM_HEADER_BYTES;
        return reinterpret_cast<Engine*>(state);
    };
    GeneratorProperties row{};
    row.stateSize = STREAM_HEADER_BYTES + sizeof(Engine);
    row.seedWords = sizeof(Engine) / 4;
    row.includesZero = 1;
    row.wordBytes = 4;
    row.resolutionBits = 32;
    row.initStream = [](std::int32_t op, StreamHandle stream, std::int32_t n,
                        const std::uint32_t* params) -> std::int32_t {
        switch (op) {
            case OP_SEED: {
                const std::uint32_t seed = n > 0 ? params[0] : std::uint32_t{Engine::default_seed};
                new (engineOf(stream)) Engine(seed);
                return RNG_OK;
            }
            case OP_LEAPFROG: return RNG_NO_LEAPFROG;
            case OP_SKIPAHEAD:
                engineOf(stream)->discard(params[0] | std::uint64_t{params[1]} << 32);
                return RNG_OK;
            case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
            default: return RNG_UNKNOWN_OPERATION;
        }
    };
    row.fillBits = [](StreamHandle stream, std::int32_t n, std::uint32_t* r) -> std::int32_t {
        std::generate_n(r, n, [&] { return static_cast<std::uint32_t>((*engineOf(stream))()); });
        return RNG_OK;
    };
    row.fillDouble = [](StreamHandle stream, std::int32_t n, double* r, double a,
                        double b) -> std::int32_t {
        std::generate_n(r, n, [&] {
            return a + (b - a) * (static_cast<double>((*engineOf(stream))()) * 0x1p-32);
        });
        return RNG_OK;
    };
    row.fillSingle = [](StreamHandle stream, std::int32_t n, float* r, float a,
                        float b) -> std::int32_t {
        std::generate_n(r, n, [&] {
            return a + (b - a) * (static_cast<float>((*engineOf(stream))() >> 8) * 0x1p-24F);
        });
        return RNG_OK;
    };
    const GeneratorId id = vslRegisterBrng(&row);
    check(id > 0, "vslRegisterBrng gives an id");
    return id;
}

void useOwnGenerator() {
    const GeneratorId own = registerEngine<std::mt19937>();
    Stream stream(own, 5489);
    stream.skip(9999);
    check(stream.words(1)[0] == 4123659995, "word 10,000 as the C++ standard gives it");
    const std::vector<double> x = Stream(own, 1).uniform(100000);
    const double mean = std::accumulate(x.begin(), x.end(), 0.0) / static_cast<double>(x.size());
    check(std::abs(mean - 0.5) < 0.005, "the mean is near 1/2");
    std::printf("std::mt19937                 registered as 0x%X\n", static_cast<unsigned>(own));
}

}  // namespace

int main() try {
    copyAndLeapfrog();
    const std::vector<double> alone = filledBy(1, 1000003);
    for (const unsigned threads : {2U, 3U, 8U}) {
        check(filledBy(threads, alone.size()) == alone, "any number of threads, one result");
    }
    std::printf("1, 2, 3 and 8 threads        fill the same array\n");
    useOwnGenerator();
} catch (const std::exception& error) {
    std::fprintf(stderr, "streams_in_cpp: failed: %s\n", error.what());
    return 1;
}
