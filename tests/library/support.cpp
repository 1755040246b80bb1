#include "support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "frame/hardware.h"

namespace korvan::testing {
namespace {

bool isAbstract(GeneratorId id) {
    return id == GEN_ABSTRACT_INTEGER || id == GEN_ABSTRACT_DOUBLE || id == GEN_ABSTRACT_SINGLE;
}

}  // namespace

void expectBusy(StreamHandle stream) {
    const Stream other(GEN_MCG31);
    StreamHandle handle = stream, copy = nullptr;
    double real;
    float single;
    std::int32_t integer;
    std::uint32_t word;
    ::testing::internal::CaptureStdout();
    const std::int32_t refusals[] = {vslDeleteStream(&handle),
                                     vslCopyStream(&copy, stream),
                                     vslCopyStreamState(stream, other),
                                     vslCopyStreamState(other, stream),
                                     vslLeapfrogStream(stream, 0, 1),
                                     vslSkipAheadStream(stream, 1),
                                     viRngUniformBits(0, stream, 1, &word),
                                     vdRngUniform(0, stream, 1, &real, 0, 1),
                                     vsRngGaussian(1, stream, 1, &single, 0, 1),
                                     viRngPoisson(0, stream, 1, &integer, 50)};
    ::testing::internal::GetCapturedStdout();
    for (const std::int32_t status : refusals) EXPECT_EQ(status, RNG_BAD_STREAM);
    EXPECT_EQ(copy, nullptr);
    EXPECT_GT(vslGetStreamStateBrng(stream), 0);
    // Its image is that of a stream that isn't busy.
    const std::vector<char> image = imageOf(stream);
    const LoadedStream loaded(image);
    EXPECT_EQ(Stream(loaded).status, RNG_OK);
    EXPECT_EQ(stateBytes(loaded), stateBytes(stream));
    const int descriptor = memfd_create("image", MFD_CLOEXEC);
    const std::string name = "/proc/self/fd/" + std::to_string(descriptor);
    EXPECT_EQ(vslSaveStreamF(stream, name.c_str()), RNG_OK);
    EXPECT_EQ(stateBytes(LoadedStream(name.c_str())), stateBytes(stream));
    close(descriptor);
}

std::vector<std::vector<std::string>> readTable(const std::string& file) {
    std::ifstream in(KORVAN_TEST_DATA + file);
    EXPECT_TRUE(in) << file;
    std::vector<std::vector<std::string>> rows;
    bool named = false;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        if (!std::exchange(named, true)) continue;
        std::vector<std::string>& row = rows.emplace_back();
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, ',');) row.push_back(cell);
    }
    return rows;
}

std::vector<GeneratorId> presentGenerators() {
    std::vector<GeneratorId> present;
    for (std::int32_t row = 0; row < builtInGenerators; ++row) {
        const GeneratorId id = (row + 1) << 20;
        GeneratorProperties properties;
        EXPECT_EQ(vslGetBrngProperties(id, &properties), RNG_OK);
        if (!properties.initStream || isAbstract(id)) continue;
        if (id == GEN_ARS5 && !hasAesGenerator()) continue;
        if (id == GEN_NONDETERMINISTIC && !hasHardwareRandom()) continue;
        present.push_back(id);
    }
    return present;
}

}  // namespace korvan::testing
