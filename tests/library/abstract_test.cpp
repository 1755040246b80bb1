// Abstract streams: numbers in order around the buffer, what a callback is told, callbacks that
// misbehave, and states that don't fit their buffer.
#include <climits>
#include <functional>
#include <limits>
#include <random>

#include "generators/abstract.h"
#include "support.h"
#include "watched_heap.h"

namespace korvan::testing {
namespace {

// Filled to the buffer's own bounds, which keeps small integers as they are.
std::int32_t fill(StreamHandle stream, std::int32_t n, std::uint32_t* r) {
    return viRngUniformBits(0, stream, n, r);
}
std::int32_t fill(StreamHandle stream, std::int32_t n, double* r) {
    return vdRngUniform(0, stream, n, r, 0, 0x1p20);
}
std::int32_t fill(StreamHandle stream, std::int32_t n, float* r) {
    return vsRngUniform(0, stream, n, r, 0, 0x1p20f);
}
std::int32_t create(StreamHandle* stream, std::int32_t size, std::uint32_t* buffer,
                    AbstractIntegerCallback callback) {
    return vslNewAbstractStreamInteger(stream, size, buffer, callback);
}
std::int32_t create(StreamHandle* stream, std::int32_t size, double* buffer,
                    AbstractDoubleCallback callback) {
    return vslNewAbstractStreamDouble(stream, size, buffer, 0, 0x1p20, callback);
}
std::int32_t create(StreamHandle* stream, std::int32_t size, float* buffer,
                    AbstractSingleCallback callback) {
    return vslNewAbstractStreamSingle(stream, size, buffer, 0, 0x1p20f, callback);
}

// A stream whose callback gives 0, 1, 2, ..., as many at a time as `answer` says.
template <class Number>
class Counting {
  public:
    struct Asked {
        std::int32_t size, nmin, nmax, index;
        bool operator==(const Asked&) const = default;
    };

    explicit Counting(std::int32_t size) : buffer(static_cast<std::size_t>(size)) {
        current = this;
        EXPECT_EQ(create(&stream, size, buffer.data(), refill), RNG_OK);
    }
    ~Counting() { vslDeleteStream(&stream); }

    std::vector<Number> draw(std::int32_t n) {
        std::vector<Number> r(static_cast<std::size_t>(n) + 1, Number{77});
        status = fill(stream, n, r.data());
        EXPECT_EQ(r.back(), Number{77});
        r.pop_back();
        return r;
    }

    StreamHandle stream = nullptr;
    std::vector<Number> buffer;
    std::function<std::int32_t(const Asked&)> answer = [](const Asked& a) { return a.nmin; };
    std::vector<Asked> calls;
    std::uint32_t given = 0;
    std::int32_t status = 0;

  private:
    static inline Counting* current;

