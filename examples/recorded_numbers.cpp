// Distributions on numbers from a file: an abstract stream reads a recording, one number a line,
// as it is needed.  The recording is made here from an ordinary stream, so that what the abstract
// stream gives can be checked against the same variates drawn directly.
//
// usage: recorded_numbers [FILE]     (writes and reads FILE, "recorded_numbers.txt" by default)
#include <korvan/random.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

constexpr std::int32_t recorded = 10000, dice = 6000, reals = recorded - dice;
constexpr std::uint32_t seed = 2026;

void succeed(std::int32_t status, const char* what) {
    if (status != RNG_OK) {
        throw std::runtime_error(std::string(what) + " returned " + std::to_string(status));
    }
}

struct StreamEnd {
    void operator()(StreamHandle stream) const { vslDeleteStream(&stream); }
};
using Stream = std::unique_ptr<StreamRecord, StreamEnd>;

struct FileEnd {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileEnd>;

File open(const char* path, const char* mode) {
    File file(std::fopen(path, mode));
    if (!file) throw std::runtime_error(std::string("can't open ") + path);
    return file;
}

Stream directStream() {
    StreamHandle stream;
    succeed(vslNewStream(&stream, GEN_PHILOX4X32X10, seed), "vslNewStream");
    return Stream(stream);
}

void record(const char* path) {
    const Stream stream = directStream();
    std::vector<double> numbers(recorded);
    succeed(vdRngUniform(METHOD_UNIFORM_STANDARD, stream.get(), recorded, numbers.data(), 0, 1),
            "vdRngUniform");
    const File file = open(path, "w");
    for (const double number : numbers) std::fprintf(file.get(), "%.17g\n", number);
}

// A recording and the buffer that it is read into.  The callback gets the buffer's address only:
// the buffer comes first, so that the rest is found after it.
struct Recording {
    double buffer[256];
    std::FILE* file;

    explicit Recording(const char* path) : buffer{}, file(open(path, "r").release()) {}
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    ~Recording() { std::fclose(file); }

    Stream stream() {
        StreamHandle stream;
        succeed(vslNewAbstractStreamDouble(&stream, 256, buffer, 0, 1, readMore),
                "vslNewAbstractStreamDouble");
        return Stream(stream);
    }

    // As many numbers as there is room for; fewer, or none, at the recording's end.
    static std::int32_t readMore(StreamHandle, std::int32_t* size, double* buffer, std::int32_t*,
                                 std::int32_t* nmax, std::int32_t* index) {
        std::FILE* file = reinterpret_cast<Recording*>(buffer)->file;
        std::int32_t count = 0;
        while (count < *nmax && std::fscanf(file, "%lf", &buffer[(*index + count) % *size]) == 1) {
            ++count;
        }
        return count;
    }
};

struct Variates {
    std::vector<std::int32_t> dice;
    std::vector<double> reals;
    bool operator==(const Variates&) const = default;
};

static_assert(std::is_standard_layout_v<Recording>);

// The use of a stream, whichever numbers it gives.
Variates draw(const Stream& stream) {
    Variates v{std::vector<std::int32_t>(dice), std::vector<double>(reals)};
    succeed(viRngUniform(METHOD_UNIFORM_STANDARD, stream.get(), dice, v.dice.data(), 1, 7),
            "viRngUniform");
    succeed(vdRngUniform(METHOD_UNIFORM_STANDARD, stream.get(), reals, v.reals.data(), -1, 1),
            "vdRngUniform");
    return v;
}

void run(const char* path) {
    record(path);
    Recording recording(path);
    const Stream stream = recording.stream();
    const Variates variates = draw(stream);

    int faces[7] = {};
    for (const std::int32_t face : variates.dice) ++faces[face];
    for (int face = 1; face <= 6; ++face) std::printf("%d: %d\n", face, faces[face]);
    if (!(variates == draw(directStream()))) {
        throw std::runtime_error("the variates differ from those drawn directly");
    }
    double x;
    if (vdRngUniform(METHOD_UNIFORM_STANDARD, stream.get(), 1, &x, 0, 1) !=
        RNG_ABSTRACT_NO_NUMBERS) {
        throw std::runtime_error("numbers after the recording's end");
    }
    std::printf("%d variates, equal to those drawn directly\n", recorded);
}

}  // namespace

int main(int argc, char** argv) try {
    run(argc > 1 ? argv[1] : "recorded_numbers.txt");
} catch (const std::exception& error) {
    std::fprintf(stderr, "recorded_numbers: %s\n", error.what());
    return 1;
}
