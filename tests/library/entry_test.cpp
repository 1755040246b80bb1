// The entries: what is refused, in which order, with which report, and that a refused call
// changes nothing.
#include <cmath>
#include <cstring>
#include <functional>

#include "streams/stream_record.h"
#include "support.h"
#include "watched_heap.h"

namespace korvan::testing {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

std::string reportOf(int position, const std::string& name) {
    return "\nQVX ERROR: Parameter " + std::to_string(position) + " was incorrect on entry to " +
           name.substr(0, 20) + ".";
}

struct Outcome {
    std::int32_t status;
    std::string printed;
};
Outcome outcomeOf(const std::function<std::int32_t()>& call) {
    ::testing::internal::CaptureStdout();
    const std::int32_t status = call();
    return {status, ::testing::internal::GetCapturedStdout()};
}

// A generator export with its own parameters bound: valid ones, or the refused variants.
struct Entry {
    const char* name;
    std::int32_t highestMethod;
    bool accurate;
    std::function<std::int32_t(std::int32_t, StreamHandle, std::int32_t, void*)> call;
};
struct RefusedParameters {
    Entry entry;
    std::int32_t position;
};

template <class T, class Function, class... Parameters>
Entry bind(const char* name, std::int32_t highest, bool accurate, Function* function,
           Parameters... parameters) {
    return {name, highest, accurate,
            [=](std::int32_t method, StreamHandle stream, std::int32_t n, void* r) {
                return function(method, stream, n, static_cast<T*>(r), parameters...);
            }};
}

constexpr double twoHalves[] = {0.5, 0.5};
constexpr const double *halves = twoHalves, *noArray = nullptr;

const std::vector<Entry> entries = {
    bind<double>("vdRngUniform", 0, true, vdRngUniform, 0.0, 1.0),
    bind<float>("vsRngUniform", 0, true, vsRngUniform, 0.0f, 1.0f),
    bind<double>("vdRngGaussian", 2, false, vdRngGaussian, 0.0, 1.0),
    bind<float>("vsRngGaussian", 2, false, vsRngGaussian, 0.0f, 1.0f),
    bind<double>("vdRngExponential", 0, true, vdRngExponential, 0.0, 1.0),
    bind<float>("vsRngExponential", 0, true, vsRngExponential, 0.0f, 1.0f),
    bind<double>("vdRngLaplace", 0, false, vdRngLaplace, 0.0, 1.0),
    bind<float>("vsRngLaplace", 0, false, vsRngLaplace, 0.0f, 1.0f),
    bind<double>("vdRngWeibull", 0, true, vdRngWeibull, 2.0, 0.0, 1.0),
    bind<float>("vsRngWeibull", 0, true, vsRngWeibull, 2.0f, 0.0f, 1.0f),
    bind<double>("vdRngRayleigh", 0, true, vdRngRayleigh, 0.0, 1.0),
    bind<float>("vsRngRayleigh", 0, true, vsRngRayleigh, 0.0f, 1.0f),
    bind<double>("vdRngGumbel", 0, false, vdRngGumbel, 0.0, 1.0),
    bind<float>("vsRngGumbel", 0, false, vsRngGumbel, 0.0f, 1.0f),
    bind<double>("vdRngCauchy", 0, false, vdRngCauchy, 0.0, 1.0),
    bind<float>("vsRngCauchy", 0, false, vsRngCauchy, 0.0f, 1.0f),
    bind<double>("vdRngLognormal", 1, true, vdRngLognormal, 0.0, 1.0, 0.0, 1.0),
    bind<float>("vsRngLognormal", 1, true, vsRngLognormal, 0.0f, 1.0f, 0.0f, 1.0f),
    bind<std::int32_t>("viRngUniform", 0, false, viRngUniform, 0, 10),
    bind<std::uint32_t>("viRngUniformBits", 0, false, viRngUniformBits),
    bind<std::uint32_t>("viRngUniformBits32", 0, false, viRngUniformBits32),
    bind<std::uint64_t>("viRngUniformBits64", 0, false, viRngUniformBits64),
    bind<std::int32_t>("viRngBernoulli", 0, false, viRngBernoulli, 0.5),
    bind<std::int32_t>("viRngGeometric", 0, false, viRngGeometric, 0.5),
    bind<std::int32_t>("viRngPoisson", 1, false, viRngPoisson, 5.0),
    bind<std::int32_t>("viRngPoissonV", 0, false, viRngPoissonV, halves),
    bind<std::int32_t>("viRngMultinomial", 0, false, viRngMultinomial, 3, 2, halves),
};
const std::vector<RefusedParameters> refusedParameters = {
    {bind<double>("vdRngUniform", 0, true, vdRngUniform, 1.0, 1.0), 5},
    {bind<double>("vdRngUniform", 0, true, vdRngUniform, 1.0, -1.0), 5},
    {bind<float>("vsRngUniform", 0, true, vsRngUniform, 2.0f, 2.0f), 5},
    {bind<double>("vdRngGaussian", 2, false, vdRngGaussian, 0.0, 0.0), 6},
    {bind<double>("vdRngGaussian", 2, false, vdRngGaussian, 0.0, -1.0), 6},
    {bind<float>("vsRngGaussian", 2, false, vsRngGaussian, 0.0f, 0.0f), 6},
    {bind<float>("vsRngGaussian", 2, false, vsRngGaussian, 0.0f, -1.0f), 6},
    {bind<double>("vdRngExponential", 0, true, vdRngExponential, 0.0, 0.0), 6},
    {bind<float>("vsRngExponential", 0, true, vsRngExponential, 0.0f, 0.0f), 6},
    {bind<double>("vdRngLaplace", 0, false, vdRngLaplace, 0.0, 0.0), 6},
    {bind<float>("vsRngLaplace", 0, false, vsRngLaplace, 0.0f, 0.0f), 6},
    {bind<double>("vdRngWeibull", 0, true, vdRngWeibull, 0.0, 0.0, 0.0), 5},
    {bind<double>("vdRngWeibull", 0, true, vdRngWeibull, 2.0, 0.0, -1.0), 7},
    {bind<float>("vsRngWeibull", 0, true, vsRngWeibull, 0.0f, 0.0f, 0.0f), 5},
    {bind<float>("vsRngWeibull", 0, true, vsRngWeibull, 2.0f, 0.0f, -1.0f), 7},
    {bind<double>("vdRngRayleigh", 0, true, vdRngRayleigh, 0.0, 0.0), 6},
    {bind<float>("vsRngRayleigh", 0, true, vsRngRayleigh, 0.0f, 0.0f), 6},
    {bind<double>("vdRngGumbel", 0, false, vdRngGumbel, 0.0, -1.0), 6},
    {bind<float>("vsRngGumbel", 0, false, vsRngGumbel, 0.0f, -1.0f), 6},
    {bind<double>("vdRngCauchy", 0, false, vdRngCauchy, 0.0, 0.0), 6},
    {bind<float>("vsRngCauchy", 0, false, vsRngCauchy, 0.0f, 0.0f), 6},
    {bind<double>("vdRngLognormal", 1, true, vdRngLognormal, 0.0, 0.0, 0.0, 0.0), 6},
    {bind<double>("vdRngLognormal", 1, true, vdRngLognormal, 0.0, 1.0, 0.0, -1.0), 8},
    {bind<float>("vsRngLognormal", 1, true, vsRngLognormal, 0.0f, 0.0f, 0.0f, 0.0f), 6},
    {bind<float>("vsRngLognormal", 1, true, vsRngLognormal, 0.0f, 1.0f, 0.0f, -1.0f), 8},
    {bind<std::int32_t>("viRngUniform", 0, false, viRngUniform, 3, 3), 5},
    {bind<std::int32_t>("viRngUniform", 0, false, viRngUniform, 3, -3), 5},
    {bind<std::int32_t>("viRngBernoulli", 0, false, viRngBernoulli, -5e-324), 5},
    {bind<std::int32_t>("viRngBernoulli", 0, false, viRngBernoulli, 1.001), 5},
    {bind<std::int32_t>("viRngGeometric", 0, false, viRngGeometric, 0.0), 5},
    {bind<std::int32_t>("viRngGeometric", 0, false, viRngGeometric, 1.0), 5},
    {bind<std::int32_t>("viRngPoisson", 1, false, viRngPoisson, 0.0), 5},
    {bind<std::int32_t>("viRngPoisson", 1, false, viRngPoisson, -1.0), 5},
    {bind<std::int32_t>("viRngPoissonV", 0, false, viRngPoissonV, noArray), 5},
    {bind<std::int32_t>("viRngMultinomial", 0, false, viRngMultinomial, -1, 0, noArray), 5},
    {bind<std::int32_t>("viRngMultinomial", 0, false, viRngMultinomial, 3, 0, noArray), 6},
    {bind<std::int32_t>("viRngMultinomial", 0, false, viRngMultinomial, 3, 2, noArray), 7},
    {bind<std::int32_t>("viRngMultinomial", 0, false, viRngMultinomial, 0, 2, noArray), 7},
};

// Calls that must leave the array and the stream as they were.
void expectRefused(const Entry& entry, std::int32_t method, StreamHandle stream, std::int32_t n,
                   bool withArray, std::int32_t status, std::int32_t position) {
    std::vector<unsigned char> array(256, 0xCA);
    Stream live(GEN_PHILOX4X32X10, 9);
    drawWords(live, 3);
    const auto before = stateBytes(live);
    const StreamHandle used = stream ? stream : live.handle;
    const Outcome outcome =
        outcomeOf([&] { return entry.call(method, used, n, withArray ? array.data() : nullptr); });
    EXPECT_EQ(outcome.status, status) << entry.name;
    EXPECT_EQ(outcome.printed, position ? reportOf(position, entry.name) : "") << entry.name;
    EXPECT_EQ(stateBytes(live), before) << entry.name;
    EXPECT_EQ(array, std::vector<unsigned char>(256, 0xCA)) << entry.name;
}

TEST(Entry, ChecksComeInTheirOrder) {
    alignas(128) StreamRecord dead = {GEN_PHILOX4X32X10, 0, 0, 0, 0};
    for (const Entry& entry : entries) {
        // Each call holds every later fault as well.
        expectRefused(entry, -1, &dead, -1, false, RNG_BAD_ARGUMENT, 1);
        expectRefused(entry, 99, &dead, -1, false, RNG_BAD_STREAM, 2);
        expectRefused(entry, 99, nullptr, -1, false, RNG_BAD_ARGUMENT, 3);
        expectRefused(entry, 99, nullptr, 0, false, RNG_OK, 0);
        expectRefused(entry, 99, nullptr, 1, false, RNG_BAD_ARGUMENT, 4);
        expectRefused(entry, entry.highestMethod + 1, nullptr, 1, true, RNG_BAD_ARGUMENT, 1);
        const Outcome noStream = outcomeOf([&] { return entry.call(0, nullptr, 1, nullptr); });
        EXPECT_EQ(noStream.status, RNG_NULL_POINTER);
        EXPECT_EQ(noStream.printed, reportOf(2, entry.name));
        const std::int32_t flagged = METHOD_ACCURATE_FLAG | (entry.highestMethod + 1);
        expectRefused(entry, flagged, nullptr, 1, true, RNG_BAD_ARGUMENT, 1);
        if (!entry.accurate) {
            expectRefused(entry, METHOD_ACCURATE_FLAG, nullptr, 1, true, RNG_BAD_ARGUMENT, 1);
        }
        double r[4];
        Stream stream(GEN_PHILOX4X32X10);
        EXPECT_EQ(entry.call(0, stream, 2, r), RNG_OK) << entry.name;
        if (entry.accurate) {
            EXPECT_EQ(entry.call(METHOD_ACCURATE_FLAG, stream, 2, r), RNG_OK);
        }
    }
    for (const auto& [entry, position] : refusedParameters) {
        expectRefused(entry, 0, nullptr, 3, true, RNG_BAD_ARGUMENT, position);
        expectRefused(entry, 0, nullptr, 0, true, RNG_OK, 0);
        expectRefused(entry, 99, nullptr, 3, true, RNG_BAD_ARGUMENT, 1);
    }
}

TEST(Entry, NotANumberPasses) {
    double r[3] = {7, 7, 7};
    EXPECT_EQ(vdRngUniform(0, Stream(GEN_MCG31), 3, r, nan, 1.0), RNG_OK);
    EXPECT_TRUE(std::isnan(r[0]) && std::isnan(r[2]));
    EXPECT_EQ(vdRngUniform(METHOD_ACCURATE_FLAG, Stream(GEN_PHILOX4X32X10), 3, r, 0.0, nan), 0);
    EXPECT_TRUE(std::isnan(r[0]));
    float single = 7;
    EXPECT_EQ(vsRngUniform(0, Stream(GEN_MCG31), 1, &single, 0.0F, static_cast<float>(nan)), 0);
    EXPECT_TRUE(std::isnan(single));
}

// The one status of a copy that isn't reported.
TEST(Entry, CopyWithoutMemoryIsSilent) {
    Stream stream(GEN_MCG31);
    StreamHandle twin = stream;
    WatchedHeap heap;
    heap.failAfter(0);
    const Outcome outcome = outcomeOf([&] { return vslCopyStream(&twin, stream); });
    heap.failNever();
    EXPECT_EQ(outcome.status, RNG_NO_MEMORY);
    EXPECT_EQ(outcome.printed, "");
    EXPECT_EQ(twin, nullptr);
}

TEST(Entry, StreamServiceReports) {
    alignas(128) StreamRecord dead = {GEN_MCG31, 0, 0, 0, 0};
    Stream live(GEN_MCG31), other(GEN_MCG31);
    StreamHandle out = live, nowhere = nullptr, deadHandle = &dead;
    const GeneratorProperties none{};
    GeneratorProperties row;
    char image[64];
    struct Row {
        std::int32_t line;
        std::function<std::int32_t()> call;
        std::int32_t status, position;
        const char* name;
    };
    const auto NEW = RNG_BAD_GENERATOR;
    constexpr std::int32_t bad = RNG_BAD_ARGUMENT, null = RNG_NULL_POINTER;
    const std::vector<Row> rows = {
        {__LINE__, [&] { return vslNewStream(&out, -1, 1); }, NEW, 2, "vslNewStream"},
        {__LINE__, [&] { return vslNewStream(&out, 279, 1); }, NEW, 2, "vslNewStream"},
        {__LINE__, [&] { return vslNewStream(&out, 281, 1); }, NEW, 2, "vslNewStream"},
        {__LINE__, [&] { return vslNewStream(&out, 0x100001, 1); }, NEW, 2, "vslNewStream"},
        {__LINE__, [&] { return vslNewStream(&out, 0xB00000, 1); }, NEW, 2, "vslNewStream"},
        {__LINE__, [&] { return vslNewStreamEx(&out, 0xA00000, 0, nullptr); }, NEW, 2,
         "vslNewStreamEx"},
        {__LINE__, [&] { return vslNewStreamEx(&out, 0x7FF00000, 0, nullptr); }, NEW, 2,
         "vslNewStreamEx"},
        {__LINE__, [&] { return vslNewStreamEx(&out, GEN_MCG31, 1, nullptr); }, RNG_NULL_POINTER, 0,
         ""},
        {__LINE__, [&] { return vslNewStream(nullptr, GEN_MCG31, 1); }, RNG_NULL_POINTER, 0, ""},
        {__LINE__, [&] { return vslDeleteStream(&nowhere); }, RNG_NULL_POINTER, 1,
         "vslDeleteStream"},
        {__LINE__, [&] { return vslDeleteStream(nullptr); }, RNG_NULL_POINTER, 1,
         "vslDeleteStream"},
        {__LINE__, [&] { return vslDeleteStream(&deadHandle); }, RNG_BAD_STREAM, 1,
         "vslDeleteStream"},
        {__LINE__, [&] { return vslCopyStream(&out, nullptr); }, RNG_NULL_POINTER, 2,
         "vslCopyStream"},
        {__LINE__, [&] { return vslCopyStream(nullptr, live); }, RNG_NULL_POINTER, 2,
         "vslCopyStream"},
        {__LINE__, [&] { return vslCopyStreamState(nullptr, &dead); }, RNG_NULL_POINTER, 1,
         "vslCopyStreamState"},
        {__LINE__, [&] { return vslCopyStreamState(live, &dead); }, RNG_BAD_STREAM, 2,
         "vslCopyStreamState"},
        {__LINE__, [&] { return vslLeapfrogStream(&dead, 0, 2); }, RNG_BAD_STREAM, 1,
         "vslLeapfrogStream"},
        {__LINE__, [&] { return vslLeapfrogStream(live, 0, -1); }, RNG_TOO_MANY_STREAMS, 1,
         "vslLeapfrogStream"},
        {__LINE__, [&] { return vslLeapfrogStream(Stream(GEN_PHILOX4X32X10), 0, 2); },
         RNG_NO_LEAPFROG, 1, "vslLeapfrogStream"},
        {__LINE__, [&] { return vslSkipAheadStream(nullptr, 1); }, RNG_NULL_POINTER, 1,
         "vslSkipAheadStream"},
        {__LINE__, [&] { return vslGetStreamStateBrng(nullptr); }, RNG_NULL_POINTER, 1,
         "vslGetStreamStateBrng"},
        {__LINE__, [&] { return vslRegisterBrng(&none); }, RNG_BAD_WORD_SIZE, 1, "vslRegisterBrng"},
        {__LINE__, [&] { return vslRegisterBrng(nullptr); }, RNG_NULL_POINTER, 1,
         "vslRegisterBrng"},
        {__LINE__, [&] { return vslGetBrngProperties(-1, &row); }, NEW, 1, "vslRegisterBrng"},
        {__LINE__, [&] { return vslGetBrngProperties(GEN_MCG31, nullptr); }, RNG_NULL_POINTER, 1,
         "vslRegisterBrng"},
        {__LINE__, [&] { return vslGetStreamSize(nullptr); }, null, 1, "vslGetStreamSize"},
        {__LINE__, [&] { return vslSaveStreamF(nullptr, nullptr); }, null, 1, "vslSaveStreamF"},
        {__LINE__, [&] { return vslSaveStreamF(live, nullptr); }, bad, 2, "vslSaveStreamF"},
        {__LINE__, [&] { return vslLoadStreamF(&out, nullptr); }, bad, 2, "vslLoadStreamF"},
        {__LINE__, [&] { return vslSaveStreamM(live, nullptr); }, bad, 2, "vslSaveStreamM"},
        {__LINE__, [&] { return vslLoadStreamM(&out, nullptr); }, bad, 2, "vslLoadStreamM"},
        {__LINE__, [&] { return vslSaveStreamM(&dead, image); }, RNG_BAD_STREAM, 1,
         "vslSaveStreamM"},
    };
    const auto before = stateBytes(live);
    for (const Row& row2 : rows) {
        const Outcome outcome = outcomeOf(row2.call);
        EXPECT_EQ(outcome.status, row2.status) << "line " << row2.line;
        EXPECT_EQ(outcome.printed, row2.position ? reportOf(row2.position, row2.name) : "")
            << "line " << row2.line;
        EXPECT_EQ(out, live.handle) << "line " << row2.line;  // *stream isn't written
    }
    EXPECT_EQ(stateBytes(live), before);
}

}  // namespace
}  // namespace korvan::testing