    static std::int32_t refill(StreamHandle stream, std::int32_t* size, Number* numbers,
                               std::int32_t* nmin, std::int32_t* nmax, std::int32_t* index) {
        EXPECT_EQ(stream, current->stream);
        EXPECT_EQ(numbers, current->buffer.data());
        const Asked asked = {*size, *nmin, *nmax, *index};
        current->calls.push_back(asked);
        const std::int32_t count = current->answer(asked);
        for (std::int32_t k = 0; k < std::min(count, asked.nmax); ++k) {
            numbers[(asked.index + k) % asked.size] = static_cast<Number>(current->given++);
        }
        *size = *nmin = *nmax = *index = -1;  // of no effect
        return count;
    }
};

template <class Number>
class AbstractRows : public ::testing::Test {};
using Numbers = ::testing::Types<std::uint32_t, double, float>;
TYPED_TEST_SUITE(AbstractRows, Numbers);

TYPED_TEST(AbstractRows, NumbersComeInOrderHoweverTheyAreRefilled) {
    std::mt19937 sizes(11);
    for (const std::int32_t size : {1, 2, 3, 16, 17, 64, 1000}) {
        Counting<TypeParam> source(size);
        std::uint32_t next = 0;
        source.answer = [&](const auto& asked) {
            return 1 + static_cast<std::int32_t>(sizes() % static_cast<unsigned>(asked.nmax));
        };
        for (int round = 0; round < 200; ++round) {
            const auto n = static_cast<std::int32_t>(1 + sizes() % 70);
            for (const TypeParam number : source.draw(n)) {
                ASSERT_EQ(number, static_cast<TypeParam>(next++)) << size;
            }
            ASSERT_EQ(source.status, RNG_OK);
        }
    }
}

TYPED_TEST(AbstractRows, CallbackIsToldWhatIsMissing) {
    using Calls = std::vector<typename Counting<TypeParam>::Asked>;
    Counting<TypeParam> one(1);
    one.draw(3);
    EXPECT_EQ(one.calls, Calls(3, {1, 1, 1, 0}));

    Counting<TypeParam> source(5);
    source.answer = [](const auto& asked) { return std::min(asked.nmax, asked.nmin + 1); };
    source.draw(2);                              // a third number waits
    EXPECT_EQ(source.draw(1)[0], TypeParam{2});  // it comes without a call
    source.draw(9);
    source.draw(2);
    EXPECT_EQ(source.calls, (Calls{{5, 2, 5, 0}, {5, 5, 5, 3}, {5, 4, 5, 3}, {5, 1, 5, 3}}));
}

TYPED_TEST(AbstractRows, FailuresKeepThePosition) {
    const auto bad = RNG_ABSTRACT_BAD_UPDATE;
    const std::pair<std::int32_t, std::int32_t> failures[] = {
        {0, RNG_ABSTRACT_NO_NUMBERS}, {-1, bad}, {INT_MIN, bad}, {5, bad}, {INT_MAX, bad}};
    for (const auto& [answer, status] : failures) {
        // At the first round of the fill, and at a later one.
        for (const int rounds : {0, 2}) {
            Counting<TypeParam> source(4);
            source.answer = [](const auto&) { return 3; };
            source.draw(1);  // two wait
            const auto before = stateBytes(source.stream);
            int left = rounds;
            source.answer = [&, failed = answer](const auto&) { return left-- > 0 ? 1 : failed; };
            const auto written = source.draw(9);
            EXPECT_EQ(source.status, status) << answer;
            EXPECT_EQ(stateBytes(source.stream), before) << answer;
            for (int k = 0; k < 9; ++k) {
                const int expected = k < 2 + rounds ? k + 1 : 77;
                EXPECT_EQ(written[static_cast<std::size_t>(k)], static_cast<TypeParam>(expected));
            }
        }
    }
}

// It can't end its stream under the fill, nor draw without end.
TYPED_TEST(AbstractRows, StreamIsBusyInsideItsCallback) {
    Counting<TypeParam> source(4);
    source.answer = [&](const auto&) {
        expectBusy(source.stream);
        return 4;
    };
    EXPECT_EQ(source.draw(5), (std::vector<TypeParam>{0, 1, 2, 3, 4}));
    EXPECT_EQ(source.status, RNG_OK);
    source.answer = [](const auto&) { return 0; };
    source.draw(5);
    source.answer = [](const auto&) { return 4; };
    source.draw(5);
    EXPECT_EQ(source.status, RNG_OK);  // live again, also after a failure
}

TYPED_TEST(AbstractRows, TwinReadsTheSameBuffer) {
    Counting<TypeParam> source(6);
    source.answer = [](const auto&) { return 6; };
    source.draw(2);
    StreamHandle twin;
    ASSERT_EQ(vslCopyStream(&twin, source.stream), RNG_OK);
    TypeParam numbers[3];
    ASSERT_EQ(fill(twin, 3, numbers), RNG_OK);
    EXPECT_EQ(numbers[0], TypeParam{2});
    EXPECT_EQ(source.draw(4), (std::vector<TypeParam>{2, 3, 4, 5}));
    vslDeleteStream(&twin);
    EXPECT_EQ(source.draw(1)[0], TypeParam{6});
}

TEST(Abstract, RealsAreMovedFromTheBuffersBounds) {
    const auto all = [](auto, std::int32_t* size, auto...) { return *size; };
    double numbers[19], r[19];
    float narrow[19], f[19];
    for (int k = 0; k < 19; ++k) narrow[k] = static_cast<float>(numbers[k] = 10.0 + k / 3.0);
    StreamHandle stream, singles;
    ASSERT_EQ(vslNewAbstractStreamDouble(&stream, 19, numbers, 10, 17, all), RNG_OK);
    ASSERT_EQ(vslNewAbstractStreamSingle(&singles, 19, narrow, 10, 17, all), RNG_OK);
    ASSERT_EQ(vdRngUniform(0, stream, 19, r, -1, 2), RNG_OK);
    ASSERT_EQ(vsRngUniform(0, singles, 19, f, -1, 2), RNG_OK);
    for (int k = 0; k < 19; ++k) {
        EXPECT_EQ(r[k], multiplyAdd(numbers[k] - 10, 3.0 / 7.0, -1.0)) << k;
        EXPECT_EQ(f[k], multiplyAdd(narrow[k] - 10, 3.0f / 7.0f, -1.0f)) << k;
    }
    std::int32_t die[18];  // floors of the doubles
    ASSERT_EQ(viRngUniform(0, stream, 18, die, 1, 8), RNG_OK);
    EXPECT_TRUE(die[0] == 1 && die[4] == 2 && die[17] == 6);
    vslDeleteStream(&stream);
    vslDeleteStream(&singles);
}

// Numbers far out of the buffer's bounds, and none at all, end at the integers' ends.
TEST(Abstract, IntegersFromAnyDoubles) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    double numbers[] = {-inf, -1e300, -2147483649.5, -2147483648.5, -7.5, 2.5, 1e300, inf, nan};
    const std::int32_t least = INT32_MIN, expected[] = {least, least, least, least, -8, 2, 8, 8, 8};
    StreamHandle stream;
    const auto all = [](auto, std::int32_t* size, auto...) { return *size; };
    ASSERT_EQ(vslNewAbstractStreamDouble(&stream, 9, numbers, 0, 9, all), RNG_OK);
    std::int32_t r[9];
    ASSERT_EQ(viRngUniform(0, stream, 9, r, 0, 9), RNG_OK);
    for (int k = 0; k < 9; ++k) EXPECT_EQ(r[k], expected[k]) << numbers[k];
    vslDeleteStream(&stream);
}

TEST(Abstract, OtherTypesAndJumpsAreRefused) {
    const Counting<std::uint32_t> words(4);
    const Counting<double> doubles(4);
    const Counting<float> singles(4);
    double d[1];
    float f[1];
    std::uint32_t w[1];
    std::uint64_t w64[1];
    std::int32_t i[1];
    const auto wrong = RNG_ABSTRACT_WRONG_TYPE;
    EXPECT_EQ(vdRngUniform(0, words.stream, 1, d, 0, 1), wrong);
    EXPECT_EQ(vsRngUniform(0, words.stream, 1, f, 0, 1), wrong);
    EXPECT_EQ(viRngUniform(0, words.stream, 1, i, 0, 9), wrong);
    EXPECT_EQ(vsRngUniform(0, doubles.stream, 1, f, 0, 1), wrong);
    EXPECT_EQ(viRngUniformBits(0, doubles.stream, 1, w), wrong);
    EXPECT_EQ(vdRngUniform(0, singles.stream, 1, d, 0, 1), wrong);
    EXPECT_EQ(viRngUniformBits(0, singles.stream, 1, w), wrong);
    ::testing::internal::CaptureStdout();
    for (const StreamHandle stream : {words.stream, doubles.stream, singles.stream}) {
        GeneratorProperties row;
        ASSERT_EQ(vslGetBrngProperties(vslGetStreamStateBrng(stream), &row), RNG_OK);
        EXPECT_EQ(viRngUniformBits32(0, stream, 1, w), RNG_NO_BIT_WORDS);
        EXPECT_EQ(viRngUniformBits64(0, stream, 1, w64), RNG_NO_BIT_WORDS);
        EXPECT_EQ(vslLeapfrogStream(stream, 0, 2), RNG_NO_LEAPFROG);
        EXPECT_EQ(vslSkipAheadStream(stream, 1), RNG_NO_SKIP_AHEAD);
        EXPECT_EQ(row.initStream(OP_SKIPAHEAD_WORDS, stream, 0, w), RNG_NO_SKIP_AHEAD_EX);
        EXPECT_EQ(row.initStream(4, stream, 0, w), RNG_UNKNOWN_OPERATION);
    }
    ::testing::internal::GetCapturedStdout();
}

// vslCopyStreamState moves no byte of an abstract state, so buffer and callback stay as well; what
// distributions keep comes along.
TEST(Abstract, CopiedStatesKeepTheirBuffer) {
    const auto all = [](auto, std::int32_t* size, auto...) { return *size; };
    double numbers[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, others[9] = {}, r[2];
    float narrow[9] = {};
    StreamHandle stream, twin, equal, wide, singles;
    ASSERT_EQ(vslNewAbstractStreamDouble(&stream, 9, numbers, 0, 10, all), RNG_OK);
    ASSERT_EQ(vslNewAbstractStreamDouble(&equal, 9, others, 0, 10, all), RNG_OK);
    ASSERT_EQ(vslNewAbstractStreamDouble(&wide, 8, others, -1, 10, all), RNG_OK);
    ASSERT_EQ(vslNewAbstractStreamSingle(&singles, 9, narrow, 0, 10, all), RNG_OK);
    ASSERT_EQ(vdRngUniform(0, stream, 2, r, 0, 10), RNG_OK);
    for (const StreamHandle source : {equal, wide, singles}) {
        ASSERT_EQ(vslCopyStreamState(stream, source), RNG_OK);
        ASSERT_EQ(vdRngUniform(0, stream, 1, r, 0, 10), RNG_OK);
        EXPECT_EQ(r[0], source == equal ? 3 : source == wide ? 4 : 5);
        EXPECT_EQ(attachmentCount(stream), 1u);
    }
    // Its one word is a size: only that of the buffer is possible.
    EXPECT_EQ(vslCopyStreamState(stream, Stream(GEN_MCG31, 8)), RNG_STREAMS_INCOMPATIBLE);
    ASSERT_EQ(vslCopyStreamState(stream, Stream(GEN_MCG31, 9)), RNG_OK);
    ASSERT_EQ(vdRngUniform(0, stream, 1, r, 0, 10), RNG_OK);
    EXPECT_EQ(r[0], 6);
    // Nor does another generator's stream take the buffer.
    const Stream mcg(GEN_MCG31, 5);
    ASSERT_EQ(vdRngGaussian(1, equal, 1, r, 0, 1), RNG_OK);  // which leaves a pair
    ASSERT_EQ(vslCopyStreamState(mcg, equal), RNG_OK);
    EXPECT_EQ(findAttachment(mcg, tagAbstractBinding), nullptr);
    EXPECT_EQ(attachmentCount(mcg), 1u);
    ASSERT_EQ(vslCopyStreamState(stream, equal), RNG_OK);
    EXPECT_EQ(attachmentCount(stream), 2u);
    ASSERT_EQ(vslCopyStream(&twin, stream), RNG_OK);
    ASSERT_EQ(vdRngUniform(0, twin, 1, r, 0, 10), RNG_OK);
    EXPECT_EQ(r[0], 7);
    for (StreamHandle* each : {&stream, &twin, &equal, &wide, &singles}) vslDeleteStream(each);
    EXPECT_EQ(sharedBlocks().count(), 0u);
}

TEST(Abstract, StateThatDoesNotFitItsBufferIsRefused) {
    // The owner's own record, with fields that no fill leaves.
    Counting<std::uint32_t> words(4);
    auto& at = *reinterpret_cast<AbstractPosition*>(reinterpret_cast<char*>(words.stream) +
                                                    STREAM_HEADER_BYTES);
    const AbstractPosition live = at;
    const AbstractPosition impossible[] = {{3, 0, 3}, {4, 4, 0}, {4, -1, 0}, {4, 0, 5}, {4, 0, -1}};
    GeneratorProperties row;
    ASSERT_EQ(vslGetBrngProperties(GEN_ABSTRACT_INTEGER, &row), RNG_OK);
    for (const AbstractPosition& position : impossible) {
        at = position;
        words.draw(1);
        EXPECT_EQ(words.status, RNG_NULL_POINTER);
        EXPECT_FALSE(findGenerator(GEN_ABSTRACT_INTEGER)->isState(words.stream));
    }
    at = live;
    EXPECT_EQ(words.draw(1)[0], 0u);

    // Seeded anew without a buffer or a callback, in place of the binding that it had.
    const std::int32_t size = 4;
    const AbstractIntegerCallback all = [](auto, std::int32_t* count, auto...) { return *count; };
    const AbstractIntegerSeed seeds[] = {{&size, nullptr, all},
                                         {&size, words.buffer.data(), nullptr}};
    for (const AbstractIntegerSeed& seed : seeds) {
        const auto* params = reinterpret_cast<const std::uint32_t*>(&seed);
        ASSERT_EQ(row.initStream(OP_SEED, words.stream, 0, params), RNG_OK);
        words.draw(1);
        EXPECT_EQ(words.status, RNG_NULL_POINTER);
    }
    EXPECT_EQ(row.initStream(OP_SEED, words.stream, 0, nullptr), RNG_NULL_POINTER);
}

// Seeding through the table takes bounds as they are.
TEST(Abstract, AnyBoundsButNoSpareBytesArePossible) {
    Counting<double> doubles(4);
    const GeneratorRow& row = *findGenerator(GEN_ABSTRACT_DOUBLE);
    const std::int32_t size = 4;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto all = [](auto, std::int32_t* count, auto...) { return *count; };
    for (const auto& [a, b] : {std::pair{1.0, 0.0}, {0.0, nan}, {0.0, 1.0}}) {
        const AbstractDoubleSeed seed{&size, doubles.buffer.data(), &a, &b, all};
        const auto* params = reinterpret_cast<const std::uint32_t*>(&seed);
        ASSERT_EQ(row.properties.initStream(OP_SEED, doubles.stream, 0, params), RNG_OK);
        EXPECT_TRUE(row.isState(doubles.stream)) << a << " " << b;
    }
    reinterpret_cast<char*>(doubles.stream)[row.properties.stateSize - 1] = 1;
    EXPECT_FALSE(row.isState(doubles.stream));
}

// Each call holds every later fault as well.
TEST(Abstract, CreationChecksItsArgumentsInOrder) {
    std::uint32_t words[2];
    double doubles[2];
    float singles[2];
    StreamHandle out = nullptr;
    const auto integer = vslNewAbstractStreamInteger;
    const auto real = vslNewAbstractStreamDouble;
    const auto single = vslNewAbstractStreamSingle;
    const auto expectRefused = [&](int position, auto create, auto... arguments) {
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(create(arguments...), position == 1 ? RNG_NULL_POINTER : RNG_BAD_ARGUMENT);
        EXPECT_EQ(::testing::internal::GetCapturedStdout(),
                  "\nQVX ERROR: Parameter " + std::to_string(position) +
                      " was incorrect on entry to vslNewAbstractStream.");
        EXPECT_EQ(out, nullptr);
    };
    expectRefused(1, integer, nullptr, 0, nullptr, nullptr);
    expectRefused(2, integer, &out, 0, nullptr, nullptr);
    expectRefused(3, integer, &out, 2, nullptr, nullptr);
    expectRefused(4, integer, &out, 2, words, nullptr);
    expectRefused(1, real, nullptr, 0, nullptr, 1, 1, nullptr);
    expectRefused(2, real, &out, -1, nullptr, 1, 1, nullptr);
    expectRefused(3, real, &out, 2, nullptr, 1, 1, nullptr);
    expectRefused(4, real, &out, 2, doubles, 1, 1, nullptr);
    expectRefused(6, real, &out, 2, doubles, 0, 1, nullptr);
    expectRefused(4, single, &out, 2, singles, 2.0f, 1.0f, nullptr);
    expectRefused(6, single, &out, 2, singles, 0.0f, 1.0f, nullptr);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    ASSERT_EQ(real(&out, 2, doubles, 0, nan, [](auto...) { return 0; }), RNG_OK);
    EXPECT_EQ(vslDeleteStream(&out), RNG_OK);
}

TEST(Abstract, CreationWithoutMemoryLeavesNothing) {
    std::uint32_t words[2];
    const AbstractIntegerCallback none = [](auto...) { return 0; };
    WatchedHeap heap;
    for (int allowed = 0; allowed <= 3; ++allowed) {  // record, binding, node
        StreamHandle stream = reinterpret_cast<StreamHandle>(words);
        heap.failAfter(allowed);
        const std::int32_t status = vslNewAbstractStreamInteger(&stream, 2, words, none);
        heap.failNever();
        EXPECT_EQ(status, allowed < 3 ? RNG_NO_MEMORY : RNG_OK) << allowed;
        EXPECT_EQ(stream == nullptr, allowed < 3) << allowed;
        if (stream) vslDeleteStream(&stream);
        EXPECT_EQ(heap.blocksHeld(), 0) << allowed;
    }
}

}  // namespace
}  // namespace korvan::testing
